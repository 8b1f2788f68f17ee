// Many boards in one run of `zorvi thumbnail --out-dir`: the same pictures as one run per board, a
// summary of the failures, and refusals before any work.
#include <gtest/gtest.h>

#include "support/board_files.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

using testing::readText;

class BatchThumbnail : public ::testing::Test {
 protected:
  void SetUp() override {
    const fs::path example = fs::path(ZORVI_SOURCE_DIR) / "examples/example.zorvi";
    for (const char* name : {"one.zorvi", "two.zorvi", "sub/three.zorvi"}) {
      fs::create_directories(at(name).parent_path());
      fs::copy_file(example, at(name));
    }
    testing::writeFile(at("broken.zorvi"), std::string("not a zip"));
  }
  fs::path at(const std::string& name) const { return work.path / name; }
  std::pair<int, std::string> zorvi(const std::string& arguments) const {
    const testing::CommandRun run = testing::runZorvi(arguments, work.path);
    return {run.status, run.err};
  }
  testing::TemporaryFolder work;
};

TEST_F(BatchThumbnail, DrawsWhatSingleRunsDrawAndSumsUpTheFailures) {
  const auto [status, err] =
      zorvi("thumbnail --out-dir pictures --size 96 -j 3 one.zorvi broken.zorvi two.zorvi absent.zorvi sub/three.zorvi");
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(err.ends_with("zorvi: 2 of 5 boards failed:\n"
                            "zorvi: broken.zorvi: archiveCorrupt: Not a zip archive\n"
                            "zorvi: absent.zorvi: archiveCorrupt: no such file\n"))
      << err;
  for (const char* board : {"one.zorvi", "broken.zorvi", "two.zorvi", "absent.zorvi", "sub/three.zorvi"}) {
    EXPECT_NE(err.find(std::string(board) + "\n"), std::string::npos) << board;  // a progress line each
  }
  EXPECT_EQ(zorvi("thumbnail one.zorvi single.png --size 96").first, 0);
  const std::string single = readText(at("single.png"));
  ASSERT_TRUE(single.starts_with("\x89PNG"));
  for (const char* picture : {"one.png", "two.png", "three.png"}) EXPECT_EQ(readText(at("pictures") / picture), single);
  EXPECT_EQ(std::distance(fs::directory_iterator(at("pictures")), fs::directory_iterator()), 3);
}

TEST_F(BatchThumbnail, RefusesBeforeDrawingAnything) {
  fs::copy_file(at("one.zorvi"), at("sub/one.zorvi"));
  fs::copy_file(at("one.zorvi"), at("board.png"));
  const struct {
    const char* arguments;
    const char* line;  // the start of the one stderr line
  } rows[] = {
      {"--out-dir pictures one.zorvi sub/one.zorvi", "zorvi thumbnail: two boards would both write pictures/one.png"},
      {"--out-dir . board.png", "zorvi thumbnail: ./board.png is also an input"},
      {"--out-dir sub one.zorvi", "zorvi thumbnail: sub/one.png"},
      {"--out-dir pictures -j 0 one.zorvi", "zorvi thumbnail: --jobs takes a whole number from 1 to 256"},
      {"--out-dir pictures --size 0 one.zorvi", "zorvi thumbnail: --size takes a whole number from 1 to 32767"},
      {"--out-dir pictures", "zorvi thumbnail: expected at least one board"},
      {"--out-dir pictures --format a4 one.zorvi", "zorvi thumbnail: unknown option --format"},
  };
  fs::copy_file(at("one.zorvi"), at("sub/one.png"));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    const auto [status, err] = zorvi(std::string("thumbnail ") + row.arguments);
    EXPECT_EQ(status, 2);
    EXPECT_TRUE(err.starts_with(row.line)) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_FALSE(fs::exists(at("pictures")));
    EXPECT_EQ(readText(at("sub/one.png")), readText(at("one.zorvi")));
  }
}

}  // namespace
}  // namespace zorvi
