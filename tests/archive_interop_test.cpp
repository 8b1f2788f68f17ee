// Boards exchanged with the ZIP tools a user already has: Python's zipfile, Info-ZIP and libarchive.
#include <gtest/gtest.h>

#include <string>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::manifestJson;
using testing::quoted;
using testing::shell;
using testing::TemporaryFolder;

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

// A board folder: manifest, nested images (one empty), a thumbnail.
void makeBoardFolder(const fs::path& folder) {
  testing::writeFile(folder / "manifest.json", manifestJson());
  testing::writeFile(folder / "images/a.png", std::string(5000, 'a'));
  testing::writeFile(folder / "images/sub/b.jpg", std::string("b"));
  testing::writeFile(folder / "images/empty.png", std::string());
  testing::writeFile(folder / "thumbnails/a.png", std::string(700, 't'));
}

void expectBoardFolderContent(const BoardBundle& bundle) {
  const std::map<std::string, Bytes> images = {{"images/a.png", Bytes(5000, 'a')},
                                               {"images/empty.png", {}},
                                               {"images/sub/b.jpg", bytesOf("b")}};
  EXPECT_EQ(bundle.images, images);
  EXPECT_EQ(bundle.thumbnails, (std::map<std::string, Bytes>{{"thumbnails/a.png", Bytes(700, 't')}}));
  EXPECT_EQ(bundle.manifest.board.name, "Spring");
}

TEST(ArchiveInterop, ReadsBoardsWrittenByInfoZip) {
  struct Row {
    const char* name;
    std::string command;  // run inside the board folder, writes ../board.zorvi
    bool descriptors;     // whether the archive must carry data descriptors
  };
  const std::vector<Row> rows = {
      {"deflated, with folder entries", "zip -q -r ../board.zorvi manifest.json images thumbnails", false},
      {"stored", "zip -q -r -0 ../board.zorvi manifest.json images thumbnails", false},
      // Writing to a pipe leaves zip no way to seek back, so sizes follow each entry's data.
      {"streamed through a pipe", "zip -q -r - manifest.json images thumbnails | cat > ../board.zorvi", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    TemporaryFolder folder;
    makeBoardFolder(folder.path / "src");
    ASSERT_EQ(shell("cd " + quoted(folder.path / "src") + " && " + row.command), 0);
    const fs::path board = folder.path / "board.zorvi";
    const std::string hasDescriptors =
        "python3 -c 'import sys, zipfile; sys.exit(0 if any(i.flag_bits & 8 for i in "
        "zipfile.ZipFile(sys.argv[1]).infolist()) else 1)' " + quoted(board);
    EXPECT_EQ(shell(hasDescriptors) == 0, row.descriptors);
    expectBoardFolderContent(BoardArchive::read(board));
  }
}

TEST(ArchiveInterop, ReadsBoardsWrittenByPython) {
  TemporaryFolder folder;
  const fs::path board = folder.path / "board.zorvi";
  testing::writeFile(folder.path / "manifest.json", manifestJson());
  const std::string script = R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], "w") as z:
    z.write(sys.argv[2], "manifest.json", compress_type=zipfile.ZIP_DEFLATED)
    z.writestr(zipfile.ZipInfo("images/"), b"")
    z.writestr("images/a.png", b"a" * 5000, compress_type=zipfile.ZIP_STORED)
    z.writestr("images/sub/b.jpg", b"b", compress_type=zipfile.ZIP_DEFLATED)
    z.writestr("images/empty.png", b"")
    z.writestr("thumbnails/a.png", b"t" * 700, compress_type=zipfile.ZIP_DEFLATED)
    z.writestr("notes.txt", b"ignored")
)";
  testing::writeFile(folder.path / "make.py", script);
  ASSERT_EQ(shell("python3 " + quoted(folder.path / "make.py") + " " + quoted(board) + " " +
                  quoted(folder.path / "manifest.json")),
            0);
  expectBoardFolderContent(BoardArchive::read(board));
}

TEST(ArchiveInterop, WrittenBoardsPassOtherTools) {
  TemporaryFolder folder;
  const fs::path board = folder.path / "board.zorvi";
  BoardBundle bundle;
  bundle.manifest.board.name = "Interop";
  bundle.images = {{"images/b.png", Bytes(70000, 'b')}, {"images/a/nested.png", bytesOf("n")}, {"images/0.png", {}}};
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
  const std::string manifestLine = listed.substr(0, listed.find('\n'));
  EXPECT_TRUE(manifestLine.starts_with("manifest.json 8 ")) << manifestLine;
  EXPECT_EQ(listed.substr(listed.find('\n') + 1),
            "images/0.png 0 0\n"
            "images/a/nested.png 0 1\n"
            "images/b.png 0 70000\n"
            "thumbnails/b.png 0 300\n");
}

}  // namespace
}  // namespace zorvi
