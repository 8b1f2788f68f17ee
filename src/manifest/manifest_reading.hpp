// The two readings behind ManifestCoder::decode: a quick one that builds the manifest straight from
// simdjson's On-Demand iteration and gives up at anything unusual, and the careful one that reports
// errors. Both give the same manifest for every text the quick one accepts.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "zorvi/document.hpp"

namespace zorvi::manifest_reading {

// How many bytes of white space must follow the text given to the padded readings. On-Demand reads
// past the last token of a text cut short, and has to find something that ends nothing.
inline constexpr std::size_t padding = 64;

// ManifestCoder::decode for a text followed by `padding` spaces: nothing is copied.
Manifest decodePadded(std::string_view json);

// The manifest, or nullopt when the quick reading gives up: at a repeated or escaped key, a number
// too large for a double, deep nesting, a type or key the manifest does not allow, or anything that
// is not JSON. The text is followed by `padding` spaces.
std::optional<Manifest> decodeQuickly(std::string_view json);

// The careful reading: throws ManifestDecodingError naming the first fault. `padded` as above.
Manifest decodeCarefully(std::string_view json, bool padded);

}  // namespace zorvi::manifest_reading
