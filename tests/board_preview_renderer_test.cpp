#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/golden_image.hpp"
#include "support/items.hpp"
#include "support/test_images.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi {
namespace {

using testing::pixelAt;

constexpr std::uint32_t opaqueBlack = 0xFF000000, opaqueWhite = 0xFFFFFFFF;
constexpr std::uint32_t opaqueRed = 0xFFFF0000;
constexpr Color red{1, 0, 0, 1}, blue{0, 0, 1, 1};

// A board whose image item n draws images/n.png from the bundle; other items get distinct ids.
struct BoardBuilder {
  BoardBundle bundle;
  std::uint8_t next = 100;

  explicit BoardBuilder(std::string background) {
    bundle.manifest.board.canvas.backgroundColor = std::move(background);
  }
  static Uuid id(std::uint8_t n) { return testing::idNumber(n); }
  BoardBuilder& image(std::uint8_t n, Frame frame, std::int64_t z, std::optional<Bytes> bytes) {
    const std::string path = "images/" + std::to_string(n) + ".png";
    bundle.manifest.items.emplace_back(id(n), path, "thumbnails/" + std::to_string(n) + ".png", frame, z,
                                       PixelSize{}, ItemSource{}, std::nullopt, std::nullopt, false,
                                       std::nullopt);
    if (bytes) bundle.images[path] = std::move(*bytes);
    return *this;
  }
  template <typename Content>
  BoardBuilder& add(Content content, Frame frame, std::int64_t z = 0) {
    bundle.manifest.items.emplace_back(id(next++), std::move(content), frame, z, false, std::nullopt);
    return *this;
  }
};

TEST(BoardPreviewRenderer, GivesTheLongerSideTheBudgetInWholePixels) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::tuple<double, double, double, std::optional<BoardPreviewRenderer::PixelBudget>> rows[] = {
      {1000, 500, 512, {{512, 256, 0.512}}},
      {300, 1000, 100, {{30, 100, 0.1}}},
      {999, 1, 100, {{100, 1, 100.0 / 999}}},  // 0.1 raised to the 1-pixel floor
      {3, 2, 5, {{5, 3, 5.0 / 3}}},            // 10/3 rounds down
      {4, 1, 10, {{10, 3, 2.5}}},              // 2.5 rounds away from zero
      {0, 10, 100, std::nullopt},
      {10, 10, 0, std::nullopt},
      {10, 10, nan, std::nullopt},
      {1e-300, 1, 1e300, std::nullopt},  // the long side's pixel count overflows 64 bits
  };
  for (const auto& [width, height, maxPixel, budget] : rows)
    EXPECT_EQ(BoardPreviewRenderer::pixelBudget(width, height, maxPixel), budget)
        << width << " x " << height << " @ " << maxPixel;
}

TEST(BoardPreviewRenderer, RendersNothingWithoutAreaOrBudget) {
  EXPECT_FALSE(BoardPreviewRenderer::render(BoardBuilder("#000000").bundle, 256));
  EXPECT_FALSE(BoardPreviewRenderer::render(
      BoardBuilder("#000000").add(ShapeContent{"#FF0000", {}, 3, {}, {}}, {0, 0, 100, 0}).bundle, 256));
  const BoardBundle square =
      BoardBuilder("#000000").add(ShapeContent{"#FF0000", {}, 3, {}, {}}, {0, 0, 10, 10}).bundle;
  EXPECT_FALSE(BoardPreviewRenderer::render(square, 0));
  EXPECT_FALSE(BoardPreviewRenderer::render(square, 40000));  // beyond the largest bitmap
  EXPECT_TRUE(BoardPreviewRenderer::render(square, 1));
}

TEST(BoardPreviewRenderer, MissingImageLeavesTheCanvasOrWhite) {
  for (const auto& [background, pixel] : {std::pair{"#000000", opaqueBlack}, {"black", opaqueWhite}}) {
    SCOPED_TRACE(background);
    const auto picture = BoardPreviewRenderer::render(
        BoardBuilder(background).image(1, {0, 0, 100, 50}, 0, std::nullopt).bundle, 200);
    ASSERT_TRUE(picture);
    ASSERT_EQ(std::pair(picture->width, picture->height), std::pair(200, 100));
    for (const std::uint32_t each : picture->pixels) ASSERT_EQ(each, pixel);
  }
}

TEST(BoardPreviewRenderer, MatchesReferencePictures) {
  using enum DrawingContent::LineStyle;
  const std::tuple<const char*, BoardBundle, double> rows[] = {
      {"light_board",
       BoardBuilder("#F7F3EA")
           .add(ShapeContent{"#E8D5B5", "#333333", 3, "Spring collection moodboard", 28}, {0, 0, 300, 160})
           .add(TextContent{"Warm tones, soft light and a little texture.", "#222222", 24}, {20, 60, 260, 40})
           .add(DrawingContent{{{0, 1}, {0.3, 0.2}, {0.6, 0.8}, {1, 0}}, "#C0392B", 4, dashed},
                {320, 20, 120, 120})
           .image(1, {320, 150, 120, 60}, 1, testing::bandedPNG(30, 10, {red, {1, 0.8, 0, 1}, blue}))
           .bundle,
       256},
      {"dark_board",
       BoardBuilder("#202020")
           .add(ShapeContent{{}, "#FFFFFF", 1.5, "Night", {}}, {0, 0, 200, 120})
           .add(ShapeContent{"#FFFFFF", {}, 3, "Day", 20}, {220, 0, 120, 120})
           .add(DrawingContent{{{0, 0.5}, {0.5, 1}, {1, 0.5}}, "#4AA3DF", 6, solid}, {20, 140, 320, 60})
           .bundle,
       200},
      // A 2 × 1 picture, red then blue, stretched to a square; a red-only picture half covered by a green
      // shape that comes before it in the manifest but above it by z-index.
      {"stacked_pictures",
       BoardBuilder("#FFFFFF")
           .image(1, {0, 0, 100, 100}, 0, testing::bandedPNG(2, 1, {red, blue}))
           .add(ShapeContent{"#00FF00", {}, 3, {}, {}}, {150, 0, 50, 100}, 2)
           .image(2, {100, 0, 100, 100}, 1, testing::bandedPNG(8, 8, {red}))
           .bundle,
       200},
      {"stroke_band_inside_the_frame", BoardBuilder("#FFFFFF").add(ShapeContent{{}, "#000", 4, {}, {}}, {0, 0, 100, 50}).bundle, 100},
  };
  for (const auto& [name, board, maxPixel] : rows) {
    SCOPED_TRACE(name);
    const auto picture = BoardPreviewRenderer::render(board, maxPixel);
    ASSERT_TRUE(picture);
    EXPECT_EQ(testing::compareWithGolden(*picture, name), "");
  }
}

TEST(RasterCanvas, StoredAndCompressedPNGsHoldTheSamePixels) {
  const auto picture = RasterCanvas::render(40, 30, [](DrawingContext& context) {
    context.fillRect({0, 0, 25, 30}, red);
    context.fillRect({10, 5, 30, 10}, {0, 0, 1, 0.5});  // half-covered, over red and over nothing
  });
  ASSERT_TRUE(picture);
  const auto compressed = RasterCanvas::encodePNG(*picture, RasterCanvas::PNGCompression::fast);
  const auto stored = RasterCanvas::encodePNG(*picture, RasterCanvas::PNGCompression::none);
  EXPECT_GT(stored.size(), compressed.size());
  const auto fromCompressed = ImageDecoder::decode(compressed, 40, 30);
  const auto fromStored = ImageDecoder::decode(stored, 40, 30);
  ASSERT_TRUE(fromCompressed && fromStored);
  EXPECT_TRUE(*fromCompressed == *fromStored);
  EXPECT_EQ(pixelAt(*fromStored, 0, 29), opaqueRed);
  EXPECT_EQ(pixelAt(*fromStored, 39, 0), opaqueWhite);  // transparent flattens over white
}

}  // namespace
}  // namespace zorvi
