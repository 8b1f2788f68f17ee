#include "support/test_images.hpp"

#include <vector>

namespace zorvi::testing {

std::vector<std::uint8_t> bandedPNG(std::int32_t width, std::int32_t height,
                                    std::initializer_list<Color> bands) {
  const std::vector<Color> colors(bands);
  const auto raster = RasterCanvas::render(width, height, [&](DrawingContext& context) {
    const double band = static_cast<double>(width) / static_cast<double>(colors.size());
    for (std::size_t i = 0; i < colors.size(); ++i)
      context.fillRect({band * static_cast<double>(i), 0, band, static_cast<double>(height)}, colors[i]);
  });
  return raster ? RasterCanvas::encodePNG(*raster) : std::vector<std::uint8_t>{};
}

}  // namespace zorvi::testing
