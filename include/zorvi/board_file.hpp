// A board file read entry by entry: its manifest and the sizes of its images at once, an image's bytes
// only when asked for and then in chunks, so a caller never needs the whole board in memory.
//
// The file is mapped into memory and stored entries are viewed where they lie. As with any mapped file,
// another program cutting the board shorter while it is open makes a read of the lost part raise SIGBUS;
// saving by writing a new file and renaming it over the old one, as BoardArchive::write does, never
// does. The zorvi command turns that signal into one line and exit status 1.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zorvi/board_bundle.hpp"

namespace zorvi {

class BoardFile {
 public:
  // Opens the board and reads its manifest, with the errors BoardArchive::read gives for the manifest and
  // for entry records that cannot be right; no image data is read. Throws BoardArchiveError.
  static BoardFile open(const std::filesystem::path& path);
  // Opens the board and reads every image and thumbnail entry through once, with the errors
  // BoardArchive::read gives and in its order; an entry stored where it can be viewed is not copied, any
  // other is held only while it is checked. Throws BoardArchiveError, or std::bad_alloc as read does.
  static BoardFile openChecked(const std::filesystem::path& path);

  BoardFile(BoardFile&&) noexcept;
  BoardFile& operator=(BoardFile&&) noexcept;
  ~BoardFile();

  const Manifest& manifest() const;
  // The uncompressed size of every file entry under "images/" and "thumbnails/", keyed as a bundle's maps,
  // as the archive's directory records them.
  const std::map<std::string, std::uint64_t>& imageSizes() const;
  const std::map<std::string, std::uint64_t>& thumbnailSizes() const;

  using ChunkSink = std::function<void(std::span<const std::uint8_t>)>;
  // Hands the bytes of the image or thumbnail entry at `path` to `sink`, in chunks of at most 256 KiB;
  // false when there is no such entry. A damaged entry throws BoardArchiveError (archiveCorrupt), possibly
  // after some chunks were handed over. One read at a time per BoardFile.
  bool read(std::string_view path, const ChunkSink& sink) const;
  // The entry's bytes whole, or nothing when there is no such entry. Throws as read.
  std::optional<Bytes> bytes(std::string_view path) const;
  // The first `count` bytes of the entry (all of a shorter one), unchecked, since its CRC-32 covers the
  // whole; nothing when there is no such entry. Throws as read.
  std::optional<Bytes> head(std::string_view path, std::size_t count) const;
  // The entry's bytes, checked whole, where they lie in the file when it is stored there (no copy) and
  // else inflated and held; nothing when there is no such entry. Valid until release(path) or the
  // BoardFile's end. Throws as read.
  std::optional<std::span<const std::uint8_t>> view(std::string_view path) const;
  // Gives back the memory the entry's bytes take, ending the span view(path) gave.
  void release(std::string_view path) const;

 private:
  struct State;
  explicit BoardFile(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace zorvi
