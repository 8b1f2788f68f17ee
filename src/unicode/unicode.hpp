// Unicode text operations the document, contrast, export and update code share.
#pragma once

#include <cstddef>
#include <string_view>

namespace zorvi::unicode {

// White space and line breaks as Unicode classes them: categories Zs, Zl, Zp, tab and U+000A to U+000D, U+0085.
bool isWhitespaceOrNewline(char32_t scalar);

// The text with white space and line breaks removed from both ends.
std::string_view trimWhitespaceAndNewlines(std::string_view text);

// True when something is left after trimWhitespaceAndNewlines.
bool hasVisibleText(std::string_view text);

// User-perceived characters (extended grapheme clusters). A byte that is not valid UTF-8 counts as one.
std::size_t graphemeCount(std::string_view text);

// Calls `visit(cluster)` for each user-perceived character in order.
template <typename Visit>
void forEachGrapheme(std::string_view text, Visit&& visit);

// The length in bytes of the user-perceived character that starts text (0 for empty text).
std::size_t nextGraphemeLength(std::string_view text);

template <typename Visit>
void forEachGrapheme(std::string_view text, Visit&& visit) {
  while (!text.empty()) {
    const std::size_t n = nextGraphemeLength(text);
    visit(text.substr(0, n));
    text.remove_prefix(n);
  }
}

}  // namespace zorvi::unicode
