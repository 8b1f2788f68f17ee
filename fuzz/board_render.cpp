// Renders a fixed board whose three images take their bytes from the input: the first byte picks the
// picture size, the rest is cut into thirds (so truncated and hostile images meet the decoders).
// Run it with FONTCONFIG_FILE=tests/data/fonts.conf, so runs do not depend on the machine's fonts.
#include <cstddef>
#include <cstdint>

#include "zorvi/board_renderer.hpp"

namespace {

zorvi::Uuid idNumber(std::uint8_t n) {
  zorvi::Uuid id;
  id.bytes[15] = n;
  return id;
}

zorvi::BoardBundle boardWithImages(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi;
  BoardBundle bundle;
  Manifest& manifest = bundle.manifest;
  manifest.board.canvas.backgroundColor = "#202020";
  const Frame frames[] = {{0, 0, 120, 80}, {60, 40, 40, 160}, {130, 0, 70, 70}};
  const std::size_t third = size / 3;
  for (std::uint8_t i = 0; i < 3; ++i) {
    const std::string name = "images/" + std::to_string(i);
    manifest.items.emplace_back(idNumber(i), name, "thumbnails/" + std::to_string(i), frames[i], i,
                                PixelSize{}, ItemSource{}, "caption", CaptionAlignment::center, false,
                                std::nullopt);
    const std::uint8_t* begin = data + i * third;
    bundle.images[name] = Bytes(begin, i == 2 ? data + size : begin + third);
  }
  manifest.items.emplace_back(idNumber(10),
                              ShapeContent{"#FFFFFF", "#000", 3, "A title that is too long", 20},
                              Frame{0, 170, 90, 40}, 5, false, std::nullopt);
  manifest.items.emplace_back(idNumber(11), TextContent{"Some words to wrap", "#FF8800", 12},
                              Frame{100, 170, 60, 10}, 6, false, std::nullopt);
  manifest.items.emplace_back(
      idNumber(12),
      DrawingContent{{{0, 0}, {0.5, 1}, {1, 0}}, "#00FF00", 2, DrawingContent::LineStyle::dashed},
      Frame{0, 0, 200, 210}, 7, false, std::nullopt);
  return bundle;
}

}  // namespace

// Pango sets fontconfig up on a thread of its own, which sometimes still holds font patterns when the
// process ends; LeakSanitizer then reports fontconfig's memory as lost.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const double maxPixel = 16 + data[0] % 64;
  (void)zorvi::BoardPreviewRenderer::render(boardWithImages(data + 1, size - 1), maxPixel);
  return 0;
}
