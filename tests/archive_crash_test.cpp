// A write killed at any moment leaves the previous board readable and whole.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <regex>
#include <thread>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

BoardBundle bulkyBundle(std::uint32_t seed) {
  std::mt19937 random(seed);
  BoardBundle bundle;
  bundle.manifest.board.name = "Board " + std::to_string(seed);
  for (int i = 0; i < 12; ++i) {
    Bytes& content = bundle.images["images/" + std::to_string(i) + ".png"] = Bytes(512 * 1024);
    for (auto& byte : content) byte = static_cast<std::uint8_t>(random());
  }
  return bundle;
}

TEST(ArchiveCrashSafety, KilledWriteLeavesOldOrNewBoard) {
  testing::TemporaryFolder folder;
  const fs::path board = folder.path / "board.zorvi";
  const BoardBundle bundles[] = {bulkyBundle(1), bulkyBundle(2)};
  BoardArchive::write(bundles[0], board);
  // Kill delays span the measured write time, so they land inside writes under sanitizers too.
  const auto started = Clock::now();
  BoardArchive::write(bundles[1], board);
  const auto duration = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - started);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"board.zorvi"})
      << "a finished write leaves no temporary file";

  std::mt19937 random(20261123);
  std::uniform_int_distribution<std::int64_t> delay(0, duration.count() * 5 / 4);
  int held = 1, interrupted = 0, completed = 0;  // held: the bundle the board holds
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const int next = 1 - held;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      try {
        BoardArchive::write(bundles[next], board);
      } catch (...) {
        ::_exit(3);
      }
      ::_exit(0);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) != 0) << "the write itself failed";
    const BoardBundle found = BoardArchive::read(board);
    if (found == bundles[next]) {
      held = next;
      ++completed;
    } else {
      ASSERT_EQ(found, bundles[held]) << "the board is neither the old nor the new one";
      ++interrupted;
    }
  }
  // Both outcomes must occur, or the kills did not land inside the writes.
  EXPECT_GT(interrupted, 0);
  EXPECT_GT(completed, 0);
  // Killed writes may leave their own temporary files, and nothing else.
  const std::regex temporary(
      R"(\.board\.zorvi\.[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\.tmp)");
  for (const auto& name : folder.names()) {
    EXPECT_TRUE(name == "board.zorvi" || std::regex_match(name, temporary)) << name;
  }
}

}  // namespace
}  // namespace zorvi
