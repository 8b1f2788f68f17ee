// The command keeps the user's boards and files: what it refuses to replace, what it keeps, and how it
// words a file it cannot read or an option out of range.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>

#include "support/board_files.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

using testing::readText;
using testing::writeFile;

class CommandSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(fs::path(ZORVI_SOURCE_DIR) / "examples/example.zorvi", at("a.zorvi"));
    fs::copy_file(at("a.zorvi"), at("b.zorvi"));
    writeFile(at("folder/manifest.json"), testing::manifestJson());
    for (const char* name : {"kept.png", "kept.html", "kept.zorvi"}) {
      writeFile(at(name), std::string("keep me"));
      fs::permissions(at(name), fs::perms::owner_read | fs::perms::group_read);
    }
  }
  fs::path at(const std::string& name) const { return work.path / name; }
  // Runs zorvi in the work folder, so rows name files as a user types them.
  testing::CommandRun zorvi(const std::string& arguments) const { return testing::runZorvi(arguments, work.path); }
  testing::TemporaryFolder work;
};

TEST_F(CommandSafety, RefusalsAndFailuresLeaveEveryFileAsItWas) {
  const std::string board = readText(at("a.zorvi"));
  const struct {
    const char* arguments;
    int status;
    const char* line;  // the whole stderr line, or its start when it ends in "…"
  } rows[] = {
      {"thumbnail a.zorvi b.zorvi", 2,
       "zorvi thumbnail: b.zorvi is a board file (a ZIP archive) and is not replaced without --force\n"},
      {"thumbnail a.zorvi a.zorvi --force", 2, "zorvi thumbnail: a.zorvi is also an input; name another output file\n"},
      {"thumbnail a.zorvi ./folder/../a.zorvi", 2, "zorvi thumbnail: ./folder/../a.zorvi is also an input…"},
      {"export html a.zorvi b.zorvi", 2, "zorvi export: b.zorvi is a board file…"},
      {"export pages a.zorvi b.zorvi --logo b.zorvi --force", 2, "zorvi export: b.zorvi is also an input…"},
      {"info a.zorvi --force", 2, "zorvi info: unknown option --force…"},
      {"thumbnail a.zorvi kept.png", 1, "zorvi: kept.png: filesystem: Permission denied\n"},
      {"export html a.zorvi kept.html", 1, "zorvi: kept.html: filesystem: Permission denied\n"},
      {"pack folder kept.zorvi", 1, "zorvi: kept.zorvi: filesystem: Permission denied\n"},
      {"thumbnail absent.zorvi out.png", 1, "zorvi: absent.zorvi: archiveCorrupt: no such file\n"},
      {"manifest absent/a.zorvi", 1, "zorvi: absent/a.zorvi: archiveCorrupt: no such file\n"},
      {"info folder", 1, "zorvi: folder: archiveCorrupt: a folder, not a board file\n"},
      {"thumbnail a.zorvi out.png --size 0", 2, "zorvi thumbnail: --size takes a whole number from 1 to 32767, not '0'…"},
      {"thumbnail a.zorvi out.png --size=32768", 2, "zorvi thumbnail: --size takes a whole number from 1 to 32767…"},
      {"thumbnail a.zorvi out.png --size 2.5", 2, "zorvi thumbnail: --size takes a whole number from 1 to 32767…"},
      {"thumbnail a.zorvi out.png --scale 0", 2, "zorvi thumbnail: --scale takes a number from 0.1 to 16…"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    const testing::CommandRun run = zorvi(row.arguments);
    EXPECT_EQ(run.status, row.status);
    std::string line = row.line;
    if (line.ends_with("…")) {
      line.resize(line.size() - std::string("…").size());
      EXPECT_TRUE(run.err.starts_with(line)) << run.err;
      EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    } else {
      EXPECT_EQ(run.err, line);
    }
    EXPECT_EQ(readText(at("a.zorvi")), board);
    EXPECT_EQ(readText(at("b.zorvi")), board);
    for (const char* name : {"kept.png", "kept.html", "kept.zorvi"}) EXPECT_EQ(readText(at(name)), "keep me") << name;
    EXPECT_FALSE(fs::exists(at("out.png")) || fs::exists(at("out.html")));
  }
}

TEST_F(CommandSafety, ReplacingKeepsPermissionsAndForceReplacesABoard) {
  const struct {
    const char* arguments;
    const char* output;
  } rows[] = {
      {"thumbnail a.zorvi private.png", "private.png"},
      {"export html a.zorvi private.html", "private.html"},
      {"pack folder private.zorvi", "private.zorvi"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    writeFile(at(row.output), std::string("old"));
    fs::permissions(at(row.output), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(zorvi(row.arguments).status, 0);
    EXPECT_NE(readText(at(row.output)), "old");
    EXPECT_EQ(fs::status(at(row.output)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
  EXPECT_EQ(zorvi("thumbnail a.zorvi b.zorvi --force").status, 0);
  EXPECT_TRUE(readText(at("b.zorvi")).starts_with("\x89PNG"));
}

TEST_F(CommandSafety, StaleTemporariesOfTheSameOutputAreRemoved) {
  const std::string uuid = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  const struct {
    std::string name;
    bool stale;
    bool removed;
  } rows[] = {
      {".out.html." + uuid + ".tmp", true, true},
      {".out.html." + uuid + ".tmp", false, false},  // a writer may still be at work
      {".out.html.notanid.tmp", true, false},
      {".other.html." + uuid + ".tmp", true, false},
      {"out.html." + uuid + ".tmp", true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + (row.stale ? " (stale)" : " (fresh)"));
    writeFile(at(row.name), std::string("left behind"));
    if (row.stale) fs::last_write_time(at(row.name), old);
    EXPECT_EQ(zorvi("export html a.zorvi out.html").status, 0);
    EXPECT_EQ(fs::exists(at(row.name)), !row.removed);
    fs::remove(at(row.name));
  }
}

}  // namespace
}  // namespace zorvi
