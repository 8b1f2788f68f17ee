// `zorvi` run as a user runs it: in a folder of its own, so that arguments and messages name files as
// they are typed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/board_files.hpp"

namespace zorvi::testing {

inline void PrintTo(const CommandRun& run, std::ostream* os) {
  *os << "exit " << run.status << ", stdout " << ::testing::PrintToString(run.out) << ", stderr "
      << ::testing::PrintToString(run.err);
}

class CommandTest : public ::testing::Test {
 protected:
  std::filesystem::path at(const std::string& name) const { return work.path / name; }
  CommandRun zorvi(const std::string& arguments) const { return runZorvi(arguments, work.path); }
  // A copy of the bundled example board.
  void copyExample(const std::string& name) const {
    std::filesystem::create_directories(at(name).parent_path());
    std::filesystem::copy_file(std::filesystem::path(ZORVI_SOURCE_DIR) / "examples/example.zorvi", at(name));
  }
  TemporaryFolder work;
};

// The memory caps are off under AddressSanitizer, which reserves more address space than they allow.
#if defined(__SANITIZE_ADDRESS__)
#define ZORVI_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZORVI_UNDER_ASAN 1
#endif
#endif
#ifndef ZORVI_UNDER_ASAN
#define ZORVI_UNDER_ASAN 0
#endif

}  // namespace zorvi::testing
