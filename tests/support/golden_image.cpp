#include "support/golden_image.hpp"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "support/image_files.hpp"
#include "zorvi/drawing_context.hpp"

namespace zorvi::testing {

std::string compareWithGolden(const Raster& raster, const std::string& name, int tolerance) {
  const std::filesystem::path golden = std::filesystem::path(ZORVI_GOLDEN_DIR) / (name + ".png");
  const std::vector<std::uint8_t> actualPNG = RasterCanvas::encodePNG(raster);
  const char* bless = std::getenv("ZORVI_BLESS");
  if (bless != nullptr && std::strcmp(bless, "1") == 0) {
    writeFile(golden, actualPNG);
    return {};
  }
  const std::filesystem::path outDir = std::filesystem::path(ZORVI_BINARY_DIR) / "golden-failures";
  const auto fail = [&](const std::string& why, const std::vector<std::uint8_t>* diff) {
    writeFile(outDir / (name + ".actual.png"), actualPNG);
    if (diff != nullptr) writeFile(outDir / (name + ".diff.png"), *diff);
    return name + ": " + why + " (see " + (outDir / (name + ".actual.png")).string() + ")";
  };
  const std::vector<std::uint8_t> bytes = readFile(golden);
  const std::optional<Raster> expected = ImageDecoder::decode(bytes, raster.width, raster.height);
  if (!expected) return fail("no readable reference " + golden.string(), nullptr);
  if (expected->width != raster.width || expected->height != raster.height)
    return fail("size " + std::to_string(raster.width) + "x" + std::to_string(raster.height) +
                    ", reference " + std::to_string(expected->width) + "x" + std::to_string(expected->height),
                nullptr);
  // The reference is stored opaque; compare the picture as it was written.
  const std::optional<Raster> actual = ImageDecoder::decode(actualPNG, raster.width, raster.height);
  if (!actual) return fail("the picture could not be encoded", nullptr);
  std::size_t differing = 0;
  Raster diff = *actual;
  for (std::size_t i = 0; i < actual->pixels.size(); ++i) {
    if (channelDistance(actual->pixels[i], expected->pixels[i]) > tolerance) {
      ++differing;
      diff.pixels[i] = 0xFFFF0000;
    } else {
      diff.pixels[i] = (diff.pixels[i] >> 2 & 0x3F3F3F3F) | 0xFF000000;  // faded, so the red stands out
    }
  }
  if (differing == 0) return {};
  const std::vector<std::uint8_t> diffPNG = RasterCanvas::encodePNG(diff);
  return fail(std::to_string(differing) + " pixels differ by more than " + std::to_string(tolerance),
              &diffPNG);
}

}  // namespace zorvi::testing
