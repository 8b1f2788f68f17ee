// Output files that every reader sees either untouched or complete; flushed to disk, also after a crash.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string_view>

namespace zorvi::cli {

// Takes the output in pieces. It never throws, so it may be called from C callbacks (a PNG encoder's
// write function): the first failure is remembered, later pieces are dropped, and the failure is
// reported by writeFileAtomically once the producer returns.
class OutputSink {
 public:
  explicit OutputSink(int fd) : fd_(fd) {}
  // False once anything failed.
  bool write(std::span<const std::uint8_t> bytes) noexcept;
  bool write(std::string_view text) noexcept;
  // The errno of the first failure, or 0.
  int error() const { return error_; }

 private:
  int fd_;
  int error_ = 0;
};

// How far a finished output is pushed before it replaces the old one.
enum class Flush {
  toDisk,  // file and folder synced: the output survives a power cut
  none,    // whole for every reader, but a power cut may lose it: for cache entries made again on demand
};

// Throws std::filesystem::filesystem_error (permission denied) when `path` is an existing file that is
// read-only: for us, or for everyone. Nothing happens when it does not exist.
void refuseReadOnly(const std::filesystem::path& path);

// Replaces `path` with what `produce` writes: into a hidden temporary file beside it, flushed as asked,
// renamed over `path`, keeping its permissions; a read-only `path` is refused (see refuseReadOnly), and
// temporary files of this naming left for `path` by runs killed long ago are removed. On any failure,
// also an exception from `produce`, the temporary file is removed and `path` keeps its old content.
// A symbolic link is followed and the file it leads to replaced. A character device or a pipe
// (/dev/stdout, a FIFO) is written into instead; any other `path` that is not a regular file (a folder,
// a disk) is refused before `produce` runs.
// Throws std::filesystem::filesystem_error for the file's own failures and lets the producer's
// exceptions through.
void writeFileAtomically(const std::filesystem::path& path, const std::function<void(OutputSink&)>& produce,
                         Flush flush = Flush::toDisk);
void writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes,
                         Flush flush = Flush::toDisk);
void writeFileAtomically(const std::filesystem::path& path, std::string_view text, Flush flush = Flush::toDisk);

// Some file managers (tumbler) create the output file empty, pass its name, and read the picture back
// through a handle they keep open, so a file renamed over that name goes unseen. An existing empty
// regular file therefore gets the bytes written into it; there is nothing in it to lose. False, with
// nothing done, when path is not such a file. Throws std::filesystem::filesystem_error when the write
// fails, leaving the file empty again.
bool writeIntoEmptyFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

}  // namespace zorvi::cli
