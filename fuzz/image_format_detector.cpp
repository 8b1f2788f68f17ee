// Sniffing any bytes must not crash, must agree with detect, and must depend on the first 64 bytes only.
#include <cstdlib>

#include "zorvi/image_formats.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi::ImageFormatDetector;
  const std::span<const std::uint8_t> bytes(data, size);
  const auto verdict = identify(bytes);
  if (detect(bytes) != verdict.acceptedFormat()) std::abort();
  if (size > 64 && identify(bytes.first(64)) != verdict) std::abort();
  return 0;
}
