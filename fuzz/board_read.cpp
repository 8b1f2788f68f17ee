// Reading a board from arbitrary bytes fails only with BoardArchiveError, and what it reads
// encodes to bytes that read back equal.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zorvi::BoardBundle bundle;
  try {
    bundle = zorvi::BoardArchive::read(std::span(data, size));
  } catch (const zorvi::BoardArchiveError&) {
    return 0;
  }
  zorvi::Bytes encoded;
  try {
    encoded = zorvi::BoardArchive::encode(bundle);
  } catch (const zorvi::ManifestEncodingError&) {
    return 0;  // a decoded number that no JSON can hold again (an overflow to infinity)
  }
  if (!(zorvi::BoardArchive::read(encoded) == bundle)) std::abort();
  return 0;
}
