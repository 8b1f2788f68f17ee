// Image files for decoder tests: made by Debian's encoders at test time, or written here byte by byte
// when a test needs exact pixels or a doctored header.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace zorvi::testing {

using ByteVector = std::vector<std::uint8_t>;

inline ByteVector readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return ByteVector{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs a shell command quietly; true when it exits 0.
inline bool run(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// A fresh directory (under the system's temporary directory unless told where), removed with the object.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "zorvi-scratch-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data()) ? pattern : std::string{};
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void appendBigEndian32(ByteVector& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

inline std::uint32_t crc32(const std::uint8_t* data, std::size_t size) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (std::size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

// A zlib stream of stored (uncompressed) blocks.
inline ByteVector zlibStored(const ByteVector& data) {
  ByteVector out = {0x78, 0x01};
  std::size_t at = 0;
  do {
    const std::size_t length = std::min<std::size_t>(data.size() - at, 0xFFFF);
    const bool last = at + length == data.size();
    out.push_back(last ? 1 : 0);
    out.insert(out.end(), {static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8),
                           static_cast<std::uint8_t>(~length), static_cast<std::uint8_t>(~length >> 8)});
    out.insert(out.end(), data.begin() + static_cast<std::ptrdiff_t>(at),
               data.begin() + static_cast<std::ptrdiff_t>(at + length));
    at += length;
  } while (at < data.size());
  std::uint32_t a = 1, b = 0;
  for (const std::uint8_t byte : data) {
    a = (a + byte) % 65521;
    b = (b + a) % 65521;
  }
  appendBigEndian32(out, b << 16 | a);
  return out;
}

inline void appendPngChunk(ByteVector& out, const char* type, const ByteVector& data) {
  appendBigEndian32(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t typeAt = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  appendBigEndian32(out, crc32(out.data() + typeAt, out.size() - typeAt));
}

// A non-interlaced 8-bit RGBA PNG of the given straight-alpha pixels (R, G, B, A bytes, rows top down).
// The declared size may differ from the pixels given, to make lying headers.
inline ByteVector rgbaPng(std::uint32_t width, std::uint32_t height, const ByteVector& rgba,
                          std::uint32_t declaredWidth = 0, std::uint32_t declaredHeight = 0) {
  ByteVector out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  ByteVector header;
  appendBigEndian32(header, declaredWidth ? declaredWidth : width);
  appendBigEndian32(header, declaredHeight ? declaredHeight : height);
  header.insert(header.end(), {8, 6, 0, 0, 0});
  appendPngChunk(out, "IHDR", header);
  ByteVector scanlines;
  for (std::uint32_t y = 0; y < height; ++y) {
    scanlines.push_back(0);  // filter: none
    const auto row = rgba.begin() + static_cast<std::ptrdiff_t>(y) * width * 4;
    scanlines.insert(scanlines.end(), row, row + static_cast<std::ptrdiff_t>(width) * 4);
  }
  appendPngChunk(out, "IDAT", zlibStored(scanlines));
  appendPngChunk(out, "IEND", {});
  return out;
}

}  // namespace zorvi::testing
