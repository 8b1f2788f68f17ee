#include "export/html_text.hpp"

#include <sys/mman.h>
#include <utf8proc.h>

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "unicode/unicode.hpp"
#include "zorvi/html_exporter.hpp"

namespace zorvi::html {
namespace {

struct Scalar {
  std::int32_t value;  // -1 when the bytes are not valid UTF-8
  std::size_t length;
};

Scalar decodeFirst(std::string_view text) {
  utf8proc_int32_t value = -1;
  const auto n = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                  static_cast<utf8proc_ssize_t>(text.size()), &value);
  if (n <= 0) return {-1, 1};
  return {value, static_cast<std::size_t>(n)};
}

Scalar decodeLast(std::string_view text) {
  std::size_t start = text.size() - 1;
  const std::size_t floor = text.size() >= 4 ? text.size() - 4 : 0;
  while (start > floor && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
  const Scalar s = decodeFirst(text.substr(start));
  if (s.value < 0 || start + s.length != text.size()) return {-1, 1};
  return s;
}

// Colours are trimmed of horizontal space only: a line break makes the colour invalid.
bool isSpaceOrTab(std::int32_t scalar) {
  return scalar == 0x09 || (scalar >= 0 && utf8proc_category(scalar) == UTF8PROC_CATEGORY_ZS);
}

std::string_view trimSpacesAndTabs(std::string_view text) {
  while (!text.empty()) {
    const Scalar s = decodeFirst(text);
    if (!isSpaceOrTab(s.value)) break;
    text.remove_prefix(s.length);
  }
  while (!text.empty()) {
    const Scalar s = decodeLast(text);
    if (!isSpaceOrTab(s.value)) break;
    text.remove_suffix(s.length);
  }
  return text;
}

bool isHexDigit(std::int32_t c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') ||
         (c >= 0xFF10 && c <= 0xFF19) || (c >= 0xFF21 && c <= 0xFF26) || (c >= 0xFF41 && c <= 0xFF46);
}

// A user-perceived character is a hex digit only when it is one digit scalar with nothing attached.
bool isHexDigitCharacter(std::string_view cluster) {
  const Scalar s = decodeFirst(cluster);
  return s.length == cluster.size() && isHexDigit(s.value);
}

std::string_view entityFor(char c) {
  switch (c) {
    case '&': return "&amp;";
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '"': return "&quot;";
    case '\'': return "&#39;";
    default: return {};
  }
}

bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two output characters per 12 input bits halves the table look-ups of the inner loop.
constexpr std::array<char, 8192> makePairTable() {
  std::array<char, 8192> table{};
  for (std::size_t i = 0; i < 4096; ++i) {
    table[2 * i] = kAlphabet[i >> 6];
    table[2 * i + 1] = kAlphabet[i & 63];
  }
  return table;
}
constexpr std::array<char, 8192> kPairs = makePairTable();

}  // namespace

void appendNumber(std::string& out, double value) {
  double r = std::round(value * 100) / 100;
  if (std::isnan(r)) {
    out += "nan";
    return;
  }
  // Scaling a huge finite value by 100 overflows; it is integral already, so keep it.
  if (std::isinf(r) && std::isfinite(value)) r = value;
  char buffer[std::numeric_limits<double>::max_exponent10 + 32];
  char* end = buffer;
  if (r == std::trunc(r)) {
    if (r >= -0x1p63 && r < 0x1p63) {
      appendInteger(out, static_cast<std::int64_t>(r));  // -0.0 becomes 0 here
      return;
    }
    end = std::to_chars(buffer, std::end(buffer), r, std::chars_format::fixed, 0).ptr;
  } else {
    end = std::to_chars(buffer, std::end(buffer), r, std::chars_format::fixed, 2).ptr;
    while (end[-1] == '0') --end;
    if (end[-1] == '.') --end;
  }
  out.append(buffer, end);
}

void reserveDocument(std::string& out, std::size_t size) {
  out.reserve(size);
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kHugePage = std::uintptr_t{1} << 21;
  if (out.capacity() < 4 * kHugePage) return;
  const auto start = reinterpret_cast<std::uintptr_t>(out.data());
  const std::uintptr_t first = (start + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t last = (start + out.capacity()) & ~(kHugePage - 1);
  // Only advice: where it is refused the buffer simply keeps small pages.
  if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
}

void appendInteger(std::string& out, std::int64_t value) {
  char buffer[24];
  const auto result = std::to_chars(buffer, std::end(buffer), value);
  out.append(buffer, result.ptr);
}

void appendEscaped(std::string& out, std::string_view text) {
  std::size_t i = 0;
  std::size_t copied = 0;  // text[copied, i) is waiting to be copied
  while (i < text.size()) {
    const char c = text[i];
    std::size_t length = 1;
    // Two ASCII characters always have a boundary between them except CR LF; only a following
    // non-ASCII character can attach to this one.
    const bool single = isAscii(c) && (i + 1 == text.size() || (isAscii(text[i + 1]) && c != '\r'));
    if (!single) length = unicode::nextGraphemeLength(text.substr(i));
    if (length == 1) {
      const std::string_view entity = entityFor(c);
      if (!entity.empty()) {
        out.append(text, copied, i - copied);
        out += entity;
        copied = i + 1;
      }
    }
    i += length;
  }
  out.append(text, copied, text.size() - copied);
}

std::optional<std::string_view> validColorView(std::string_view text) {
  const std::string_view trimmed = trimSpacesAndTabs(text);
  if (trimmed.empty() || trimmed[0] != '#' || unicode::nextGraphemeLength(trimmed) != 1) return std::nullopt;
  std::size_t digits = 0;
  bool allHex = true;
  unicode::forEachGrapheme(trimmed.substr(1), [&](std::string_view cluster) {
    ++digits;
    if (!isHexDigitCharacter(cluster)) allHex = false;
  });
  if (!allHex || (digits != 3 && digits != 6)) return std::nullopt;
  return trimmed;
}

void appendBase64(std::string& out, std::span<const std::uint8_t> bytes) {
  const std::size_t start = out.size();
  out.resize(start + base64Length(bytes.size()));
  char* dst = out.data() + start;
  const std::uint8_t* src = bytes.data();
  const std::uint8_t* const whole = src + bytes.size() / 3 * 3;
  for (; src != whole; src += 3, dst += 4) {
    const std::uint32_t v = std::uint32_t{src[0]} << 16 | std::uint32_t{src[1]} << 8 | src[2];
    const char* hi = &kPairs[(v >> 12) * 2];
    const char* lo = &kPairs[(v & 0xFFF) * 2];
    dst[0] = hi[0];
    dst[1] = hi[1];
    dst[2] = lo[0];
    dst[3] = lo[1];
  }
  const std::size_t rest = bytes.size() % 3;
  if (rest != 0) {
    const std::uint32_t v = std::uint32_t{src[0]} << 16 | (rest == 2 ? std::uint32_t{src[1]} << 8 : 0);
    dst[0] = kAlphabet[v >> 18];
    dst[1] = kAlphabet[(v >> 12) & 63];
    dst[2] = rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
    dst[3] = '=';
  }
}

void Base64Stream::append(std::string& out, std::span<const std::uint8_t> bytes) {
  // A group split between pieces is completed from the next one.
  if (heldCount_ > 0) {
    while (heldCount_ < 3 && !bytes.empty()) {
      held_[heldCount_++] = bytes.front();
      bytes = bytes.subspan(1);
    }
    if (heldCount_ < 3) return;
    appendBase64(out, held_);
    heldCount_ = 0;
  }
  const std::size_t whole = bytes.size() / 3 * 3;
  appendBase64(out, bytes.first(whole));
  for (const std::uint8_t byte : bytes.subspan(whole)) held_[heldCount_++] = byte;
}

void Base64Stream::finish(std::string& out) {
  appendBase64(out, std::span(held_, heldCount_));
  heldCount_ = 0;
}

}  // namespace zorvi::html

namespace zorvi::HTMLExporter {

std::string fmt(double value) {
  std::string out;
  html::appendNumber(out, value);
  return out;
}

std::optional<std::string> validColor(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  const auto valid = html::validColorView(*text);
  if (!valid) return std::nullopt;
  return std::string(*valid);
}

std::string sanitizedColor(std::string_view text) {
  return std::string(html::validColorView(text).value_or("#FFFFFF"));
}

std::string escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  html::appendEscaped(out, text);
  return out;
}

}  // namespace zorvi::HTMLExporter
