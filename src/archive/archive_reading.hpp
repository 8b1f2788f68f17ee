// The pieces of reading a board archive that reading it whole and reading it entry by entry share;
// private to the archive library.
#pragma once

#include <zip.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archive/mapped_archive.hpp"
#include "archive/zip_support.hpp"
#include "zorvi/board_bundle.hpp"

namespace zorvi::archive_reading {

struct OpenArchive {
  zip_support::ArchivePtr zip;
  std::uint64_t length = 0;  // bounds what all entries together may claim
  // Another handle on the same bytes, or null when none can be made.
  std::function<zip_support::ArchivePtr()> reopen;
  // The archive's bytes when they can be read in place, and whether they are a mapping of the file,
  // whose pages may be given back; bytes a caller lent are never touched.
  std::span<const std::uint8_t> bytes;
  mapped_archive::Mapping mapping;
  // By entry index, as mapped_archive::localHeaderOffsets; empty when entries are read through libzip only.
  std::vector<std::uint64_t> headers;
};

// Throw BoardArchiveError (archiveCorrupt) when the archive cannot be opened.
OpenArchive openFile(const std::filesystem::path& path);
// The bytes must outlive the archive.
OpenArchive openBytes(std::span<const std::uint8_t> bytes);

// The checked manifest, with the errors of reading a board in their order. `unclaimed` as for plan.
Manifest readManifest(const OpenArchive& archive, std::uint64_t& unclaimed);

enum class EntryKind { file, directory, symlink };
EntryKind kindOf(zip_t* zip, zip_uint64_t index, std::string_view name);
// Valid while the archive is open. Throws archiveCorrupt.
std::string_view entryName(zip_t* zip, zip_uint64_t index);

// An entry whose directory record passed the checks that need no data.
struct PlannedEntry {
  zip_uint64_t index = 0;
  std::size_t declared = 0;
  bool stored = true;
  std::uint32_t crc = 0;
  // The compressed data where it lies in the archive, when it can be read there; libzip reads the rest.
  std::optional<std::span<const std::uint8_t>> data;
  bool mapped = false;  // data lies in the archive's own mapping of the file
};

// Checks an entry's record before any of its data is read. `unclaimed` is the part of the archive no
// planned entry has used yet: entries of a real archive never share data, so a directory whose entries
// all point at one deflate stream is refused before it makes the work grow with the number of entries.
PlannedEntry plan(const OpenArchive& archive, zip_uint64_t index, std::uint64_t& unclaimed);

using ChunkSink = std::function<void(std::span<const std::uint8_t>)>;
// Hands the entry's bytes to `sink` in chunks of at most 256 KiB, checking its length and CRC-32; the
// last chunk arrives before the CRC-32 is known. Throws archiveCorrupt, or std::bad_alloc.
void streamEntry(zip_t* zip, const PlannedEntry& entry, const ChunkSink& sink);
// The first `count` bytes of the entry, or all of a shorter one; unchecked, as the CRC-32 covers the
// whole. Throws archiveCorrupt, or std::bad_alloc.
Bytes readHead(zip_t* zip, const PlannedEntry& entry, std::size_t count);
// A stored entry's bytes where they lie, once their CRC-32 and length match; nothing when the entry is not
// stored whole in mapped bytes, or does not match (libzip's reading then gives the error).
std::optional<std::span<const std::uint8_t>> checkedInPlace(const PlannedEntry& entry);
// The entry's bytes, checked as streamEntry checks them. Throws archiveCorrupt, or std::bad_alloc.
Bytes extract(zip_t* zip, const PlannedEntry& entry);

// An image or thumbnail file entry, in directory order.
struct NamedEntry {
  std::string name;
  bool image = true;
  PlannedEntry entry;
};
// Plans every image and thumbnail file entry in directory order, then runs `work` on each of them (two
// threads at a time past a few MiB, each with a libzip handle of its own) and throws the first failure in
// directory order, planning's included, as if the entries had been read one after another.
std::vector<NamedEntry> forEachEntry(const OpenArchive& archive, std::uint64_t& unclaimed,
                                     const std::function<void(zip_t*, std::size_t, const NamedEntry&)>& work);

}  // namespace zorvi::archive_reading
