// Whole-document comparisons against tests/golden/NAME.EXT (html unless told). ZORVI_BLESS=1 rewrites the
// golden file; a mismatch leaves the actual document beside it as NAME.actual.EXT.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zorvi::testing {

inline void expectMatchesGolden(const std::string& name, const std::string& actual, const std::string& ext = "html") {
  const std::filesystem::path golden = std::filesystem::path(ZORVI_GOLDEN_DIR) / (name + "." + ext);
  const std::filesystem::path beside = std::filesystem::path(ZORVI_GOLDEN_DIR) / (name + ".actual." + ext);
  const char* bless = std::getenv("ZORVI_BLESS");
  std::ifstream in(golden, std::ios::binary);
  const std::string expected{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::filesystem::remove(beside);
  if (bless != nullptr && std::string(bless) == "1") {
    std::ofstream(golden, std::ios::binary) << actual;
  } else if (!in) {
    ADD_FAILURE() << "no golden file " << golden << "; run with ZORVI_BLESS=1 to create it";
  } else if (expected != actual) {
    std::ofstream(beside, std::ios::binary) << actual;
    const auto differ = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    ADD_FAILURE() << name << " differs from its golden file from byte " << differ.first - expected.begin()
                  << "; the actual document is " << beside;
  }
}

}  // namespace zorvi::testing
