// Boards exchanged with the ZIP tools a user already has: Python's zipfile, Info-ZIP and libarchive.
#include <gtest/gtest.h>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::quoted;
using testing::shell;

TEST(ArchiveInterop, ReadsBoardsWrittenByOtherTools) {
  const std::string files = "manifest.json images thumbnails notes.txt";
  const struct {
    const char* name;
    std::string command;  // run inside the board folder, writes ../board.zorvi
    bool descriptors;     // whether the archive must carry data descriptors
  } rows[] = {
      {"Info-ZIP, deflated, with folder entries", "zip -q -r ../board.zorvi " + files, false},
      {"Info-ZIP, stored", "zip -q -r -0 ../board.zorvi " + files, false},
      // Writing to a pipe leaves zip no way to seek back, so sizes follow each entry's data.
      {"Info-ZIP through a pipe", "zip -q -r - " + files + " | cat > ../board.zorvi", true},
      {"Python zipfile, mixed methods, folder entry",
       "python3 -c 'import os, zipfile\nwith zipfile.ZipFile(\"../board.zorvi\", \"w\") as z:\n"
       " z.writestr(zipfile.ZipInfo(\"images/\"), b\"\")\n"
       " for i, p in enumerate([\"manifest.json\", \"images/a.png\", \"images/sub/b.jpg\", "
       "\"images/empty.png\","
       " \"thumbnails/a.png\", \"notes.txt\"]): z.write(p, p, zipfile.ZIP_DEFLATED if i % 2 == 0 else "
       "zipfile.ZIP_STORED)'",
       false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    testing::TemporaryFolder folder;
    const fs::path source = folder.path / "src", board = folder.path / "board.zorvi";
    testing::writeFile(source / "manifest.json", testing::manifestJson());
    testing::writeFile(source / "images/a.png", std::string(5000, 'a'));
    testing::writeFile(source / "images/sub/b.jpg", std::string("b"));
    testing::writeFile(source / "images/empty.png", std::string());
    testing::writeFile(source / "thumbnails/a.png", std::string(700, 't'));
    testing::writeFile(source / "notes.txt", std::string("ignored"));
    ASSERT_EQ(shell("cd " + quoted(source) + " && " + row.command), 0);
    EXPECT_EQ(shell("python3 -c 'import sys, zipfile; sys.exit(0 if any(i.flag_bits & 8 for i in "
                    "zipfile.ZipFile(sys.argv[1]).infolist()) else 1)' " +
                    quoted(board)) == 0,
              row.descriptors);
    const BoardBundle bundle = BoardArchive::read(board);
    EXPECT_EQ(bundle.images, (std::map<std::string, Bytes>{{"images/a.png", Bytes(5000, 'a')},
                                                           {"images/empty.png", {}},
                                                           {"images/sub/b.jpg", Bytes{'b'}}}));
    EXPECT_EQ(bundle.thumbnails, (std::map<std::string, Bytes>{{"thumbnails/a.png", Bytes(700, 't')}}));
    EXPECT_EQ(bundle.manifest.board.name, "Spring");
  }
}

TEST(ArchiveInterop, WrittenBoardsPassOtherTools) {
  testing::TemporaryFolder folder;
  const fs::path board = folder.path / "board.zorvi";
  BoardBundle bundle;
  bundle.images = {
      {"images/b.png", Bytes(70000, 'b')}, {"images/a/nested.png", Bytes{'n'}}, {"images/B.png", {}}};
  bundle.thumbnails = {{"thumbnails/b.png", Bytes(300, 't')}};
  BoardArchive::write(bundle, board);
  EXPECT_EQ(shell("unzip -tqq " + quoted(board)), 0);
  EXPECT_EQ(shell("python3 -m zipfile -t " + quoted(board) + " > /dev/null"), 0);
  EXPECT_EQ(shell("bsdtar -tf " + quoted(board) + " > /dev/null"), 0);
  const fs::path listing = folder.path / "listing.txt";
  ASSERT_EQ(shell("python3 -c 'import sys, zipfile\nfor i in zipfile.ZipFile(sys.argv[1]).infolist(): "
                  "print(i.filename, i.compress_type, i.file_size)' " +
                  quoted(board) + " > " + quoted(listing)),
            0);
  const std::string listed = testing::readText(listing);
  EXPECT_TRUE(listed.starts_with("manifest.json 8 ")) << listed;
  EXPECT_EQ(listed.substr(listed.find('\n') + 1),
            "images/B.png 0 0\nimages/a/nested.png 0 1\nimages/b.png 0 70000\nthumbnails/b.png 0 300\n");
}

}  // namespace
}  // namespace zorvi
