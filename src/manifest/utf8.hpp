// UTF-8 validation shared by the manifest reader and writer, so both accept the same text.
#pragma once

#include <cstddef>
#include <string_view>

namespace zorvi::utf8 {

// The offset of the first byte that does not belong to well-formed UTF-8 (no overlong forms,
// surrogates or code points above U+10FFFF), or of the first NUL byte when refuseNul is set;
// text.size() when there is none.
std::size_t firstFault(std::string_view text, bool refuseNul);

// True when the whole text is well-formed UTF-8; NUL is a character like any other.
inline bool isValid(std::string_view text) { return firstFault(text, false) == text.size(); }

// RapidJSON decodes an escaped lone low surrogate ("\uDC00") into the three bytes ED B0 80, which
// are not UTF-8. In a string decoded from input that was valid UTF-8, ED followed by A0-BF can only
// come from such an escape; every JSON reader of the project refuses it.
bool holdsDecodedSurrogate(std::string_view decoded);

// Whether the JSON text holds an escape that may be a surrogate ("\uD…" in either case), so a
// reader checks its strings only when one may be there.
bool mayEscapeSurrogate(std::string_view json);

}  // namespace zorvi::utf8
