// Reproducible manifests for round-trip tests, fuzz seeds and benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zorvi/document.hpp"

namespace zorvi::testing {

// A manifest with itemCount items, the same for the same seed on every platform. Items of every
// kind, mostly as the constructors make them and now and then with a mix of fields; optional
// fields present and absent; text with "/", quotes, backslashes, control characters, NUL and
// non-ASCII; whole-second dates in 0000-9999; finite doubles of every sign and scale; extreme
// zIndex values. Everything in it can be written and read back equal.
Manifest sampleManifest(std::uint64_t seed, std::size_t itemCount);

}  // namespace zorvi::testing
