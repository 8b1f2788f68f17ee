// Escaped text must hold none of < > " ' as a character of its own, and plain ASCII text must come
// back from its entities unchanged; colours that pass must be a trimmed piece of the input; numbers
// must always be written.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "unicode/unicode.hpp"
#include "zorvi/html_exporter.hpp"

namespace {

std::string unescape(std::string_view text) {
  static constexpr std::pair<std::string_view, char> entities[] = {
      {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}};
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    bool replaced = false;
    for (const auto& [entity, c] : entities) {
      if (text.substr(i, entity.size()) == entity) {
        out += c;
        i += entity.size();
        replaced = true;
        break;
      }
    }
    if (!replaced) out += text[i++];
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi::HTMLExporter;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string escaped = escape(text);
  zorvi::unicode::forEachGrapheme(escaped, [](std::string_view c) {
    if (c == "<" || c == ">" || c == "\"" || c == "'") std::abort();
  });
  // Outside ASCII a mark may join "&" into another character, which then stays as it is.
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii && unescape(escaped) != text) std::abort();

  const auto colour = validColor(text);
  if (colour && (colour->empty() || (*colour)[0] != '#' || text.find(*colour) == std::string::npos)) std::abort();
  if (sanitizedColor(text) != colour.value_or("#FFFFFF")) std::abort();

  if (size >= sizeof(double)) {
    double value;
    std::memcpy(&value, data, sizeof value);
    const std::string written = fmt(value);
    if (written.empty() || written.find_first_not_of("-0123456789.naif") != std::string::npos) std::abort();
    if (std::isfinite(value) && std::abs(std::strtod(written.c_str(), nullptr) - value) > 0.005 + std::abs(value) * 1e-15)
      std::abort();
  }
  return 0;
}
