// Any bytes either fail to decode with ManifestDecodingError or decode to a manifest that
// survives a write and a second read unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "zorvi/manifest_coding.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zorvi::Manifest manifest;
  try {
    manifest = zorvi::ManifestCoder::decode(std::span(data, size));
  } catch (const zorvi::ManifestDecodingError&) {
    return 0;
  }
  // NaN cannot come out of JSON, so everything decoded must be writable and read back equal.
  if (zorvi::ManifestCoder::decode(zorvi::ManifestCoder::encode(manifest)) != manifest) std::abort();
  return 0;
}
