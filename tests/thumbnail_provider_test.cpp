#include "zorvi/thumbnail_provider.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/test_images.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

struct Outcome {
  int calls = 0;
  std::optional<ThumbnailReply> reply;
  std::optional<BoardArchiveError> error;
};

Outcome ask(const fs::path& file, Size maximumSize, double scale = 1) {
  Outcome outcome;
  ThumbnailProvider().provideThumbnail({file, maximumSize, scale}, [&](auto reply, auto error) {
    ++outcome.calls;
    outcome.reply = std::move(reply);
    outcome.error = std::move(error);
  });
  return outcome;
}

// A board holding one red shape of the given size, or nothing when width is 0.
fs::path board(double width, double height) {
  const fs::path dir = fs::path(ZORVI_BINARY_DIR) / "thumbnail_provider_test";
  fs::create_directories(dir);
  BoardBundle bundle;
  bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
  if (width > 0)
    bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", {}, 3, {}, {}},
                                       Frame{0, 0, width, height}, 0, false, std::nullopt);
  std::string name = "b";
  name.append(std::to_string(width)).append("x").append(std::to_string(height)).append(".zorvi");
  const fs::path path = dir / name;
  BoardArchive::write(bundle, path);
  return path;
}

// Exactly one answer: a reply whose context is the picture in points, the read error, or neither when
// there is nothing to draw.
TEST(ThumbnailProvider, AnswersOnceWithAReplyAnErrorOrNothing) {
  using Case = BoardArchiveError::Case;
  const fs::path missing = fs::path(ZORVI_BINARY_DIR) / "thumbnail_provider_test" / "missing.zorvi";
  const std::tuple<const char*, fs::path, Size, double, std::optional<Size>, std::optional<Case>> rows[] = {
      {"scale 2 doubles the budget", board(200, 100), {256, 128}, 2, Size{256, 128}, {}},
      {"the taller side of the maximum counts", board(200, 100), {100, 300}, 1, Size{300, 150}, {}},
      {"fractions of a point stand", board(301, 150), {150.5, 10}, 2, Size{150.5, 75}, {}},
      {"unreadable file", missing, {256, 256}, 1, {}, Case::archiveCorrupt},
      {"empty board", board(0, 0), {256, 256}, 1, {}, {}},
      {"zero maximum size", board(10, 10), {0, 0}, 1, {}, {}},
  };
  for (const auto& [name, file, maximumSize, scale, contextSize, error] : rows) {
    SCOPED_TRACE(name);
    const Outcome outcome = ask(file, maximumSize, scale);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(outcome.reply ? std::optional(outcome.reply->contextSize) : std::nullopt, contextSize);
    EXPECT_EQ(outcome.error ? std::optional(outcome.error->kind()) : std::nullopt, error);
  }
}

TEST(ThumbnailProvider, DrawingBlockFillsItsContextWithThePicture) {
  const Outcome outcome = ask(board(200, 100), {256, 128}, 2);
  ASSERT_TRUE(outcome.reply);
  bool drew = false;
  const auto copy = RasterCanvas::render(512, 256, [&](DrawingContext& context) {
    context.scale(2, 2);
    drew = outcome.reply->drawingBlock(context);
  });
  ASSERT_TRUE(copy);
  EXPECT_TRUE(drew);
  for (const auto& [x, y] : {std::pair{0, 0}, {511, 0}, {0, 255}, {511, 255}})
    EXPECT_EQ(testing::pixelAt(*copy, x, y), 0xFFFF0000u) << x << "," << y;
}

}  // namespace
}  // namespace zorvi
