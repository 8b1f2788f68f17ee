// The zorvi command as a user runs it: exit status, the one line on stderr, and no stray output.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::manifestJson;
using testing::quoted;
using testing::readText;
using testing::TemporaryFolder;
using testing::writeFile;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

class ZorviCommand : public ::testing::Test {
 protected:
  Outcome zorvi(const std::string& arguments) {
    const fs::path out = scratch.path / "stdout";
    const fs::path err = scratch.path / "stderr";
    const int status = testing::shell(quoted(fs::path(ZORVI_BINARY_DIR) / "tools/zorvi/zorvi") + " " + arguments +
                                      " > " + quoted(out) + " 2> " + quoted(err));
    return {status, readText(out), readText(err)};
  }
  fs::path at(const std::string& name) { return work.path / name; }
  std::string path(const std::string& name) { return quoted(at(name)); }

  // A board folder and the board packed from it.
  void makeBoard(const std::string& name, std::int64_t schemaVersion = 8) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(manifestJson(schemaVersion));
    bundle.images = {{"images/a.png", Bytes(300, 'a')}, {"images/sub/b.png", Bytes{}}};
    bundle.thumbnails = {{"thumbnails/a.png", Bytes(20, 't')}};
    writeFile(at(name), BoardArchive::encode(bundle));
  }

  TemporaryFolder scratch;
  TemporaryFolder work;
};

TEST_F(ZorviCommand, UsageErrorsExitTwoWithAUsageLine) {
  struct Row {
    const char* arguments;
    const char* usage;
  };
  const std::vector<Row> rows = {
      {"", "usage: zorvi COMMAND"},           {"frob", "usage: zorvi COMMAND"},
      {"info", "usage: zorvi info BOARD"},    {"manifest a b", "usage: zorvi manifest BOARD"},
      {"pack dir", "usage: zorvi pack DIR OUT"}, {"unpack --force a b", "usage: zorvi unpack BOARD DIR"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    const Outcome run = zorvi(row.arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find(row.usage), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(ZorviCommand, HelpForEverySubcommand) {
  for (const char* name : {"info", "manifest", "pack", "unpack"}) {
    SCOPED_TRACE(name);
    const Outcome run = zorvi(std::string(name) + " --help");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with("usage: zorvi " + std::string(name) + " ")) << run.out;
    EXPECT_NE(zorvi("--help").out.find(std::string("  ") + name + " "), std::string::npos);
  }
}

TEST_F(ZorviCommand, UnreadableBoardsGiveOneLineNamingTheCase) {
  makeBoard("schema9.zorvi", 9);
  writeFile(at("garbage.zorvi"), std::string("not a zip"));
  struct Row {
    const char* board;
    std::string expected;  // stderr after "zorvi: PATH: "
  };
  const std::vector<Row> rows = {
      {"schema9.zorvi", "unsupportedSchemaVersion: found 9, supported 8\n"},
      {"garbage.zorvi", "archiveCorrupt: Not a zip archive\n"},
      {"absent.zorvi", "archiveCorrupt: No such file or directory\n"},
  };
  for (const char* command : {"info", "manifest"}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(command) + " " + row.board);
      const Outcome run = zorvi(std::string(command) + " " + path(row.board));
      EXPECT_EQ(run.status, 1);
      EXPECT_EQ(run.err, "zorvi: " + at(row.board).string() + ": " + row.expected);
      EXPECT_EQ(run.out, "");
    }
  }
}

TEST_F(ZorviCommand, ManifestPrintsTheWrittenForm) {
  makeBoard("board.zorvi");
  const Outcome run = zorvi("manifest " + path("board.zorvi"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  std::string expected = ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest);
  if (!expected.ends_with('\n')) expected += '\n';
  EXPECT_EQ(run.out, expected);
}

TEST_F(ZorviCommand, InfoSummarisesTheBoard) {
  makeBoard("board.zorvi");
  const Outcome run = zorvi("info " + path("board.zorvi"));
  EXPECT_EQ(run.status, 0);
  for (const char* line : {"name: Spring\n", "schema version: 8\n", "created: 2025-03-14T09:26:53Z\n",
                           "items: 0 (image 0, text 0, shape 0, drawing 0)\n",
                           "images: 2 entries, 300 bytes\n  images/a.png  300 bytes\n  images/sub/b.png  0 bytes\n",
                           "thumbnails: 1 entry, 20 bytes\n", "page setup: none", "header: none\n"}) {
    EXPECT_NE(run.out.find(line), std::string::npos) << line;
  }
}

TEST_F(ZorviCommand, PackAndUnpackRoundTrip) {
  makeBoard("board.zorvi");
  ASSERT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("out")).status, 0);
  EXPECT_EQ(readText(at("out/images/sub/b.png")), "");
  EXPECT_EQ(readText(at("out/manifest.json")),
            ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest));
  const Outcome run = zorvi("pack " + path("out") + " " + path("again.zorvi"));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(BoardArchive::read(at("again.zorvi")), BoardArchive::read(at("board.zorvi")));
}

TEST_F(ZorviCommand, PackRefusesBadFoldersWithoutWritingTheBoard) {
  writeFile(at("malformed/manifest.json"), std::string("{}"));
  writeFile(at("newer/manifest.json"), manifestJson(9));
  fs::create_directories(at("empty"));
  writeFile(at("good/manifest.json"), manifestJson());
  struct Row {
    const char* folder;
    const char* out;
    const char* kind;
  };
  const std::vector<Row> rows = {
      {"malformed", "out.zorvi", "manifestMalformed: "},
      {"newer", "out.zorvi", "unsupportedSchemaVersion: found 9, supported 8"},
      {"empty", "out.zorvi", "manifestMissing: "},
      {"absent", "out.zorvi", "filesystem: "},
      {"good", "no/such/folder/out.zorvi", "archiveCorrupt: "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.folder);
    const Outcome run = zorvi("pack " + path(row.folder) + " " + path(row.out));
    EXPECT_EQ(run.status, 1);
    const bool aboutOutput = std::string_view(row.kind) == "archiveCorrupt: ";
    const std::string prefix = "zorvi: " + at(aboutOutput ? row.out : row.folder).string() + ": " + row.kind;
    EXPECT_TRUE(run.err.starts_with(prefix)) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    EXPECT_FALSE(fs::exists(at("out.zorvi")));
  }
}

TEST_F(ZorviCommand, UnpackNeverWritesOutsideTheFolder) {
  struct Row {
    const char* name;
    std::map<std::string, Bytes> images;
  };
  const std::vector<Row> rows = {{"parent", {{"images/../../escaped.png", Bytes{1}}}},
                                 {"deep parent", {{"images/a/../../../escaped.png", Bytes{1}}}},
                                 {"dot then parent", {{"thumbnails/./../../escaped.png", Bytes{1}}}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(manifestJson());
    for (const auto& [key, bytes] : row.images) (key.starts_with("images/") ? bundle.images : bundle.thumbnails)[key] = bytes;
    bundle.images["images/fine.png"] = Bytes{2};
    writeFile(at("hostile.zorvi"), BoardArchive::encode(bundle));
    const Outcome run = zorvi("unpack " + path("hostile.zorvi") + " " + path("out/inner"));
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with("zorvi: " + at("out/inner").string() + ": filesystem: ")) << run.err;
    EXPECT_FALSE(fs::exists(at("out"))) << "nothing is written once one entry is refused";
    EXPECT_FALSE(fs::exists(at("escaped.png")));
  }

  // A link already in the folder must not be followed, neither as a folder nor as a file.
  makeBoard("board.zorvi");
  fs::create_directories(at("outside"));
  fs::create_directories(at("linked"));
  fs::create_directory_symlink(at("outside"), at("linked/images"));
  EXPECT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("linked")).status, 1);
  fs::create_directories(at("linkedFile/thumbnails"));
  fs::create_symlink(at("outside/victim"), at("linkedFile/thumbnails/a.png"));
  EXPECT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("linkedFile")).status, 1);
  EXPECT_TRUE(fs::is_empty(at("outside")));
}

}  // namespace
}  // namespace zorvi
