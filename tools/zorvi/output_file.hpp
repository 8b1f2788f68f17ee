// Output files that are either untouched or complete: never half-written, even after a crash.
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

// Replaces `path` with what `produce` writes: into a hidden temporary file beside it, flushed to disk,
// renamed over `path`, and the folder flushed. On any failure, also an exception from `produce`, the
// temporary file is removed and `path` keeps its old content. Throws std::filesystem::filesystem_error
// for the file's own failures and lets the producer's exceptions through.
void writeFileAtomically(const std::filesystem::path& path, const std::function<void(OutputSink&)>& produce);
void writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);
void writeFileAtomically(const std::filesystem::path& path, std::string_view text);

}  // namespace zorvi::cli
