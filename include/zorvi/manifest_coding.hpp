// The JSON form of a manifest: the one writer and the one reader the system uses.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "zorvi/document.hpp"

namespace zorvi {

// The manifest bytes are not a valid manifest; what() names the first fault and where it lies.
class ManifestDecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The manifest cannot be written: a NaN or infinite number, text that is not UTF-8, or a date
// outside the years 0000 to 9999.
class ManifestEncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

namespace ManifestCoder {

// UTF-8 JSON, pretty-printed, every object's keys ascending, "/" unescaped, optional fields only
// when present, dates in UTC with "Z", UUIDs in upper case. Equal manifests give equal bytes.
// Throws ManifestEncodingError; never returns partial output.
std::string encode(const Manifest& manifest);

// Strict UTF-8 JSON (no byte-order mark, comments, NaN, trailing commas, trailing text, lone
// surrogates, numbers too large for a double or exponents above 308; nesting at most 512 deep)
// with the documented defaults for missing or null keys; a repeated key keeps its last value;
// numbers too small for a double read as zero. Throws ManifestDecodingError, whose text names the
// first fault and where it lies.
Manifest decode(std::string_view json);
// The same, over raw bytes such as an archive entry.
Manifest decode(std::span<const std::uint8_t> bytes);

// "YYYY-MM-DDTHH:MM:SS" then "Z" or "+hh:mm"/"-hh:mm": real calendar days, hours 00-23,
// minutes and seconds 00-59, no fractional seconds, upper-case "T" and "Z". Absent for anything
// else, and for instants whose UTC year falls outside 0000 to 9999.
std::optional<Date> parseDate(std::string_view text);
// "YYYY-MM-DDTHH:MM:SSZ" in UTC. Years outside 0000 to 9999 come out signed and wider, a form
// parseDate refuses.
std::string formatDate(Date date);

}  // namespace ManifestCoder
}  // namespace zorvi
