// Any bytes, decoded at a small and at the source's own size: nothing may crash, hang or leak.
#include <cstddef>
#include <cstdint>

#include "zorvi/image_decoder.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  if (const auto raster = zorvi::ImageDecoder::decode(bytes, 16, 16)) {
    // Cairo reads width × height words and requires every channel to stay within alpha.
    if (raster->pixels.size() !=
        static_cast<std::size_t>(raster->width) * static_cast<std::size_t>(raster->height)) {
      __builtin_trap();
    }
    for (const std::uint32_t pixel : raster->pixels) {
      const std::uint32_t a = pixel >> 24;
      if (((pixel >> 16) & 0xFF) > a || ((pixel >> 8) & 0xFF) > a || (pixel & 0xFF) > a) __builtin_trap();
    }
  }
  zorvi::ImageDecoder::decode(bytes, 4096, 4096);
  return 0;
}
