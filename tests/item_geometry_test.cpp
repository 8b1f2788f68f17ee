#include "zorvi/item_geometry.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/geometry_printers.hpp"

namespace zorvi {
namespace {

TEST(ItemGeometry, MovedDividesTheScreenDeltaByTheZoom) {
  const Frame f{1, 2, 3, 4};
  EXPECT_EQ(ItemGeometry::moved(f, {10, -4}, 2), (Frame{6, 0, 3, 4}));
  for (const double zoom : {0.0, -1.0, std::nan("")}) EXPECT_EQ(ItemGeometry::moved(f, {10, -4}, zoom), f);
}

using ResizeRow = std::tuple<const char*, Frame, ResizeCorner, CanvasSize, double, double, Frame>;

TEST(ItemGeometry, ResizeKeepsTheAspectRatio) {
  const Frame f{0, 0, 100, 50};
  // clang-format off
  const ResizeRow rows[] = {
      {"zoom halves the delta", f, ResizeCorner::bottomRight, {20, 10}, 2, 0, {0, 0, 110, 55}},
      {"top-left", f, ResizeCorner::topLeft, {20, 10}, 1, 0, {20, 10, 80, 40}},
      {"top-right projects onto the diagonal", f, ResizeCorner::topRight, {20, -10}, 1, 0, {0, -10, 120, 60}},
      {"bottom-left off the diagonal", f, ResizeCorner::bottomLeft, {-50, 0}, 1, 0, {-40, 0, 140, 70}},
      {"floored at minSize", f, ResizeCorner::bottomRight, {-1000, -1000}, 1, 10, {0, 0, 20, 10}},
      {"floored at minSize before the anchor", f, ResizeCorner::bottomRight, {-90, -45}, 1, 10, {0, 0, 20, 10}},
      {"zero width", {0, 0, 0, 50}, ResizeCorner::bottomRight, {20, 10}, 1, 0, {0, 0, 0, 50}},
      {"negative height", {0, 0, 10, -5}, ResizeCorner::bottomRight, {20, 10}, 1, 0, {0, 0, 10, -5}},
      {"zoom 0", f, ResizeCorner::bottomRight, {20, 10}, 0, 0, f},
  };
  // clang-format on
  for (const auto& [name, frame, corner, delta, zoom, minSize, expected] : rows) {
    SCOPED_TRACE(name);
    const Frame got = ItemGeometry::resize(frame, corner, delta, zoom, minSize);
    for (const auto part : {&Frame::x, &Frame::y, &Frame::width, &Frame::height}) EXPECT_DOUBLE_EQ(got.*part, expected.*part);
  }
}

TEST(ItemGeometry, ResizeFreeMovesEachDraggedEdgeOnItsOwn) {
  const Frame f{0, 0, 100, 50};
  // clang-format off
  const ResizeRow rows[] = {
      {"past the anchor stops at minSize", f, ResizeCorner::topLeft, {300, 100}, 1, 10, {90, 40, 10, 10}},
      {"top-right at zoom 2", f, ResizeCorner::topRight, {30, 10}, 2, 0, {0, 5, 115, 45}},
      {"bottom-left", f, ResizeCorner::bottomLeft, {-10, 5}, 1, 0, {-10, 0, 110, 55}},
      {"zero width still resizes", {0, 0, 0, 50}, ResizeCorner::bottomRight, {20, 10}, 1, 1, {0, 0, 20, 60}},
      {"zoom -1", f, ResizeCorner::bottomRight, {30, -10}, -1, 0, f},
  };
  // clang-format on
  for (const auto& [name, frame, corner, delta, zoom, minSize, expected] : rows)
    EXPECT_EQ(ItemGeometry::resizeFree(frame, corner, delta, zoom, minSize), expected) << name;
}

TEST(DrawingGeometry, FrameAroundIsAtLeastOneUnitThick) {
  // clang-format off
  const std::tuple<const char*, std::vector<CanvasPoint>, Frame> rows[] = {
      {"none", {}, {0, 0, 0, 0}},
      {"one point", {{5, 7}}, {4.5, 6.5, 1, 1}},
      {"thin vertical stroke", {{3, 0}, {3.5, 20}, {3.25, 40}}, {2.75, 0, 1, 40}},
      {"exactly one unit is kept", {{0, 0}, {1, 2}}, {0, 0, 1, 2}},
  };
  // clang-format on
  for (const auto& [name, points, expected] : rows)
    EXPECT_EQ(DrawingGeometry::frame(points), expected) << name;
}

TEST(DrawingGeometry, NormalisingThenConvertingBackGivesThePoints) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> coordinate(-1e4, 1e4);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    std::vector<CanvasPoint> points(1 + random() % 40);
    for (CanvasPoint& p : points) p = {coordinate(random), coordinate(random)};
    const Frame frame = DrawingGeometry::frame(points);
    const auto normal = DrawingGeometry::normalized(points, frame);
    const auto back = DrawingGeometry::worldPoints(normal, frame);
    ASSERT_EQ(back.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
      EXPECT_TRUE(normal[i].x >= 0 && normal[i].x <= 1 && normal[i].y >= 0 && normal[i].y <= 1);
      EXPECT_NEAR(back[i].x, points[i].x, 1e-9 * 2e4);
      EXPECT_NEAR(back[i].y, points[i].y, 1e-9 * 2e4);
    }
  }
  const std::vector<CanvasPoint> points{{1, 2}, {3, 4}};
  EXPECT_TRUE(DrawingGeometry::normalized(points, {0, 0, 0, 10}).empty());
  EXPECT_TRUE(DrawingGeometry::normalized(points, {0, 0, 10, -1}).empty());
  // Back to world the frame is not checked: zero width puts every point on the left edge.
  const std::vector<DrawingPoint> stored{{0.25, 0.5}, {2, -1}};
  EXPECT_EQ(DrawingGeometry::worldPoints(stored, {7, 0, 0, 10}),
            (std::vector<CanvasPoint>{{7, 5}, {7, -10}}));
}

TEST(DrawingGeometry, DistanceToAPolyline) {
  // clang-format off
  const std::tuple<const char*, CanvasPoint, std::vector<CanvasPoint>, double> rows[] = {
      {"no points", {1, 1}, {}, INFINITY},
      {"one point", {3, 4}, {{0, 0}}, 5},
      {"one point far away does not overflow", {1e300, 1e300}, {{0, 0}}, std::hypot(1e300, 1e300)},
      {"coinciding points", {3, 4}, {{0, 0}, {0, 0}}, 5},
      {"foot inside the segment", {5, 3}, {{0, 0}, {10, 0}}, 3},
      {"before the start", {-3, 4}, {{0, 0}, {10, 0}}, 5},
      {"past the end", {13, -4}, {{0, 0}, {10, 0}}, 5},
      {"nearest segment wins", {10, 5}, {{0, 0}, {10, 0}, {10, 10}, {0, 10}}, 0},
  };
  // clang-format on
  for (const auto& [name, p, line, expected] : rows)
    EXPECT_DOUBLE_EQ(DrawingGeometry::distance(p, line), expected) << name;
}

TEST(DrawingGeometry, SimplifiedKeepsTheEndsAndSpacedPoints) {
  const std::vector<CanvasPoint> stroke{{0, 0}, {0.5, 0}, {3, 0}, {3.2, 0}};
  // clang-format off
  const std::tuple<const char*, std::vector<CanvasPoint>, double, std::vector<CanvasPoint>> rows[] = {
      {"one point", {{1, 1}}, 1, {{1, 1}}},
      {"NaN minDistance", stroke, NAN, stroke},
      {"last kept however close", stroke, 1, {{0, 0}, {3, 0}, {3.2, 0}}},
      {"measured from the last kept point", {{0, 0}, {0.6, 0}, {1.2, 0}, {1.8, 0}, {5, 0}}, 1, {{0, 0}, {1.2, 0}, {5, 0}}},
      {"exactly minDistance is kept", {{0, 0}, {3, 4}, {3, 4.5}}, 5, {{0, 0}, {3, 4}, {3, 4.5}}},
  };
  // clang-format on
  for (const auto& [name, points, minDistance, expected] : rows)
    EXPECT_EQ(DrawingGeometry::simplified(points, minDistance), expected) << name;
}

}  // namespace
}  // namespace zorvi
