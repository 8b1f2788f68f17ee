// The HTML exports of a board: one self-contained page, and printable pages.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zorvi::HTMLExporter {

// A length for the document: rounded to hundredths (halves away from zero), trailing zeros and
// point dropped, "nan" for NaN, "0" for negative zero. Integral values beyond the 64-bit range
// are written with all their digits and no point; infinities as "inf" or "-inf".
std::string fmt(double value);

// The text trimmed of spaces and tabs when it is "#" and 3 or 6 hex digits (full-width digits
// too), counted as user-perceived characters; absent otherwise.
std::optional<std::string> validColor(const std::optional<std::string>& text);

// validColor of the text, or "#FFFFFF" when it fails.
std::string sanitizedColor(std::string_view text);

// The text with & < > " ' replaced by entities, walked by user-perceived character, so a
// character carrying a combining mark stays as it is.
std::string escape(std::string_view text);

}  // namespace zorvi::HTMLExporter
