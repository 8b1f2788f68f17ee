// An archive's bytes where they lie: the file mapped read-only, where each entry's data sits in it, and
// the CRC-32 and inflating that run over those bytes in place. Private to the archive library.
#pragma once

#include <zip.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace zorvi::mapped_archive {

// A file's bytes mapped read-only, unmapped when the last holder lets go; empty when it cannot be mapped.
struct Mapping {
  std::shared_ptr<const void> owner;
  std::span<const std::uint8_t> bytes;
};
Mapping map(int fd, std::uint64_t length);

// By libzip index, where each entry's local header starts, read from the central directory; empty when
// the directory is one this reader does not follow (ZIP64, or names that differ from libzip's reading).
std::vector<std::uint64_t> localHeaderOffsets(std::span<const std::uint8_t> archive, zip_t* zip);

// The entry's compressed data, when its local header lies whole inside the archive and so does the data.
std::optional<std::span<const std::uint8_t>> entryData(std::span<const std::uint8_t> archive,
                                                       std::uint64_t headerOffset,
                                                       std::uint64_t compressedSize);

std::uint32_t crc32(std::span<const std::uint8_t> bytes);

// Inflates raw deflate data into `out`, true only when it fills `out` exactly and uses all of `in`.
bool inflateExactly(std::span<const std::uint8_t> in, std::span<std::uint8_t> out);

// Asks for mapped pages at once, rather than a fault per page; a hint only.
void prefetch(std::span<const std::uint8_t> bytes);
// Maps fresh memory in with one call instead of a fault per page, in huge pages from 2 MiB on where
// the kernel offers them; a hint only.
void prefault(std::span<std::uint8_t> bytes);
// Gives the pages of mapped bytes back to the page cache; reading them again maps them in again.
void release(std::span<const std::uint8_t> bytes);

}  // namespace zorvi::mapped_archive
