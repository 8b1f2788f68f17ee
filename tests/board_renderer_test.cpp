#include "zorvi/board_renderer.hpp"

#include <gtest/gtest.h>

#include "support/html_golden.hpp"
#include "support/items.hpp"
#include "support/recording_context.hpp"
#include "support/test_images.hpp"

namespace zorvi {
namespace {

using testing::FixedAdvanceMeasurer;
using Style = DrawingContent::LineStyle;

using testing::idNumber;

CanvasItem shapeItem(ShapeContent shape) { return testing::contentItem(1, std::move(shape)); }
CanvasItem textItem(std::string color) { return testing::contentItem(2, TextContent{"one", std::move(color), 10}); }
CanvasItem drawingItem(std::vector<DrawingPoint> points, std::string color, double width, Style style) {
  return testing::contentItem(3, DrawingContent{std::move(points), std::move(color), width, style});
}
CanvasItem imageItem(std::uint8_t n, std::optional<std::string> caption, std::optional<CaptionAlignment> alignment = {}) {
  return testing::imageItem(n, {}, std::move(caption), alignment);
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
  for (const auto& [hex, color] : rows) EXPECT_EQ(BoardCGRenderer::cgColor(hex), color) << hex;
}

// Every row's drawing calls under its name in tests/golden/render_traces.txt. Each character of the
// fixed measurer advances half the font size; the ascent is 0.75 of it.
TEST(BoardCGRenderer, DrawsEachKindOfItemAsTraced) {
  const auto titled = [](std::optional<std::string> fill, std::string title, std::optional<double> size) {
    return shapeItem({std::move(fill), std::nullopt, 3, std::move(title), size});
  };
  const auto fill = [](std::string color) { return shapeItem({std::move(color), {}, 3, {}, {}}); };
  FixedAdvanceMeasurer tall;
  tall.lineHeight = 9.53;
  CanvasItem contentless = textItem("#000");
  contentless.text.reset();
  const ImageMap images{{idNumber(7), {testing::bandedPNG(20, 10, {{1, 0, 0, 1}}), "image/png"}},
                        {idNumber(8), {{0x89, 'P', 'N', 'G', 1, 2, 3}, "image/png"}}};
  const auto image = [&](CanvasItem item, std::string_view background = "") {
    return traceOf(100, 100, {{std::move(item), {10, 10, 60, 60}, Frame{10, 76, 60, 24}}}, background, images);
  };
  const auto shape = [](CanvasItem item, double width = 30, std::string_view background = "") {
    return traceOf(400, 200, {{std::move(item), {10, 0, width, 150}, std::nullopt}}, background);
  };
  const auto drawing = [](CanvasItem item) { return traceOf(200, 100, {{std::move(item), {10, 10, 100, 50}, std::nullopt}}); };
  const auto text = [](std::string color, double width, const FixedAdvanceMeasurer& measurer = {}) {
    return traceOf(300, 100, {{textItem(std::move(color)), {5, 10, width, 40}, std::nullopt}}, "", {}, measurer);
  };
  const std::pair<const char*, std::string> rows[] = {
      {"background below one unit", traceOf(0.5, 0.25, {}, "#000000")},
      {"unparsable background", traceOf(300, 200, {}, "black")},
      {"shape flipped, filled, then stroked inset by half the width",
       traceOf(100, 100, {{shapeItem({"#00ff00", "#0000ff", 4, std::nullopt, std::nullopt}), {10, 20, 30, 40}, std::nullopt}})},
      {"shape with empty and invalid colours", shape(shapeItem({"", "blue", 3, std::nullopt, std::nullopt}))},
      {"stroke wider than the frame", shape(shapeItem({std::nullopt, "#000", 31, std::nullopt, std::nullopt}))},
      {"stroke as wide as the frame", shape(shapeItem({std::nullopt, "#000", 30, std::nullopt, std::nullopt}))},
      {"drawing solid, corner to corner", drawing(drawingItem({{0, 0}, {1, 1}}, "#000000", 3, Style::solid))},
      {"drawing dashes of 3w and gaps of 2w", drawing(drawingItem({{0, 0}, {0.5, 0.5}, {1, 0}}, "#FF0000", 2, Style::dashed))},
      {"drawing of one point", drawing(drawingItem({{0.5, 0.5}}, "#000", 3, Style::solid))},
      {"drawing in an invalid colour", drawing(drawingItem({{0, 0}, {1, 1}}, "red", 3, Style::solid))},
      {"title of default size at the top-left inset", shape(titled({}, "Ideas", {}), 300)},
      {"title exactly as wide as the room is whole", shape(titled({}, "0123456789", 20), 120)},
      {"title half a unit too wide is cut", shape(titled({}, "0123456789", 20.1), 120)},
      {"title in a shape 20 wide", shape(titled({}, "A", 20), 20)},
      {"blank title", shape(titled({}, " \n", 20), 300)},
      {"title white on a black canvas", shape(titled({}, "A", 20), 300, "#000000")},
      {"title on a white fill over a black canvas", shape(titled("#FFFFFF", "A", 20), 300, "#000000")},
      {"text taller than the item runs on below it", text("#111111", 200, tall)},
      {"short text fills the item's height", text("#111111", 200)},
      {"text in a word instead of a hex colour", text("red", 200)},
      {"text in an item without width", text("#111111", 0)},
      {"image and trailing caption", image(imageItem(7, "Sea", CaptionAlignment::trailing))},
      {"image and caption without alignment", image(imageItem(7, "Sea"))},
      {"caption in the contrast colour of the canvas", image(imageItem(7, "Sea"), "#202020")},
      {"image with an empty caption", image(imageItem(7, ""))},
      {"undecodable image and its caption", image(imageItem(8, "Sea"))},
      {"image without bytes and its caption", image(imageItem(9, "Sea"))},
      {"layout order, content missing",
       traceOf(100, 100,
               {{fill("#0000FF"), {0, 0, 50, 50}, std::nullopt},
                {contentless, {0, 0, 50, 50}, Frame{0, 56, 50, 10}},
                {drawingItem({{0, 0}, {1, 0}}, "#00FF00", 2, Style::solid), {0, 0, 50, 50}, std::nullopt},
                {fill("#FF0000"), {25, 25, 50, 50}, std::nullopt}})},
  };
  std::string transcript;
  for (const auto& [name, trace] : rows) transcript += "# " + std::string(name) + "\n" + trace;
  testing::expectMatchesGolden("render_traces", transcript, "txt");
}

}  // namespace
}  // namespace zorvi
