#include <gtest/gtest.h>

#include <random>

#include "support/golden_image.hpp"
#include "support/html_golden.hpp"
#include "support/items.hpp"
#include "support/recording_context.hpp"
#include "support/without_text.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi {
namespace {

using Style = DrawingContent::LineStyle;

using Target = testing::Forwarding;

// One item 48 × 46 (an image 48 × 40 with its caption below) at 1/8 pixel a unit. The fixed measurer
// advances half the font size a character, 1.25 of it a line, with the baseline 0.75 of it down.
TEST(SmallMarks, DrawsMarksUnderAPixelAsTheirTone) {
  const auto text = [](double size, std::string content = "ab cd ef") {
    return testing::contentItem(1, TextContent{std::move(content), "#222222", size});
  };
  const auto dashed = [](double width) {
    return testing::contentItem(2, DrawingContent{{{0, 0}, {1, 1}}, "#C0392B", width, Style::dashed});
  };
  // Each row's drawing calls under its name in tests/golden/small_marks.txt. Small text is a bar per line, 0.6
  // of the size tall from its baseline rounded to a pixel row, in 0.3 of the ink; a word wider than the box
  // breaks anywhere, an empty line takes its place, spaces push the ink. Dashes under a pixel are one line
  // with the ink of round-capped dashes.
  const std::tuple<const char*, CanvasItem, bool> rows[] = {
      {"small text", text(16), true},
      {"text of 3 px", text(24), true},
      {"long word", text(16, "abcdefgh\n\nab"), true},
      {"spaces first", text(16, "  h\xC3\xA9"), true},
      {"in a document", text(16), false},
      {"title cut to its room", testing::contentItem(3, ShapeContent{"#E8DCCA", {}, 3, "Section", 16}), true},
      {"centred caption", testing::imageItem(4, {}, "ab", CaptionAlignment::center), true},
      {"dashes under a pixel", dashed(2), true},
      {"dashes of 1.5 px", dashed(4), true},
      {"dashes in a document", dashed(2), false},
  };
  const testing::FixedAdvanceMeasurer measurer;
  const ImageProvider images = [](const CanvasItem&, std::int32_t, std::int32_t) {
    return std::make_shared<const Raster>(Raster{1, 1, {0xFF000000}});
  };
  std::string transcript;
  for (const auto& [name, item, pixels] : rows) {
    const bool captioned = item.caption.has_value();
    BoardLayout layout;
    layout.width = 48;
    layout.height = captioned ? 66 : 46;
    layout.items.emplace_back(item, Frame{0, 0, 48, captioned ? 40.0 : 46.0},
                              captioned ? std::optional(Frame{0, 46, 48, 20}) : std::nullopt);
    testing::RecordingContext recording(measurer);
    Target target(recording, pixels);
    target.scale(0.125, 0.125);
    BoardCGRenderer::draw(layout, target, images, "");
    transcript += "# " + std::string(name) + "\n" + recording.trace;
  }
  testing::expectMatchesGolden("small_marks", transcript, "txt");
}

// Mean absolute difference of the channels of each k × k block's mean, from 0 to 255.
double difference(const Raster& a, const Raster& b, int k) {
  double sum = 0;
  for (int y = 0; y + k <= a.height; y += k)
    for (int x = 0; x + k <= a.width; x += k)
      for (int shift = 0; shift < 32; shift += 8) {
        int d = 0;
        for (int i = 0; i < k * k; ++i) {
          const auto at = static_cast<std::size_t>((y + i / k) * a.width + x + i % k);
          d += static_cast<int>((a.pixels[at] >> shift) & 0xFF) -
               static_cast<int>((b.pixels[at] >> shift) & 0xFF);
        }
        sum += std::abs(d) / static_cast<double>(k * k);
      }
  return sum * k * k / (4.0 * static_cast<double>(a.pixels.size()));
}

// The bars and solid lines leave the tone of the text and dashes they stand for, on a fixed-seed board
// as a file manager shows it at 256 px: text and titles 1.3 to 1.6 px tall, dashes of 0.7 px, on shapes.
TEST(SmallMarks, LookLikeTheMarksTheyStandFor) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> position(0, 4000), size(60, 600), unit(0, 1);
  std::vector<CanvasItem> items;
  for (std::uint64_t i = 0; i < 240; ++i) {
    const Frame frame{position(random), position(random), size(random), size(random)};
    DrawingContent drawing{{}, "#C0392B", 4, Style::dashed};
    for (int p = 0; p < 12; ++p) drawing.points.push_back({unit(random), unit(random)});
    if (i % 3 == 0)
      items.push_back(
          testing::contentItem(i, ShapeContent{"#E8DCCA", "#333", 3, "Section title", 28}, frame));
    if (i % 3 == 1)
      items.push_back(testing::contentItem(
          i, TextContent{"Warm reds against cold blues, amber for accents.", "#222", 24}, frame));
    if (i % 3 == 2) items.push_back(testing::contentItem(i, drawing, frame));
  }
  const BoardLayout layout(items, {});
  const double scale = 256 / std::max(layout.width, layout.height);
  const auto width = static_cast<std::int32_t>(layout.width * scale), height = static_cast<std::int32_t>(layout.height * scale);
  const auto picture = [&](auto wrap) {
    return *RasterCanvas::render(width, height, [&](DrawingContext& target) {
      target.scale(scale, scale);
      auto context = wrap(target);
      BoardCGRenderer::draw(layout, context, ImageMap{}, "#F5F2EC");
    });
  };
  const Raster quick = picture([](DrawingContext& target) { return Target(target, true); });
  const Raster full = picture([](DrawingContext& target) { return Target(target, false); });
  const Raster textless = picture([](DrawingContext& target) { return testing::WithoutText(target); });
  // Pixel by pixel, glyphs and dashes against bars and lines: 1.04 when this was written.
  EXPECT_GT(difference(quick, full, 1), 0);
  EXPECT_LT(difference(quick, full, 1), 1.5);
  // In tone: 0.48, against 1.94 for the picture that lost its text.
  EXPECT_LT(difference(quick, full, 3), difference(textless, full, 3) / 3);
}

// Text and dashes of ordinary size keep every pixel: the references were drawn before small marks had a
// way of their own.
TEST(SmallMarks, ExampleBoardKeepsItsPixels) {
  const BoardBundle bundle = BoardArchive::read(std::string(ZORVI_SOURCE_DIR) + "/examples/example.zorvi");
  for (const int size : {256, 512}) {
    SCOPED_TRACE(size);
    const auto picture = BoardPreviewRenderer::render(bundle, size);
    ASSERT_TRUE(picture);
    EXPECT_EQ(testing::compareWithGolden(*picture, "example_board_" + std::to_string(size), 0), "");
  }
}

}  // namespace
}  // namespace zorvi
