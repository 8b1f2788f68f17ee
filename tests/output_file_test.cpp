#include "output_file.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <thread>

#include "support/board_files.hpp"

namespace zorvi::cli {
namespace {

namespace fs = std::filesystem;
using zorvi::testing::readText;

TEST(OutputFile, ReplacesWholeOrNotAtAll) {
  const struct {
    const char* name;
    const char* before;  // nullptr: no file yet
    std::function<void(OutputSink&)> produce;
    const char* after;  // nullptr: the producer throws and the file keeps `before`
  } rows[] = {
      {"new file in pieces", nullptr,
       [](OutputSink& sink) {
         sink.write("a");
         sink.write(std::string_view());
         sink.write(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>("bc"), 2));
       },
       "abc"},
      {"emptied", "old content", [](OutputSink&) {}, ""},
      {"producer fails", "old content",
       [](OutputSink& sink) { sink.write("half"), throw std::runtime_error("x"); }, nullptr},
      {"producer fails on a new file", nullptr, [](OutputSink&) { throw std::runtime_error("x"); }, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    zorvi::testing::TemporaryFolder folder;
    const fs::path file = folder.path / "out.png";
    if (row.before) zorvi::testing::writeFile(file, std::string_view(row.before));
    if (row.after) {
      writeFileAtomically(file, row.produce);
      EXPECT_EQ(readText(file), row.after);
    } else {
      EXPECT_THROW(writeFileAtomically(file, row.produce), std::runtime_error);
      if (row.before) {
        EXPECT_EQ(readText(file), row.before);
      }
    }
    const bool kept = row.after || row.before;
    EXPECT_EQ(folder.names(), kept ? std::vector<std::string>{"out.png"} : std::vector<std::string>{})
        << "no temporary file is left";
  }
}

TEST(OutputFile, ReportsFileSystemFailures) {
  zorvi::testing::TemporaryFolder folder;
  EXPECT_THROW(writeFileAtomically(folder.path / "absent" / "out.html", std::string_view("x")),
               fs::filesystem_error);
  fs::create_directory(folder.path / "taken");
  EXPECT_THROW(writeFileAtomically(folder.path / "taken", std::string_view("x")), fs::filesystem_error);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"taken"});

  OutputSink sink(-1);  // a failed write is remembered, so a C callback need not report it
  EXPECT_FALSE(sink.write("lost"));
  EXPECT_EQ(sink.error(), EBADF);
}

// Devices and pipes are written into and links followed, never replaced by a file.
TEST(OutputFile, WritesIntoDevicesAndPipesAndThroughLinks) {
  zorvi::testing::TemporaryFolder folder;
  const auto produce = [](OutputSink& sink) { sink.write("picture"); };
  ASSERT_TRUE(fs::is_character_file("/dev/null") && fs::is_character_file("/dev/full"));
  EXPECT_NO_THROW(writeFileAtomically("/dev/null", produce));
  try {
    writeFileAtomically("/dev/full", produce);
    ADD_FAILURE() << "a full device took the output";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code().value(), ENOSPC);
  }
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  const fs::path fifo = folder.path / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = readText(fifo); });
  writeFileAtomically(fifo, produce);
  reader.join();
  EXPECT_EQ(received, "picture");
  EXPECT_TRUE(fs::is_fifo(fifo));

  const fs::path target = folder.path / "target.png", link = folder.path / "link.png";
  zorvi::testing::writeFile(target, std::string_view("old"));
  fs::create_symlink(target, link);
  writeFileAtomically(link, produce);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(readText(target), "picture");
}

}  // namespace
}  // namespace zorvi::cli
