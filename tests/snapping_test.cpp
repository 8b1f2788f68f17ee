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
  std::vector<double> guidesX;
  std::vector<double> guidesY;
  std::optional<double> grid;
};

TEST(Snapping, BoundingBox) {
  EXPECT_EQ(Snapping::boundingBox({}), (Frame{0, 0, 0, 0}));
  const std::vector<Frame> one{{1, 2, 3, 4}};
  EXPECT_EQ(Snapping::boundingBox(one), (Frame{1, 2, 3, 4}));
  const std::vector<Frame> several{{10, 20, 5, 5}, {-5, 30, 5, 100}, {0, 0, 1, 1}};
  EXPECT_EQ(Snapping::boundingBox(several), (Frame{-5, 0, 20, 130}));
}

TEST(Snapping, MovingSnapsToTheNearestLineWithEarlierLinesWinningTies) {
  struct Row {
    const char* name;
    Frame moving;
    Lines lines;
    double zoom, threshold;
    SnapResult expected;
  };
  const std::vector<Frame> other{{0, 0, 100, 40}};
  const Row rows[] = {
      {"x only", {103, 50, 20, 10}, {other}, 1, 5, {{100, 50, 20, 10}, {{Axis::vertical, 100, 0, 60}}}},
      {"zoom out widens the reach", {103, 50, 20, 10}, {other}, 0.5, 5,
       {{100, 40, 20, 10}, {{Axis::vertical, 100, 0, 50}, {Axis::horizontal, 40, 0, 120}}}},
      {"zoom 0", {103, 50, 20, 10}, {other, {103}, {50}, 1}, 0, 5, {{103, 50, 20, 10}, {}}},
      {"negative zoom", {103, 50, 20, 10}, {other}, -1, 5, {{103, 50, 20, 10}, {}}},
      {"distance equal to the reach snaps", {10, 0, 100, 0}, {{}, {15}}, 1, 5,
       {{15, 0, 100, 0}, {{Axis::vertical, 15, 0, 0}}}},
      {"just beyond the reach", {10, 0, 100, 0}, {{}, {15}}, 1, 4.999, {{10, 0, 100, 0}, {}}},
      {"earlier line wins a tie", {10, 0, 100, 0}, {{}, {12, 8}}, 1, 5,
       {{12, 0, 100, 0}, {{Axis::vertical, 12, 0, 0}}}},
      {"left edge beats right edge", {10, 0, 10, 0}, {{}, {23, 7}}, 1, 5, {{7, 0, 10, 0}, {{Axis::vertical, 7, 0, 0}}}},
      {"a later, closer line replaces", {10, 0, 10, 0}, {{}, {12, 19}}, 1, 5,
       {{9, 0, 10, 0}, {{Axis::vertical, 19, 0, 0}}}},
      {"grid below the half", {14.9, 100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{10, 100, 0, 0}, {{Axis::vertical, 10, 100, 100}, {Axis::horizontal, 100, 10, 10}}}},
      {"grid half rounds up", {15, 100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{20, 100, 0, 0}, {{Axis::vertical, 20, 100, 100}, {Axis::horizontal, 100, 20, 20}}}},
      {"grid half below zero rounds away", {-15, -100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{-20, -100, 0, 0}, {{Axis::vertical, -20, -100, -100}, {Axis::horizontal, -100, -20, -20}}}},
      {"grid 0 is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, 0}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"negative grid is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, -10}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"candidate beats grid at equal distance", {14, 100.5, 0, 0}, {{}, {18}, {}, 1000}, 1, 5,
       {{18, 100.5, 0, 0}, {{Axis::vertical, 18, 100.5, 100.5}}}},
      {"grid line of the left edge comes before the next edge's candidates", {12, 500, 10, 0},
       {{}, {24}, {}, 10}, 1, 2, {{10, 500, 10, 0}, {{Axis::vertical, 10, 500, 500}, {Axis::horizontal, 500, 10, 20}}}},
      {"centre match beats an earlier edge match", {0, 47, 1, 6}, {{}, {}, {44, 50}}, 1, 5, {{0, 47, 1, 6}, {{Axis::horizontal, 50, 0, 1}}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Snapping::snap(row.moving, row.lines.to, row.lines.guidesX, row.lines.guidesY, row.lines.grid, row.zoom,
                             row.threshold),
              row.expected);
  }
}

TEST(Snapping, GuidesReachOtherFramesWithinHalfAUnitOfTheLine) {
  const std::vector<Frame> others{
      {2.4, 100, 50, 50},    // left edge 0.4 away: widens
      {2.5, 500, 50, 50},    // left edge exactly 0.5 away: does not
      {-48, -200, 100, 10},  // centre on the line: widens
      {-8.3, 400, 10, 10},   // right edge 0.3 away: widens
  };
  const std::vector<double> guides{2};
  const SnapResult result = Snapping::snap({2, 0, 10, 10}, others, guides, {}, std::nullopt, 1, 1);
  EXPECT_EQ(result, (SnapResult{{2, 0, 10, 10}, {{Axis::vertical, 2, -200, 410}}}));
}

Frame transposed(const Frame& f) { return {f.y, f.x, f.height, f.width}; }

TEST(Snapping, SnappingTheTransposedFrameGivesTheTransposedResult) {
  std::mt19937_64 random(5);
  std::uniform_int_distribution<int> coordinate(-50, 50), extent(0, 30), count(0, 6);
  const auto frame = [&] {
    return Frame{static_cast<double>(coordinate(random)), static_cast<double>(coordinate(random)),
                 static_cast<double>(extent(random)), static_cast<double>(extent(random))};
  };
  int snapped = 0;
  for (int i = 0; i < 500; ++i) {
    SCOPED_TRACE(i);
    Lines lines;
    for (int n = count(random); n > 0; --n) lines.to.push_back(frame());
    for (int n = count(random); n > 0; --n) lines.guidesX.push_back(coordinate(random) + 0.25);
    for (int n = count(random); n > 0; --n) lines.guidesY.push_back(coordinate(random) - 0.25);
    if (i % 3 == 0) lines.grid = 7;
    const Frame moving = frame();
    std::vector<Frame> flipped;
    for (const Frame& f : lines.to) flipped.push_back(transposed(f));

    const SnapResult a = Snapping::snap(moving, lines.to, lines.guidesX, lines.guidesY, lines.grid, 2, 6);
    const SnapResult b = Snapping::snap(transposed(moving), flipped, lines.guidesY, lines.guidesX, lines.grid, 2, 6);
    EXPECT_EQ(transposed(a.frame), b.frame);
    ASSERT_EQ(a.guides.size(), b.guides.size());
    for (std::size_t g = 0; g < a.guides.size(); ++g) {
      const AlignmentGuide& mine = a.guides[g];
      const AlignmentGuide& theirs = b.guides[a.guides.size() - 1 - g];
      EXPECT_NE(mine.axis, theirs.axis);
      EXPECT_EQ(mine.position, theirs.position);
      EXPECT_EQ(mine.start, theirs.start);
      EXPECT_EQ(mine.end, theirs.end);
      // A guide runs at least along the snapped frame and through one of its edges or its centre.
      const bool vertical = mine.axis == Axis::vertical;
      const double lead = vertical ? a.frame.x : a.frame.y, size = vertical ? a.frame.width : a.frame.height;
      const double across = vertical ? a.frame.y : a.frame.x, acrossSize = vertical ? a.frame.height : a.frame.width;
      EXPECT_LE(mine.start, across);
      EXPECT_GE(mine.end, across + acrossSize);
      const double nearest = std::min({std::abs(mine.position - lead), std::abs(mine.position - (lead + size * 0.5)),
                                       std::abs(mine.position - (lead + size))});
      EXPECT_LT(nearest, 1e-9);
    }
    EXPECT_LE(std::abs(a.frame.x - moving.x), 3);
    EXPECT_LE(std::abs(a.frame.y - moving.y), 3);
    snapped += a.guides.empty() ? 0 : 1;
  }
  EXPECT_GT(snapped, 100);  // the inputs really exercise snapping
}

// The moving search written as the plain sequential scan, one running best over every line of every
// moving value in order; the library reaches the same answer by a faster route.
std::optional<double> sequentialSnap(double lead, double extent, const std::vector<double>& lines,
                                     std::optional<double> grid, double reach, bool laterWinsTies = false) {
  std::optional<double> bestDelta;
  const auto offer = [&](double line, double value) {
    const double d = std::abs(line - value);
    const bool better = bestDelta && (laterWinsTies ? d <= std::abs(*bestDelta) : d < std::abs(*bestDelta));
    if (d <= reach && (!bestDelta || better)) bestDelta = line - value;
  };
  for (const double value : {lead, lead + extent * 0.5, lead + extent}) {
    for (const double line : lines) offer(line, value);
    if (grid && *grid > 0) offer(std::round(value / *grid) * *grid, value);
  }
  return bestDelta;
}

TEST(Snapping, MovingAgreesWithTheSequentialScan) {
  std::mt19937_64 random(17);
  std::uniform_int_distribution<int> coordinate(-40, 40), extent(0, 20), count(0, 12);
  int ties = 0;
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    std::vector<Frame> to;
    std::vector<double> guidesX, linesX, linesY;
    for (int n = count(random); n > 0; --n) {
      to.push_back({static_cast<double>(coordinate(random)), static_cast<double>(coordinate(random)),
                    static_cast<double>(extent(random)), static_cast<double>(extent(random))});
      const Frame& f = to.back();
      linesX.insert(linesX.end(), {f.x, f.x + f.width * 0.5, f.width + f.x});
      linesY.insert(linesY.end(), {f.y, f.y + f.height * 0.5, f.height + f.y});
    }
    for (int n = count(random) / 3; n > 0; --n) guidesX.push_back(coordinate(random) * 0.5);
    linesX.insert(linesX.end(), guidesX.begin(), guidesX.end());
    const std::optional<double> grid = i % 4 ? std::optional<double>(i % 4 * 3) : std::nullopt;
    const Frame moving{coordinate(random) * 0.5, coordinate(random) * 0.5, static_cast<double>(extent(random)),
                       static_cast<double>(extent(random))};
    const double threshold = extent(random) * 0.5;

    const SnapResult got = Snapping::snap(moving, to, guidesX, {}, grid, 1, threshold);
    const auto dx = sequentialSnap(moving.x, moving.width, linesX, grid, threshold);
    const auto dy = sequentialSnap(moving.y, moving.height, linesY, grid, threshold);
    EXPECT_EQ(got.frame, (Frame{moving.x + dx.value_or(0), moving.y + dy.value_or(0), moving.width, moving.height}));
    EXPECT_EQ(got.guides.size(), (dx ? 1u : 0u) + (dy ? 1u : 0u));
    ties += dx != sequentialSnap(moving.x, moving.width, linesX, grid, threshold, true);
  }
  EXPECT_GT(ties, 50);  // ties that the order decides really occur, so the tie rules are exercised
}

struct ResizeRow {
  const char* name;
  Frame original;
  ResizeCorner corner;
  Frame proposed;
  Lines lines;
  double zoom, minSize;
  SnapResult expected;
};

TEST(Snapping, AspectKeptResizeSnapsTheDraggedCornerAlongTheDiagonal) {
  const std::vector<Frame> other{{120, 200, 10, 10}};
  const Frame original{0, 0, 100, 50};
  const ResizeRow rows[] = {
      {"x candidate", original, ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 10,
       {{0, 0, 120, 60}, {{Axis::vertical, 120, 0, 210}}}},
      {"scale below minSize refused", original, ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 100,
       {{0, 0, 118, 59}, {}}},
      {"nothing within reach", original, ResizeCorner::bottomRight, {0, 0, 110, 55}, {other}, 1, 10,
       {{0, 0, 110, 55}, {}}},
      {"zoom 0", original, ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 0, 10, {{0, 0, 118, 59}, {}}},
      {"original without width", {0, 0, 0, 50}, ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 10,
       {{0, 0, 118, 59}, {}}},
      {"top-left keeps the bottom-right anchor", original, ResizeCorner::topLeft, {22, 11, 78, 39}, {{}, {25}}, 1, 10,
       {{25, 12.5, 75, 37.5}, {{Axis::vertical, 25, 12.5, 50}}}},
      {"x wins a tie against y", original, ResizeCorner::bottomRight, {0, 0, 103, 51.5}, {{}, {}, {}, 25}, 1, 10,
       {{0, 0, 100, 50}, {{Axis::vertical, 100, 0, 50}}}},
      {"y line", original, ResizeCorner::bottomLeft, {-2, 0, 102, 51}, {{}, {}, {52}}, 1, 10,
       {{-4, 0, 104, 52}, {{Axis::horizontal, 52, -4, 100}}}},
      {"a direction within 1e-9 of an axis takes no lines on it", {0, 0, 1e-10, 50}, ResizeCorner::bottomRight,
       {0, 0, 1.1e-10, 55}, {{}, {1.1e-10}}, 1, 0, {{0, 0, 1.1e-10, 55}, {}}},
  };
  for (const ResizeRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Snapping::snapResize(row.original, row.corner, row.proposed, row.lines.to, row.lines.guidesX,
                                   row.lines.guidesY, row.lines.grid, row.zoom, 5, row.minSize),
              row.expected);
  }
}

TEST(Snapping, FreeResizeSnapsEachDraggedEdgeOnItsOwn) {
  const std::vector<Frame> other{{120, 200, 10, 10}};
  const Frame original{0, 0, 100, 50};
  const ResizeRow rows[] = {
      {"right edge", original, ResizeCorner::bottomRight, {0, 0, 118, 63}, {other}, 1, 10,
       {{0, 0, 120, 63}, {{Axis::vertical, 120, 0, 210}}}},
      {"both edges to the grid", original, ResizeCorner::bottomRight, {0, 0, 118, 63}, {{}, {}, {}, 20}, 1, 10,
       {{0, 0, 120, 60}, {{Axis::vertical, 120, 0, 60}, {Axis::horizontal, 60, 0, 120}}}},
      {"top-left", original, ResizeCorner::topLeft, {30, 10, 70, 40}, {{}, {28}, {11}}, 1, 10,
       {{28, 11, 72, 39}, {{Axis::vertical, 28, 11, 50}, {Axis::horizontal, 11, 28, 100}}}},
      {"a line leaving less than minSize is passed over", original, ResizeCorner::topLeft, {93, 10, 7, 40},
       {{}, {95, 89}}, 1, 10, {{89, 10, 11, 40}, {{Axis::vertical, 89, 10, 50}}}},
      {"the unsnapped side is raised to minSize", original, ResizeCorner::bottomRight, {0, 0, 118, 5}, {other}, 1, 10,
       {{0, 0, 120, 10}, {{Axis::vertical, 120, 0, 210}}}},
      {"the unsnapped width is raised to minSize", original, ResizeCorner::bottomRight, {0, 0, 5, 63},
       {{}, {}, {65}}, 1, 10, {{0, 0, 10, 65}, {{Axis::horizontal, 65, 0, 10}}}},
      {"nothing within reach", original, ResizeCorner::bottomRight, {0, 0, 110, 5}, {other}, 1, 10,
       {{0, 0, 110, 5}, {}}},
      {"zoom below 0", original, ResizeCorner::bottomRight, {0, 0, 118, 63}, {other}, -2, 10, {{0, 0, 118, 63}, {}}},
  };
  for (const ResizeRow& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Snapping::snapResizeFree(row.original, row.corner, row.proposed, row.lines.to, row.lines.guidesX,
                                       row.lines.guidesY, row.lines.grid, row.zoom, 5, row.minSize),
              row.expected);
  }
}

TEST(SnapResult, GuidesHoldAtMostTwo) {
  SnapResult::Guides guides{{Axis::vertical, 1, 0, 0}, {Axis::horizontal, 2, 0, 0}, {Axis::vertical, 3, 0, 0}};
  ASSERT_EQ(guides.size(), 2u);
  EXPECT_EQ(guides[1].position, 2);
  EXPECT_NE(guides, (SnapResult::Guides{{Axis::vertical, 1, 0, 0}}));
  EXPECT_EQ(guides, (SnapResult::Guides{{Axis::vertical, 1, 0, 0}, {Axis::horizontal, 2, 0, 0}}));
}

}  // namespace
}  // namespace zorvi
