#include "board_view.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "support/board_files.hpp"
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

TEST(BoardView, ExportsWriteWholeFilesOrNone) {
  const OpenBoard board = openBoard(example);
  const fs::path folder = fs::temp_directory_path() / ("zorvi-view-test-" + std::to_string(::getpid()));
  fs::create_directories(folder);
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
  fs::remove_all(folder);
}

}  // namespace
}  // namespace zorvi::view
