// One entry per codec; each checks its own limits and never lets a codec error escape.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "decode/reduction.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi::decoding {

using ByteSpan = std::span<const std::uint8_t>;

std::optional<Raster> decodeJpeg(ByteSpan bytes, Target target);
std::optional<Raster> decodePng(ByteSpan bytes, Target target);
std::optional<Raster> decodeWebp(ByteSpan bytes, Target target);
std::optional<Raster> decodeAvif(ByteSpan bytes, Target target);
std::optional<Raster> decodeHeif(ByteSpan bytes, Target target);
std::optional<Raster> decodeJxl(ByteSpan bytes, Target target);

// The formats left to gdk-pixbuf, the desktop's own decoder.
enum class PixbufFormat { gif, tiff, bmp };
std::optional<Raster> decodeWithPixbuf(ByteSpan bytes, PixbufFormat format, Target target);

// Width and height as the file's header declares them, read without decoding; nothing when unreadable.
struct DeclaredSize {
  std::int64_t width = 0, height = 0;
};
std::optional<DeclaredSize> declaredSize(ByteSpan bytes, PixbufFormat format);

// True when a source of this size may be decoded whole.
inline bool fitsFullDecode(std::int64_t width, std::int64_t height) {
  return width > 0 && height > 0 && width <= ImageDecoder::maxFullDecodePixels &&
         height <= ImageDecoder::maxFullDecodePixels / width;
}

}  // namespace zorvi::decoding
