// Board files: ZIP archives holding manifest.json, images/ and thumbnails/.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string_view>

#include "zorvi/board_bundle.hpp"

namespace zorvi {

// The ZIP library failed while adding entries to a new archive; what() is its description.
class ZipError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

namespace BoardArchive {

// Path of the manifest entry, at the archive's root.
inline constexpr std::string_view manifestPath = "manifest.json";
// Path prefix of full-resolution image entries; bundle keys keep it.
inline constexpr std::string_view imagesPrefix = "images/";
// Path prefix of reduced image entries; bundle keys keep it.
inline constexpr std::string_view thumbnailsPrefix = "thumbnails/";

// Reads the board file at `path`. Throws BoardArchiveError; a missing or unreadable file is archiveCorrupt.
// Memory running out while entries are read is std::bad_alloc, not a fault of the file.
// The file is read through a mapping: see board_file.hpp on a board cut short while it is read.
BoardBundle read(const std::filesystem::path& path);

// Reads a board file held in memory. Throws BoardArchiveError.
BoardBundle read(std::span<const std::uint8_t> bytes);

// A board's manifest from the bytes of its "manifest.json", judged as reading a board judges it. Throws
// BoardArchiveError (manifestMalformed, unsupportedSchemaVersion).
Manifest decodeManifest(std::span<const std::uint8_t> json);

// The archive's bytes: manifest deflated, then images and thumbnails stored, each ascending by key.
// Throws ManifestEncodingError, ZipError, or BoardArchiveError (archiveCorrupt) when no archive can be made.
Bytes encode(const BoardBundle& bundle);

// Writes the archive to `path`, which keeps its old content until the new file is complete and on disk. A
// symbolic link is followed and the file it leads to replaced; a device, pipe or folder is refused.
// Throws ManifestEncodingError, ZipError, std::filesystem::filesystem_error, or BoardArchiveError
// (archiveCorrupt) when the temporary archive cannot be created.
void write(const BoardBundle& bundle, const std::filesystem::path& path);

}  // namespace BoardArchive
}  // namespace zorvi
