// Comparing the installed version with the version an update feed announces.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zorvi {

// major.minor.patch, ordered component by component.
struct SemanticVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  // One to three "."-separated ASCII decimal numbers (optional "+", "-0" as 0, missing ones 0), with
  // spaces and tabs (Unicode Zs and U+0009) trimmed from both ends; absent for anything else: line
  // breaks, prefixes and suffixes, negatives, values beyond int64, empty pieces.
  static std::optional<SemanticVersion> parse(std::string_view text);

  // "MAJOR.MINOR.PATCH" in decimal, such as 1.2.0.
  std::string description() const;

  auto operator<=>(const SemanticVersion&) const = default;
};

// The feed document is not a valid update record; what() names the first fault.
class UpdateManifestDecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The record cannot be written as JSON: one of its strings is not valid UTF-8.
class UpdateManifestEncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The record an update feed publishes. url and notesUrl are kept as text, never checked or opened.
struct UpdateManifest {
  std::string version;
  std::string url;
  std::optional<std::string> minOS;
  std::optional<std::string> notesUrl;

  // Strict UTF-8 JSON object: "version" and "url" strings required, "minOS" and "notesUrl" strings or
  // null/missing, other keys ignored, duplicate keys refused. Throws UpdateManifestDecodingError.
  static UpdateManifest decode(std::string_view json);

  // Pretty-printed JSON with keys ascending, "/" unescaped; absent fields left out.
  // Throws UpdateManifestEncodingError for a string that is not valid UTF-8.
  std::string encode() const;

  bool operator==(const UpdateManifest&) const = default;
};

namespace UpdateCheck {

// The decision: updateAvailable (with the feed's version), upToDate or unknown.
class Result {
 public:
  enum class Case { updateAvailable, upToDate, unknown };

  // The feed's version is newer than the installed one.
  static Result updateAvailable(SemanticVersion feedVersion) {
    return Result(Case::updateAvailable, feedVersion);
  }
  // The installed version is the same or newer.
  static Result upToDate() { return Result(Case::upToDate, {}); }
  // One of the two version strings does not parse.
  static Result unknown() { return Result(Case::unknown, {}); }

  Case kind() const { return kind_; }
  // The feed's version for updateAvailable; absent for the other cases.
  std::optional<SemanticVersion> version() const {
    return kind_ == Case::updateAvailable ? std::optional(version_) : std::nullopt;
  }

  bool operator==(const Result&) const = default;

 private:
  Result(Case kind, SemanticVersion version) : kind_(kind), version_(version) {}

  Case kind_;
  SemanticVersion version_;
};

// updateAvailable when installed < feed version, upToDate otherwise, unknown when either fails to parse.
// minOS and notesUrl take no part.
Result evaluate(std::string_view installed, const UpdateManifest& manifest);

}  // namespace UpdateCheck
}  // namespace zorvi
