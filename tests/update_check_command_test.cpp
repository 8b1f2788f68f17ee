// `zorvi update-check` as a packager's script runs it: the answer on stdout, exit statuses, one error line.
#include <gtest/gtest.h>

#include <string>

#include "support/board_files.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

class UpdateCheckCommand : public ::testing::Test {
 protected:
  testing::CommandRun run(const std::string& arguments, const std::string& feed = "") {
    testing::writeFile(folder.path / "feed.json", feed);
    return testing::runZorvi("update-check " + arguments, folder.path);
  }

  testing::TemporaryFolder folder;
};

TEST_F(UpdateCheckCommand, AnswersOnOneLineWithExitZero) {
  const std::string feed = R"({"version":"1.3","url":"https://zorvi.example/dl/1.3?a=1&b=2","minOS":"12"})";
  const std::pair<const char*, const char*> rows[] = {
      {"1.2.9 feed.json", "update available: 1.3.0 (https://zorvi.example/dl/1.3?a=1&b=2)\n"},
      {"1.3.0 feed.json", "up to date\n"},
      {"v1.2 feed.json", "unknown\n"},
      {"1.2 - < feed.json", "update available: 1.3.0 (https://zorvi.example/dl/1.3?a=1&b=2)\n"},
  };
  for (const auto& [arguments, answer] : rows) {
    SCOPED_TRACE(arguments);
    const testing::CommandRun outcome = run(arguments, feed);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, answer);
    EXPECT_EQ(outcome.err, "");
  }
  // A line break escaped in the feed must not split the answer.
  EXPECT_EQ(run("1 feed.json", R"({"version":"2","url":"a\nb"})").out, "update available: 2.0.0 (a%0Ab)\n");
}

TEST_F(UpdateCheckCommand, FailuresPrintOneLine) {
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"1.0 feed.json", "version=1", "zorvi: feed.json: json: invalid JSON at byte 0: Invalid value.\n"},
      {"1.0 feed.json", R"({"version":1.3,"url":"u"})",
       "zorvi: feed.json: json: key \"version\" is not a string\n"},
      {"1.0 absent.json", "", "zorvi: absent.json: filesystem: No such file or directory\n"},
      {"1.0 feed.json", R"({"version":"1","url":"\ude00"})",
       "zorvi: feed.json: json: invalid JSON at byte 29: escaped lone surrogate in a string\n"},
  };
  for (const auto& [arguments, feed, line] : rows) {
    SCOPED_TRACE(line);
    const testing::CommandRun outcome = run(arguments, feed);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, line);
    EXPECT_EQ(outcome.out, "");
  }
  for (const char* usage : {"1.0", "1.0 feed.json extra", "--fast 1.0 feed.json"}) {
    SCOPED_TRACE(usage);
    const testing::CommandRun outcome = run(usage, "{}");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("usage: zorvi update-check VERSION FEED.json"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1);
  }
}

}  // namespace
}  // namespace zorvi
