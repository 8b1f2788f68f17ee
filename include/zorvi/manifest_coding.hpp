// The JSON form of a manifest: the one writer and the one reader the system uses.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "zorvi/document.hpp"

namespace zorvi {

// The manifest bytes are not a valid manifest; what() describes the first fault found.
class ManifestDecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The manifest cannot be written as JSON (a NaN or infinite number).
class ManifestEncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

namespace ManifestCoder {

// UTF-8 JSON with every object's keys in ascending order, pretty-printed, "/" unescaped,
// dates as UTC with "Z", UUIDs in upper case. Equal manifests give equal bytes.
// Throws ManifestEncodingError for a non-finite number.
std::string encode(const Manifest& manifest);

// Strict reading with the documented defaults for missing keys. Throws ManifestDecodingError.
Manifest decode(std::string_view json);

// RFC 3339 date-time without fractional seconds, "Z" or a numeric offset.
std::optional<Date> parseDate(std::string_view text);
// The date in UTC with "Z", such as 2025-03-14T09:26:53Z.
std::string formatDate(Date date);

}  // namespace ManifestCoder
}  // namespace zorvi
