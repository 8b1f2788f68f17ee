// Appending forms of the exporter's formatters: the documents are built in one string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zorvi::html {

// Appends HTMLExporter::fmt(value).
void appendNumber(std::string& out, double value);

// Reserves room for a document of about `size` bytes. A large one is backed by huge pages where the
// system offers them: faulting in a fresh 100 MB buffer 4 KiB at a time costs as much as encoding it.
void reserveDocument(std::string& out, std::size_t size);

// Appends a whole number in decimal.
void appendInteger(std::string& out, std::int64_t value);

// Appends HTMLExporter::escape(text).
void appendEscaped(std::string& out, std::string_view text);

// The colour rule of HTMLExporter::validColor, as a view into text.
std::optional<std::string_view> validColorView(std::string_view text);

// Length of the standard padded base64 form of n bytes.
constexpr std::size_t base64Length(std::size_t n) { return (n + 2) / 3 * 4; }

// Appends the RFC 4648 base64 form of bytes, padded, without line breaks.
void appendBase64(std::string& out, std::span<const std::uint8_t> bytes);

// appendBase64 of bytes that arrive in pieces: the same text as for the bytes whole.
class Base64Stream {
 public:
  void append(std::string& out, std::span<const std::uint8_t> bytes);
  // Appends the last group, padded.
  void finish(std::string& out);

 private:
  std::uint8_t held_[3] = {};
  std::size_t heldCount_ = 0;
};

}  // namespace zorvi::html
