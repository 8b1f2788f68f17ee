// Turning image bytes into pixels, reduced to about the size they are drawn at.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zorvi {

// Pixels in Cairo's ARGB32 layout: rows top to bottom without padding (stride = 4 × width), premultiplied
// alpha, one native-endian 32-bit word per pixel with A in the top byte, then R, G, B; 8-bit sRGB.
struct Raster {
  std::int32_t width = 0, height = 0;
  std::vector<std::uint32_t> pixels;
  bool operator==(const Raster&) const = default;
};

namespace ImageDecoder {

// The most pixels a source image may have when its codec can only decode it whole (AVIF, HEIC, JPEG XL,
// GIF, TIFF, BMP): 64 MP, 256 MB of pixels. Larger ones give nothing, checked before decoding.
inline constexpr std::int64_t maxFullDecodePixels = std::int64_t{64} << 20;

// The most pixels a source image may have when it is reduced while decoding (JPEG, PNG, WebP): 1 GP, and
// for PNG at most 262,144 a side (JPEG and WebP stop at 65,535 and 16,383 anyway). Past this even a
// streamed decode takes too long for a thumbnail.
inline constexpr std::int64_t maxStreamedPixels = std::int64_t{1} << 30;

// The most pixels a returned raster holds (16 MP); a larger target is met as closely as this allows.
inline constexpr std::int64_t maxRasterPixels = std::int64_t{16} << 20;

// Decodes the first image (first frame) in bytes, choosing the codec by the bytes, never by a name: JPEG,
// PNG, WebP, AVIF, GIF, TIFF, BMP, HEIC and JPEG XL. The image is reduced while decoding as far as its
// codec cheaply allows without going below targetWidth × targetHeight on either axis (a smaller source
// keeps its own size; targets below 1 count as 1), so the caller's own scaling to the target stays cheap.
// A JPEG's EXIF orientation tag is not applied (pixels in stored order); HEIC and JPEG XL rotations, which
// are part of those formats' image geometry, are. Nothing when the bytes can't be decoded, are truncated,
// or exceed the limits above. Safe to call from any thread concurrently.
std::optional<Raster> decode(std::span<const std::uint8_t> bytes, std::int32_t targetWidth,
                             std::int32_t targetHeight);

// The shared library that decoding bytes of this kind needs and that can't be opened here (its SONAME), for
// telling a person what to install; nothing when the codec is built in, opens, or the bytes are of no
// known kind.
std::optional<std::string> missingCodecLibrary(std::span<const std::uint8_t> bytes);

}  // namespace ImageDecoder
}  // namespace zorvi
