#include "zorvi/board_renderer.hpp"

#include <gtest/gtest.h>

#include "support/recording_context.hpp"
#include "support/test_images.hpp"

namespace zorvi {
namespace {

using testing::FixedAdvanceMeasurer;
using testing::RecordingContext;

Uuid idNumber(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

CanvasItem shapeItem(ShapeContent shape) {
  return CanvasItem(idNumber(1), std::move(shape), {}, 0, false, {});
}

CanvasItem textItem(std::string content, std::string color, double fontSize) {
  return CanvasItem(idNumber(2), TextContent{std::move(content), std::move(color), fontSize}, {}, 0, false,
                    {});
}

CanvasItem drawingItem(std::vector<DrawingPoint> points, std::string color, double width,
                       DrawingContent::LineStyle style) {
  return CanvasItem(idNumber(3), DrawingContent{std::move(points), std::move(color), width, style}, {}, 0,
                    false, {});
}

CanvasItem imageItem(std::uint8_t n, std::optional<std::string> caption = std::nullopt,
                     std::optional<CaptionAlignment> alignment = std::nullopt) {
  return CanvasItem(idNumber(n), "images/a.png", "thumbnails/a.png", {}, 0, {}, {}, std::move(caption),
                    alignment, false, {});
}

BoardLayout layoutOf(double width, double height, std::vector<BoardLayout::PlacedItem> items) {
  BoardLayout layout;
  layout.width = width;
  layout.height = height;
  layout.items = std::move(items);
  return layout;
}

std::string traceOf(const BoardLayout& layout, std::string_view background = "", const ImageMap& images = {},
                    const FixedAdvanceMeasurer& measurer = {}) {
  RecordingContext context(measurer);
  BoardCGRenderer::draw(layout, context, images, background);
  return context.trace;
}

TEST(BoardCGRenderer, ParsesHexColoursByItsOwnGrammar) {
  struct Row {
    std::string_view hex;
    std::optional<Color> color;
  };
  const Row rows[] = {
      {"#fff", Color{1, 1, 1, 1}},
      {"  #1A2b3C\n", Color{0x1A / 255.0, 0x2B / 255.0, 0x3C / 255.0, 1}},
      {"#+12345", Color{0x01 / 255.0, 0x23 / 255.0, 0x45 / 255.0, 1}},
      {"#-00000", Color{0, 0, 0, 1}},
      {"\u00A0#000000\u2028", Color{0, 0, 0, 1}},
      {"1A2B3C", std::nullopt},
      {"#1A2B3C4D", std::nullopt},
      {"#12345", std::nullopt},
      {"#1234", std::nullopt},
      {"#", std::nullopt},
      {"", std::nullopt},
      {"#-00001", std::nullopt},
      {"#0x1234", std::nullopt},
      {"##fffff", std::nullopt},
      {"#+12", std::nullopt},       // the short form doubles the sign into the middle
      {"#ab\u0301", std::nullopt},  // three characters, one of them not a digit
      {"#GGGGGG", std::nullopt},
      {"#12 456", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.hex);
    EXPECT_EQ(BoardCGRenderer::cgColor(row.hex), row.color);
  }
}

TEST(BoardCGRenderer, FillsTheBackgroundOnlyWhenItsColourParses) {
  struct Row {
    const char* name;
    BoardLayout layout;
    std::string_view background;
    std::string trace;
  };
  const Row rows[] = {
      {"tiny layout still fills one unit", layoutOf(0.5, 0.25, {}), "#000000", "fillRect 0 0 1 1 #000000\n"},
      {"whole layout", layoutOf(300, 200, {}), "#fff", "fillRect 0 0 300 200 #FFFFFF\n"},
      {"name of a colour", layoutOf(300, 200, {}), "black", ""},
      {"empty", layoutOf(300, 200, {}), "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(traceOf(row.layout, row.background), row.trace);
  }
}

TEST(BoardCGRenderer, ShapesFillThenStrokeInsideTheirFrame) {
  struct Row {
    const char* name;
    ShapeContent shape;
    Frame frame;
    std::string trace;
  };
  const Row rows[] = {
      {"frame flipped into drawing space",
       {"#FF0000", std::nullopt, 3, std::nullopt, std::nullopt},
       {10, 20, 30, 40},
       "fillRect 10 40 30 40 #FF0000\n"},
      {"stroke inset by half its width",
       {std::nullopt, "#000", 4, std::nullopt, std::nullopt},
       {0, 50, 100, 50},
       "strokeRect 2 2 96 46 #000000 width 4\n"},
      {"fill before stroke",
       {"#00ff00", "#0000ff", 1.5, std::nullopt, std::nullopt},
       {0, 0, 10, 10},
       "fillRect 0 90 10 10 #00FF00\nstrokeRect 0.75 90.75 8.5 8.5 #0000FF width 1.5\n"},
      {"empty and invalid colours draw nothing",
       {"", "blue", 3, std::nullopt, std::nullopt},
       {0, 0, 10, 10},
       ""},
      {"stroke wider than the frame has nothing to stroke",
       {std::nullopt, "#000", 12, std::nullopt, std::nullopt},
       {0, 0, 10, 40},
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(traceOf(layoutOf(100, 100, {{shapeItem(row.shape), row.frame, std::nullopt}})), row.trace);
  }
}

TEST(BoardCGRenderer, DrawingsAreOpenPolylinesInTheirFrame) {
  using enum DrawingContent::LineStyle;
  struct Row {
    const char* name;
    CanvasItem item;
    std::string trace;
  };
  const Row rows[] = {
      {"corner to corner", drawingItem({{0, 0}, {1, 1}}, "#000000", 3, solid),
       "strokePolyline 10 90 110 40 #000000 width 3\n"},
      {"dashes of 3w and gaps of 2w", drawingItem({{0, 0}, {0.5, 0.5}, {1, 0}}, "#FF0000", 2, dashed),
       "strokePolyline 10 90 60 65 110 90 #FF0000 width 2 dash 6 4\n"},
      {"points outside the frame stay where they are", drawingItem({{-1, 2}, {0, 0}}, "#000", 1, solid),
       "strokePolyline -90 -10 10 90 #000000 width 1\n"},
      {"one point draws nothing", drawingItem({{0.5, 0.5}}, "#000", 3, solid), ""},
      {"invalid colour draws nothing", drawingItem({{0, 0}, {1, 1}}, "red", 3, solid), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(traceOf(layoutOf(200, 100, {{row.item, {10, 10, 100, 50}, std::nullopt}})), row.trace);
  }
}

TEST(BoardCGRenderer, SectionTitlesSitInsetAndAreCutWhenTooWide) {
  // Each character advances half the font size; the ascent is 0.75 of it.
  struct Row {
    const char* name;
    ShapeContent shape;
    double width;
    std::string_view background;
    std::string trace;
  };
  const auto titled = [](std::optional<std::string> fill, std::string title, std::optional<double> size) {
    return ShapeContent{std::move(fill), std::nullopt, 3, std::move(title), size};
  };
  const Row rows[] = {
      {"default size 28 at the top-left inset", titled(std::nullopt, "Ideas", std::nullopt), 300, "",
       "drawTextLine 20 169 sansSemibold 28 #000000 \"Ideas\"\n"},
      {"a line exactly as wide as the room is whole", titled(std::nullopt, "0123456789", 20), 120, "",
       "drawTextLine 20 175 sansSemibold 20 #000000 \"0123456789\"\n"},
      {"a line half a unit too wide is cut", titled(std::nullopt, "0123456789", 20.1), 120, "",
       "drawTextLine 20 174.925 sansSemibold 20.1 #000000 truncate 100 \"0123456789\"\n"},
      {"a shape 20 wide has no room", titled(std::nullopt, "A", 20), 20, "", ""},
      {"a blank title is not drawn", titled(std::nullopt, " \n", 20), 300, "", ""},
      {"white on a black canvas", titled(std::nullopt, "A", 20), 300, "#000000",
       "fillRect 0 0 400 200 #000000\ndrawTextLine 20 175 sansSemibold 20 #FFFFFF \"A\"\n"},
      {"a white fill wins over the canvas", titled("#FFFFFF", "A", 20), 300, "#000000",
       "fillRect 0 0 400 200 #000000\nfillRect 10 50 300 150 #FFFFFF\n"
       "drawTextLine 20 175 sansSemibold 20 #000000 \"A\"\n"},
      {"an invalid fill is judged alone", titled("navy", "A", 20), 300, "#000000",
       "fillRect 0 0 400 200 #000000\ndrawTextLine 20 175 sansSemibold 20 #000000 \"A\"\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardLayout layout =
        layoutOf(400, 200, {{shapeItem(row.shape), {10, 0, row.width, 150}, std::nullopt}});
    EXPECT_EQ(traceOf(layout, row.background), row.trace);
  }
}

TEST(BoardCGRenderer, TextBoxesStartAtTheItemTopAndGrowDownwards) {
  struct Row {
    const char* name;
    CanvasItem item;
    double lineHeight;  // per unit of font size
    std::string trace;
  };
  const Row rows[] = {
      {"text taller than the item runs on below it", textItem("one", "#111111", 10), 9.53,
       "drawTextBox 5 -6 200 96 sans 10 #111111 left \"one\"\n"},
      {"short text fills the item's height", textItem("one", "#111111", 10), 1,
       "drawTextBox 5 50 200 40 sans 10 #111111 left \"one\"\n"},
      {"a word instead of a hex colour draws nothing", textItem("one", "red", 10), 1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    FixedAdvanceMeasurer measurer;
    measurer.lineHeight = row.lineHeight;
    const BoardLayout layout = layoutOf(300, 100, {{row.item, {5, 10, 200, 40}, std::nullopt}});
    EXPECT_EQ(traceOf(layout, "", {}, measurer), row.trace);
  }
  const BoardLayout narrow =
      layoutOf(300, 100, {{textItem("one", "#111111", 10), {5, 10, 0, 40}, std::nullopt}});
  EXPECT_EQ(traceOf(narrow), "");
}

TEST(BoardCGRenderer, ImagesAreDrawnStretchedOrSkippedWithTheirCaption) {
  const ImageMap images{{idNumber(7), {testing::bandedPNG(20, 10, {{1, 0, 0, 1}}), "image/png"}},
                        {idNumber(8), {{0x89, 'P', 'N', 'G', 1, 2, 3}, "image/png"}}};
  struct Row {
    const char* name;
    CanvasItem item;
    std::string trace;
  };
  const Row rows[] = {
      {"drawn into its frame, caption below", imageItem(7, "Sea", CaptionAlignment::trailing),
       "drawImage 10 30 60 60 20x10\ndrawTextBox 10 0 60 24 monospaceItalic 18 #000000 right \"Sea\"\n"},
      {"caption left-aligned when no alignment is stored", imageItem(7, "Sea"),
       "drawImage 10 30 60 60 20x10\ndrawTextBox 10 0 60 24 monospaceItalic 18 #000000 left \"Sea\"\n"},
      {"a blank caption is still set", imageItem(7, "  "),
       "drawImage 10 30 60 60 20x10\ndrawTextBox 10 0 60 24 monospaceItalic 18 #000000 left \"  \"\n"},
      {"an empty caption is not", imageItem(7, ""), "drawImage 10 30 60 60 20x10\n"},
      {"undecodable bytes skip item and caption", imageItem(8, "Sea"), ""},
      {"no bytes skip item and caption", imageItem(9, "Sea"), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardLayout layout = layoutOf(100, 100, {{row.item, {10, 10, 60, 60}, Frame{10, 76, 60, 24}}});
    EXPECT_EQ(traceOf(layout, "", images), row.trace);
  }
}

TEST(BoardCGRenderer, CaptionsTakeTheCanvasContrastColour) {
  const ImageMap images{{idNumber(7), {testing::bandedPNG(4, 4, {{0, 0, 1, 1}}), "image/png"}}};
  const BoardLayout layout = layoutOf(10, 20, {{imageItem(7, "c"), {0, 0, 10, 10}, Frame{0, 16, 10, 4}}});
  EXPECT_EQ(traceOf(layout, "#202020", images),
            "fillRect 0 0 10 20 #202020\ndrawImage 0 10 10 10 4x4\n"
            "drawTextBox 0 -19 10 23 monospaceItalic 18 #FFFFFF left \"c\"\n");
  EXPECT_EQ(traceOf(layout, "#ffffff", images),
            "fillRect 0 0 10 20 #FFFFFF\ndrawImage 0 10 10 10 4x4\n"
            "drawTextBox 0 -19 10 23 monospaceItalic 18 #000000 left \"c\"\n");
  EXPECT_EQ(traceOf(layout, "dark", images),
            "drawImage 0 10 10 10 4x4\ndrawTextBox 0 -19 10 23 monospaceItalic 18 #000000 left \"c\"\n");
}

TEST(BoardCGRenderer, ItemsFollowTheLayoutOrderAndSkipMissingContent) {
  CanvasItem contentless = textItem("x", "#000", 10);
  contentless.text.reset();
  const BoardLayout layout = layoutOf(
      100, 100,
      {{shapeItem({"#0000FF", std::nullopt, 3, std::nullopt, std::nullopt}), {0, 0, 50, 50}, std::nullopt},
       {contentless, {0, 0, 50, 50}, Frame{0, 56, 50, 10}},
       {drawingItem({{0, 0}, {1, 0}}, "#00FF00", 2, DrawingContent::LineStyle::solid),
        {0, 0, 50, 50},
        std::nullopt},
       {shapeItem({"#FF0000", std::nullopt, 3, std::nullopt, std::nullopt}),
        {25, 25, 50, 50},
        std::nullopt}});
  EXPECT_EQ(traceOf(layout),
            "fillRect 0 50 50 50 #0000FF\n"
            "strokePolyline 0 100 50 100 #00FF00 width 2\n"
            "fillRect 25 25 50 50 #FF0000\n");
}

}  // namespace
}  // namespace zorvi
