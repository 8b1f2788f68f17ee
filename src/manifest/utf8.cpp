#include "manifest/utf8.hpp"

#include <cstdint>
#include <cstring>

namespace zorvi::utf8 {
namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;
constexpr std::uint64_t kLowBits = 0x0101010101010101ULL;

bool hasZeroByte(std::uint64_t word) { return ((word - kLowBits) & ~word & kHighBits) != 0; }

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed sequence that starts at text[at], or 0 when there is none there.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  // The allowed range of the second byte narrows for E0, ED, F0 and F4, which is what rules out
  // overlong forms, surrogates and code points above U+10FFFF.
  unsigned char secondLow = 0x80, secondHigh = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) secondLow = 0xA0;
    if (lead == 0xED) secondHigh = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) secondLow = 0x90;
    if (lead == 0xF4) secondHigh = 0x8F;
  } else {
    return 0;
  }
  if (text.size() - at < length) return 0;
  if (byte(1) < secondLow || byte(1) > secondHigh) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (!isContinuation(byte(i))) return 0;
  }
  return length;
}

}  // namespace

std::size_t firstFault(std::string_view text, bool refuseNul) {
  std::size_t at = 0;
  while (at < text.size()) {
    // Most of a manifest is ASCII: take it eight bytes at a time.
    if (text.size() - at >= 8) {
      std::uint64_t word;
      std::memcpy(&word, text.data() + at, 8);
      if ((word & kHighBits) == 0 && !(refuseNul && hasZeroByte(word))) {
        at += 8;
        continue;
      }
    }
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
      if (lead == 0 && refuseNul) return at;
      ++at;
      continue;
    }
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) return at;
    at += length;
  }
  return text.size();
}

bool holdsDecodedSurrogate(std::string_view decoded) {
  const char* end = decoded.data() + decoded.size();
  for (const char* p = decoded.data(); (p = static_cast<const char*>(std::memchr(p, 0xED, end - p))); ++p) {
    if (end - p > 1 && static_cast<unsigned char>(p[1]) >= 0xA0) return true;
  }
  return false;
}

bool mayEscapeSurrogate(std::string_view json) {
  for (std::size_t at = json.find("\\u"); at != std::string_view::npos; at = json.find("\\u", at + 2)) {
    if (at + 2 < json.size() && (json[at + 2] == 'd' || json[at + 2] == 'D')) return true;
  }
  return false;
}

}  // namespace zorvi::utf8
