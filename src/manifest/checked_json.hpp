// The one way the project's JSON readers build a document: numbers converted exactly, nesting
// bounded, escaped lone surrogates refused.
#pragma once

#include <rapidjson/document.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "manifest/utf8.hpp"

namespace zorvi::json {

// A recursive parse goes one stack frame deeper per level; this bound keeps hostile nesting from
// exhausting the stack. An iterative parse needs none.
inline constexpr int maxRecursiveDepth = 512;

// Whether a JSON number that no double can hold is too large, as opposed to too small: the power
// of ten of its first significant digit decides, since doubles reach from about 1e-324 to 1e308.
inline bool isTooLarge(std::string_view number) {
  const std::size_t e = number.find_first_of("eE");
  std::int64_t exponent = 0;
  if (e != std::string_view::npos) {
    std::size_t at = e + 1;
    const bool negative = number[at] == '-';
    if (number[at] == '-' || number[at] == '+') ++at;
    for (; at < number.size() && exponent < 1'000'000'000; ++at)
      exponent = exponent * 10 + (number[at] - '0');
    if (negative) exponent = -exponent;
  }
  std::string_view mantissa = number.substr(0, e);
  if (mantissa[0] == '-') mantissa.remove_prefix(1);
  const std::size_t dot = std::min(mantissa.find('.'), mantissa.size());
  // JSON allows a leading zero only alone, so "0" means the first significant digit is a fraction digit.
  if (mantissa[0] != '0') return static_cast<std::int64_t>(dot) + exponent > 0;
  const std::size_t firstSignificant = mantissa.find_first_not_of('0', dot + 1);
  return exponent - static_cast<std::int64_t>(firstSignificant - dot) + 1 > 0;
}

// Forwards parse events to the document, converting numbers and refusing what the parser itself
// lets through: nesting deep enough to exhaust the stack, and escaped lone surrogates.
class CheckedHandler {
 public:
  // checkSurrogates: the text holds an escape that may be one ("\\uD…" in either case).
  CheckedHandler(rapidjson::Document& document, bool checkSurrogates, int maxDepth = maxRecursiveDepth)
      : document_(document), checkSurrogates_(checkSurrogates), maxDepth_(maxDepth) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool b) { return document_.Bool(b); }
  bool Int(int i) { return document_.Int(i); }
  bool Uint(unsigned u) { return document_.Uint(u); }
  bool Int64(std::int64_t i) { return document_.Int64(i); }
  bool Uint64(std::uint64_t u) { return document_.Uint64(u); }
  bool Double(double d) { return document_.Double(d); }

  // A number written without fraction or exponent becomes an integer when it fits 64 signed bits;
  // every other becomes a double, so integer fields can tell them apart. A value too small for a
  // double reads as zero, as rounding gives; one too large is refused.
  bool RawNumber(const char* s, rapidjson::SizeType n, bool) {
    const char* end = s + n;
    if (std::find_if(s, end, [](char c) { return c == '.' || c == 'e' || c == 'E'; }) == end) {
      std::int64_t integer = 0;
      if (std::from_chars(s, end, integer).ec == std::errc{}) return document_.Int64(integer);
    }
    double number = 0;
    if (std::from_chars(s, end, number).ec == std::errc::result_out_of_range) {
      if (isTooLarge(std::string_view(s, n))) {
        refusal_ = "number too large for a double";
        return false;
      }
      number = *s == '-' ? -0.0 : 0.0;
    }
    return document_.Double(number);
  }
  bool String(const char* s, rapidjson::SizeType n, bool copy) {
    return checkText(s, n) && document_.String(s, n, copy);
  }
  bool Key(const char* s, rapidjson::SizeType n, bool copy) {
    return checkText(s, n) && document_.Key(s, n, copy);
  }
  bool StartObject() { return enter() && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType members) {
    --depth_;
    return document_.EndObject(members);
  }
  bool StartArray() { return enter() && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType elements) {
    --depth_;
    return document_.EndArray(elements);
  }

  // Why the handler stopped the parse, if it did.
  std::string_view refusal() const { return refusal_; }

 private:
  bool enter() {
    if (++depth_ <= maxDepth_) return true;
    refusal_ = "nested deeper than 512 levels";
    return false;
  }

  bool checkText(const char* s, rapidjson::SizeType n) {
    if (!checkSurrogates_ || !utf8::holdsDecodedSurrogate(std::string_view(s, n))) return true;
    refusal_ = "escaped lone surrogate in a string";
    return false;
  }

  rapidjson::Document& document_;
  bool checkSurrogates_;
  int maxDepth_;
  int depth_ = 0;
  std::string_view refusal_;
};

}  // namespace zorvi::json
