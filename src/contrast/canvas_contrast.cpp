#include "zorvi/canvas_contrast.hpp"

#include <cstdint>

#include "unicode/unicode.hpp"

namespace zorvi::CanvasContrast {
namespace {

struct Rgb {
  double r, g, b;
};

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// An unsigned number in base 16 with an optional sign; being unsigned, "-" only ever yields zero.
std::optional<std::uint32_t> parseUnsignedHex(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty()) return std::nullopt;
  std::uint32_t value = 0;
  for (char c : text) {
    const int digit = hexDigit(c);
    if (digit < 0) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(digit);
  }
  if (negative && value != 0) return std::nullopt;
  return value;
}

std::optional<Rgb> rgb(std::string_view hex) {
  hex = unicode::trimWhitespaceAndNewlines(hex);
  if (!hex.empty() && hex.front() == '#') hex.remove_prefix(1);
  // Only ASCII can parse, so six bytes and six user-perceived characters agree on every valid colour.
  if (hex.size() != 6) return std::nullopt;
  const auto value = parseUnsignedHex(hex);
  if (!value) return std::nullopt;
  return Rgb{static_cast<double>((*value >> 16) & 0xFF) / 255,
             static_cast<double>((*value >> 8) & 0xFF) / 255, static_cast<double>(*value & 0xFF) / 255};
}

}  // namespace

std::optional<double> luminance(std::string_view hex) {
  const auto c = rgb(hex);
  if (!c) return std::nullopt;
  // This grouping, with contraction into fused multiply-adds switched off for this file, is what makes
  // white come out as 0.9999999999999999 on every platform.
  return c->b * 0.114 + (c->r * 0.299 + c->g * 0.587);
}

ChromeTone chromeTone(std::string_view background) {
  const auto value = luminance(background);
  return value && *value < 0.5 ? ChromeTone::light : ChromeTone::dark;
}

}  // namespace zorvi::CanvasContrast
