// Files and folders for tests that go through the file system: a self-removing folder, whole-file
// reads and writes, a hand-written valid manifest, and shell commands.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zorvi/board_bundle.hpp"

namespace zorvi::testing {

class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "zorvi-test-XXXXXX").string();
    path = ::mkdtemp(pattern.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // The names directly inside, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path)) found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
  }

  std::filesystem::path path;
};

inline Bytes readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string readText(const std::filesystem::path& path) {
  const Bytes bytes = readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

template <typename Content>
void writeFile(const std::filesystem::path& path, const Content& content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

// A minimal valid manifest with the given schema version; the board is named "Spring".
inline std::string manifestJson(std::int64_t schemaVersion = 8) {
  return R"({"schemaVersion": )" + std::to_string(schemaVersion) + R"(, "items": [], "board": {
    "id": "6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8", "name": "Spring", "createdAt": "2025-03-14T09:26:53Z",
    "modifiedAt": "2025-03-15T17:02:10Z",
    "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}}}})";
}

// Runs a shell command line; its exit status, or -1 when it did not exit normally.
inline int shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Quotes a path for the shell.
inline std::string quoted(const std::filesystem::path& path) {
  std::string text = "'";
  for (const char c : path.string()) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

// What a command line left behind.
struct CommandRun {
  int status;
  std::string out, err;
  bool operator==(const CommandRun&) const = default;
};

// Runs a shell command line in `where`, catching its stdout and stderr.
inline CommandRun runShell(const std::string& line,
                           const std::filesystem::path& where = std::filesystem::current_path()) {
  const TemporaryFolder capture;
  const auto out = capture.path / "out", err = capture.path / "err";
  const int status = shell("cd " + quoted(where) + " && (" + line + ") > " + quoted(out) + " 2> " + quoted(err));
  return {status, readText(out), readText(err)};
}

#ifdef ZORVI_COMMAND
// Runs `zorvi ARGUMENTS` in `where`, with the leak checker of sanitizer builds kept from adding its report.
inline CommandRun runZorvi(const std::string& arguments,
                           const std::filesystem::path& where = std::filesystem::current_path()) {
  return runShell("LSAN_OPTIONS=\"$LSAN_OPTIONS:print_suppressions=0\" " + quoted(ZORVI_COMMAND) + " " + arguments,
                  where);
}
#endif

}  // namespace zorvi::testing
