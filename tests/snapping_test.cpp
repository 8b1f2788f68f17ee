#include "zorvi/snapping.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <vector>

#include "support/geometry_printers.hpp"

namespace zorvi {
namespace {

using Axis = AlignmentGuide::Axis;

struct Lines {
  std::vector<Frame> to;
  std::vector<double> guidesX, guidesY;
  std::optional<double> grid;
};

TEST(Snapping, BoundingBox) {
  EXPECT_EQ(Snapping::boundingBox({}), (Frame{0, 0, 0, 0}));
  const std::vector<Frame> several{{10, 20, 5, 5}, {-5, 30, 5, 100}, {0, 0, 1, 1}};
  EXPECT_EQ(Snapping::boundingBox(several), (Frame{-5, 0, 20, 130}));
}

TEST(Snapping, MovingSnapsToTheNearestLineWithEarlierLinesWinningTies) {
  const std::vector<Frame> other{{0, 0, 100, 40}};
  const Frame at103{103, 50, 20, 10};
  // clang-format off
  const std::tuple<const char*, Frame, Lines, double, double, SnapResult> rows[] = {
      {"x only", at103, {other}, 1, 5, {{100, 50, 20, 10}, {{Axis::vertical, 100, 0, 60}}}},
      {"zoom out widens the reach", at103, {other}, 0.5, 5,
       {{100, 40, 20, 10}, {{Axis::vertical, 100, 0, 50}, {Axis::horizontal, 40, 0, 120}}}},
      {"zoom 0", at103, {other, {103}, {50}, 1}, 0, 5, {at103, {}}},
      {"negative zoom", at103, {other}, -1, 5, {at103, {}}},
      {"distance equal to the reach", {10, 0, 100, 0}, {{}, {15}}, 1, 5, {{15, 0, 100, 0}, {{Axis::vertical, 15, 0, 0}}}},
      {"just beyond the reach", {10, 0, 100, 0}, {{}, {15}}, 1, 4.999, {{10, 0, 100, 0}, {}}},
      {"earlier line wins a tie", {10, 0, 100, 0}, {{}, {12, 8}}, 1, 5, {{12, 0, 100, 0}, {{Axis::vertical, 12, 0, 0}}}},
      {"left edge beats right edge", {10, 0, 10, 0}, {{}, {23, 7}}, 1, 5, {{7, 0, 10, 0}, {{Axis::vertical, 7, 0, 0}}}},
      {"centre beats a later edge", {0, 47, 1, 6}, {{}, {}, {44, 50}}, 1, 5, {{0, 47, 1, 6}, {{Axis::horizontal, 50, 0, 1}}}},
      {"grid below the half", {14.9, 100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{10, 100, 0, 0}, {{Axis::vertical, 10, 100, 100}, {Axis::horizontal, 100, 10, 10}}}},
      {"grid half away from zero", {-15, -100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{-20, -100, 0, 0}, {{Axis::vertical, -20, -100, -100}, {Axis::horizontal, -100, -20, -20}}}},
      {"grid 0 is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, 0}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"negative grid is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, -10}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"candidate beats grid", {14, 100.5, 0, 0}, {{}, {18}, {}, 1000}, 1, 5,
       {{18, 100.5, 0, 0}, {{Axis::vertical, 18, 100.5, 100.5}}}},
      {"left edge's grid line before the right edge's lines", {12, 500, 10, 0}, {{}, {24}, {}, 10}, 1, 2,
       {{10, 500, 10, 0}, {{Axis::vertical, 10, 500, 500}, {Axis::horizontal, 500, 10, 20}}}},
  };
  // clang-format on
  for (const auto& [name, moving, lines, zoom, threshold, expected] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Snapping::snap(moving, lines.to, lines.guidesX, lines.guidesY, lines.grid, zoom, threshold),
              expected);
  }
}

TEST(Snapping, GuidesReachOtherFramesWithinHalfAUnitOfTheLine) {
  const std::vector<Frame> others{
      {2.4, 100, 50, 50},    // left edge 0.4 away: widens
      {2.5, 500, 50, 50},    // left edge exactly 0.5 away: does not
      {-48, -200, 100, 10},  // centre on the line: widens
      {-8.3, 400, 10, 10},   // right edge 0.3 away: widens
  };
  const std::vector<double> line{2};
  EXPECT_EQ(Snapping::snap({2, 0, 10, 10}, others, line, {}, std::nullopt, 1, 1),
            (SnapResult{{2, 0, 10, 10}, {{Axis::vertical, 2, -200, 410}}}));
  const std::vector<Frame> across{{100, 2.4, 50, 50}, {500, 2.5, 50, 50}};
  EXPECT_EQ(Snapping::snap({0, 2, 10, 10}, across, {}, line, std::nullopt, 1, 1),
            (SnapResult{{0, 2, 10, 10}, {{Axis::horizontal, 2, 0, 150}}}));
}

// The plain sequential scan: one running best over every line of each moving value in order, the grid
// line after the lines of its value. The library reaches the same answer by a faster route.
std::optional<double> sequentialSnap(double lead, double extent, const std::vector<double>& lines,
                                     std::optional<double> grid, double reach, bool laterWinsTies = false) {
  std::optional<double> best;
  const auto offer = [&](double line, double value) {
    const double d = std::abs(line - value);
    if (d <= reach && (!best || d < std::abs(*best) || (laterWinsTies && d == std::abs(*best))))
      best = line - value;
  };
  for (const double value : {lead, lead + extent * 0.5, lead + extent}) {
    for (const double line : lines) offer(line, value);
    if (grid) offer(std::round(value / *grid) * *grid, value);
  }
  return best;
}

TEST(Snapping, MovingAgreesWithTheSequentialScan) {
  std::mt19937_64 random(17);
  std::uniform_int_distribution<int> coordinate(-40, 40), extent(0, 20);
  const auto number = [&](auto& distribution, double scale) { return distribution(random) * scale; };
  int decidedByOrder = 0;
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    std::vector<Frame> to;
    std::vector<double> guidesX, linesX, linesY;
    for (int n = extent(random) / 2; n > 0; --n) {
      const Frame f{number(coordinate, 1), number(coordinate, 1), number(extent, 1), number(extent, 1)};
      to.push_back(f);
      linesX.insert(linesX.end(), {f.x, f.x + f.width * 0.5, f.width + f.x});
      linesY.insert(linesY.end(), {f.y, f.y + f.height * 0.5, f.height + f.y});
    }
    for (int n = extent(random) / 5; n > 0; --n) guidesX.push_back(number(coordinate, 0.5));
    linesX.insert(linesX.end(), guidesX.begin(), guidesX.end());
    const auto grid = i % 4 ? std::optional<double>(i % 4 * 3) : std::nullopt;
    const Frame moving{number(coordinate, 0.5), number(coordinate, 0.5), number(extent, 1),
                       number(extent, 1)};
    const double threshold = number(extent, 0.5);

    const SnapResult got = Snapping::snap(moving, to, guidesX, {}, grid, 1, threshold);
    const auto dx = sequentialSnap(moving.x, moving.width, linesX, grid, threshold);
    const auto dy = sequentialSnap(moving.y, moving.height, linesY, grid, threshold);
    EXPECT_EQ(got.frame,
              (Frame{moving.x + dx.value_or(0), moving.y + dy.value_or(0), moving.width, moving.height}));
    EXPECT_EQ(got.guides.size(), (dx ? 1u : 0u) + (dy ? 1u : 0u));
    decidedByOrder += dx != sequentialSnap(moving.x, moving.width, linesX, grid, threshold, true);
  }
  EXPECT_GT(decidedByOrder, 50);  // ties that only the order decides really occur
}

using ResizeRow = std::tuple<const char*, ResizeCorner, Frame, Lines, double, double, SnapResult>;

TEST(Snapping, AspectKeptResizeSnapsTheDraggedCornerAlongTheDiagonal) {
  const std::vector<Frame> other{{120, 200, 10, 10}};
  // clang-format off
  const ResizeRow rows[] = {
      {"x line", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 10, {{0, 0, 120, 60}, {{Axis::vertical, 120, 0, 210}}}},
      {"scale below minSize refused", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 100, {{0, 0, 118, 59}, {}}},
      {"nothing within reach", ResizeCorner::bottomRight, {0, 0, 110, 55}, {other}, 1, 10, {{0, 0, 110, 55}, {}}},
      {"zoom 0", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 0, 10, {{0, 0, 118, 59}, {}}},
      {"top-left keeps the bottom-right anchor", ResizeCorner::topLeft, {22, 11, 78, 39}, {{}, {25}}, 1, 10,
       {{25, 12.5, 75, 37.5}, {{Axis::vertical, 25, 12.5, 50}}}},
      {"x wins a tie against y", ResizeCorner::bottomRight, {0, 0, 103, 51.5}, {{}, {}, {}, 25}, 1, 10,
       {{0, 0, 100, 50}, {{Axis::vertical, 100, 0, 50}}}},
      {"y line", ResizeCorner::bottomLeft, {-2, 0, 102, 51}, {{}, {}, {52}}, 1, 10,
       {{-4, 0, 104, 52}, {{Axis::horizontal, 52, -4, 100}}}},
  };
  // clang-format on
  for (const auto& [name, corner, proposed, lines, zoom, minSize, expected] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Snapping::snapResize({0, 0, 100, 50}, corner, proposed, lines.to, lines.guidesX, lines.guidesY,
                                   lines.grid, zoom, 5, minSize),
              expected);
  }
  // A width of 1e-10 is within the 1e-9 direction bound, so x lines are not offered at all.
  const Frame sliver{0, 0, 1e-10, 50}, wider{0, 0, 1.1e-10, 55};
  const std::vector<double> atWider{1.1e-10};
  EXPECT_EQ(
      Snapping::snapResize(sliver, ResizeCorner::bottomRight, wider, {}, atWider, {}, std::nullopt, 1, 5, 0),
      (SnapResult{wider, {}}));
  EXPECT_EQ(Snapping::snapResize({0, 0, 0, 50}, ResizeCorner::bottomRight, wider, other, {}, {}, 1, 1, 5, 0),
            (SnapResult{wider, {}}));
}

TEST(Snapping, FreeResizeSnapsEachDraggedEdgeOnItsOwn) {
  const std::vector<Frame> other{{120, 200, 10, 10}};
  // clang-format off
  const ResizeRow rows[] = {
      {"right edge", ResizeCorner::bottomRight, {0, 0, 118, 63}, {other}, 1, 10, {{0, 0, 120, 63}, {{Axis::vertical, 120, 0, 210}}}},
      {"both edges to the grid", ResizeCorner::bottomRight, {0, 0, 118, 63}, {{}, {}, {}, 20}, 1, 10,
       {{0, 0, 120, 60}, {{Axis::vertical, 120, 0, 60}, {Axis::horizontal, 60, 0, 120}}}},
      {"top-left", ResizeCorner::topLeft, {30, 10, 70, 40}, {{}, {28}, {11}}, 1, 10,
       {{28, 11, 72, 39}, {{Axis::vertical, 28, 11, 50}, {Axis::horizontal, 11, 28, 100}}}},
      {"line leaving less than minSize passed over", ResizeCorner::topLeft, {93, 10, 7, 40}, {{}, {95, 89}}, 1, 10,
       {{89, 10, 11, 40}, {{Axis::vertical, 89, 10, 50}}}},
      {"unsnapped height raised to minSize", ResizeCorner::bottomRight, {0, 0, 118, 5}, {other}, 1, 10,
       {{0, 0, 120, 10}, {{Axis::vertical, 120, 0, 210}}}},
      {"unsnapped width raised to minSize", ResizeCorner::bottomRight, {0, 0, 5, 63}, {{}, {}, {65}}, 1, 10,
       {{0, 0, 10, 65}, {{Axis::horizontal, 65, 0, 10}}}},
      {"nothing within reach", ResizeCorner::bottomRight, {0, 0, 110, 5}, {other}, 1, 10, {{0, 0, 110, 5}, {}}},
      {"zoom below 0", ResizeCorner::bottomRight, {0, 0, 118, 63}, {other}, -2, 10, {{0, 0, 118, 63}, {}}},
  };
  // clang-format on
  for (const auto& [name, corner, proposed, lines, zoom, minSize, expected] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Snapping::snapResizeFree({0, 0, 100, 50}, corner, proposed, lines.to, lines.guidesX,
                                       lines.guidesY, lines.grid, zoom, 5, minSize),
              expected);
  }
}

}  // namespace
}  // namespace zorvi
