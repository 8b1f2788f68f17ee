// Reproducible manifests for round-trip tests, fuzz seeds and benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zorvi/document.hpp"

namespace zorvi::testing {

// A manifest with itemCount items, the same for the same seed on every platform: items of every
// kind, now and then with fields of other kinds mixed in; optional fields present and absent;
// text with "/", quotes, backslashes, control characters, NUL and non-ASCII; whole-second dates
// in 0000-9999; finite doubles of every sign and scale; extreme integers. Everything in it can be
// written and read back equal.
Manifest sampleManifest(std::uint64_t seed, std::size_t itemCount);

}  // namespace zorvi::testing
