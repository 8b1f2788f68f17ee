// Small pictures made at test time, so no binary fixture hides what a test draws.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "zorvi/drawing_context.hpp"

namespace zorvi::testing {

// PNG bytes of a width × height picture split into equal vertical bands of the given colours, left to right.
std::vector<std::uint8_t> bandedPNG(std::int32_t width, std::int32_t height,
                                    std::initializer_list<Color> bands);

// The colour of pixel (x, y), counted from the top-left corner, as 0xAARRGGBB.
inline std::uint32_t pixelAt(const Raster& raster, std::int32_t x, std::int32_t y) {
  return raster.pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width) +
                          static_cast<std::size_t>(x));
}

}  // namespace zorvi::testing
