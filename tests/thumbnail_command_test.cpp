// `zorvi thumbnail` as a user or a file manager runs it: exit status, the one stderr line, the file.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

struct CommandRun {
  int status = -1;
  std::string stderrText;
};

// Runs the installed-layout command with args, stdout discarded, stderr captured.
CommandRun runZorvi(const std::vector<std::string>& args) {
  const fs::path errors = fs::path(ZORVI_BINARY_DIR) / "thumbnail_command_test.stderr";
  std::string command = "'" ZORVI_BINARY_DIR "/tools/zorvi/zorvi'";
  for (const auto& arg : args) command += " '" + arg + "'";
  command += " >/dev/null 2>'" + errors.string() + "'";
  CommandRun run;
  const int raw = std::system(command.c_str());
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  std::ifstream in(errors);
  run.stderrText.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return run;
}

// Width and height from a PNG's header.
std::pair<std::uint32_t, std::uint32_t> pngSize(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  unsigned char header[24] = {};
  in.read(reinterpret_cast<char*>(header), sizeof header);
  const auto word = [&](int at) {
    return std::uint32_t{header[at]} << 24 | std::uint32_t{header[at + 1]} << 16 |
           std::uint32_t{header[at + 2]} << 8 | header[at + 3];
  };
  return {word(16), word(20)};
}

class ThumbnailCommand : public ::testing::Test {
 protected:
  fs::path dir = fs::path(ZORVI_BINARY_DIR) / "thumbnail_command_test";
  fs::path out = dir / "out.png";

  void SetUp() override {
    fs::remove_all(dir);
    fs::create_directories(dir);
  }

  // A board of one shape, width × height world units; no items when width is 0.
  std::string board(const std::string& name, double width, double height) {
    BoardBundle bundle;
    bundle.manifest.board.canvas.backgroundColor = "#336699";
    if (width > 0)
      bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", "#000", 3, "Title", {}},
                                         Frame{0, 0, width, height}, 0, false, std::nullopt);
    BoardArchive::write(bundle, dir / name);
    return (dir / name).string();
  }

  // Nothing but the expected files in the folder: a failed run leaves no temporary behind.
  std::vector<std::string> folderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(ThumbnailCommand, WritesAPictureWhoseLongerSideIsSizeTimesScale) {
  struct Row {
    std::vector<std::string> options;
    std::uint32_t width, height;
  };
  const std::string wide = board("wide.zorvi", 400, 100);
  const Row rows[] = {
      {{}, 256, 64},
      {{"--size", "128"}, 128, 32},
      {{"--size=64"}, 64, 16},
      {{"--size", "128", "--scale", "2"}, 256, 64},
      {{"--scale", "1.5", "--size", "100"}, 150, 38},  // 37.5 rounds away from zero
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.options));
    std::vector<std::string> args{"thumbnail", wide, out.string()};
    args.insert(args.end(), row.options.begin(), row.options.end());
    const CommandRun run = runZorvi(args);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.stderrText, "");
    EXPECT_EQ(pngSize(out), std::make_pair(row.width, row.height));
  }
  EXPECT_EQ(folderContents(), (std::vector<std::string>{"out.png", "wide.zorvi"}));
}

TEST_F(ThumbnailCommand, FailsWithOneLineAndLeavesNoFile) {
  std::ofstream(dir / "text.zorvi") << "not a zip";
  const std::string empty = board("empty.zorvi", 0, 0);
  const std::string square = board("square.zorvi", 50, 50);
  struct Row {
    const char* name;
    std::vector<std::string> args;
    int status;
    std::string line;  // the start of the one stderr line
  };
  const Row rows[] = {
      {"not a board",
       {"thumbnail", (dir / "text.zorvi").string(), out.string()},
       1,
       "zorvi: " + (dir / "text.zorvi").string() + ": archiveCorrupt: "},
      {"missing board",
       {"thumbnail", (dir / "none.zorvi").string(), out.string()},
       1,
       "zorvi: " + (dir / "none.zorvi").string() + ": archiveCorrupt: "},
      {"empty board", {"thumbnail", empty, out.string()}, 3, "zorvi: " + empty + ": nothing to draw\n"},
      {"size 0",
       {"thumbnail", square, out.string(), "--size", "0"},
       3,
       "zorvi: " + square + ": nothing to draw\n"},
      {"no output named", {"thumbnail", square}, 2, "zorvi thumbnail: "},
      {"negative size", {"thumbnail", square, out.string(), "--size", "-1"}, 2, "zorvi thumbnail: "},
      {"scale 0", {"thumbnail", square, out.string(), "--scale", "0"}, 2, "zorvi thumbnail: "},
      {"size not a number", {"thumbnail", square, out.string(), "--size", "big"}, 2, "zorvi thumbnail: "},
      {"unknown option", {"thumbnail", square, out.string(), "--fast"}, 2, "zorvi thumbnail: "},
      {"unwritable folder",
       {"thumbnail", square, (dir / "no/such/dir/out.png").string()},
       1,
       "zorvi: " + (dir / "no/such/dir/out.png").string() + ": "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const CommandRun run = runZorvi(row.args);
    EXPECT_EQ(run.status, row.status);
    EXPECT_EQ(run.stderrText.substr(0, row.line.size()), row.line);
    EXPECT_EQ(std::count(run.stderrText.begin(), run.stderrText.end(), '\n'), 1) << run.stderrText;
    EXPECT_FALSE(fs::exists(out));
  }
  EXPECT_EQ(folderContents(), (std::vector<std::string>{"empty.zorvi", "square.zorvi", "text.zorvi"}));
}

TEST_F(ThumbnailCommand, FailureKeepsAnEarlierPictureWhole) {
  std::ofstream(out) << "earlier";
  const CommandRun run = runZorvi({"thumbnail", board("empty.zorvi", 0, 0), out.string()});
  EXPECT_EQ(run.status, 3);
  std::ifstream in(out);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), "earlier");
}

}  // namespace
}  // namespace zorvi
