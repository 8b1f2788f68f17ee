// The brand walk of ISO base media files, kept out of the public header but open to tests.
#pragma once

#include <cstdint>
#include <span>

#include "zorvi/image_formats.hpp"

namespace zorvi::ImageFormatDetector {

// For bytes whose bytes 4 to 7 are "ftyp": AVIF when any brand in the first 64 bytes (and within the
// declared box) is an AVIF brand, else HEIC when any is a HEIF brand, else unknown.
DetectedFormat classifyISOBMFF(std::span<const std::uint8_t> bytes);

}  // namespace zorvi::ImageFormatDetector
