#include "unicode/unicode.hpp"

#include <gtest/gtest.h>

namespace zorvi::unicode {
namespace {

TEST(Unicode, TrimsWhiteSpaceAndLineBreaksFromBothEndsOnly) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {"  a b  ", "a b"},
      {"\t\r\n\u00A0\u2029x\u3000\u0085", "x"},
      {"\u200Bx", "\u200Bx"},  // zero-width space is a format character, not white space
      {"\xFF a", "\xFF a"},    // invalid bytes stop trimming rather than being eaten
      {" \xC3", "\xC3"},
  };
  for (const auto& [in, out] : rows) EXPECT_EQ(trimWhitespaceAndNewlines(in), out) << in;
}

TEST(Unicode, CountsUserPerceivedCharacters) {
  const std::pair<std::string_view, std::size_t> rows[] = {
      {"", 0},
      {"abc", 3},
      {"e\u0301", 1},                                    // e + combining acute
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 2},    // two flags
      {"\U0001F469\u200D\U0001F469\u200D\U0001F467", 1},  // family joined by ZWJ
      {"\r\n", 1},
      {"\xFF\xFE", 2},
  };
  for (const auto& [text, count] : rows) EXPECT_EQ(graphemeCount(text), count) << text;
}

}  // namespace
}  // namespace zorvi::unicode
