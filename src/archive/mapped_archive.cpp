#include "archive/mapped_archive.hpp"

#include <libdeflate.h>
#include <sys/mman.h>

#include <cstring>
#include <limits>
#include <string_view>

namespace zorvi::mapped_archive {
namespace {

constexpr std::size_t page = 4096;

std::uint16_t read16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
std::uint32_t read32(const std::uint8_t* p) {
  return read16(p) | static_cast<std::uint32_t>(read16(p + 2)) << 16;
}

constexpr std::uint32_t endSignature = 0x06054b50, directorySignature = 0x02014b50,
                        localSignature = 0x04034b50;
constexpr std::size_t endSize = 22, directoryRecordSize = 46, localHeaderSize = 30;

// The offsets of a directory of `count` records in [start, end), or nothing when any record is not where
// and what libzip read.
std::optional<std::vector<std::uint64_t>> walkDirectory(std::span<const std::uint8_t> archive,
                                                        std::size_t start, std::size_t end, std::size_t count,
                                                        zip_t* zip) {
  std::vector<std::uint64_t> offsets;
  offsets.reserve(count);
  std::size_t at = start;
  for (std::size_t i = 0; i < count; ++i) {
    if (end - at < directoryRecordSize) return std::nullopt;
    const std::uint8_t* record = archive.data() + at;
    if (read32(record) != directorySignature) return std::nullopt;
    const std::size_t nameLength = read16(record + 28);
    const std::size_t rest = nameLength + read16(record + 30) + read16(record + 32);
    if (end - at - directoryRecordSize < rest) return std::nullopt;
    const std::uint32_t offset = read32(record + 42);
    if (offset == std::numeric_limits<std::uint32_t>::max()) return std::nullopt;  // in a ZIP64 field
    const char* name = zip_get_name(zip, i, ZIP_FL_ENC_RAW);
    if (name == nullptr ||
        std::string_view(name) !=
            std::string_view(reinterpret_cast<const char*>(record) + directoryRecordSize, nameLength))
      return std::nullopt;
    offsets.push_back(offset);
    at += directoryRecordSize + rest;
  }
  return offsets;
}

}  // namespace

Mapping map(int fd, std::uint64_t length) {
  if (length == 0 || length > std::numeric_limits<std::size_t>::max()) return {};
  const auto size = static_cast<std::size_t>(length);
  void* start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  if (start == MAP_FAILED) return {};
  std::shared_ptr<const void> owner(start, [size](const void* p) { ::munmap(const_cast<void*>(p), size); });
  return {std::move(owner), {static_cast<const std::uint8_t*>(start), size}};
}

std::vector<std::uint64_t> localHeaderOffsets(std::span<const std::uint8_t> archive, zip_t* zip) {
  const zip_int64_t entries = zip_get_num_entries(zip, 0);
  if (entries <= 0 || archive.size() < endSize) return {};
  const auto count = static_cast<std::size_t>(entries);
  // The end record lies within the last 64 KiB and its own size; the one whose directory libzip read is
  // the one whose records name its entries.
  const std::size_t lowest = archive.size() > endSize + 0xFFFF ? archive.size() - endSize - 0xFFFF : 0;
  for (std::size_t at = archive.size() - endSize + 1; at-- > lowest;) {
    const std::uint8_t* end = archive.data() + at;
    if (read32(end) != endSignature || read16(end + 10) != count) continue;
    const std::uint32_t size = read32(end + 12), start = read32(end + 16);
    if (start > at || size > at - start) continue;
    if (auto offsets = walkDirectory(archive, start, start + size, count, zip)) return std::move(*offsets);
  }
  return {};
}

std::optional<std::span<const std::uint8_t>> entryData(std::span<const std::uint8_t> archive,
                                                       std::uint64_t headerOffset,
                                                       std::uint64_t compressedSize) {
  if (headerOffset > archive.size() || archive.size() - headerOffset < localHeaderSize) return std::nullopt;
  const std::uint8_t* header = archive.data() + headerOffset;
  if (read32(header) != localSignature) return std::nullopt;
  const std::uint64_t start = headerOffset + localHeaderSize + read16(header + 26) + read16(header + 28);
  if (start > archive.size() || archive.size() - start < compressedSize) return std::nullopt;
  return archive.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(compressedSize));
}

std::uint32_t crc32(std::span<const std::uint8_t> bytes) {
  return libdeflate_crc32(0, bytes.data(), bytes.size());
}

bool inflateExactly(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
  struct Free {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
  };
  const std::unique_ptr<libdeflate_decompressor, Free> decompressor(libdeflate_alloc_decompressor());
  if (!decompressor) return false;
  std::size_t used = 0, made = 0;
  return libdeflate_deflate_decompress_ex(decompressor.get(), in.data(), in.size(), out.data(), out.size(),
                                          &used, &made) == LIBDEFLATE_SUCCESS &&
         used == in.size() && made == out.size();
}

namespace {

void advise(std::span<const std::uint8_t> bytes, int advice, bool inward) {
  if (bytes.empty()) return;
  auto begin = reinterpret_cast<std::uintptr_t>(bytes.data());
  auto end = begin + bytes.size();
  begin = inward ? (begin + page - 1) / page * page : begin / page * page;
  end = inward ? end / page * page : (end + page - 1) / page * page;
  if (begin < end) ::madvise(reinterpret_cast<void*>(begin), end - begin, advice);
}

}  // namespace

void prefetch(std::span<const std::uint8_t> bytes) {
#ifdef MADV_POPULATE_READ
  if (bytes.size() >= 16 * page) advise(bytes, MADV_POPULATE_READ, false);
#endif
}

void prefault(std::span<std::uint8_t> bytes) {
  // In 2 MiB pages where the kernel has them: each small page mapped in and out again costs more
  // than clearing it.
  if (bytes.size() >= 512 * page) advise(bytes, MADV_HUGEPAGE, true);
  if (bytes.size() >= 16 * page) advise(bytes, MADV_POPULATE_WRITE, true);
}

// Pages shared with a neighbour go too: the mapping is of a file, so nothing is lost.
void release(std::span<const std::uint8_t> bytes) { advise(bytes, MADV_DONTNEED, false); }

}  // namespace zorvi::mapped_archive
