#include "zorvi/board_renderer.hpp"

#include <gtest/gtest.h>

#include "support/recording_context.hpp"
#include "support/test_images.hpp"

namespace zorvi {
namespace {

using testing::FixedAdvanceMeasurer;
using Style = DrawingContent::LineStyle;

Uuid idNumber(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

CanvasItem shapeItem(ShapeContent shape) {
  return CanvasItem(idNumber(1), std::move(shape), {}, 0, false, {});
}
CanvasItem textItem(std::string color) {
  return CanvasItem(idNumber(2), TextContent{"one", std::move(color), 10}, {}, 0, false, {});
}
CanvasItem drawingItem(std::vector<DrawingPoint> points, std::string color, double width, Style style) {
  return CanvasItem(idNumber(3), DrawingContent{std::move(points), std::move(color), width, style}, {}, 0,
                    false, {});
}
CanvasItem imageItem(std::uint8_t n, std::optional<std::string> caption,
                     std::optional<CaptionAlignment> alignment = std::nullopt) {
  return CanvasItem(idNumber(n), "images/a.png", "thumbnails/a.png", {}, 0, {}, {}, std::move(caption),
                    alignment, false, {});
}

std::string traceOf(double width, double height, std::vector<BoardLayout::PlacedItem> items,
                    std::string_view background = "", const ImageMap& images = {},
                    const FixedAdvanceMeasurer& measurer = {}) {
  BoardLayout layout;
  layout.width = width;
  layout.height = height;
  layout.items = std::move(items);
  testing::RecordingContext context(measurer);
  BoardCGRenderer::draw(layout, context, images, background);
  return context.trace;
}

TEST(BoardCGRenderer, ParsesHexColoursByItsOwnGrammar) {
  const std::pair<std::string_view, std::optional<Color>> rows[] = {
      {"#fff", Color{1, 1, 1, 1}},
      {"\u00A0 #1A2b3C\u2028", Color{0x1A / 255.0, 0x2B / 255.0, 0x3C / 255.0, 1}},
      {"#+12345", Color{0x01 / 255.0, 0x23 / 255.0, 0x45 / 255.0, 1}},
      {"#-00000", Color{0, 0, 0, 1}},
      {"#-00001", std::nullopt},
      {"1A2B3C", std::nullopt},
      {"#1A2B3C4D", std::nullopt},
      {"#12345", std::nullopt},
      {"#GGGGGG", std::nullopt},
      {"#+12", std::nullopt},       // the short form doubles the sign into the middle
      {"#ab\u0301", std::nullopt},  // three characters, one of them not a digit
  };
  for (const auto& [hex, color] : rows) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(BoardCGRenderer::cgColor(hex), color);
  }
}

TEST(BoardCGRenderer, FillsTheBackgroundOnlyWhenItsColourParses) {
  EXPECT_EQ(traceOf(0.5, 0.25, {}, "#000000"), "fillRect 0 0 1 1 #000000\n");
  EXPECT_EQ(traceOf(300, 200, {}, "black"), "");
}

TEST(BoardCGRenderer, ShapesFillThenStrokeInsideTheirFrame) {
  const std::tuple<const char*, ShapeContent, std::string> rows[] = {
      {"flipped, filled, then stroked inset by half the width",
       {"#00ff00", "#0000ff", 4, std::nullopt, std::nullopt},
       "fillRect 10 40 30 40 #00FF00\nstrokeRect 12 42 26 36 #0000FF width 4\n"},
      {"empty and invalid colours draw nothing", {"", "blue", 3, std::nullopt, std::nullopt}, ""},
      {"a stroke wider than the frame has nothing to stroke",
       {std::nullopt, "#000", 31, std::nullopt, std::nullopt},
       ""},
  };
  for (const auto& [name, shape, trace] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(traceOf(100, 100, {{shapeItem(shape), {10, 20, 30, 40}, std::nullopt}}), trace);
  }
}

TEST(BoardCGRenderer, DrawingsAreOpenPolylinesInTheirFrame) {
  const std::tuple<const char*, CanvasItem, std::string> rows[] = {
      {"solid, corner to corner", drawingItem({{0, 0}, {1, 1}}, "#000000", 3, Style::solid),
       "strokePolyline 10 90 110 40 #000000 width 3\n"},
      {"dashes of 3w and gaps of 2w", drawingItem({{0, 0}, {0.5, 0.5}, {1, 0}}, "#FF0000", 2, Style::dashed),
       "strokePolyline 10 90 60 65 110 90 #FF0000 width 2 dash 6 4\n"},
      {"one point draws nothing", drawingItem({{0.5, 0.5}}, "#000", 3, Style::solid), ""},
      {"invalid colour draws nothing", drawingItem({{0, 0}, {1, 1}}, "red", 3, Style::solid), ""},
  };
  for (const auto& [name, item, trace] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(traceOf(200, 100, {{item, {10, 10, 100, 50}, std::nullopt}}), trace);
  }
}

TEST(BoardCGRenderer, SectionTitlesSitInsetAndAreCutWhenTooWide) {
  // Each character advances half the font size; the ascent is 0.75 of it.
  const auto titled = [](std::optional<std::string> fill, std::string title, std::optional<double> size) {
    return ShapeContent{std::move(fill), std::nullopt, 3, std::move(title), size};
  };
  const std::tuple<const char*, ShapeContent, double, std::string_view, std::string> rows[] = {
      {"default size 28 at the top-left inset", titled({}, "Ideas", {}), 300, "",
       "drawTextLine 20 169 sansSemibold 28 #000000 \"Ideas\"\n"},
      {"a line exactly as wide as the room is whole", titled({}, "0123456789", 20), 120, "",
       "drawTextLine 20 175 sansSemibold 20 #000000 \"0123456789\"\n"},
      {"a line half a unit too wide is cut", titled({}, "0123456789", 20.1), 120, "",
       "drawTextLine 20 174.925 sansSemibold 20.1 #000000 truncate 100 \"0123456789\"\n"},
      {"a shape 20 wide has no room", titled({}, "A", 20), 20, "", ""},
      {"a blank title is not drawn", titled({}, " \n", 20), 300, "", ""},
      {"white on a black canvas", titled({}, "A", 20), 300, "#000000",
       "fillRect 0 0 400 200 #000000\ndrawTextLine 20 175 sansSemibold 20 #FFFFFF \"A\"\n"},
      {"a white fill wins over the canvas", titled("#FFFFFF", "A", 20), 300, "#000000",
       "fillRect 0 0 400 200 #000000\nfillRect 10 50 300 150 #FFFFFF\n"
       "drawTextLine 20 175 sansSemibold 20 #000000 \"A\"\n"},
  };
  for (const auto& [name, shape, width, background, trace] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(traceOf(400, 200, {{shapeItem(shape), {10, 0, width, 150}, std::nullopt}}, background), trace);
  }
}

TEST(BoardCGRenderer, TextBoxesStartAtTheItemTopAndGrowDownwards) {
  const std::tuple<const char*, std::string, double, double, std::string> rows[] = {
      {"text taller than the item runs on below it", "#111111", 200, 9.53,
       "drawTextBox 5 -6 200 96 sans 10 #111111 left \"one\"\n"},
      {"short text fills the item's height", "#111111", 200, 1,
       "drawTextBox 5 50 200 40 sans 10 #111111 left \"one\"\n"},
      {"a word instead of a hex colour draws nothing", "red", 200, 1, ""},
      {"an item without width draws nothing", "#111111", 0, 1, ""},
  };
  for (const auto& [name, color, width, lineHeight, trace] : rows) {
    SCOPED_TRACE(name);
    FixedAdvanceMeasurer measurer;
    measurer.lineHeight = lineHeight;
    EXPECT_EQ(traceOf(300, 100, {{textItem(color), {5, 10, width, 40}, std::nullopt}}, "", {}, measurer),
              trace);
  }
}

TEST(BoardCGRenderer, ImagesAreDrawnStretchedOrSkippedWithTheirCaption) {
  const ImageMap images{{idNumber(7), {testing::bandedPNG(20, 10, {{1, 0, 0, 1}}), "image/png"}},
                        {idNumber(8), {{0x89, 'P', 'N', 'G', 1, 2, 3}, "image/png"}}};
  const std::string drawn = "drawImage 10 30 60 60 20x10\n";
  const std::tuple<const char*, CanvasItem, std::string_view, std::string> rows[] = {
      {"drawn into its frame, caption below", imageItem(7, "Sea", CaptionAlignment::trailing), "",
       drawn + "drawTextBox 10 0 60 24 monospaceItalic 18 #000000 right \"Sea\"\n"},
      {"caption left-aligned when no alignment is stored", imageItem(7, "Sea"), "",
       drawn + "drawTextBox 10 0 60 24 monospaceItalic 18 #000000 left \"Sea\"\n"},
      {"caption in the contrast colour of the canvas", imageItem(7, "Sea"), "#202020",
       "fillRect 0 0 100 100 #202020\n" + drawn +
           "drawTextBox 10 0 60 24 monospaceItalic 18 #FFFFFF left \"Sea\"\n"},
      {"an empty caption is not set", imageItem(7, ""), "", drawn},
      {"undecodable bytes skip item and caption", imageItem(8, "Sea"), "", ""},
      {"no bytes skip item and caption", imageItem(9, "Sea"), "", ""},
  };
  for (const auto& [name, item, background, trace] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(traceOf(100, 100, {{item, {10, 10, 60, 60}, Frame{10, 76, 60, 24}}}, background, images),
              trace);
  }
}

TEST(BoardCGRenderer, ItemsFollowTheLayoutOrderAndSkipMissingContent) {
  CanvasItem contentless = textItem("#000");
  contentless.text.reset();
  const auto fill = [](std::string color) { return shapeItem({std::move(color), {}, 3, {}, {}}); };
  EXPECT_EQ(
      traceOf(100, 100,
              {{fill("#0000FF"), {0, 0, 50, 50}, std::nullopt},
               {contentless, {0, 0, 50, 50}, Frame{0, 56, 50, 10}},
               {drawingItem({{0, 0}, {1, 0}}, "#00FF00", 2, Style::solid), {0, 0, 50, 50}, std::nullopt},
               {fill("#FF0000"), {25, 25, 50, 50}, std::nullopt}}),
      "fillRect 0 50 50 50 #0000FF\n"
      "strokePolyline 0 100 50 100 #00FF00 width 2\n"
      "fillRect 25 25 50 50 #FF0000\n");
}

}  // namespace
}  // namespace zorvi
