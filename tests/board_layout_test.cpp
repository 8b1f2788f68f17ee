#include "zorvi/board_layout.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/geometry_printers.hpp"
#include "support/items.hpp"

namespace zorvi {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr auto id = &testing::idNumber;

CanvasItem image(Frame frame, std::optional<std::string> caption = {}, std::int64_t z = 0, std::uint8_t n = 1) {
  return testing::imageItem(n, frame, std::move(caption), {}, z);
}

// Captioned, so that only the item's kind keeps the caption away.
CanvasItem captioned(CanvasItem item) {
  item.caption = "A";
  return item;
}

CanvasItem drawing(Frame frame, double strokeWidth) {
  return testing::contentItem(1, DrawingContent{{}, "#000000", strokeWidth, {}}, frame);
}

TEST(BoardLayout, ContentFrameCaptionFrameAndWholeBoardOfOneItem) {
  const Frame f{10, 20, 100, 50};
  CanvasItem bareDrawing = drawing({0, 0, 100, 100}, 10);
  bareDrawing.drawing.reset();
  const std::tuple<const char*, CanvasItem, CaptionHeights, Frame, std::optional<Frame>> rows[] = {
      {"captioned image", image(f, "A"), {{id(1), 22}}, {10, 20, 100, 78}, Frame{0, 56, 100, 22}},
      {"blank caption counts", image(f, " "), {{id(1), 4}}, {10, 20, 100, 60}, Frame{0, 56, 100, 4}},
      {"height of another item", image(f, "A"), {{id(2), 22}}, f, {}},
      {"empty caption", image(f, ""), {{id(1), 22}}, f, {}},
      {"no caption", image(f), {{id(1), 22}}, f, {}},
      {"zero height", image(f, "A"), {{id(1), 0}}, f, {}},
      {"NaN height", image(f, "A"), {{id(1), kNaN}}, f, {}},
      {"text", captioned(testing::contentItem(1, TextContent{}, f)), {{id(1), 22}}, f, {}},
      {"drawing overhangs by half its stroke", captioned(drawing({0, 0, 100, 100}, 10)), {{id(1), 22}}, {-5, -5, 110, 110}, {}},
      {"drawing without content", bareDrawing, {}, {0, 0, 100, 100}, {}},
  };
  for (const auto& [name, item, heights, content, caption] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(BoardLayout::contentFrame(item, heights), content);
    const BoardLayout layout(std::vector{item}, heights);
    EXPECT_EQ(std::pair(layout.width, layout.height), std::pair(content.width, content.height));
    const Frame own{item.frame.x - content.x, item.frame.y - content.y, item.frame.width, item.frame.height};
    ASSERT_EQ(layout.items.size(), 1u);
    EXPECT_EQ(layout.items[0], BoardLayout::PlacedItem(item, own, caption));
  }
}

TEST(BoardLayout, WholeBoardIsTheBoundingBoxOfContentFrames) {
  // Each row: the items, the board's size, where the first item lands.
  const std::tuple<const char*, std::vector<CanvasItem>, PageSize, Frame> rows[] = {
      // Entirely left of and above the origin, so that neither edge can start from 0; the later item
      // lies higher, so the top edge must move past the first item's.
      {"negative coordinates", {image({-50, -15, 20, 20}), image({-20, -30, 10, 10})}, {40, 35},
       {0, 15, 20, 20}},
      {"NaN after a number is ignored", {image({10, 10, 10, 10}), image({kNaN, kNaN, 5, 5})}, {10, 10},
       {0, 0, 10, 10}},
  };
  for (const auto& [name, items, size, first] : rows) {
    SCOPED_TRACE(name);
    const BoardLayout layout(items, {});
    EXPECT_EQ((PageSize{layout.width, layout.height}), size);
    ASSERT_EQ(layout.items.size(), items.size());
    EXPECT_EQ(layout.items[0].frame, first);
  }
  EXPECT_EQ(BoardLayout(std::vector<CanvasItem>{}, {}), BoardLayout());
}

TEST(BoardLayout, DrawingOrderIsAStableSortByZIndex) {
  // Enough items that an unstable sort would show; the id records the input position.
  std::vector<CanvasItem> items;
  for (std::uint8_t i = 0; i < 60; ++i) items.push_back(image({0, 0, 1, 1}, {}, (i * 7) % 5 - 2, i));
  items[30].zIndex = std::numeric_limits<std::int64_t>::min();
  for (const BoardLayout& layout : {BoardLayout(items, {}), BoardLayout(items, {}, {0, 0, 9, 9})}) {
    ASSERT_EQ(layout.items.size(), items.size());
    EXPECT_EQ(layout.items[0].item.id, id(30));
    for (std::size_t k = 1; k < layout.items.size(); ++k) {
      const CanvasItem &a = layout.items[k - 1].item, &b = layout.items[k].item;
      EXPECT_TRUE(a.zIndex < b.zIndex || (a.zIndex == b.zIndex && a.id < b.id)) << k;
    }
  }
}

TEST(BoardLayout, RectangleKeepsWholeTheItemsThatStrictlyOverlapIt) {
  const Frame page{0, 0, 100, 100};
  const std::tuple<const char*, CanvasItem, Frame, std::optional<Frame>> rows[] = {
      {"touches the right edge", image({100, 0, 10, 10}), page, {}},
      {"touches the top edge", image({0, -10, 10, 10}), page, {}},
      {"crosses the top-left corner", image({-5, -5, 10, 10}), page, Frame{-5, -5, 10, 10}},
      {"moved origin", image({210, 310, 5, 5}), {200, 300, 50, 60}, Frame{10, 10, 5, 5}},
      {"caption reaches in", image({0, 0, 10, 10}, "A"), {0, 30, 10, 10}, Frame{0, -30, 10, 10}},
      {"caption ends on the edge", image({0, 0, 10, 10}, "A"), {0, 36, 10, 10}, {}},
      {"stroke overhang reaches in", drawing({100, 0, 10, 10}, 2), page, Frame{100, 0, 10, 10}},
      {"NaN x", image({kNaN, 0, 10, 10}), page, {}},
      {"NaN bounds", image({0, 0, 10, 10}), {0, kNaN, 100, 100}, {}},
  };
  for (const auto& [name, item, bounds, placed] : rows) {
    SCOPED_TRACE(name);
    const BoardLayout layout(std::vector{item}, {{id(1), 20}}, bounds);
    EXPECT_EQ(layout.width, bounds.width);
    EXPECT_EQ(layout.items.empty() ? std::nullopt : std::optional(layout.items[0].frame), placed);
    EXPECT_LE(layout.items.size(), 1u);
  }
  const BoardLayout negative(std::vector{image({0, 0, 10, 10})}, {}, {0, 0, -3, kNaN});
  EXPECT_EQ(std::pair(negative.width, negative.height), std::pair(0.0, 0.0));
}

}  // namespace
}  // namespace zorvi
