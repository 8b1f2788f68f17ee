// PNG files written byte by byte, for tests that need exact pixels or a doctored header.
#pragma once

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
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
  const std::size_t rowBytes = std::size_t{width} * 4;
  Bytes scanlines(height * (rowBytes + 1));  // each row after its filter byte, 0: none
  for (std::size_t y = 0; y < height; ++y)
    std::copy_n(rgba.begin() + static_cast<std::ptrdiff_t>(y * rowBytes), rowBytes,
                scanlines.begin() + static_cast<std::ptrdiff_t>(y * (rowBytes + 1) + 1));
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

// Files made by shell commands (NAME, the command that writes it), each set once per build tree: GoogleTest
// runs each test in its own process under ctest, and a complete set is moved into place in one rename, so
// parallel runs never see half of one. Empty when a command fails.
inline std::map<std::string, Bytes> madeFiles(const std::vector<std::pair<std::string, std::string>>& commands) {
  std::string recipe;
  for (const auto& [name, command] : commands) recipe += name + '\n' + command + '\n';
  const std::filesystem::path cache = std::filesystem::path(ZORVI_BINARY_DIR) / "test-images" /
                                      std::to_string(std::hash<std::string>{}(recipe));
  if (!std::filesystem::exists(cache)) {
    std::error_code error;
    std::filesystem::create_directories(cache.parent_path(), error);
    TemporaryFolder scratch(cache.parent_path());
    for (const auto& [name, command] : commands)
      if (shell("cd " + quoted(scratch.path) + " && " + command + " >/dev/null 2>&1") != 0) return {};
    std::filesystem::rename(scratch.path, cache, error);  // fails harmlessly when a parallel run won
  }
  std::map<std::string, Bytes> files;
  for (const auto& [name, command] : commands) files[name] = readFile(cache / name);
  return files;
}

// Largest per-channel difference between two ARGB words.
inline int channelDistance(std::uint32_t a, std::uint32_t b) {
  int worst = 0;
  for (int shift = 0; shift < 32; shift += 8)
    worst = std::max(worst, std::abs(static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF)));
  return worst;
}

}  // namespace zorvi::testing
