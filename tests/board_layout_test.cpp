#include "zorvi/board_layout.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace zorvi {

// Readable failures; gtest finds it by argument-dependent lookup.
void PrintTo(const Frame& f, std::ostream* os) {
  *os << '(' << f.x << ", " << f.y << ", " << f.width << ", " << f.height << ')';
}

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

Uuid idNumber(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

CanvasItem image(std::uint8_t n, Frame frame, std::optional<std::string> caption = std::nullopt,
                 std::int64_t zIndex = 0) {
  return CanvasItem(idNumber(n), "images/a.png", "thumbnails/a.png", frame, zIndex, {}, {},
                    std::move(caption), std::nullopt, false, std::nullopt);
}

CanvasItem drawing(std::uint8_t n, Frame frame, double strokeWidth) {
  return CanvasItem(idNumber(n), DrawingContent{{{0, 0}, {1, 1}}, "#000000", strokeWidth, {}}, frame, 0,
                    false, std::nullopt);
}

TEST(BoardLayout, ContentFrameAndCaptionFrame) {
  struct Row {
    const char* name;
    CanvasItem item;
    CaptionHeights heights;
    Frame content;
    std::optional<Frame> caption;  // of the whole-board layout of the item alone
  };
  const Frame f{10, 20, 100, 50};
  CanvasItem noDrawing = drawing(1, {0, 0, 100, 100}, 10);
  noDrawing.drawing.reset();
  CanvasItem textWithCaption(idNumber(1), TextContent{"x", "#000000", 44}, f, 0, false, std::nullopt);
  textWithCaption.caption = "A";
  CanvasItem shapeWithCaption(idNumber(1), ShapeContent{}, f, 0, false, std::nullopt);
  shapeWithCaption.caption = "A";
  CanvasItem drawingWithCaption = drawing(1, f, 0);
  drawingWithCaption.caption = "A";
  const Row rows[] = {
      {"captioned image", image(1, f, "A"), {{idNumber(1), 22}}, {10, 20, 100, 78}, Frame{0, 56, 100, 22}},
      {"blank caption counts",
       image(1, f, "  "),
       {{idNumber(1), 4}},
       {10, 20, 100, 60},
       Frame{0, 56, 100, 4}},
      {"empty map", image(1, f, "A"), {}, f, std::nullopt},
      {"height for another id", image(1, f, "A"), {{idNumber(2), 22}}, f, std::nullopt},
      {"empty caption", image(1, f, ""), {{idNumber(1), 22}}, f, std::nullopt},
      {"no caption", image(1, f), {{idNumber(1), 22}}, f, std::nullopt},
      {"zero height", image(1, f, "A"), {{idNumber(1), 0}}, f, std::nullopt},
      {"negative height", image(1, f, "A"), {{idNumber(1), -5}}, f, std::nullopt},
      {"NaN height", image(1, f, "A"), {{idNumber(1), kNaN}}, f, std::nullopt},
      {"text never captioned", textWithCaption, {{idNumber(1), 22}}, f, std::nullopt},
      {"shape never captioned", shapeWithCaption, {{idNumber(1), 22}}, f, std::nullopt},
      {"drawing never captioned", drawingWithCaption, {{idNumber(1), 22}}, f, std::nullopt},
      {"drawing stroke overhang", drawing(1, {0, 0, 100, 100}, 10), {}, {-5, -5, 110, 110}, std::nullopt},
      {"drawing without content has no pad", noDrawing, {}, {0, 0, 100, 100}, std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(BoardLayout::contentFrame(row.item, row.heights), row.content);
    const BoardLayout layout(std::vector{row.item}, row.heights);
    EXPECT_EQ(layout.width, row.content.width);
    EXPECT_EQ(layout.height, row.content.height);
    ASSERT_EQ(layout.items.size(), 1u);
    // The placed frame is the item's own frame, so it starts at the pad, not at 0.
    EXPECT_EQ(layout.items[0].frame,
              (Frame{row.item.frame.x - row.content.x, row.item.frame.y - row.content.y, row.item.frame.width,
                     row.item.frame.height}));
    EXPECT_EQ(layout.items[0].captionFrame, row.caption);
    EXPECT_EQ(layout.items[0].item, row.item);
  }
}

TEST(BoardLayout, WholeBoardIsTheBoundingBoxOfContentFrames) {
  struct Row {
    const char* name;
    std::vector<CanvasItem> items;
    double width, height;
    std::vector<Frame> placed;
  };
  const Row rows[] = {
      {"no items", {}, 0, 0, {}},
      {"two corners",
       {image(1, {0, 0, 10, 10}), image(2, {90, 40, 10, 10})},
       100,
       50,
       {{0, 0, 10, 10}, {90, 40, 10, 10}}},
      {"negative coordinates",
       {image(1, {-50, -30, 20, 20}), image(2, {-10, -10, 10, 10})},
       50,
       30,
       {{0, 0, 20, 20}, {40, 20, 10, 10}}},
      {"nested item does not grow the box",
       {image(1, {0, 0, 100, 100}), image(2, {10, 10, 5, 5})},
       100,
       100,
       {{0, 0, 100, 100}, {10, 10, 5, 5}}},
      {"drawing overhang on the left edge only",
       {image(1, {0, 0, 100, 100}), drawing(2, {0, 50, 10, 10}, 4)},
       102,
       100,
       {{2, 0, 100, 100}, {2, 50, 10, 10}}},
      {"negative width item", {image(1, {10, 10, -20, 5})}, 0, 5, {{0, 0, -20, 5}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardLayout layout(row.items, {});
    EXPECT_EQ(layout.width, row.width);
    EXPECT_EQ(layout.height, row.height);
    ASSERT_EQ(layout.items.size(), row.placed.size());
    for (std::size_t i = 0; i < row.placed.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(layout.items[i].frame, row.placed[i]);
    }
  }
}

TEST(BoardLayout, DrawingOrderIsAStableSortByZIndex) {
  std::vector<CanvasItem> items;
  const std::int64_t zs[] = {2, -1, 2, 0, std::numeric_limits<std::int64_t>::min(), 2, 0};
  for (std::uint8_t i = 0; i < std::size(zs); ++i) items.push_back(image(i, {double(i), 0, 1, 1}, {}, zs[i]));
  const std::vector<std::uint8_t> expected = {4, 1, 3, 6, 0, 2, 5};
  const Frame everything{-100, -100, 1000, 1000};
  for (const BoardLayout& layout : {BoardLayout(items, {}), BoardLayout(items, {}, everything)}) {
    ASSERT_EQ(layout.items.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(layout.items[i].item.id, idNumber(expected[i]));
    }
  }
}

TEST(BoardLayout, RectangleKeepsStrictlyOverlappingItemsWhole) {
  struct Row {
    const char* name;
    CanvasItem item;
    CaptionHeights heights;
    Frame bounds;
    std::optional<Frame> placed;  // absent: dropped
  };
  const Frame page{0, 0, 100, 100};
  const Row rows[] = {
      {"touches the right edge", image(1, {100, 0, 10, 10}), {}, page, std::nullopt},
      {"touches the left edge", image(1, {-10, 0, 10, 10}), {}, page, std::nullopt},
      {"touches the bottom edge", image(1, {0, 100, 10, 10}), {}, page, std::nullopt},
      {"touches the top edge", image(1, {0, -10, 10, 10}), {}, page, std::nullopt},
      {"crosses the right edge", image(1, {99, 0, 10, 10}), {}, page, Frame{99, 0, 10, 10}},
      {"crosses the top-left corner", image(1, {-5, -5, 10, 10}), {}, page, Frame{-5, -5, 10, 10}},
      {"covers the page", image(1, {-50, -50, 200, 200}), {}, page, Frame{-50, -50, 200, 200}},
      {"far away", image(1, {500, 500, 10, 10}), {}, page, std::nullopt},
      {"moved origin", image(1, {210, 310, 5, 5}), {}, {200, 300, 50, 60}, Frame{10, 10, 5, 5}},
      {"caption reaches in",
       image(1, {0, 0, 10, 10}, "A"),
       {{idNumber(1), 20}},
       {0, 30, 10, 10},
       Frame{0, -30, 10, 10}},
      {"caption too short",
       image(1, {0, 0, 10, 10}, "A"),
       {{idNumber(1), 14}},
       {0, 30, 10, 10},
       std::nullopt},
      {"drawing overhang reaches in", drawing(1, {100, 0, 10, 10}, 2), {}, page, Frame{100, 0, 10, 10}},
      {"zero-size item inside", image(1, {50, 50, 0, 0}), {}, page, Frame{50, 50, 0, 0}},
      {"zero-size item on the corner", image(1, {0, 0, 0, 0}), {}, page, std::nullopt},
      {"NaN x", image(1, {kNaN, 0, 10, 10}), {}, page, std::nullopt},
      {"NaN height", image(1, {0, 0, 10, kNaN}), {}, page, std::nullopt},
      {"NaN stroke width", drawing(1, {0, 0, 10, 10}, kNaN), {}, page, std::nullopt},
      {"NaN bounds", image(1, {0, 0, 10, 10}), {}, {kNaN, 0, 100, 100}, std::nullopt},
      {"unbounded to the right",
       image(1, {1e300, 0, 10, 10}),
       {},
       {0, 0, INFINITY, 100},
       Frame{1e300, 0, 10, 10}},
      {"unbounded both ways sums to NaN",
       image(1, {0, 0, 10, 10}),
       {},
       {-INFINITY, 0, INFINITY, 100},
       std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardLayout layout(std::vector{row.item}, row.heights, row.bounds);
    ASSERT_EQ(layout.items.size(), row.placed ? 1u : 0u);
    if (row.placed) {
      EXPECT_EQ(layout.items[0].frame, *row.placed);
    }
  }
}

TEST(BoardLayout, RectangleSizeIsTheBoundsSizeNeverNegative) {
  struct Row {
    const char* name;
    Frame bounds;
    double width, height;
  };
  const Row rows[] = {
      {"plain", {200, 300, 50, 60}, 50, 60},
      {"negative width", {0, 0, -3, 10}, 0, 10},
      {"negative height", {0, 0, 10, -0.5}, 10, 0},
      {"NaN size", {0, 0, kNaN, kNaN}, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardLayout layout(std::vector{image(1, {0, 0, 10, 10})}, {}, row.bounds);
    EXPECT_EQ(layout.width, row.width);
    EXPECT_EQ(layout.height, row.height);
  }
}

TEST(BoardLayout, CaptionFrameFollowsThePlacedImageInARectangle) {
  const CanvasItem item = image(7, {210, 310, 40, 20}, "caption", 3);
  const BoardLayout layout(std::vector{item}, {{idNumber(7), 12}}, {200, 300, 50, 60});
  ASSERT_EQ(layout.items.size(), 1u);
  EXPECT_EQ(layout.items[0], BoardLayout::PlacedItem(item, {10, 10, 40, 20}, Frame{10, 36, 40, 12}));
}

TEST(BoardLayout, NaNFrameInWholeBoardDegradesWithoutDroppingItems) {
  // A NaN edge met after a number is ignored; the other items still place from the true origin.
  const BoardLayout later(std::vector{image(1, {10, 10, 10, 10}), image(2, {kNaN, kNaN, 5, 5})}, {});
  EXPECT_EQ(later.width, 10);
  EXPECT_EQ(later.height, 10);
  ASSERT_EQ(later.items.size(), 2u);
  EXPECT_EQ(later.items[0].frame, (Frame{0, 0, 10, 10}));
  EXPECT_TRUE(std::isnan(later.items[1].frame.x));

  const BoardLayout first(std::vector{image(1, {kNaN, 0, 10, 10}), image(2, {0, 0, 10, 10})}, {});
  EXPECT_EQ(first.width, 0);
  EXPECT_EQ(first.height, 10);
  EXPECT_EQ(first.items.size(), 2u);
}

TEST(BoardLayout, StyleConstantsListSizesInAscendingOrder) {
  EXPECT_TRUE(std::is_sorted(TextLayout::allSizes.begin(), TextLayout::allSizes.end()));
  EXPECT_TRUE(std::is_sorted(SectionTitleStyle::allSizes.begin(), SectionTitleStyle::allSizes.end()));
  EXPECT_NE(std::find(TextLayout::allSizes.begin(), TextLayout::allSizes.end(), TextLayout::defaultFontSize),
            TextLayout::allSizes.end());
  EXPECT_NE(std::find(SectionTitleStyle::allSizes.begin(), SectionTitleStyle::allSizes.end(),
                      SectionTitleStyle::defaultFontSize),
            SectionTitleStyle::allSizes.end());
}

}  // namespace
}  // namespace zorvi
