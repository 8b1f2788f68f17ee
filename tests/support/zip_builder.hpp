// Hand-built ZIP archives whose every header field a test can bend: wrong sizes and CRCs, foreign
// methods, encryption flags, data descriptors, ZIP64 records, symlink modes.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zorvi/board_bundle.hpp"

namespace zorvi::testing {

struct ZipEntry {
  std::string name;
  Bytes data;  // the content before compression
  // 0 stores, 8 deflates; any other number is recorded while the data is stored as is.
  std::uint16_t method = 0;
  std::uint16_t flags = 0;  // general-purpose bits as written; bit 3 is added for a data descriptor
  std::optional<std::uint32_t> crc;           // replaces the true CRC-32 in every header
  std::optional<std::uint64_t> declaredSize;  // replaces the true uncompressed size in every header
  std::uint8_t host = 3;                      // Unix
  std::uint32_t externalAttributes = 0100644u << 16;
  bool dataDescriptor = false;
  bool zip64 = false;
  // Writes no data of its own: the directory points at the local record of that earlier entry.
  std::optional<std::size_t> sharesDataOf;
};

struct BuiltZip {
  Bytes bytes;
  std::vector<std::size_t> dataOffsets;  // where each entry's (compressed) data starts
};

inline Bytes toBytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

inline Bytes rawDeflate(const Bytes& data) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  Bytes out(deflateBound(&stream, static_cast<uLong>(data.size())));
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate");
  out.resize(stream.total_out);
  return out;
}

class ZipWriter {
 public:
  void u16(std::uint64_t v) { put(v, 2); }
  void u32(std::uint64_t v) { put(v, 4); }
  void u64(std::uint64_t v) { put(v, 8); }
  void bytes(const Bytes& b) { out.insert(out.end(), b.begin(), b.end()); }
  void text(std::string_view s) { out.insert(out.end(), s.begin(), s.end()); }
  Bytes out;

 private:
  void put(std::uint64_t v, int count) {
    for (int i = 0; i < count; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  }
};

inline BuiltZip buildZip(const std::vector<ZipEntry>& entries) {
  struct Central {
    const ZipEntry* entry;
    std::uint32_t crc;
    std::uint64_t size, compressedSize, offset;
    std::uint16_t flags;
    std::uint16_t method;
  };
  ZipWriter w;
  BuiltZip built;
  std::vector<Central> central;
  const bool anyZip64 = [&] {
    for (const auto& e : entries) if (e.zip64) return true;
    return false;
  }();
  for (const auto& e : entries) {
    if (e.sharesDataOf) {
      Central shared = central.at(*e.sharesDataOf);
      shared.entry = &e;
      central.push_back(shared);
      built.dataOffsets.push_back(built.dataOffsets.at(*e.sharesDataOf));
      continue;
    }
    const Bytes stored = e.method == 8 ? rawDeflate(e.data) : e.data;
    const auto crc = e.crc.value_or(static_cast<std::uint32_t>(crc32(0, e.data.data(), static_cast<uInt>(e.data.size()))));
    const std::uint64_t size = e.declaredSize.value_or(e.data.size());
    const auto flags = static_cast<std::uint16_t>(e.flags | (e.dataDescriptor ? 0x8 : 0));
    central.push_back({&e, crc, size, stored.size(), w.out.size(), flags, e.method});
    w.u32(0x04034b50);
    w.u16(e.zip64 ? 45 : 20);
    w.u16(flags);
    w.u16(e.method);
    w.u32(0);  // DOS time and date
    const bool deferred = e.dataDescriptor;
    w.u32(deferred ? 0 : crc);
    w.u32(e.zip64 ? 0xFFFFFFFF : deferred ? 0 : stored.size());
    w.u32(e.zip64 ? 0xFFFFFFFF : deferred ? 0 : size);
    w.u16(e.name.size());
    w.u16(e.zip64 ? 20 : 0);
    w.text(e.name);
    if (e.zip64) {
      w.u16(1);
      w.u16(16);
      w.u64(deferred ? 0 : size);
      w.u64(deferred ? 0 : stored.size());
    }
    built.dataOffsets.push_back(w.out.size());
    w.bytes(stored);
    if (deferred) {
      w.u32(0x08074b50);
      w.u32(crc);
      if (e.zip64) {
        w.u64(stored.size());
        w.u64(size);
      } else {
        w.u32(stored.size());
        w.u32(size);
      }
    }
  }
  const std::uint64_t directoryStart = w.out.size();
  for (const auto& c : central) {
    const ZipEntry& e = *c.entry;
    w.u32(0x02014b50);
    w.u16(static_cast<std::uint16_t>(e.host << 8 | (e.zip64 ? 45 : 20)));
    w.u16(e.zip64 ? 45 : 20);
    w.u16(c.flags);
    w.u16(c.method);
    w.u32(0);
    w.u32(c.crc);
    w.u32(e.zip64 ? 0xFFFFFFFF : c.compressedSize);
    w.u32(e.zip64 ? 0xFFFFFFFF : c.size);
    w.u16(e.name.size());
    w.u16(e.zip64 ? 28 : 0);
    w.u16(0);  // comment
    w.u16(0);  // disk
    w.u16(0);  // internal attributes
    w.u32(e.externalAttributes);
    w.u32(e.zip64 ? 0xFFFFFFFF : c.offset);
    w.text(e.name);
    if (e.zip64) {
      w.u16(1);
      w.u16(24);
      w.u64(c.size);
      w.u64(c.compressedSize);
      w.u64(c.offset);
    }
  }
  const std::uint64_t directorySize = w.out.size() - directoryStart;
  if (anyZip64) {
    const std::uint64_t recordStart = w.out.size();
    w.u32(0x06064b50);
    w.u64(44);
    w.u16(45);
    w.u16(45);
    w.u32(0);
    w.u32(0);
    w.u64(central.size());
    w.u64(central.size());
    w.u64(directorySize);
    w.u64(directoryStart);
    w.u32(0x07064b50);
    w.u32(0);
    w.u64(recordStart);
    w.u32(1);
  }
  w.u32(0x06054b50);
  w.u16(0);
  w.u16(0);
  w.u16(anyZip64 ? 0xFFFF : central.size());
  w.u16(anyZip64 ? 0xFFFF : central.size());
  w.u32(anyZip64 ? 0xFFFFFFFF : directorySize);
  w.u32(anyZip64 ? 0xFFFFFFFF : directoryStart);
  w.u16(0);
  built.bytes = std::move(w.out);
  return built;
}

}  // namespace zorvi::testing
