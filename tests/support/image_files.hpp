// PNG files written byte by byte, for tests that need exact pixels or a doctored header.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "support/board_files.hpp"

namespace zorvi::testing {

inline void appendBigEndian32(Bytes& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

inline void appendPngChunk(Bytes& out, const char* type, const Bytes& data) {
  appendBigEndian32(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t typeAt = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  const auto crc = ::crc32(0, out.data() + typeAt, static_cast<uInt>(out.size() - typeAt));
  appendBigEndian32(out, static_cast<std::uint32_t>(crc));
}

// A non-interlaced 8-bit RGBA PNG of the given straight-alpha pixels (R, G, B, A bytes, rows top down).
// The declared size may differ from the pixels given, to make lying headers.
inline Bytes rgbaPng(std::uint32_t width, std::uint32_t height, const Bytes& rgba, std::uint32_t declaredWidth = 0,
                     std::uint32_t declaredHeight = 0) {
  Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes header;
  appendBigEndian32(header, declaredWidth ? declaredWidth : width);
  appendBigEndian32(header, declaredHeight ? declaredHeight : height);
  header.insert(header.end(), {8, 6, 0, 0, 0});
  appendPngChunk(out, "IHDR", header);
  Bytes scanlines;
  for (std::uint32_t y = 0; y < height; ++y) {
    scanlines.push_back(0);  // filter: none
    const auto row = rgba.begin() + static_cast<std::ptrdiff_t>(y) * width * 4;
    scanlines.insert(scanlines.end(), row, row + static_cast<std::ptrdiff_t>(width) * 4);
  }
  Bytes compressed(::compressBound(static_cast<uLong>(scanlines.size())));
  uLongf size = compressed.size();
  ::compress(compressed.data(), &size, scanlines.data(), static_cast<uLong>(scanlines.size()));
  compressed.resize(size);
  appendPngChunk(out, "IDAT", compressed);
  appendPngChunk(out, "IEND", {});
  return out;
}

// Width and height from a PNG's header; zeros when it is too short to hold them.
inline std::pair<std::uint32_t, std::uint32_t> pngSize(const Bytes& png) {
  if (png.size() < 24) return {0, 0};
  const auto word = [&](std::size_t at) {
    return std::uint32_t{png[at]} << 24 | std::uint32_t{png[at + 1]} << 16 | std::uint32_t{png[at + 2]} << 8 | png[at + 3];
  };
  return {word(16), word(20)};
}

}  // namespace zorvi::testing
