#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "zorvi/page_chrome.hpp"
#include "zorvi/page_export_plan.hpp"
#include "zorvi/page_layout.hpp"

namespace zorvi {
namespace {

using Cell = std::pair<std::int64_t, std::int64_t>;  // (column, row)
constexpr PageSetup kA4 = PageSetup::defaultSetup();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(PageGrid, VisibleTilesInReadingOrder) {
  const std::tuple<const char*, Frame, std::vector<Cell>> rows[] = {
      {"around the origin", {-10, -10, 20, 20}, {{-1, -1}, {0, -1}, {-1, 0}, {0, 0}}},
      {"edge on a boundary", {0, 0, 909, 1286}, {{0, 0}}},
      {"one unit over", {0, 0, 910, 1286}, {{0, 0}, {1, 0}}},
      {"zero width inside a page", {10, 0, 0, 100}, {}},
      {"NaN", {kNaN, 0, 10, 10}, {}},
      {"infinite", {0, 0, std::numeric_limits<double>::infinity(), 10}, {}},
      {"beyond the index range", {1e300, 0, 10, 10}, {}},
      {"more pages than any export", {0, 0, 909.0 * 2000, 1286.0 * 2000}, {}},
  };
  for (const auto& [name, rect, expected] : rows) {
    std::vector<Cell> cells;
    for (const auto& t : PageGrid::visibleTiles(kA4, rect)) cells.emplace_back(t.column, t.row);
    EXPECT_EQ(cells, expected) << name;
  }
  EXPECT_EQ(PageGrid::visibleTiles(kA4, {-10, -10, 20, 20}).front().frame, (Frame{-909, -1286, 909, 1286}));
  EXPECT_EQ(PageGrid::visibleTiles({PageFormat::a4, PageOrientation::landscape}, {1300, 0, 1, 1}).front().column, 1);
}

TEST(PageExportPlan, PagesThatItemsReachInReadingOrder) {
  const std::tuple<const char*, std::vector<Frame>, std::vector<Cell>> rows[] = {
      {"rows sort before columns", {{1000, 100, 50, 50}, {100, 1300, 50, 50}}, {{1, 0}, {0, 1}}},
      {"crossing both boundaries", {{850, 1200, 100, 100}}, {{0, 0}, {1, 0}, {0, 1}, {1, 1}}},
      {"left of the origin", {{-50, 0, 40, 40}}, {{-1, 0}}},
      {"same tile twice, empty pages skipped", {{10, 10, 5, 5}, {20, 20, 5, 5}, {2727, 0, 9, 9}}, {{0, 0}, {3, 0}}},
      {"empty and NaN frames", {{0, 0, 0, 10}, {kNaN, 0, 1, 1}}, {}},
  };
  for (const auto& [name, frames, expected] : rows) {
    SCOPED_TRACE(name);
    const auto plan = PageExportPlan::pages(kA4, frames);
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < plan.size(); ++i) {
      EXPECT_EQ(plan[i].index, static_cast<std::int64_t>(i));
      EXPECT_EQ(plan[i].worldRect, (Frame{909.0 * static_cast<double>(plan[i].column),
                                         1286.0 * static_cast<double>(plan[i].row), 909, 1286}));
      cells.emplace_back(plan[i].column, plan[i].row);
    }
    EXPECT_EQ(cells, expected);
  }
}

// The plan is the union of each frame's grid tiles, once each, in reading order.
TEST(PageExportPlan, AgreesWithTheGridOnRandomBoards) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> pos(-3000, 3000), len(0, 1500);
  for (int board = 0; board < 100; ++board) {
    const PageSetup setup{allPageFormats[board % 6], board % 2 ? PageOrientation::landscape : PageOrientation::portrait};
    std::vector<Frame> frames(static_cast<std::size_t>(board % 12));
    for (auto& f : frames) f = {pos(rng), pos(rng), len(rng), len(rng)};
    std::vector<Cell> expected;  // (row, column) so that sorting gives reading order
    for (const auto& f : frames)
      for (const auto& t : PageGrid::visibleTiles(setup, f)) expected.emplace_back(t.row, t.column);
    std::sort(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());

    std::vector<Cell> planned;
    for (const auto& page : PageExportPlan::pages(setup, frames)) planned.emplace_back(page.row, page.column);
    EXPECT_EQ(planned, expected) << "board " << board;
  }
}

TEST(CoverMetaLabels, RowsKeepOrderAndDropEmptyValues) {
  const CoverMetaLabels labels{"Client", "Model", "", "Location"};
  EXPECT_EQ(labels.rows({.client = "  ACME  ", .date = "", .location = "Hall 3"}),
            (std::vector<CoverMetaLabels::Row>{{"Client", "ACME"}, {"Location", "Hall 3"}}));
  EXPECT_EQ(labels.rows({.title = "T", .model = " \n\u2029", .notes = "N"}), std::vector<CoverMetaLabels::Row>{});
  EXPECT_EQ(labels.rows({.date = "\u00A0May  2025 "}), (std::vector<CoverMetaLabels::Row>{{"", "May  2025"}}));
}

TEST(PageChromeLayout, ContentAndFooterFrames) {
  const double w = 909 * PageScale::pointsPerWorldUnit, h = 1286 * PageScale::pointsPerWorldUnit;
  const std::tuple<bool, bool, double, double, Frame, Frame> rows[] = {  // margin, branding, page, frames
      {true, true, w, h, {28, 28, w - 56, h - 90}, {28, h - 62, w - 56, 34}},
      {false, true, w, h, {0, 0, w, h - 34}, {0, h - 34, w, 34}},
      {true, false, w, h, {28, 28, w - 56, h - 56}, {28, h - 62, w - 56, 34}},
      {true, true, 40, 50, {28, 28, 0, 0}, {28, 0, 0, 34}},
  };
  for (const auto& [margin, branding, width, height, content, footer] : rows) {
    SCOPED_TRACE(testing::Message() << margin << branding << width);
    PageExportChrome chrome;
    chrome.margin = margin;
    chrome.branding = branding;
    EXPECT_EQ(PageChromeLayout::contentFrame(width, height, chrome), content);
    EXPECT_EQ(PageChromeLayout::footerFrame(width, height, chrome), footer);
  }
  EXPECT_NEAR(w - 56, 538.98, 0.005);
}

BoardLayout layoutWithImage(Frame frame, std::optional<PixelSize> natural) {
  CanvasItem image(Uuid{}, "images/a.jpg", "thumbnails/a.jpg", frame, 0, PixelSize{}, ItemSource{}, std::nullopt,
                   std::nullopt, false, std::nullopt);
  image.naturalSize = natural;
  const CanvasItem items[] = {image};
  return BoardLayout(items, {});
}

TEST(RasterScale, FullAndCompact) {
  const BoardLayout dense = layoutWithImage({0, 0, 1000, 500}, PixelSize{3000, 1000});
  const BoardLayout plain = layoutWithImage({0, 0, 1000, 500}, std::nullopt);
  EXPECT_EQ(RasterScale::full(dense, 10000), 3);
  EXPECT_EQ(RasterScale::full(dense, 2000), 2);
  EXPECT_EQ(RasterScale::full(plain, 5000), 1);
  EXPECT_EQ(RasterScale::full(plain, 250), 0.25);
  EXPECT_EQ(RasterScale::full(layoutWithImage({0, 0, 0, 500}, PixelSize{3000, 1000}), 5000), 1);
  EXPECT_EQ(RasterScale::full(BoardLayout{}, 10), 1);
  EXPECT_EQ(RasterScale::compact(dense, 250), 0.25);
  EXPECT_EQ(RasterScale::compact(dense, 5000), 1);
  EXPECT_EQ(RasterScale::compact(BoardLayout{}, 10), 1);
}

}  // namespace
}  // namespace zorvi
