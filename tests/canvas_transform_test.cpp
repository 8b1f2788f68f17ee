#include "zorvi/canvas_transform.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/geometry_printers.hpp"

namespace zorvi {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(CanvasTransform, ClampZoomKeepsTheLimitsAndLetsNaNThrough) {
  struct Row {
    double in, out;
  };
  const Row rows[] = {{-1, 0.05}, {0, 0.05},  {0.05, 0.05}, {0.0500001, 0.0500001}, {1, 1},
                      {20, 20},   {20.5, 20}, {kInf, 20},   {-kInf, 0.05}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.in);
    EXPECT_EQ(CanvasTransform::clampZoom(row.in), row.out);
  }
  EXPECT_TRUE(std::isnan(CanvasTransform::clampZoom(std::nan(""))));
}

TEST(CanvasTransform, OnlyInitialisersClamp) {
  EXPECT_EQ(CanvasTransform(Point{1, 2}, 50).zoom, 20);
  EXPECT_EQ(CanvasTransform(Point{1, 2}, 0).zoom, 0.05);

  const CanvasTransform stored(Viewport{3, 4, 50});
  EXPECT_EQ(stored, CanvasTransform(Point{3, 4}, 20));
  EXPECT_EQ(stored.viewport(), (Viewport{3, 4, 20}));

  CanvasTransform assigned;
  assigned.zoom = 100;
  assigned.offset = {7, 8};
  EXPECT_EQ(assigned.viewport(), (Viewport{7, 8, 100}));
  // Panning goes through the initialiser, so the out-of-range zoom comes back clamped.
  EXPECT_EQ(assigned.panned(Size{1, -1}), CanvasTransform(Point{8, 7}, 20));
}

TEST(CanvasTransform, ConvertsPointsAndRectangles) {
  const CanvasTransform t(Point{10, -20}, 2);
  EXPECT_EQ(t.toScreen(Point{3, 4}), (Point{16, -12}));
  EXPECT_EQ(t.toWorld(Point{16, -12}), (Point{3, 4}));
  // A rectangle's origin is mapped as stored and its size made positive.
  EXPECT_EQ(t.toScreen(Frame{3, 4, -5, 6}), (Frame{16, -12, 10, 12}));
  EXPECT_EQ(t.toWorld(Frame{16, -12, 10, -12}), (Frame{3, 4, 5, 6}));
}

TEST(CanvasTransform, ZoomsWithinTheLimits) {
  const CanvasTransform t(Point{5, 5}, 1);
  struct Row {
    const char* name;
    CanvasTransform result;
    double zoom;
  };
  const Row rows[] = {
      {"to 100", t.zoomedTo(100, {0, 0}), 20},     {"to -3", t.zoomedTo(-3, {0, 0}), 0.05},
      {"by 0", t.zoomedBy(0, {0, 0}), 0.05},       {"by 3", t.zoomedBy(3, {0, 0}), 3},
      {"by 40 from 1", t.zoomedBy(40, {0, 0}), 20},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.result.zoom, row.zoom);
  }
  // Zooming about the world origin's screen position leaves the offset where it is.
  EXPECT_EQ(t.zoomedTo(4, Point{5, 5}), CanvasTransform(Point{5, 5}, 4));
}

TEST(CanvasTransform, ZoomingAboutAPointKeepsTheWorldPointUnderIt) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> coordinate(-5000, 5000);
  std::uniform_real_distribution<double> logZoom(std::log(0.05), std::log(20));
  for (int i = 0; i < 500; ++i) {
    const CanvasTransform before(Point{coordinate(random), coordinate(random)}, std::exp(logZoom(random)));
    const Point about{coordinate(random), coordinate(random)};
    const double target = std::exp(logZoom(random));
    const CanvasTransform after = i % 2 ? before.zoomedTo(target, about) : before.zoomedBy(target / before.zoom, about);
    SCOPED_TRACE(i);
    const Point w0 = before.toWorld(about), w1 = after.toWorld(about);
    EXPECT_NEAR(w1.x, w0.x, 1e-9 * (1 + std::abs(w0.x)) / after.zoom);
    EXPECT_NEAR(w1.y, w0.y, 1e-9 * (1 + std::abs(w0.y)) / after.zoom);
    EXPECT_NEAR(after.zoom, target, 1e-12 * target);
    const Point back = after.toWorld(after.toScreen(w0));
    EXPECT_NEAR(back.x, w0.x, 1e-9 * (1 + std::abs(w0.x)));
  }
}

TEST(BoardFit, CentresTheContentAsLargeAsTheLimitsAllow) {
  struct Row {
    const char* name;
    std::vector<Frame> frames;
    Size view;
    double padding;
    std::optional<CanvasTransform> expected;
  };
  const Row rows[] = {
      {"one frame", {{0, 0, 100, 50}}, {800, 600}, 40, CanvasTransform(Point{40, 120}, 7.2)},
      {"zero-size frames count as one unit", {{10, 10, 0, 0}, {10, 10, 0, 0}}, {800, 600}, 0,
       CanvasTransform(Point{400 - 10 * 20, 300 - 10 * 20}, 20)},
      {"huge content overflows centred", {{-1e6, 0, 2e6, 10}}, {800, 600}, 0, CanvasTransform(Point{400, 300 - 0.25}, 0.05)},
      {"padding of half the view", {{0, 0, 10, 10}}, {800, 600}, 300, CanvasTransform(Point{400 - 5 * 0.1, 300 - 5 * 0.1}, 0.1)},
      {"bounding box of several", {{0, 0, 10, 10}, {90, 40, 10, 10}}, {210, 110}, 5, CanvasTransform(Point{5, 5}, 2)},
      {"no frames", {}, {800, 600}, 0, std::nullopt},
      {"zero width", {{0, 0, 1, 1}}, {0, 600}, 0, std::nullopt},
      {"negative height", {{0, 0, 1, 1}}, {800, -1}, 0, std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto fit = BoardFit::transform(row.frames, row.view, row.padding);
    ASSERT_EQ(fit.has_value(), row.expected.has_value());
    if (!fit) continue;
    EXPECT_DOUBLE_EQ(fit->zoom, row.expected->zoom);
    EXPECT_DOUBLE_EQ(fit->offset.x, row.expected->offset.x);
    EXPECT_DOUBLE_EQ(fit->offset.y, row.expected->offset.y);
  }
}

}  // namespace
}  // namespace zorvi
