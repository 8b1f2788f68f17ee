#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/golden_image.hpp"
#include "support/test_images.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi {
namespace {

using testing::pixelAt;

constexpr std::uint32_t opaqueBlack = 0xFF000000, opaqueWhite = 0xFFFFFFFF;
constexpr std::uint32_t opaqueRed = 0xFFFF0000, opaqueBlue = 0xFF0000FF;
constexpr Color red{1, 0, 0, 1}, blue{0, 0, 1, 1};

Uuid idNumber(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

// A board whose image items n draw images/n.png from the bundle.
struct BoardBuilder {
  BoardBundle bundle;

  explicit BoardBuilder(std::string background) {
    bundle.manifest.board.canvas.backgroundColor = std::move(background);
  }
  BoardBuilder& image(std::uint8_t n, Frame frame, std::int64_t z, std::optional<Bytes> bytes) {
    const std::string path = "images/" + std::to_string(n) + ".png";
    bundle.manifest.items.emplace_back(idNumber(n), path, "thumbnails/" + std::to_string(n) + ".png", frame,
                                       z, PixelSize{}, ItemSource{}, std::nullopt, std::nullopt, false,
                                       std::nullopt);
    if (bytes) bundle.images[path] = std::move(*bytes);
    return *this;
  }
  BoardBuilder& shape(ShapeContent shape, Frame frame, std::int64_t z) {
    bundle.manifest.items.emplace_back(idNumber(100), std::move(shape), frame, z, false, std::nullopt);
    return *this;
  }
  BoardBuilder& text(TextContent text, Frame frame) {
    bundle.manifest.items.emplace_back(idNumber(101), std::move(text), frame, 0, false, std::nullopt);
    return *this;
  }
  BoardBuilder& drawing(DrawingContent drawing, Frame frame) {
    bundle.manifest.items.emplace_back(idNumber(102), std::move(drawing), frame, 0, false, std::nullopt);
    return *this;
  }
};

TEST(BoardPreviewRenderer, GivesTheLongerSideTheBudgetInWholePixels) {
  struct Row {
    double width, height, maxPixel;
    std::optional<BoardPreviewRenderer::PixelBudget> budget;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Row rows[] = {
      {1000, 500, 512, {{512, 256, 0.512}}},
      {300, 1000, 100, {{30, 100, 0.1}}},
      {999, 1, 100, {{100, 1, 100.0 / 999}}},  // 0.1 raised to the 1-pixel floor
      {3, 2, 5, {{5, 3, 5.0 / 3}}},            // 10/3 rounds down
      {4, 1, 10, {{10, 3, 2.5}}},              // 2.5 rounds away from zero
      {10, 10, 300.5, {{301, 301, 30.05}}},
      {0, 10, 100, std::nullopt},
      {10, -1, 100, std::nullopt},
      {10, 10, 0, std::nullopt},
      {10, 10, -5, std::nullopt},
      {nan, 10, 100, std::nullopt},
      {10, 10, nan, std::nullopt},
      {10, 10, inf, std::nullopt},
      {1e-300, 1, 1e300, std::nullopt},  // the long side's pixel count overflows 64 bits
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.width) + " x " + std::to_string(row.height) + " @ " +
                 std::to_string(row.maxPixel));
    EXPECT_EQ(BoardPreviewRenderer::pixelBudget(row.width, row.height, row.maxPixel), row.budget);
  }
}

TEST(BoardPreviewRenderer, RendersNothingWithoutAreaOrBudget) {
  EXPECT_FALSE(BoardPreviewRenderer::render(BoardBuilder("#000000").bundle, 256));
  const BoardBundle flat =
      BoardBuilder("#000000").shape({"#FF0000", {}, 3, {}, {}}, {0, 0, 100, 0}, 0).bundle;
  EXPECT_FALSE(BoardPreviewRenderer::render(flat, 256));
  const BoardBundle square =
      BoardBuilder("#000000").shape({"#FF0000", {}, 3, {}, {}}, {0, 0, 10, 10}, 0).bundle;
  EXPECT_FALSE(BoardPreviewRenderer::render(square, 0));
  EXPECT_FALSE(BoardPreviewRenderer::render(square, 40000));  // beyond the largest bitmap
  EXPECT_TRUE(BoardPreviewRenderer::render(square, 1));
}

TEST(BoardPreviewRenderer, MissingImageLeavesTheCanvasColour) {
  const BoardBundle board = BoardBuilder("#000000").image(1, {0, 0, 100, 50}, 0, std::nullopt).bundle;
  const auto picture = BoardPreviewRenderer::render(board, 200);
  ASSERT_TRUE(picture);
  ASSERT_EQ(picture->width, 200);
  ASSERT_EQ(picture->height, 100);
  for (const std::uint32_t pixel : picture->pixels) ASSERT_EQ(pixel, opaqueBlack);
}

TEST(BoardPreviewRenderer, CanvasWithoutAValidColourStaysWhite) {
  const BoardBundle board = BoardBuilder("black").image(1, {0, 0, 100, 50}, 0, std::nullopt).bundle;
  const auto picture = BoardPreviewRenderer::render(board, 100);
  ASSERT_TRUE(picture);
  for (const std::uint32_t pixel : picture->pixels) ASSERT_EQ(pixel, opaqueWhite);
}

TEST(BoardPreviewRenderer, StretchesAPictureToItsFrameAndStacksByZIndex) {
  // A 2 × 1 picture, red then blue, in a square frame; a red-only picture half covered by a blue shape.
  const BoardBundle board = BoardBuilder("#FFFFFF")
                                .image(1, {0, 0, 100, 100}, 0, testing::bandedPNG(2, 1, {red, blue}))
                                .shape({"#00FF00", {}, 3, {}, {}}, {150, 0, 50, 100}, 2)
                                .image(2, {100, 0, 100, 100}, 1, testing::bandedPNG(8, 8, {red}))
                                .bundle;
  const auto picture = BoardPreviewRenderer::render(board, 200);
  ASSERT_TRUE(picture);
  struct Row {
    std::int32_t x, y;
    std::uint32_t pixel;
  };
  const Row rows[] = {
      {2, 1, opaqueRed},    {20, 50, opaqueRed},   {2, 98, opaqueRed},    // left half of the square
      {80, 1, opaqueBlue},  {97, 50, opaqueBlue},  {97, 98, opaqueBlue},  // right half
      {110, 50, opaqueRed}, {149, 2, opaqueRed},                          // uncovered picture
      {151, 2, 0xFF00FF00}, {199, 99, 0xFF00FF00},                        // the shape above it
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.x) + "," + std::to_string(row.y));
    EXPECT_EQ(pixelAt(*picture, row.x, row.y), row.pixel);
  }
}

TEST(BoardPreviewRenderer, StrokeBandLiesInsideTheFrame) {
  const BoardBundle board = BoardBuilder("#FFFFFF").shape({{}, "#000", 4, {}, {}}, {0, 0, 100, 50}, 0).bundle;
  const auto picture = BoardPreviewRenderer::render(board, 100);
  ASSERT_TRUE(picture);
  for (std::int32_t x = 0; x < 8; ++x) {
    SCOPED_TRACE("column " + std::to_string(x));
    EXPECT_EQ(pixelAt(*picture, x, 25), x < 4 ? opaqueBlack : opaqueWhite);
    EXPECT_EQ(pixelAt(*picture, 99 - x, 25), x < 4 ? opaqueBlack : opaqueWhite);
    EXPECT_EQ(pixelAt(*picture, 50, x), x < 4 ? opaqueBlack : opaqueWhite);
    EXPECT_EQ(pixelAt(*picture, 50, 49 - x), x < 4 ? opaqueBlack : opaqueWhite);
  }
}

TEST(BoardPreviewRenderer, MatchesReferencePictures) {
  using enum DrawingContent::LineStyle;
  struct Row {
    const char* name;
    BoardBundle board;
    double maxPixel;
  };
  const Row rows[] = {
      {"light_board",
       BoardBuilder("#F7F3EA")
           .shape({"#E8D5B5", "#333333", 3, "Spring collection moodboard", 28}, {0, 0, 300, 160}, 0)
           .text({"Warm tones, soft light and a little texture.", "#222222", 24}, {20, 60, 260, 40})
           .drawing({{{0, 1}, {0.3, 0.2}, {0.6, 0.8}, {1, 0}}, "#C0392B", 4, dashed}, {320, 20, 120, 120})
           .image(1, {320, 150, 120, 60}, 1, testing::bandedPNG(30, 10, {red, {1, 0.8, 0, 1}, blue}))
           .bundle,
       256},
      {"dark_board",
       BoardBuilder("#202020")
           .shape({{}, "#FFFFFF", 1.5, "Night", {}}, {0, 0, 200, 120}, 0)
           .shape({"#FFFFFF", {}, 3, "Day", 20}, {220, 0, 120, 120}, 0)
           .drawing({{{0, 0.5}, {0.5, 1}, {1, 0.5}}, "#4AA3DF", 6, solid}, {20, 140, 320, 60})
           .bundle,
       200},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto picture = BoardPreviewRenderer::render(row.board, row.maxPixel);
    ASSERT_TRUE(picture);
    EXPECT_EQ(testing::compareWithGolden(*picture, row.name), "");
  }
}

}  // namespace
}  // namespace zorvi
