#include "zorvi/snapping.hpp"

#include <gtest/gtest.h>

#include <optional>
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
  const Frame at103{103, 50, 20, 10};
  // Edges 0.4 and 0.3 from the line and a centre on it widen the guide; an edge exactly 0.5 away does not.
  const std::vector<Frame> nearLine{
      {2.4, 100, 50, 50}, {2.5, 500, 50, 50}, {-48, -200, 100, 10}, {-8.3, 400, 10, 10}};
  // clang-format off
  const std::tuple<const char*, Frame, Lines, double, double, SnapResult> rows[] = {
      {"zoom out widens the reach", at103, {{{0, 0, 100, 40}}}, 0.5, 5,
       {{100, 40, 20, 10}, {{Axis::vertical, 100, 0, 50}, {Axis::horizontal, 40, 0, 120}}}},
      {"zoom 0", at103, {{{0, 0, 100, 40}}, {103}, {50}, 1}, 0, 5, {at103, {}}},
      {"distance equal to the reach", {10, 0, 100, 0}, {{}, {15}}, 1, 5, {{15, 0, 100, 0}, {{Axis::vertical, 15, 0, 0}}}},
      {"just beyond the reach", {10, 0, 100, 0}, {{}, {15}}, 1, 4.999, {{10, 0, 100, 0}, {}}},
      {"earlier line wins a tie", {10, 0, 100, 0}, {{}, {12, 8}}, 1, 5, {{12, 0, 100, 0}, {{Axis::vertical, 12, 0, 0}}}},
      {"left edge beats right edge", {10, 0, 10, 0}, {{}, {23, 7}}, 1, 5, {{7, 0, 10, 0}, {{Axis::vertical, 7, 0, 0}}}},
      {"centre beats an earlier-found bottom", {0, 0, 1, 100}, {{}, {}, {103, 47}}, 1, 5, {{0, -3, 1, 100}, {{Axis::horizontal, 47, 0, 1}}}},
      {"grid half away from zero", {-15, -100, 0, 0}, {{}, {}, {}, 10}, 1, 5,
       {{-20, -100, 0, 0}, {{Axis::vertical, -20, -100, -100}, {Axis::horizontal, -100, -20, -20}}}},
      {"negative grid is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, -10}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"zero grid is off", {14.9, 100.5, 0, 0}, {{}, {}, {}, 0}, 1, 5, {{14.9, 100.5, 0, 0}, {}}},
      {"left edge's grid line before the right edge's lines", {12, 500, 10, 0}, {{}, {24}, {}, 10}, 1, 2,
       {{10, 500, 10, 0}, {{Axis::vertical, 10, 500, 500}, {Axis::horizontal, 500, 10, 20}}}},
      {"guide widened within half a unit", {2, 0, 10, 10}, {nearLine, {2}}, 1, 1,
       {{2, 0, 10, 10}, {{Axis::vertical, 2, -200, 410}}}},
  };
  // clang-format on
  for (const auto& [name, moving, lines, zoom, threshold, expected] : rows)
    EXPECT_EQ(Snapping::snap(moving, lines.to, lines.guidesX, lines.guidesY, lines.grid, zoom, threshold),
              expected)
        << name;
}

// Each row resizes {0, 0, 100, 50} by the dragged corner: keeping the aspect ratio (along the diagonal)
// or freely (each dragged edge on its own).
using ResizeRow = std::tuple<const char*, ResizeCorner, Frame, Lines, double, double, SnapResult>;

TEST(Snapping, ResizeSnapsTheDraggedCornerOrEdges) {
  const std::vector<Frame> other{{120, 200, 10, 10}};
  // clang-format off
  const ResizeRow aspectKept[] = {
      {"x line", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 10, {{0, 0, 120, 60}, {{Axis::vertical, 120, 0, 210}}}},
      {"scale below minSize refused", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 1, 100, {{0, 0, 118, 59}, {}}},
      {"travel measured along the diagonal", ResizeCorner::bottomRight, {0, 0, 110, 55}, {other}, 1, 10, {{0, 0, 110, 55}, {}}},
      {"zoom 0", ResizeCorner::bottomRight, {0, 0, 118, 59}, {other}, 0, 10, {{0, 0, 118, 59}, {}}},
      {"top-left keeps the bottom-right anchor", ResizeCorner::topLeft, {22, 11, 78, 39}, {{}, {25}}, 1, 10,
       {{25, 12.5, 75, 37.5}, {{Axis::vertical, 25, 12.5, 50}}}},
      {"x wins a tie against y", ResizeCorner::bottomRight, {0, 0, 103, 51.5}, {{}, {}, {}, 25}, 1, 10,
       {{0, 0, 100, 50}, {{Axis::vertical, 100, 0, 50}}}},
      {"y line", ResizeCorner::bottomLeft, {-2, 0, 102, 51}, {{}, {}, {52}}, 1, 10,
       {{-4, 0, 104, 52}, {{Axis::horizontal, 52, -4, 100}}}},
  };
  const ResizeRow free[] = {
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
  for (const auto& [name, corner, proposed, lines, zoom, minSize, expected] : aspectKept) {
    EXPECT_EQ(Snapping::snapResize({0, 0, 100, 50}, corner, proposed, lines.to, lines.guidesX, lines.guidesY,
                                   lines.grid, zoom, 5, minSize), expected) << "aspect kept: " << name;
  }
  for (const auto& [name, corner, proposed, lines, zoom, minSize, expected] : free) {
    EXPECT_EQ(Snapping::snapResizeFree({0, 0, 100, 50}, corner, proposed, lines.to, lines.guidesX, lines.guidesY,
                                       lines.grid, zoom, 5, minSize), expected) << "free: " << name;
  }
  // A width of 1e-10 is within the 1e-9 direction bound, so x lines are not offered at all; a negative
  // width would otherwise snap to the y line.
  const std::tuple<Frame, Frame, Lines> unsnappable[] = {
      {{0, 0, 1e-10, 50}, {0, 0, 1.1e-10, 55}, {{}, {1.1e-10}}},
      {{0, 0, -100, 50}, {0, 0, -100, 50}, {{}, {}, {52}}},
  };
  for (const auto& [original, proposed, lines] : unsnappable)
    EXPECT_EQ(Snapping::snapResize(original, ResizeCorner::bottomRight, proposed, lines.to, lines.guidesX,
                                   lines.guidesY, lines.grid, 1, 5, 0),
              (SnapResult{proposed, {}}))
        << original.width;
}

}  // namespace
}  // namespace zorvi
