#include "own_lines.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <string_view>

namespace zorvi::cli {
namespace {

// Lock-free, so that a signal handler may read it.
std::atomic<int> reportFd{STDERR_FILENO};
static_assert(std::atomic<int>::is_always_lock_free);

}  // namespace

int ownLinesFd() { return reportFd.load(); }

KeepOwnLines::KeepOwnLines() {
  std::fflush(stderr);
  saved_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  scratch_ = memfd_create("zorvi-stderr", MFD_CLOEXEC);
  // Without a scratch file the libraries' lines are dropped, and ours with them.
  if (scratch_ < 0) scratch_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (saved_ < 0 || scratch_ < 0 || dup2(scratch_, STDERR_FILENO) < 0) {
    restore();
    return;
  }
  reportFd.store(saved_);
}
KeepOwnLines::~KeepOwnLines() { restore(); }

void KeepOwnLines::restore() {
  if (saved_ >= 0) {
    std::fflush(stderr);
    if (reportFd.load() == saved_) dup2(saved_, STDERR_FILENO);
    reportFd.store(STDERR_FILENO);
    close(saved_);
    saved_ = -1;
    passOnOwnLines();
  }
  if (scratch_ >= 0) close(scratch_);
  scratch_ = -1;
}

void KeepOwnLines::passOnOwnLines() const {
  constexpr std::string_view ours = "zorvi: ";
  char buffer[16384];
  std::string line;
  bool keep = true;  // whether the line so far may still be ours
  const auto endLine = [&] {
    if (keep && line.starts_with(ours) && write(STDERR_FILENO, line.data(), line.size()) < 0) keep = false;
    line.clear();
    keep = true;
  };
  off_t at = 0;
  for (ssize_t got; (got = pread(scratch_, buffer, sizeof buffer, at)) > 0; at += got) {
    for (const char c : std::string_view(buffer, static_cast<std::size_t>(got))) {
      if (keep) line += c;
      // Ours are short; a long line is a library's, and is not held.
      if (line.size() > 4096 || (line.size() >= ours.size() && !line.starts_with(ours)))
        keep = false, line.clear();
      if (c == '\n') endLine();
    }
  }
  if (!line.empty()) {
    line += '\n';
    endLine();
  }
}

}  // namespace zorvi::cli
