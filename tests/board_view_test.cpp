#include "board_view.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <tuple>

#include "support/board_files.hpp"
#include "support/image_files.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi::view {
namespace {

namespace fs = std::filesystem;

const fs::path example = fs::path(ZORVI_SOURCE_DIR) / "examples/example.zorvi";

TEST(BoardView, AFrameAsksOnlyForPicturesItDoesNotHoldSharpEnough) {
  const OpenBoard board = openBoard(example);
  ImageCache cache(64 << 20);
  decodePreviews(board, cache, 2);
  const ViewState state{*BoardFit::transform(board.contentFrames, {800, 600}, fitPadding), {800, 600}, false, false};
  std::vector<std::uint32_t> pixels(800 * 600);
  const auto first = drawFrame(board, state, 1, cache, pixels, 800, 600, 800);
  ASSERT_EQ(first.size(), board.full.size()) << "every image of the fitted board, none held sharp yet";
  for (const auto& request : first) {
    EXPECT_GE(std::max(request.width, request.height), request.edge / 2);
    auto raster = ImageDecoder::decode(board.full.at(request.item).data, request.width, request.height);
    ASSERT_TRUE(raster);
    cache.insert(request.item, {request.edge, std::make_shared<const Raster>(std::move(*raster))});
  }
  EXPECT_TRUE(drawFrame(board, state, 1, cache, pixels, 800, 600, 800).empty());
  // At four times the zoom, about the middle of the board, the pictures held are too small again.
  ViewState closer = state;
  closer.transform = state.transform.zoomedBy(4, state.transform.toScreen(CanvasPoint{450, 220}));
  EXPECT_FALSE(drawFrame(board, closer, 1, cache, pixels, 800, 600, 800).empty());
}

TEST(BoardView, PansWithinTheMarginMoveTheFrameInsteadOfDrawingIt) {
  const OpenBoard board = openBoard(example);
  ImageCache cache(64 << 20);
  decodePreviews(board, cache, 2);
  ViewState state{CanvasTransform({-100, 20}, 0.5), {300, 200}, false, false};
  ViewFrame frame;
  const auto windowOf = [&] {  // the window's pixels out of the frame
    std::vector<std::uint32_t> out;
    for (std::int32_t row = 0; row < 200; ++row) {
      const auto* start = frame.pixels().data() + std::size_t(row + frame.windowY()) * frame.width() + frame.windowX();
      out.insert(out.end(), start, start + 300);
    }
    return out;
  };
  const auto direct = [&] {  // the same view drawn on its own
    std::vector<std::uint32_t> out(300 * 200);
    drawFrame(board, state, 1, cache, out, 300, 200, 300);
    return out;
  };
  // Drawn from another origin, edges may fall a rounding apart, nothing more.
  const auto differing = [&] {
    const auto a = windowOf(), b = direct();
    std::size_t count = 0;
    for (std::size_t i = 0; i < a.size(); ++i) count += testing::channelDistance(a[i], b[i]) > 24;
    return count;
  };
  frame.update(board, state, 1, cache);
  EXPECT_EQ(differing(), 0u);
  // Moves of whole pixels within the margin, then out of it, then a zoom, a new picture and a new scale.
  const std::tuple<const char*, std::function<void()>, std::uint64_t> steps[] = {
      {"pan", [&] { state.transform = state.transform.panned({40, -30}); }, 1},
      {"pan back past the start", [&] { state.transform = state.transform.panned({-290, 250}); }, 1},
      {"pan out of the margin", [&] { state.transform = state.transform.panned({-300, 0}); }, 2},
      {"zoom", [&] { state.transform = state.transform.zoomedBy(2, {150, 100}); }, 3},
      {"forget", [&] { frame.forget(); }, 4},
  };
  for (const auto& [what, change, draws] : steps) {
    change();
    frame.update(board, state, 1, cache);
    EXPECT_EQ(frame.draws(), draws) << what;
    EXPECT_LT(differing(), 60u) << what;
  }
  frame.update(board, state, 2, cache);
  EXPECT_EQ(frame.draws(), 5u) << "a new device scale";
  EXPECT_EQ(frame.width(), 600 + 2 * ViewFrame::margin);

  // A zoom gesture draws rough frames of the window alone; the first still update draws it properly.
  const double steps2[] = {1.1, 1.1, 1.0};
  for (const double factor : steps2) {
    state.transform = state.transform.zoomedBy(factor, {150, 100});
    frame.update(board, state, 2, cache, true);
  }
  EXPECT_EQ(frame.draws(), 7u) << "a zoom step that does not zoom draws nothing";
  EXPECT_TRUE(frame.rough());
  EXPECT_EQ(frame.width(), 600);
  frame.update(board, state, 2, cache);
  EXPECT_EQ(frame.draws(), 8u);
  EXPECT_FALSE(frame.rough());
  EXPECT_EQ(frame.width(), 600 + 2 * ViewFrame::margin);
}

TEST(BoardView, ExportsWriteWholeFilesOrNone) {
  const OpenBoard board = openBoard(example);
  const testing::TemporaryFolder scratch;
  const fs::path& folder = scratch.path;
  const std::tuple<ExportKind, const char*, std::string> kinds[] = {
      {ExportKind::pdf, "board.pdf", "%PDF-"}, {ExportKind::png, "board.png", "\x89PNG"},
      {ExportKind::html, "board.html", "<!DOCTYPE html>"}};
  for (const auto& [kind, name, start] : kinds) {
    EXPECT_EQ(exportBoard(board, kind, folder / name), std::nullopt) << name;
    EXPECT_EQ(testing::readText(folder / name).substr(0, start.size()), start) << name;
    const auto failure = exportBoard(board, kind, folder / "missing" / name);
    ASSERT_TRUE(failure) << name;
    EXPECT_NE(failure->find("missing"), std::string::npos) << *failure;
  }
  // The PDF holds the sheets a paged export of the board prints.
  const auto setup = board.bundle->manifest.board.pageSetup.value_or(PageSetup::defaultSetup());
  const auto sheets = PageExportPlan::pages(setup, board.contentFrames).size();
  EXPECT_EQ(testing::shell("pdfinfo " + testing::quoted(folder / "board.pdf") + " | grep -qx 'Pages: *" +
                           std::to_string(sheets) + "'"),
            0);
  EXPECT_EQ(fs::exists(folder / "missing"), false);
}

}  // namespace
}  // namespace zorvi::view
