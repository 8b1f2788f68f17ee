// Hand-built ZIP archives whose header fields a test can bend: wrong sizes, foreign methods,
// encryption flags, data descriptors, ZIP64 records, symlink modes, entries sharing one data stream.
#pragma once

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorvi/board_bundle.hpp"

namespace zorvi::testing {

struct ZipEntry {
  std::string name;
  Bytes data;                // the content before compression
  std::uint16_t method = 0;  // 8 deflates; any other number is recorded while the data is stored as is
  std::uint16_t flags = 0;   // bit 3 is added for a data descriptor
  std::optional<std::uint64_t> declaredSize;          // replaces the true uncompressed size in every header
  std::uint32_t externalAttributes = 0100644u << 16;  // Unix mode in the high half
  bool dataDescriptor = false;
  bool zip64 = false;
  std::optional<std::size_t> sharesDataOf;  // the directory points at that earlier entry's data and method
  std::uint64_t zeros = 0;  // when data is empty: this many zero bytes, deflated piece by piece (method 8)
};

struct BuiltZip {
  Bytes bytes;
  std::vector<std::size_t> dataOffsets;  // where each entry's (compressed) data starts
};

inline Bytes toBytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

// A raw deflate stream of the bytes, flushed fully (so that it decodes on its own) or finished.
inline Bytes rawDeflate(const Bytes& data, int flush = Z_FINISH, int level = Z_DEFAULT_COMPRESSION) {
  z_stream stream{};
  deflateInit2(&stream, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&stream, static_cast<uLong>(data.size())) + 16);
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, flush);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

// A raw deflate stream of `count` zero bytes and their CRC-32, made without holding them or deflating
// them all: a megabyte deflated once with a full flush decodes on its own, so copies of it follow one
// another, and an empty final block ends the stream.
inline std::pair<Bytes, std::uint32_t> deflatedZeros(std::uint64_t count) {
  constexpr uInt pieceSize = 1 << 20;
  const Bytes zeros(pieceSize, 0);
  const Bytes piece = rawDeflate(zeros, Z_FULL_FLUSH, Z_BEST_COMPRESSION);
  Bytes out;
  uLong crc = 0;
  for (std::uint64_t left = count; left > 0;) {
    const auto take = static_cast<uInt>(std::min<std::uint64_t>(left, pieceSize));
    const Bytes last = take == pieceSize ? piece : rawDeflate(Bytes(take, 0), Z_FULL_FLUSH, Z_BEST_COMPRESSION);
    out.insert(out.end(), last.begin(), last.end());
    crc = crc32_combine(crc, crc32(0, zeros.data(), take), static_cast<z_off_t>(take));
    left -= take;
  }
  out.insert(out.end(), {0x03, 0x00});
  return {std::move(out), static_cast<std::uint32_t>(crc)};
}

inline BuiltZip buildZip(const std::vector<ZipEntry>& entries) {
  struct Central {
    const ZipEntry* entry;
    std::uint32_t crc;
    std::uint64_t size, compressedSize, offset;
    std::uint16_t method;
  };
  Bytes out;
  auto put = [&](std::uint64_t v, int count) {
    for (int i = 0; i < count; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  };
  auto text = [&](std::string_view s) { out.insert(out.end(), s.begin(), s.end()); };
  auto flagsOf = [](const ZipEntry& e) { return e.flags | (e.dataDescriptor ? 0x8 : 0); };
  BuiltZip built;
  std::vector<Central> central;
  bool anyZip64 = false;
  for (const auto& e : entries) {
    anyZip64 |= e.zip64;
    if (e.sharesDataOf) {
      central.push_back(central.at(*e.sharesDataOf));
      central.back().entry = &e;
      built.dataOffsets.push_back(built.dataOffsets.at(*e.sharesDataOf));
      continue;
    }
    auto [stored, crc] = e.zeros > 0 ? deflatedZeros(e.zeros)
                                     : std::pair(e.method == 8 ? rawDeflate(e.data) : e.data,
                                                 static_cast<std::uint32_t>(crc32(0, e.data.data(),
                                                                                  static_cast<uInt>(e.data.size()))));
    const std::uint64_t size = e.declaredSize.value_or(e.zeros > 0 ? e.zeros : e.data.size());
    central.push_back({&e, crc, size, stored.size(), out.size(), e.method});
    const bool later = e.dataDescriptor;
    put(0x04034b50, 4), put(e.zip64 ? 45 : 20, 2), put(flagsOf(e), 2), put(e.method, 2), put(0, 4);
    put(later ? 0 : crc, 4);
    put(e.zip64 ? 0xFFFFFFFF : later ? 0 : stored.size(), 4), put(e.zip64 ? 0xFFFFFFFF : later ? 0 : size, 4);
    put(e.name.size(), 2), put(e.zip64 ? 20 : 0, 2), text(e.name);
    if (e.zip64) put(1, 2), put(16, 2), put(later ? 0 : size, 8), put(later ? 0 : stored.size(), 8);
    built.dataOffsets.push_back(out.size());
    out.insert(out.end(), stored.begin(), stored.end());
    if (later)
      put(0x08074b50, 4), put(crc, 4), put(stored.size(), e.zip64 ? 8 : 4), put(size, e.zip64 ? 8 : 4);
  }
  const std::uint64_t directoryStart = out.size();
  for (const auto& c : central) {
    const ZipEntry& e = *c.entry;
    put(0x02014b50, 4), put(3 << 8 | (e.zip64 ? 45 : 20), 2), put(e.zip64 ? 45 : 20, 2), put(flagsOf(e), 2);
    put(c.method, 2), put(0, 4), put(c.crc, 4);
    put(e.zip64 ? 0xFFFFFFFF : c.compressedSize, 4), put(e.zip64 ? 0xFFFFFFFF : c.size, 4);
    put(e.name.size(), 2), put(e.zip64 ? 28 : 0, 2), put(0, 6), put(e.externalAttributes, 4);
    put(e.zip64 ? 0xFFFFFFFF : c.offset, 4), text(e.name);
    if (e.zip64) put(1, 2), put(24, 2), put(c.size, 8), put(c.compressedSize, 8), put(c.offset, 8);
  }
  const std::uint64_t directorySize = out.size() - directoryStart, count = central.size();
  if (anyZip64) {
    const std::uint64_t recordStart = out.size();
    put(0x06064b50, 4), put(44, 8), put(45, 2), put(45, 2), put(0, 8), put(count, 8), put(count, 8);
    put(directorySize, 8), put(directoryStart, 8);
    put(0x07064b50, 4), put(0, 4), put(recordStart, 8), put(1, 4);
  }
  put(0x06054b50, 4), put(0, 4), put(anyZip64 ? 0xFFFF : count, 2), put(anyZip64 ? 0xFFFF : count, 2);
  put(anyZip64 ? 0xFFFFFFFF : directorySize, 4), put(anyZip64 ? 0xFFFFFFFF : directoryStart, 4), put(0, 2);
  built.bytes = std::move(out);
  return built;
}

}  // namespace zorvi::testing
