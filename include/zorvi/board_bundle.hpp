// A whole board in memory, and the errors of reading and writing board files.
#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "zorvi/document.hpp"

namespace zorvi {

using Bytes = std::vector<std::uint8_t>;

// The decoded manifest plus every file entry under "images/" and "thumbnails/", keyed by full entry path.
struct BoardBundle {
  Manifest manifest;
  std::map<std::string, Bytes> images;
  std::map<std::string, Bytes> thumbnails;
  bool operator==(const BoardBundle&) const = default;
};

// A board file could not be read (or its archive created). The case's position is its numeric code.
class BoardArchiveError : public std::exception {
 public:
  enum class Case { manifestMalformed = 0, unsupportedSchemaVersion = 1, archiveCorrupt = 2, manifestMissing = 3 };

  static BoardArchiveError manifestMalformed(std::string underlying);
  static BoardArchiveError unsupportedSchemaVersion(std::int64_t found, std::int64_t supported);
  static BoardArchiveError archiveCorrupt(std::string underlying);
  static BoardArchiveError manifestMissing();

  Case kind() const { return kind_; }
  // The lower layer's description (manifestMalformed, archiveCorrupt); empty otherwise.
  const std::string& underlying() const { return underlying_; }
  // The payload of unsupportedSchemaVersion; 0 otherwise.
  std::int64_t found() const { return found_; }
  std::int64_t supported() const { return supported_; }

  // The case's name as written in code: "manifestMalformed", "archiveCorrupt", …
  std::string_view caseName() const;
  // "CASE: DETAIL", for one-line reports.
  const char* what() const noexcept override { return description_.c_str(); }

  bool operator==(const BoardArchiveError& other) const {
    return kind_ == other.kind_ && underlying_ == other.underlying_ && found_ == other.found_ &&
           supported_ == other.supported_;
  }

 private:
  BoardArchiveError(Case kind, std::string underlying, std::int64_t found, std::int64_t supported);

  Case kind_;
  std::string underlying_;
  std::int64_t found_ = 0;
  std::int64_t supported_ = 0;
  std::string description_;
};

}  // namespace zorvi
