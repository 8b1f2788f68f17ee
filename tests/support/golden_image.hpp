// Comparing a rendered picture with a reference PNG under tests/golden/.
#pragma once

#include <string>

#include "zorvi/image_decoder.hpp"

namespace zorvi::testing {

// Empty when raster matches tests/golden/NAME.png: same size, and no pixel with a channel more than
// tolerance away. Otherwise a description of the mismatch, with NAME.actual.png and NAME.diff.png (differing
// pixels in red) written into the build folder. With ZORVI_BLESS=1 the reference is rewritten instead.
std::string compareWithGolden(const Raster& raster, const std::string& name, int tolerance = 8);

}  // namespace zorvi::testing
