#include "zorvi/canvas_transform.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace zorvi {
namespace {

TEST(CanvasTransform, ClampZoomKeepsTheLimitsAndLetsNaNThrough) {
  const std::pair<double, double> rows[] = {{0, 0.05}, {0.05, 0.05}, {0.0500001, 0.0500001}, {20, 20}, {20.5, 20}};
  for (const auto& [in, out] : rows) EXPECT_EQ(CanvasTransform::clampZoom(in), out) << in;
  EXPECT_TRUE(std::isnan(CanvasTransform::clampZoom(NAN)));
}

TEST(CanvasTransform, OnlyInitialisersClamp) {
  EXPECT_EQ(CanvasTransform(Viewport{3, 4, 50}), CanvasTransform(CanvasPoint{3, 4}, 20));
  CanvasTransform assigned;
  assigned.zoom = 100;
  EXPECT_EQ(assigned.viewport().zoom, 100);
  EXPECT_EQ(assigned.panned(CanvasSize{1, -1}), CanvasTransform(CanvasPoint{1, -1}, 20));
  EXPECT_EQ(assigned.zoomedTo(-3, {}).zoom, 0.05);
  // Rectangles keep their stored origin and report positive sizes.
  const CanvasTransform t(CanvasPoint{10, -20}, 2);
  EXPECT_EQ(t.toScreen(Frame{3, 4, -5, 6}), (Frame{16, -12, 10, 12}));
  EXPECT_EQ(t.toWorld(Frame{16, -12, 10, -12}), (Frame{3, 4, 5, 6}));
}

TEST(CanvasTransform, ZoomingAboutAPointKeepsTheWorldPointUnderIt) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> coordinate(-5000, 5000), logZoom(std::log(0.05), std::log(20));
  for (int i = 0; i < 500; ++i) {
    SCOPED_TRACE(i);
    const CanvasTransform before(CanvasPoint{coordinate(random), coordinate(random)},
                                 std::exp(logZoom(random)));
    const CanvasPoint about{coordinate(random), coordinate(random)};
    const double z = std::exp(logZoom(random));
    const CanvasTransform after = i % 2 ? before.zoomedTo(z, about) : before.zoomedBy(z / before.zoom, about);
    const CanvasPoint w0 = before.toWorld(about), w1 = after.toWorld(about);
    EXPECT_NEAR(w1.x, w0.x, 1e-9 * (1 + std::abs(w0.x)) / after.zoom);
    EXPECT_NEAR(w1.y, w0.y, 1e-9 * (1 + std::abs(w0.y)) / after.zoom);
    EXPECT_NEAR(after.zoom, z, 1e-12 * z);
    EXPECT_NEAR(after.toWorld(after.toScreen(w0)).x, w0.x, 1e-9 * (1 + std::abs(w0.x)));
  }
}

TEST(BoardFit, CentresTheContentAsLargeAsTheLimitsAllow) {
  using Row = std::tuple<const char*, std::vector<Frame>, CanvasSize, double, std::optional<CanvasTransform>>;
  // clang-format off
  const Row rows[] = {
      {"one frame", {{0, 0, 100, 50}}, {800, 600}, 40, CanvasTransform(CanvasPoint{40, 120}, 7.2)},
      {"zero size counts as one unit", {{10, 10, 0, 0}, {10, 10, 0, 0}}, {800, 600}, 0, CanvasTransform(CanvasPoint{200, 100}, 20)},
      {"huge content overflows centred", {{-1e6, 0, 2e6, 10}}, {800, 600}, 0, CanvasTransform(CanvasPoint{400, 299.75}, 0.05)},
      {"padding of half the view", {{0, 0, 10, 10}}, {800, 600}, 300, CanvasTransform(CanvasPoint{399.5, 299.5}, 0.1)},
      {"bounding box of several", {{0, 0, 10, 10}, {90, 40, 10, 10}}, {210, 110}, 5, CanvasTransform(CanvasPoint{5, 5}, 2)},
      {"no frames", {}, {800, 600}, 0, std::nullopt},
      {"zero width", {{0, 0, 1, 1}}, {0, 600}, 0, std::nullopt},
      {"negative height", {{0, 0, 1, 1}}, {800, -1}, 0, std::nullopt},
  };
  // clang-format on
  for (const auto& [name, frames, view, padding, expected] : rows) {
    SCOPED_TRACE(name);
    const auto fit = BoardFit::transform(frames, view, padding);
    ASSERT_EQ(fit.has_value(), expected.has_value());
    if (!fit) continue;
    for (const auto& [got, want] : {std::pair{fit->zoom, expected->zoom}, {fit->offset.x, expected->offset.x}, {fit->offset.y, expected->offset.y}})
      EXPECT_DOUBLE_EQ(got, want);
  }
}

}  // namespace
}  // namespace zorvi
