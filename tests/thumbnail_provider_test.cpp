#include "zorvi/thumbnail_provider.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/test_images.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

struct Outcome {
  int calls = 0;
  std::optional<ThumbnailReply> reply;
  std::optional<BoardArchiveError> error;
};

Outcome ask(const std::filesystem::path& file, Size maximumSize, double scale) {
  Outcome outcome;
  ThumbnailProvider().provideThumbnail(
      {file, maximumSize, scale},
      [&](std::optional<ThumbnailReply> reply, std::optional<BoardArchiveError> error) {
        ++outcome.calls;
        outcome.reply = std::move(reply);
        outcome.error = std::move(error);
      });
  return outcome;
}

class ThumbnailProviderTest : public ::testing::Test {
 protected:
  std::filesystem::path dir = std::filesystem::path(ZORVI_BINARY_DIR) / "thumbnail_provider_test";

  void SetUp() override { std::filesystem::create_directories(dir); }

  // A board holding one red shape of the given size.
  std::filesystem::path board(const std::string& name, double width, double height) {
    BoardBundle bundle;
    bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
    if (width > 0)
      bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", {}, 3, {}, {}},
                                         Frame{0, 0, width, height}, 0, false, std::nullopt);
    const auto path = dir / name;
    BoardArchive::write(bundle, path);
    return path;
  }
};

TEST_F(ThumbnailProviderTest, ReplyContextIsThePictureInPoints) {
  struct Row {
    const char* name;
    double boardWidth, boardHeight;
    Size maximumSize;
    double scale;
    Size contextSize;
  };
  const Row rows[] = {
      {"scale 2 doubles the budget", 200, 100, {256, 128}, 2, {256, 128}},
      {"the taller side of the maximum counts", 200, 100, {100, 300}, 1, {300, 150}},
      {"a square maximum uses its side", 100, 200, {64, 64}, 1, {32, 64}},
      {"fractions of a point stand", 301, 150, {150.5, 10}, 2, {150.5, 75}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Outcome outcome =
        ask(board("b.zorvi", row.boardWidth, row.boardHeight), row.maximumSize, row.scale);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_FALSE(outcome.error);
    ASSERT_TRUE(outcome.reply);
    EXPECT_EQ(outcome.reply->contextSize, row.contextSize);
  }
}

TEST_F(ThumbnailProviderTest, DrawingBlockFillsItsContextWithThePicture) {
  const Outcome outcome = ask(board("red.zorvi", 200, 100), {256, 128}, 2);
  ASSERT_TRUE(outcome.reply);
  bool drew = false;
  const auto copy = RasterCanvas::render(512, 256, [&](DrawingContext& context) {
    context.scale(2, 2);
    drew = outcome.reply->drawingBlock(context);
  });
  ASSERT_TRUE(copy);
  EXPECT_TRUE(drew);
  for (const auto& [x, y] : {std::pair{0, 0}, {511, 0}, {0, 255}, {511, 255}, {256, 128}}) {
    SCOPED_TRACE(std::to_string(x) + "," + std::to_string(y));
    EXPECT_EQ(testing::pixelAt(*copy, x, y), 0xFFFF0000u);
  }
}

TEST_F(ThumbnailProviderTest, UnreadableFilesGiveTheReadError) {
  const auto notABoard = dir / "not-a-board.zorvi";
  std::ofstream(notABoard) << "plain text";
  for (const auto& path : {notABoard, dir / "missing.zorvi"}) {
    SCOPED_TRACE(path.filename().string());
    const Outcome outcome = ask(path, {256, 256}, 1);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_FALSE(outcome.reply);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->kind(), BoardArchiveError::Case::archiveCorrupt);
  }
}

TEST_F(ThumbnailProviderTest, NothingToDrawGivesNeitherReplyNorError) {
  struct Row {
    const char* name;
    std::filesystem::path file;
    Size maximumSize;
  };
  const Row rows[] = {
      {"empty board", board("empty.zorvi", 0, 0), {256, 256}},
      {"zero maximum size", board("b.zorvi", 10, 10), {0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Outcome outcome = ask(row.file, row.maximumSize, 1);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_FALSE(outcome.reply);
    EXPECT_FALSE(outcome.error);
  }
}

}  // namespace
}  // namespace zorvi
