#include "unicode/unicode.hpp"

#include <utf8proc.h>

namespace zorvi::unicode {
namespace {

struct Decoded {
  utf8proc_int32_t scalar;  // -1 for an invalid sequence
  std::size_t length;       // bytes consumed, at least 1
};

Decoded decode(std::string_view text) {
  utf8proc_int32_t scalar = -1;
  const auto n = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                  static_cast<utf8proc_ssize_t>(text.size()), &scalar);
  if (n <= 0) return {-1, 1};
  return {scalar, static_cast<std::size_t>(n)};
}

// Decodes the scalar that ends at text's end, for trimming from the back.
Decoded decodeLast(std::string_view text) {
  std::size_t start = text.size() - 1;
  const std::size_t floor = text.size() >= 4 ? text.size() - 4 : 0;
  while (start > floor && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
  const Decoded d = decode(text.substr(start));
  if (d.scalar < 0 || start + d.length != text.size()) return {-1, 1};
  return d;
}

}  // namespace

bool isWhitespaceOrNewline(char32_t scalar) {
  if (scalar == 0x09 || (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85) return true;
  if (scalar > 0x10FFFF) return false;
  switch (utf8proc_category(static_cast<utf8proc_int32_t>(scalar))) {
    case UTF8PROC_CATEGORY_ZS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return false;
  }
}

std::string_view trimWhitespaceAndNewlines(std::string_view text) {
  while (!text.empty()) {
    const Decoded d = decode(text);
    if (d.scalar < 0 || !isWhitespaceOrNewline(static_cast<char32_t>(d.scalar))) break;
    text.remove_prefix(d.length);
  }
  while (!text.empty()) {
    const Decoded d = decodeLast(text);
    if (d.scalar < 0 || !isWhitespaceOrNewline(static_cast<char32_t>(d.scalar))) break;
    text.remove_suffix(d.length);
  }
  return text;
}

bool hasVisibleText(std::string_view text) { return !trimWhitespaceAndNewlines(text).empty(); }

std::size_t nextGraphemeLength(std::string_view text) {
  if (text.empty()) return 0;
  Decoded first = decode(text);
  if (first.scalar < 0) return 1;
  utf8proc_int32_t state = 0;
  std::size_t length = first.length;
  utf8proc_int32_t previous = first.scalar;
  while (length < text.size()) {
    const Decoded next = decode(text.substr(length));
    if (next.scalar < 0) break;
    if (utf8proc_grapheme_break_stateful(previous, next.scalar, &state)) break;
    previous = next.scalar;
    length += next.length;
  }
  return length;
}

std::size_t graphemeCount(std::string_view text) {
  std::size_t count = 0;
  forEachGrapheme(text, [&](std::string_view) { ++count; });
  return count;
}

}  // namespace zorvi::unicode
