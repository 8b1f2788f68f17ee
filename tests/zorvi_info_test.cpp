// `zorvi info` as a user runs it on a board whose pictures would not all show.
#include <gtest/gtest.h>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

using testing::quoted;

CanvasItem imageItem(std::uint8_t n, std::optional<std::string> image, std::optional<std::string> thumbnail) {
  CanvasItem item(Uuid{{n}}, "", "", {0, 0, 10, 10}, 0, {}, {}, {}, {}, false, {});
  item.image = std::move(image), item.thumbnail = std::move(thumbnail);
  return item;
}

TEST(ZorviInfo, ListsEachImageItemsFormatAndMissingEntries) {
  struct Row {
    const char* name;
    CanvasItem item;
    std::string line;  // after the id
  } const rows[] = {
      {"accepted", imageItem(1, "images/a.png", "thumbnails/a.png"),
       "  image images/a.png  thumbnail thumbnails/a.png  format jpeg\n"},
      {"rejected", imageItem(2, "images/b.png", "thumbnails/a.png"),
       "  image images/b.png  thumbnail thumbnails/a.png  format GIF (not accepted)\n"},
      {"unknown", imageItem(3, "images/c.heic", "thumbnails/a.png"),
       "  image images/c.heic  thumbnail thumbnails/a.png  format unknown\n"},
      {"image entry missing", imageItem(4, "images/gone.png", "thumbnails/a.png"),
       "  image images/gone.png  thumbnail thumbnails/a.png  missing: image\n"},
      {"thumbnail entry missing", imageItem(5, "images/a.png", "thumbnails/gone.png"),
       "  image images/a.png  thumbnail thumbnails/gone.png  format jpeg  missing: thumbnail\n"},
      {"thumbnail field absent", imageItem(6, "images/a.png", {}),
       "  image images/a.png  thumbnail (none)  format jpeg  missing: thumbnail\n"},
      {"both missing", imageItem(7, {}, "thumbnails/gone.png"),
       "  image (none)  thumbnail thumbnails/gone.png  missing: image, thumbnail\n"},
  };
  BoardBundle bundle;
  bundle.manifest = ManifestCoder::decode(testing::manifestJson());
  for (const Row& row : rows) bundle.manifest.items.push_back(row.item);
  bundle.manifest.items.emplace_back(Uuid{{9}}, ShapeContent{}, Frame{}, 0, false, std::nullopt);
  bundle.images = {{"images/a.png", {0xFF, 0xD8, 0xFF, 0xE0}}, {"images/b.png", {'G', 'I', 'F', '8', '9', 'a'}},
                   {"images/c.heic", {0, 0, 0, 0x10, 'f', 't', 'y', 'p', 'i', 's', 'o', 'm', 0, 0, 0, 0}}};
  bundle.thumbnails = {{"thumbnails/a.png", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}}};
  const testing::TemporaryFolder folder;
  BoardArchive::write(bundle, folder.path / "board.zorvi");

  const testing::CommandRun run = testing::runZorvi("info " + quoted(folder.path / "board.zorvi"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const std::string& text = run.out;
  EXPECT_NE(text.find("image items:\n"), std::string::npos) << text;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NE(text.find("  " + row.item.id.string() + row.line), std::string::npos) << text;
  }
  EXPECT_EQ(text.find(Uuid{{9}}.string()), std::string::npos) << "only image items are listed";
}

}  // namespace
}  // namespace zorvi
