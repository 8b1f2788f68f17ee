#include "view_state.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "image_cache.hpp"

namespace zorvi::view {
namespace {

const CanvasSize window{800, 600};
const std::vector<Frame> twoItems{{0, 0, 100, 50}, {300, 200, 100, 100}};

TEST(ViewState, OpensAtTheSavedViewportOnlyWhenItShowsAnItem) {
  const CanvasTransform fitted = *BoardFit::transform(twoItems, window, fitPadding);
  // The second viewport looks at empty canvas far to the right; the third has a zoom of NaN.
  const std::pair<Viewport, CanvasTransform> cases[] = {
      {{-120, 40, 2}, CanvasTransform({-120, 40}, 2)},
      {{-50000, 0, 1}, fitted},
      {{0, 0, std::nan("")}, fitted},
  };
  for (const auto& [saved, expected] : cases) EXPECT_EQ(openingTransform(saved, twoItems, window), expected);
  EXPECT_EQ(openingTransform({-50000, 0, 1}, {}, window), CanvasTransform{}) << "an empty board";
}

TEST(ViewState, ActionsMoveTheViewAsTheKeysSay) {
  const ViewState start{CanvasTransform({10, 20}, 2), window, false, false};
  const CanvasPoint centre{400, 300};
  const auto worldAtCentre = [&](const ViewState& s) { return s.transform.toWorld(centre); };

  const ViewState in = apply(start, Action::zoomIn, twoItems);
  EXPECT_DOUBLE_EQ(in.transform.zoom, 2 * zoomStep);
  EXPECT_EQ(worldAtCentre(in), worldAtCentre(start)) << "zooms about the window's centre";
  EXPECT_DOUBLE_EQ(apply(in, Action::zoomOut, twoItems).transform.zoom, 2);

  const ViewState actual = apply(start, Action::actualSize, twoItems);
  EXPECT_EQ(actual.transform.zoom, 1);
  EXPECT_EQ(worldAtCentre(actual), worldAtCentre(start));

  EXPECT_EQ(apply(start, Action::fit, twoItems).transform, *BoardFit::transform(twoItems, window, fitPadding));
  EXPECT_EQ(apply(start, Action::fit, {}).transform, start.transform) << "nothing to fit keeps the view";

  const std::pair<Action, CanvasPoint> pans[] = {{Action::panLeft, {90, 20}},
                                                  {Action::panRight, {-70, 20}},
                                                  {Action::panUp, {10, 80}},
                                                  {Action::panDown, {10, -40}}};
  for (const auto& [action, offset] : pans) EXPECT_EQ(apply(start, action, twoItems).transform.offset, offset);

  EXPECT_TRUE(apply(start, Action::togglePageGrid, twoItems).pageGrid);
  EXPECT_FALSE(apply(apply(start, Action::toggleFullscreen, twoItems), Action::toggleFullscreen, twoItems).fullscreen);

  ViewState deep{CanvasTransform({0, 0}, CanvasTransform::maxZoom), window, false, false};
  EXPECT_EQ(apply(deep, Action::zoomIn, twoItems).transform.zoom, CanvasTransform::maxZoom);
  deep.transform.zoom = CanvasTransform::minZoom;
  EXPECT_EQ(apply(deep, Action::zoomOut, twoItems).transform.zoom, CanvasTransform::minZoom);
}

TEST(ViewState, PageGridNumbersTheSheetsInTheExportsOrder) {
  const PageSetup setup = PageSetup::defaultSetup();
  const double w = setup.size().width, h = setup.size().height;
  // Items on the second sheet of the first row and the first sheet of the second row, none on (0, 0).
  const std::vector<Frame> items{{w + 10, 10, 50, 50}, {10, h + 10, 50, 50}};
  const ViewState state{CanvasTransform({0, 0}, 0.25), {2 * w * 0.25, 2 * h * 0.25}, true, false};

  const auto marks = pageGridMarks(state, setup, items);
  std::vector<std::optional<std::int64_t>> numbers;
  for (const auto& mark : marks) numbers.push_back(mark.number);
  ASSERT_EQ(numbers, (std::vector<std::optional<std::int64_t>>{std::nullopt, 1, 2, std::nullopt}));
  EXPECT_EQ(marks.back().screen, state.transform.toScreen(Frame{w, h, w, h}));
}

TEST(ViewState, ImagesAreDecodedAtPowerOfTwoEdges) {
  const std::pair<double, std::int64_t> cases[] = {
      {100, 128}, {128, 128}, {128.5, 256}, {1, 1}, {0.2, 1}, {-100, 1}, {1e9, 65536}, {std::nan(""), 1},
  };
  for (const auto& [pixels, expected] : cases) EXPECT_EQ(decodeEdge(pixels), expected) << pixels;
}

std::shared_ptr<const Raster> pixels(std::int32_t side) {
  return std::make_shared<const Raster>(Raster{side, side, std::vector<std::uint32_t>(std::size_t(side) * side)});
}

TEST(ImageCache, KeepsTheBudgetDroppingWhatWasLeastRecentlyShown) {
  const Uuid a{{1}}, b{{2}}, c{{3}};
  ImageCache cache(2 * 64 * 64 * 4);
  cache.insertPreview(a, pixels(8));
  EXPECT_EQ(cache.find(a)->width, 8) << "the preview stands in until a sharp picture comes";
  cache.insert(a, {64, pixels(64)});
  cache.insert(b, {64, pixels(64)});
  EXPECT_EQ(cache.find(a)->width, 64);  // a is now the more recently shown
  cache.insert(c, {64, pixels(64)});
  EXPECT_EQ(cache.find(b), nullptr);
  EXPECT_EQ(cache.find(a)->width, 64);
  EXPECT_EQ(cache.sharpBytes(), 2u * 64 * 64 * 4);

  cache.insert(b, {256, pixels(256)});  // over budget on its own: kept, everything else goes
  EXPECT_EQ(cache.find(b)->width, 256);
  EXPECT_EQ(cache.find(a)->width, 8) << "previews are never evicted";
  EXPECT_EQ(cache.find(c), nullptr);
}

TEST(ImageCache, AsksForADecodeWhenThePictureHeldIsTooSmallOrFarTooLarge) {
  const Uuid a{{1}};
  ImageCache cache(1 << 20);
  EXPECT_TRUE(cache.wants(a, 64));
  cache.insert(a, {256, pixels(16)});
  const std::pair<std::int64_t, bool> cases[] = {{512, true}, {256, false}, {128, false}, {65, false}, {64, true}};
  for (const auto& [edge, wanted] : cases) EXPECT_EQ(cache.wants(a, edge), wanted) << edge;
}

}  // namespace
}  // namespace zorvi::view
