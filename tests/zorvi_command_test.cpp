// The zorvi command as a user runs it: exit status, the one line on stderr, and no stray output.
#include <gtest/gtest.h>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::manifestJson;
using testing::readText;
using testing::writeFile;

class ZorviCommand : public ::testing::Test {
 protected:
  static testing::CommandRun zorvi(const std::string& arguments) { return testing::runZorvi(arguments); }
  fs::path at(const std::string& name) { return work.path / name; }
  std::string path(const std::string& name) { return testing::quoted(at(name)); }
  void makeBoard(const std::string& name, std::int64_t schemaVersion = 8) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(manifestJson(schemaVersion));
    bundle.images = {{"images/a.png", Bytes(300, 'a')}, {"images/sub/b.png", {}}};
    bundle.thumbnails = {{"thumbnails/a.png", Bytes(20, 't')}};
    writeFile(at(name), BoardArchive::encode(bundle));
  }

  testing::TemporaryFolder work;
};

// Help itself is checked with every command's options in the help test.
TEST_F(ZorviCommand, UsageErrorsExitTwo) {
  const std::pair<const char*, const char*> rows[] = {  // arguments, what stderr holds
      {"", "usage: zorvi COMMAND"},
      {"frob", "usage: zorvi COMMAND"},
      {"manifest a b", "usage: zorvi manifest BOARD"},
      {"pack dir", "usage: zorvi pack DIR OUT"},
      {"unpack --force a b", "usage: zorvi unpack BOARD DIR"},
  };
  for (const auto& [arguments, expected] : rows) {
    SCOPED_TRACE(arguments);
    const testing::CommandRun run = zorvi(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find(expected), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(ZorviCommand, FailuresGiveOneLineNamingTheCaseAndWriteNothing) {
  makeBoard("schema9.zorvi", 9);
  writeFile(at("garbage.zorvi"), std::string("not a zip"));
  writeFile(at("malformed/manifest.json"), std::string("{}"));
  writeFile(at("newer/manifest.json"), manifestJson(9));
  fs::create_directories(at("empty"));
  writeFile(at("good/manifest.json"), manifestJson());
  const struct {
    std::vector<std::string> arguments;  // the command, then names in the work folder
    const char* named;                   // the path the message names
    const char* expected;                // the start of stderr after "zorvi: PATH: "
  } rows[] = {
      {{"info", "schema9.zorvi"}, "schema9.zorvi", "unsupportedSchemaVersion: found 9, supported 8\n"},
      {{"manifest", "garbage.zorvi"}, "garbage.zorvi", "archiveCorrupt: Not a zip archive\n"},
      {{"unpack", "absent.zorvi", "out"}, "absent.zorvi", "archiveCorrupt: no such file\n"},
      {{"pack", "malformed", "out"}, "malformed", "manifestMalformed: "},
      {{"pack", "newer", "out"}, "newer", "unsupportedSchemaVersion: found 9, supported 8\n"},
      {{"pack", "empty", "out"}, "empty", "manifestMissing: "},
      {{"pack", "absent", "out"}, "absent", "filesystem: "},
      {{"pack", "good", "no/such/folder/out"}, "no/such/folder/out", "archiveCorrupt: "},
  };
  for (const auto& row : rows) {
    std::string arguments = row.arguments[0];
    for (std::size_t i = 1; i < row.arguments.size(); ++i) arguments += " " + path(row.arguments[i]);
    SCOPED_TRACE(arguments);
    const testing::CommandRun run = zorvi(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with("zorvi: " + at(row.named).string() + ": " + row.expected)) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(fs::exists(at("out")));
  }
}

TEST_F(ZorviCommand, InfoAndManifestDescribeTheBoard) {
  makeBoard("board.zorvi");
  const testing::CommandRun info = zorvi("info " + path("board.zorvi"));
  EXPECT_EQ(info.status, 0);
  for (const char* line :
       {"name: Spring\n", "schema version: 8\n", "created: 2025-03-14T09:26:53Z\n",
        "images: 2 entries, 300 bytes\n  images/a.png  300 bytes\n  images/sub/b.png  0 bytes\n",
        "items: 0 (image 0, text 0, shape 0, drawing 0)\n", "thumbnails: 1 entry, 20 bytes\n",
        "page setup: none", "header: none\n"}) {
    EXPECT_NE(info.out.find(line), std::string::npos) << line;
  }
  const testing::CommandRun manifest = zorvi("manifest " + path("board.zorvi"));
  EXPECT_EQ(manifest.status, 0);
  EXPECT_EQ(manifest.err, "");
  std::string expected = ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest);
  EXPECT_EQ(manifest.out, expected.ends_with('\n') ? expected : expected + '\n');
}

TEST_F(ZorviCommand, PackAndUnpackRoundTrip) {
  makeBoard("board.zorvi");
  ASSERT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("out")).status, 0);
  EXPECT_EQ(readText(at("out/manifest.json")),
            ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest));
  const testing::CommandRun run = zorvi("pack " + path("out") + " " + path("again.zorvi"));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(BoardArchive::read(at("again.zorvi")), BoardArchive::read(at("board.zorvi")));
}

TEST_F(ZorviCommand, UnpackNeverWritesOutsideTheFolder) {
  BoardBundle bundle;
  bundle.manifest = ManifestCoder::decode(manifestJson());
  bundle.images = {{"images/fine.png", Bytes{2}}};
  bundle.thumbnails = {{"thumbnails/./../../escaped.png", Bytes{1}}};
  writeFile(at("hostile.zorvi"), BoardArchive::encode(bundle));
  const testing::CommandRun run = zorvi("unpack " + path("hostile.zorvi") + " " + path("out/inner"));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.err.starts_with("zorvi: " + at("out/inner").string() + ": filesystem: ")) << run.err;
  EXPECT_FALSE(fs::exists(at("out"))) << "nothing is written once one entry is refused";

  // A link already in the folder must not be followed, neither as a folder nor as a file.
  makeBoard("board.zorvi");
  fs::create_directories(at("outside"));
  fs::create_directories(at("linked"));
  fs::create_directories(at("linkedFile/thumbnails"));
  fs::create_directory_symlink(at("outside"), at("linked/images"));
  fs::create_symlink(at("outside/victim"), at("linkedFile/thumbnails/a.png"));
  EXPECT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("linked")).status, 1);
  EXPECT_EQ(zorvi("unpack " + path("board.zorvi") + " " + path("linkedFile")).status, 1);
  EXPECT_TRUE(fs::is_empty(at("outside")));
}

}  // namespace
}  // namespace zorvi
