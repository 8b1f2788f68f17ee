#include "zorvi/update_check.hpp"

#include "manifest/checked_json.hpp"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace zorvi {
namespace {

// Spaces and tabs only: a line break around a version is a fault, not padding.
bool isBlank(utf8proc_int32_t scalar) {
  return scalar == '\t' || utf8proc_category(scalar) == UTF8PROC_CATEGORY_ZS;
}

std::string_view trimBlanks(std::string_view text) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto size = static_cast<utf8proc_ssize_t>(text.size());
  utf8proc_ssize_t first = size, last = 0, at = 0;
  while (at < size) {
    utf8proc_int32_t scalar = -1;
    const utf8proc_ssize_t length = utf8proc_iterate(bytes + at, size - at, &scalar);
    // An invalid byte is content: it stays inside and fails the digit test later.
    const utf8proc_ssize_t step = length > 0 ? length : 1;
    if (length <= 0 || !isBlank(scalar)) {
      first = std::min(first, at);
      last = at + step;
    }
    at += step;
  }
  if (first >= last) return {};
  return text.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(last - first));
}

std::optional<std::int64_t> parseComponent(std::string_view piece) {
  bool negative = false;
  if (!piece.empty() && (piece.front() == '+' || piece.front() == '-')) {
    negative = piece.front() == '-';
    piece.remove_prefix(1);
  }
  if (piece.empty()) return std::nullopt;
  for (char c : piece) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
  if (error != std::errc{} || end != piece.data() + piece.size()) return std::nullopt;
  if (negative && value != 0) return std::nullopt;
  return value;
}

void appendNumber(std::string& out, std::int64_t value) {
  std::array<char, 24> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  out.append(buffer.data(), result.ptr);
}

[[noreturn]] void fail(std::string message) { throw UpdateManifestDecodingError(std::move(message)); }

std::optional<std::string> stringMember(const rapidjson::Value& object, const char* key, bool required) {
  const rapidjson::Value* found = nullptr;
  for (const auto& member : object.GetObject()) {
    if (member.name != key) continue;
    if (found) fail(std::string("duplicate key \"") + key + '"');
    found = &member.value;
  }
  if (!found || found->IsNull()) {
    if (required) fail(std::string("missing key \"") + key + '"');
    return std::nullopt;
  }
  if (!found->IsString()) fail(std::string("key \"") + key + "\" is not a string");
  return std::string(found->GetString(), found->GetStringLength());
}

}  // namespace

std::optional<SemanticVersion> SemanticVersion::parse(std::string_view text) {
  const std::string_view trimmed = trimBlanks(text);
  if (trimmed.empty()) return std::nullopt;

  std::array<std::int64_t, 3> parts{};
  std::size_t count = 0;
  std::string_view rest = trimmed;
  while (true) {
    if (count == parts.size()) return std::nullopt;
    const std::size_t dot = rest.find('.');
    const auto value = parseComponent(rest.substr(0, dot));
    if (!value) return std::nullopt;
    parts[count++] = *value;
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  return SemanticVersion{parts[0], parts[1], parts[2]};
}

std::string SemanticVersion::description() const {
  std::string text;
  appendNumber(text, major);
  text += '.';
  appendNumber(text, minor);
  text += '.';
  appendNumber(text, patch);
  return text;
}

UpdateManifest UpdateManifest::decode(std::string_view json) {
  const auto syntaxError = [](std::string_view problem, std::size_t offset) {
    std::string message = "invalid JSON at byte ";
    appendNumber(message, static_cast<std::int64_t>(offset));
    message += ": ";
    message += problem;
    fail(std::move(message));
  };
  // The parser takes a NUL byte for the end of its input, which would let trailing bytes through.
  if (const std::size_t fault = utf8::firstFault(json, true); fault != json.size()) {
    syntaxError(json[fault] == 0 ? "NUL byte" : "invalid UTF-8", fault);
  }

  rapidjson::Document document;
  // A bare memory stream, so a byte order mark is refused like any other stray byte; iterative parsing,
  // so a hostile feed nested a million levels deep cannot exhaust the stack.
  rapidjson::MemoryStream stream(json.data(), json.size());
  rapidjson::Reader reader;
  // Parsed iteratively, so any nesting is read without exhausting the stack.
  json::CheckedHandler handler(document, true, std::numeric_limits<int>::max());
  auto generate = [&](rapidjson::Document&) {
    return !reader.Parse<rapidjson::kParseIterativeFlag>(stream, handler).IsError();
  };
  document.Populate(generate);
  if (reader.HasParseError()) {
    if (!handler.refusal().empty()) syntaxError(handler.refusal(), reader.GetErrorOffset());
    syntaxError(rapidjson::GetParseError_En(reader.GetParseErrorCode()), reader.GetErrorOffset());
  }
  if (!document.IsObject()) fail("the document is not a JSON object");

  UpdateManifest manifest;
  manifest.version = *stringMember(document, "version", true);
  manifest.url = *stringMember(document, "url", true);
  manifest.minOS = stringMember(document, "minOS", false);
  manifest.notesUrl = stringMember(document, "notesUrl", false);
  return manifest;
}

std::string UpdateManifest::encode() const {
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  writer.SetIndent(' ', 2);
  const auto write = [&](const char* key, const std::string& value) {
    writer.Key(key);
    if (value.size() > std::numeric_limits<rapidjson::SizeType>::max() || !utf8::isValid(value)) {
      throw UpdateManifestEncodingError(std::string("\"") + key + "\" is not valid UTF-8 or too long");
    }
    writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  };
  // Keys in ascending byte order, so equal records give equal bytes.
  writer.StartObject();
  if (minOS) write("minOS", *minOS);
  if (notesUrl) write("notesUrl", *notesUrl);
  write("url", url);
  write("version", version);
  writer.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

namespace UpdateCheck {

Result evaluate(std::string_view installed, const UpdateManifest& manifest) {
  const auto current = SemanticVersion::parse(installed);
  if (!current) return Result::unknown();
  const auto offered = SemanticVersion::parse(manifest.version);
  if (!offered) return Result::unknown();
  return *current < *offered ? Result::updateAvailable(*offered) : Result::upToDate();
}

}  // namespace UpdateCheck
}  // namespace zorvi
