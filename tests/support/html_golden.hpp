// Whole-document comparisons against tests/golden/NAME. ZORVI_BLESS=1 rewrites the golden file;
// a mismatch leaves the actual document beside it as NAME.actual.html.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace zorvi::testing {

inline void expectMatchesGolden(const std::string& name, const std::string& actual) {
  const std::filesystem::path dir = ZORVI_GOLDEN_DIR;
  const std::filesystem::path golden = dir / (name + ".html");
  const std::filesystem::path beside = dir / (name + ".actual.html");
  const char* bless = std::getenv("ZORVI_BLESS");
  if (bless != nullptr && std::string_view(bless) == "1") {
    std::filesystem::create_directories(dir);
    std::ofstream(golden, std::ios::binary) << actual;
    std::filesystem::remove(beside);
    return;
  }
  std::ifstream in(golden, std::ios::binary);
  ASSERT_TRUE(in) << "no golden file " << golden << "; run with ZORVI_BLESS=1 to create it";
  const std::string expected{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (expected == actual) {
    std::filesystem::remove(beside);
    return;
  }
  std::ofstream(beside, std::ios::binary) << actual;
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  ADD_FAILURE() << name << " differs from its golden file from byte " << at << "; the actual document is "
                << beside;
}

}  // namespace zorvi::testing
