// The pieces of reading a board archive that reading it whole and reading it entry by entry share;
// private to the archive library.
#pragma once

#include <zip.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string_view>

#include "archive/zip_support.hpp"
#include "zorvi/board_bundle.hpp"

namespace zorvi::archive_reading {

struct OpenArchive {
  zip_support::ArchivePtr zip;
  std::uint64_t length = 0;  // bounds what all entries together may claim
  // Another handle on the same bytes, or null when none can be made.
  std::function<zip_support::ArchivePtr()> reopen;
};

// Throw BoardArchiveError (archiveCorrupt) when the archive cannot be opened.
OpenArchive openFile(const std::filesystem::path& path);
// The bytes must outlive the archive.
OpenArchive openBytes(std::span<const std::uint8_t> bytes);

// The checked manifest, with the errors of reading a board in their order. `unclaimed` as for plan.
Manifest readManifest(zip_t* zip, std::uint64_t& unclaimed);

enum class EntryKind { file, directory, symlink };
EntryKind kindOf(zip_t* zip, zip_uint64_t index, std::string_view name);
// Valid while the archive is open. Throws archiveCorrupt.
std::string_view entryName(zip_t* zip, zip_uint64_t index);

// An entry whose directory record passed the checks that need no data.
struct PlannedEntry {
  zip_uint64_t index = 0;
  std::size_t declared = 0;
  bool stored = true;
};

// Checks an entry's record before any of its data is read. `unclaimed` is the part of the archive no
// planned entry has used yet: entries of a real archive never share data, so a directory whose entries
// all point at one deflate stream is refused before it makes the work grow with the number of entries.
PlannedEntry plan(zip_t* zip, zip_uint64_t index, std::uint64_t& unclaimed);

using ChunkSink = std::function<void(std::span<const std::uint8_t>)>;
// Hands the entry's bytes to `sink` in chunks of at most 256 KiB, checking its length and CRC-32; the
// last chunk arrives before the CRC-32 is known. Throws archiveCorrupt, or std::bad_alloc.
void streamEntry(zip_t* zip, const PlannedEntry& entry, const ChunkSink& sink);
// The first `count` bytes of the entry, or all of a shorter one; unchecked, as the CRC-32 covers the
// whole. Throws archiveCorrupt, or std::bad_alloc.
Bytes readHead(zip_t* zip, const PlannedEntry& entry, std::size_t count);

}  // namespace zorvi::archive_reading
