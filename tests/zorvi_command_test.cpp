// The zorvi command as a user runs it: exit status, the one line on stderr, and the user's files kept.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>

#include "support/command_test.hpp"
#include "support/html_golden.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::manifestJson;
using testing::readText;
using testing::writeFile;

class ZorviCommand : public testing::CommandTest {
 protected:
  void SetUp() override {
    copyExample("a.zorvi");
    copyExample("b.zorvi");
    for (const char* name : {"kept.png", "kept.html", "kept.zorvi"}) {
      writeFile(at(name), std::string("keep me"));
      fs::permissions(at(name), fs::perms::owner_read | fs::perms::group_read);
    }
  }
  void makeBoard(const std::string& name, std::int64_t schemaVersion = 8) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(manifestJson(schemaVersion));
    bundle.images = {{"images/a.png", Bytes(300, 'a')}, {"images/sub/b.png", {}}};
    bundle.thumbnails = {{"thumbnails/a.png", Bytes(20, 't')}};
    writeFile(at(name), BoardArchive::encode(bundle));
  }
};

TEST_F(ZorviCommand, FailuresPrintOneLineAndLeaveEveryFileAsItWas) {
  makeBoard("schema9.zorvi", 9);
  writeFile(at("garbage.zorvi"), std::string("not a zip"));
  writeFile(at("folder/manifest.json"), manifestJson());
  writeFile(at("malformed/manifest.json"), std::string("{}"));
  writeFile(at("newer/manifest.json"), manifestJson(9));
  fs::create_directories(at("empty"));
  writeFile(at("zero.zorvi"), std::string());
  writeFile(at("text.json"), std::string("version=1"));
  writeFile(at("number.json"), std::string(R"({"version":1.3,"url":"u"})"));
  writeFile(at("surrogate.json"), std::string(R"({"version":"1","url":"\ude00"})"));
  const std::string board = readText(at("a.zorvi"));
  const char* const runs[] = {
      "frob", "manifest a b", "pack dir", "unpack --force a b", "info a.zorvi --force", "thumbnail a.zorvi b.zorvi",
      "thumbnail a.zorvi a.zorvi --force", "thumbnail a.zorvi ./folder/../a.zorvi", "export html a.zorvi b.zorvi",
      "export pages a.zorvi b.zorvi --logo b.zorvi --force", "thumbnail a.zorvi out.png --size 0",
      "thumbnail a.zorvi out.png --size=32768", "thumbnail a.zorvi out.png --size 2.5",
      "thumbnail a.zorvi out.png --scale 0", "thumbnail a.zorvi kept.png", "export html a.zorvi kept.html",
      "pack folder kept.zorvi", "thumbnail absent.zorvi out.png", "manifest absent/a.zorvi", "unpack absent.zorvi out",
      "info folder", "info zero.zorvi", "info /dev/null", "info schema9.zorvi", "manifest garbage.zorvi",
      "pack malformed out", "pack newer out", "pack empty out", "pack absent out", "pack folder no/such/folder/out",
      "update-check 1.0 text.json", "update-check 1.0 number.json", "update-check 1.0 absent.json",
      "update-check 1.0 surrogate.json", "update-check 1.0", "update-check 1.0 text.json extra",
      "update-check --fast 1.0 text.json",
  };
  // Each run's exit status and its one stderr line, whole in tests/golden/command_failures.txt.
  std::string transcript;
  for (const char* arguments : runs) {
    SCOPED_TRACE(arguments);
    const testing::CommandRun run = zorvi(arguments);
    transcript += "$ zorvi " + std::string(arguments) + "\nexit " + std::to_string(run.status) + ": " + run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(readText(at("a.zorvi")), board);
    EXPECT_EQ(readText(at("b.zorvi")), board);
    for (const char* name : {"kept.png", "kept.html", "kept.zorvi"}) EXPECT_EQ(readText(at(name)), "keep me") << name;
    for (const char* name : {"out", "out.png", "out.html"}) EXPECT_FALSE(fs::exists(at(name))) << name;
  }
  testing::expectMatchesGolden("command_failures", transcript, "txt");
  const testing::CommandRun bare = zorvi("");
  EXPECT_EQ(bare.status, 2);
  EXPECT_TRUE(bare.err.starts_with("usage: zorvi COMMAND")) << bare.err;
}

TEST_F(ZorviCommand, ReplacingKeepsPermissionsAndForceReplacesABoard) {
  writeFile(at("folder/manifest.json"), manifestJson());
  const std::pair<const char*, const char*> rows[] = {
      {"thumbnail a.zorvi private.png", "private.png"},
      {"export html a.zorvi private.html", "private.html"},
      {"pack folder private.zorvi", "private.zorvi"},
  };
  for (const auto& [arguments, output] : rows) {
    SCOPED_TRACE(arguments);
    writeFile(at(output), std::string("old"));
    fs::permissions(at(output), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(zorvi(arguments).status, 0);
    EXPECT_NE(readText(at(output)), "old");
    EXPECT_EQ(fs::status(at(output)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
  EXPECT_EQ(zorvi("thumbnail a.zorvi b.zorvi --force").status, 0);
  EXPECT_TRUE(readText(at("b.zorvi")).starts_with("\x89PNG"));
}

TEST_F(ZorviCommand, StaleTemporariesOfTheSameOutputAreRemoved) {
  const std::string uuid = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  const std::tuple<std::string, bool, bool> rows[] = {  // name, stale, removed
      {".out.html." + uuid + ".tmp", true, true},
      {".out.html." + uuid + ".tmp", false, false},  // a writer may still be at work
      {".out.html.notanid.tmp", true, false},
      {".other.html." + uuid + ".tmp", true, false},
      {"out.html." + uuid + ".tmp", true, false},
  };
  for (const auto& [name, stale, removed] : rows) {
    SCOPED_TRACE(name + (stale ? " (stale)" : " (fresh)"));
    writeFile(at(name), std::string("left behind"));
    if (stale) fs::last_write_time(at(name), old);
    EXPECT_EQ(zorvi("export html a.zorvi out.html").status, 0);
    EXPECT_EQ(fs::exists(at(name)), !removed);
    fs::remove(at(name));
  }
}

// Every image item's entries and format, and the sizes read from the directory, whole in
// tests/golden/zorvi_info.txt.
TEST_F(ZorviCommand, InfoAndManifestDescribeTheBoard) {
  const auto image = [](std::uint8_t n, std::optional<std::string> full, std::optional<std::string> thumbnail) {
    CanvasItem item(Uuid{{n}}, "", "", {0, 0, 10, 10}, 0, {}, {}, {}, {}, false, {});
    item.image = std::move(full), item.thumbnail = std::move(thumbnail);
    return item;
  };
  BoardBundle bundle;
  bundle.manifest = ManifestCoder::decode(manifestJson());
  bundle.manifest.items = {image(1, "images/a.png", "thumbnails/a.png"), image(2, "images/b.png", "thumbnails/a.png"),
                           image(3, "images/c.heic", "thumbnails/a.png"), image(4, "images/gone.png", "thumbnails/a.png"),
                           image(5, "images/a.png", "thumbnails/gone.png"), image(6, "images/a.png", {}),
                           image(7, {}, "thumbnails/gone.png")};
  bundle.manifest.items.emplace_back(Uuid{{9}}, ShapeContent{}, Frame{}, 0, false, std::nullopt);
  bundle.images = {{"images/a.png", {0xFF, 0xD8, 0xFF, 0xE0}}, {"images/b.png", {'G', 'I', 'F', '8', '9', 'a'}},
                   {"images/c.heic", {0, 0, 0, 0x10, 'f', 't', 'y', 'p', 'i', 's', 'o', 'm', 0, 0, 0, 0}},
                   {"images/sub/empty.png", {}}};
  bundle.thumbnails = {{"thumbnails/a.png", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}}};
  BoardArchive::write(bundle, at("board.zorvi"));

  const testing::CommandRun info = zorvi("info board.zorvi");
  EXPECT_EQ(std::pair(info.status, info.err), std::pair(0, std::string()));
  testing::expectMatchesGolden("zorvi_info", info.out, "txt");
  const testing::CommandRun manifest = zorvi("manifest board.zorvi");
  EXPECT_EQ(std::pair(manifest.status, manifest.err), std::pair(0, std::string()));
  const std::string expected = ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest);
  EXPECT_EQ(manifest.out, expected.ends_with('\n') ? expected : expected + '\n');
}

TEST_F(ZorviCommand, PackAndUnpackRoundTrip) {
  makeBoard("board.zorvi");
  ASSERT_EQ(zorvi("unpack board.zorvi out").status, 0);
  EXPECT_EQ(readText(at("out/manifest.json")), ManifestCoder::encode(BoardArchive::read(at("board.zorvi")).manifest));
  const testing::CommandRun run = zorvi("pack out again.zorvi");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(BoardArchive::read(at("again.zorvi")), BoardArchive::read(at("board.zorvi")));
}

TEST_F(ZorviCommand, UnpackNeverWritesOutsideTheFolder) {
  BoardBundle bundle;
  bundle.manifest = ManifestCoder::decode(manifestJson());
  bundle.images = {{"images/fine.png", Bytes{2}}};
  bundle.thumbnails = {{"thumbnails/./../../escaped.png", Bytes{1}}};
  writeFile(at("hostile.zorvi"), BoardArchive::encode(bundle));
  const testing::CommandRun run = zorvi("unpack hostile.zorvi out/inner");
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.err.starts_with("zorvi: out/inner: filesystem: ")) << run.err;
  EXPECT_FALSE(fs::exists(at("out"))) << "nothing is written once one entry is refused";

  // A link already in the folder must not be followed, neither as a folder nor as a file.
  makeBoard("board.zorvi");
  fs::create_directories(at("outside"));
  fs::create_directories(at("linked"));
  fs::create_directories(at("linkedFile/thumbnails"));
  fs::create_directory_symlink(at("outside"), at("linked/images"));
  fs::create_symlink(at("outside/victim"), at("linkedFile/thumbnails/a.png"));
  EXPECT_EQ(zorvi("unpack board.zorvi linked").status, 1);
  EXPECT_EQ(zorvi("unpack board.zorvi linkedFile").status, 1);
  EXPECT_TRUE(fs::is_empty(at("outside")));
}

TEST_F(ZorviCommand, UpdateCheckAnswersOnOneLine) {
  writeFile(at("feed.json"), std::string(R"({"version":"1.3","url":"https://zorvi.example/dl/1.3?a=1&b=2","minOS":"12"})"));
  writeFile(at("break.json"), std::string(R"({"version":"2","url":"a\nb"})"));
  // Each answer whole in tests/golden/update_check_answers.txt; an escaped line break must not split one.
  std::string transcript;
  for (const char* arguments : {"1.2.9 feed.json", "1.3.0 feed.json", "v1.2 feed.json", "1.2 - < feed.json", "1 break.json"}) {
    const testing::CommandRun run = zorvi(std::string("update-check ") + arguments);
    EXPECT_EQ(std::pair(run.status, run.err), std::pair(0, std::string())) << arguments;
    transcript += "$ zorvi update-check " + std::string(arguments) + "\n" + run.out;
  }
  testing::expectMatchesGolden("update_check_answers", transcript, "txt");
}

}  // namespace
}  // namespace zorvi
