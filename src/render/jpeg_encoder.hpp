// JPEG files made from opaque rasters, for documents that can carry a JPEG but not the picture's own format.
#pragma once

#include <optional>

#include "zorvi/board_bundle.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi::JPEGEncoder {

// The raster's pixels as a baseline JPEG of the given quality (1 to 100), alpha ignored; nothing when
// the raster is empty or the encoder fails.
std::optional<Bytes> encode(const Raster& raster, int quality);

}  // namespace zorvi::JPEGEncoder
