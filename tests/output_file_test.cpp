#include "output_file.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

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

}  // namespace
}  // namespace zorvi::cli
