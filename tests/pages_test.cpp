#include "zorvi/page_layout.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "zorvi/page_chrome.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi {
namespace {

using Cell = std::pair<std::int64_t, std::int64_t>;  // (column, row)

constexpr PageSetup kA4 = PageSetup::defaultSetup();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<Cell> cellsOf(const std::vector<PageGrid::Tile>& tiles) {
  std::vector<Cell> out;
  for (const auto& t : tiles) out.emplace_back(t.column, t.row);
  return out;
}

TEST(PageScale, PointsPerWorldUnitIs72Over110) {
  EXPECT_EQ(PageScale::referenceDPI, 110);
  EXPECT_DOUBLE_EQ(PageScale::pointsPerWorldUnit, 0.6545454545454545);
  EXPECT_NEAR(kA4.size().width * PageScale::pointsPerWorldUnit, 594.98, 0.005);
}

TEST(PageGrid, VisibleTilesInReadingOrder) {
  struct Row {
    const char* name;
    PageSetup setup;
    Frame rect;
    std::vector<Cell> cells;
  };
  const PageSetup a4Landscape{PageFormat::a4, PageOrientation::landscape};
  const Row rows[] = {
      {"around the origin", kA4, {-10, -10, 20, 20}, {{-1, -1}, {0, -1}, {-1, 0}, {0, 0}}},
      {"exactly one page", kA4, {0, 0, 909, 1286}, {{0, 0}}},
      {"one unit over the right edge", kA4, {0, 0, 910, 1286}, {{0, 0}, {1, 0}}},
      {"landscape swaps the grid", a4Landscape, {1200, 1000, 100, 10}, {{0, 1}, {1, 1}}},
      {"zero width", kA4, {0, 0, 0, 100}, {}},
      {"negative height", kA4, {0, 0, 10, -1}, {}},
      {"NaN width", kA4, {0, 0, kNaN, 10}, {}},
      {"NaN origin", kA4, {kNaN, 0, 10, 10}, {}},
      {"infinite width", kA4, {0, 0, kInf, 10}, {}},
      {"beyond the index range", kA4, {1e300, 0, 10, 10}, {}},
      {"more pages than any export", kA4, {0, 0, 909.0 * 2000, 1286.0 * 2000}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(cellsOf(PageGrid::visibleTiles(row.setup, row.rect)), row.cells);
  }
  EXPECT_EQ(PageGrid::visibleTiles(kA4, {-10, -10, 20, 20}).front().frame, (Frame{-909, -1286, 909, 1286}));
}

// Every tile lies on the grid, the tiles are distinct and in reading order, and together they cover
// the rectangle with no tile that it leaves untouched.
TEST(PageGrid, TilesCoverRandomRectanglesExactly) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> pos(-5000, 5000), len(0.5, 3000);
  for (int i = 0; i < 500; ++i) {
    const PageSetup setup{allPageFormats[i % 6], i % 2 ? PageOrientation::landscape : PageOrientation::portrait};
    const PageSize page = setup.size();
    const Frame rect{pos(rng), pos(rng), len(rng), len(rng)};
    const auto tiles = PageGrid::visibleTiles(setup, rect);
    ASSERT_FALSE(tiles.empty());
    for (std::size_t k = 0; k < tiles.size(); ++k) {
      const auto& t = tiles[k];
      EXPECT_EQ(t.frame, (Frame{page.width * static_cast<double>(t.column), page.height * static_cast<double>(t.row),
                                page.width, page.height}));
      // overlap with positive area
      EXPECT_LT(t.frame.x, rect.x + rect.width);
      EXPECT_LT(rect.x, t.frame.x + t.frame.width);
      EXPECT_LT(t.frame.y, rect.y + rect.height);
      EXPECT_LT(rect.y, t.frame.y + t.frame.height);
      if (k > 0) {
        EXPECT_LT(std::make_pair(tiles[k - 1].row, tiles[k - 1].column), std::make_pair(t.row, t.column));
      }
    }
    const auto& first = tiles.front();
    const auto& last = tiles.back();
    EXPECT_LE(first.frame.x, rect.x);
    EXPECT_LE(first.frame.y, rect.y);
    EXPECT_GE(last.frame.x + last.frame.width, rect.x + rect.width);
    EXPECT_GE(last.frame.y + last.frame.height, rect.y + rect.height);
  }
}

TEST(PageExportPlan, PagesThatItemsReachInReadingOrder) {
  struct Row {
    const char* name;
    std::vector<Frame> frames;
    std::vector<Cell> cells;
  };
  const Row rows[] = {
      {"one item", {{100, 100, 200, 200}}, {{0, 0}}},
      {"rows sort before columns", {{1000, 100, 50, 50}, {100, 1300, 50, 50}}, {{1, 0}, {0, 1}}},
      {"crossing both boundaries", {{850, 1200, 100, 100}}, {{0, 0}, {1, 0}, {0, 1}, {1, 1}}},
      {"left of the origin", {{-50, 0, 40, 40}}, {{-1, 0}}},
      {"same tile twice", {{10, 10, 5, 5}, {20, 20, 5, 5}}, {{0, 0}}},
      {"empty frames", {{0, 0, 0, 10}, {0, 0, 10, -1}, {kNaN, 0, 1, 1}}, {}},
      {"exactly one page", {{0, 0, 909, 1286}}, {{0, 0}}},
      {"skipped between items", {{0, 0, 10, 10}, {909 * 3, 0, 10, 10}}, {{0, 0}, {3, 0}}},
      {"no frames", {}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto plan = PageExportPlan::pages(kA4, row.frames);
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < plan.size(); ++i) {
      EXPECT_EQ(plan[i].index, static_cast<std::int64_t>(i));
      EXPECT_EQ(plan[i].worldRect, (Frame{909.0 * static_cast<double>(plan[i].column),
                                         1286.0 * static_cast<double>(plan[i].row), 909, 1286}));
      cells.emplace_back(plan[i].column, plan[i].row);
    }
    EXPECT_EQ(cells, row.cells);
  }
}

// The plan is the union of the grid tiles of each frame, deduplicated, in reading order.
TEST(PageExportPlan, AgreesWithTheGridOnRandomBoards) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> pos(-3000, 3000), len(0, 1500);
  for (int board = 0; board < 100; ++board) {
    std::vector<Frame> frames(static_cast<std::size_t>(board % 12));
    for (auto& f : frames) f = {pos(rng), pos(rng), len(rng), len(rng)};
    std::vector<std::pair<std::int64_t, std::int64_t>> expected;  // (row, column)
    for (const auto& f : frames)
      for (const auto& t : PageGrid::visibleTiles(kA4, f)) expected.emplace_back(t.row, t.column);
    std::sort(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());

    const auto plan = PageExportPlan::pages(kA4, frames);
    ASSERT_EQ(plan.size(), expected.size());
    for (std::size_t i = 0; i < plan.size(); ++i) {
      EXPECT_EQ(std::make_pair(plan[i].row, plan[i].column), expected[i]);
    }
  }
}

TEST(CoverMetaLabels, RowsKeepOrderAndDropEmptyValues) {
  const CoverMetaLabels labels{"Client", "Model", "", "Location"};
  struct Row {
    const char* name;
    BoardHeader header;
    std::vector<CoverMetaLabels::Row> rows;
  };
  const Row rows[] = {
      {"trimmed, absent and empty", {.client = "  ACME  ", .date = "", .location = "Hall 3"},
       {{"Client", "ACME"}, {"Location", "Hall 3"}}},
      {"title and notes are not rows", {.title = "T", .model = " \n\t", .notes = "N"}, {}},
      {"an empty label still gives a row", {.date = "\u00A0May 2025\u2029"}, {{"", "May 2025"}}},
      {"inner spaces stay", {.model = " X  1 "}, {{"Model", "X  1"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(labels.rows(row.header), row.rows);
  }
}

TEST(PageExportChrome, ActiveWhenAnyFlagIsOn) {
  for (int bits = 0; bits < 8; ++bits) {
    PageExportChrome chrome;
    chrome.includeCover = bits & 1;
    chrome.branding = bits & 2;
    chrome.margin = bits & 4;
    EXPECT_EQ(chrome.isActive(), bits != 0) << bits;
    EXPECT_EQ(chrome.hasFooterContent(), chrome.branding) << bits;
  }
}

TEST(PageChromeLayout, ContentAndFooterFrames) {
  const double w = 909 * PageScale::pointsPerWorldUnit, h = 1286 * PageScale::pointsPerWorldUnit;
  struct Row {
    const char* name;
    bool margin, branding;
    double width, height;
    Frame content, footer;
  };
  const Row rows[] = {
      {"margin and branding", true, true, w, h, {28, 28, w - 56, h - 56 - 34}, {28, h - 28 - 34, w - 56, 34}},
      {"branding only", false, true, w, h, {0, 0, w, h - 34}, {0, h - 34, w, 34}},
      {"margin only", true, false, w, h, {28, 28, w - 56, h - 56}, {28, h - 28 - 34, w - 56, 34}},
      {"nothing", false, false, w, h, {0, 0, w, h}, {0, h - 34, w, 34}},
      {"page smaller than its margins", true, true, 40, 50, {28, 28, 0, 0}, {28, 0, 0, 34}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    PageExportChrome chrome;
    chrome.margin = row.margin;
    chrome.branding = row.branding;
    EXPECT_EQ(PageChromeLayout::contentFrame(row.width, row.height, chrome), row.content);
    EXPECT_EQ(PageChromeLayout::footerFrame(row.width, row.height, chrome), row.footer);
  }
  PageExportChrome both;
  both.margin = both.branding = true;
  const Frame content = PageChromeLayout::contentFrame(w, h, both);
  EXPECT_NEAR(content.width, 538.98, 0.005);
  EXPECT_NEAR(content.height, 751.75, 0.005);
}

BoardLayout layoutWithImage(Frame frame, std::optional<PixelSize> natural) {
  CanvasItem image(Uuid::generate(), "images/a.jpg", "thumbnails/a.jpg", frame, 0, PixelSize{}, ItemSource{},
                   std::nullopt, std::nullopt, false, std::nullopt);
  image.naturalSize = natural;
  const CanvasItem items[] = {image};
  return BoardLayout(items, {});
}

TEST(RasterScale, FullShowsTheSharpestImageWithinTheEdgeLimit) {
  struct Row {
    const char* name;
    BoardLayout layout;
    double maxEdge, expected;
  };
  const Row rows[] = {
      {"image three times denser", layoutWithImage({0, 0, 1000, 500}, PixelSize{3000, 1000}), 10000, 3},
      {"edge limit wins", layoutWithImage({0, 0, 1000, 500}, PixelSize{3000, 1000}), 2000, 2},
      {"no natural size", layoutWithImage({0, 0, 1000, 500}, std::nullopt), 5000, 1},
      {"limit below the board", layoutWithImage({0, 0, 1000, 500}, std::nullopt), 250, 0.25},
      {"image smaller than its frame", layoutWithImage({0, 0, 1000, 500}, PixelSize{10, 10}), 5000, 1},
      {"empty frame ignored", layoutWithImage({0, 0, 0, 500}, PixelSize{3000, 1000}), 5000, 1},
      {"empty board", BoardLayout{}, 10, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_DOUBLE_EQ(RasterScale::full(row.layout, row.maxEdge), row.expected);
  }
}

TEST(RasterScale, CompactOnlyShrinks) {
  BoardLayout wide;
  wide.width = 4000;
  wide.height = 1000;
  BoardLayout small;
  small.width = 500;
  small.height = 400;
  EXPECT_EQ(RasterScale::compact(wide, 1000), 0.25);
  EXPECT_EQ(RasterScale::compact(small, 1000), 1);
  EXPECT_EQ(RasterScale::compact(BoardLayout{}, 1000), 1);
}

}  // namespace
}  // namespace zorvi
