#include "output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

#include "zorvi/document.hpp"

namespace zorvi::cli {

bool OutputSink::write(std::span<const std::uint8_t> bytes) noexcept {
  const auto* data = bytes.data();
  auto left = bytes.size();
  while (error_ == 0 && left > 0) {
    const ssize_t written = ::write(fd_, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error_ = written < 0 ? errno : EIO;
      break;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  return error_ == 0;
}

bool OutputSink::write(std::string_view text) noexcept {
  return write(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

namespace {

[[noreturn]] void raise(int code, std::string_view what, const std::filesystem::path& path) {
  throw std::filesystem::filesystem_error(std::string(what), path, std::error_code(code, std::generic_category()));
}

// ".NAME.<UUID>.tmp": the temporary files of writeFileAtomically for NAME.
bool isTemporaryOf(std::string_view candidate, std::string_view name) {
  constexpr std::string_view suffix = ".tmp";
  constexpr std::size_t uuidLength = 36;
  if (candidate.size() != 1 + name.size() + 1 + uuidLength + suffix.size() || !candidate.starts_with('.') ||
      candidate.substr(1, name.size()) != name || candidate[1 + name.size()] != '.' || !candidate.ends_with(suffix)) {
    return false;
  }
  const auto uuid = candidate.substr(name.size() + 2, uuidLength);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = uuid[i];
    if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
  }
  return true;
}

// A run killed mid-write (a file manager's timeout, a power cut) leaves its temporary file behind.
// One untouched this long belongs to no live writer.
void removeStaleTemporaries(const std::filesystem::path& folder, const std::string& name) {
  constexpr auto staleAfter = std::chrono::minutes(10);
  std::error_code error;
  const auto now = std::filesystem::file_time_type::clock::now();
  for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const std::string candidate = it->path().filename().string();
    if (!isTemporaryOf(candidate, name)) continue;
    std::error_code ignored;
    const auto written = std::filesystem::last_write_time(it->path(), ignored);
    if (!ignored && now - written > staleAfter && it->is_regular_file(ignored)) std::filesystem::remove(it->path(), ignored);
  }
}

}  // namespace

void refuseReadOnly(const std::filesystem::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  // No write bit at all is a request to keep the file, also for root, whom access() never refuses.
  if ((status.st_mode & 0222) == 0 || ::access(path.c_str(), W_OK) != 0) raise(EACCES, "the output file is read-only", path);
}

namespace {

// The first write error of `produce` into fd, 0 for none. Should it throw, fd is closed and `partial`
// (when given) removed before the exception goes on.
int produceInto(int fd, const std::function<void(OutputSink&)>& produce, const char* partial) {
  try {
    OutputSink sink(fd);
    produce(sink);
    return sink.error();
  } catch (...) {
    ::close(fd);
    if (partial != nullptr) ::unlink(partial);
    throw;
  }
}

// A character device or a pipe named as the output (/dev/stdout, a FIFO) is written into: renaming a
// file over it would destroy it, and a stream has no old content to keep whole. Anything else that is
// not a regular file (a folder, a disk, a socket) is refused before any work is done.
bool writeIntoStream(const std::filesystem::path& path, const std::function<void(OutputSink&)>& produce) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return false;
  if (!S_ISCHR(status.st_mode) && !S_ISFIFO(status.st_mode))
    raise(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "the output is not a file", path);
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) raise(errno, "cannot open the output", path);
  int error = produceInto(fd, produce, nullptr);
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error != 0) raise(error, "cannot write the output", path);
  return true;
}

}  // namespace

void writeFileAtomically(const std::filesystem::path& named, const std::function<void(OutputSink&)>& produce,
                         Flush flush) {
  if (writeIntoStream(named, produce)) return;
  // A symbolic link keeps pointing where it did: the file it leads to is the one replaced.
  std::error_code absent, unresolved;
  const std::filesystem::path path =
      std::filesystem::is_symlink(named, absent) ? std::filesystem::canonical(named, unresolved) : named;
  if (unresolved) raise(unresolved.value(), "cannot follow the output's link", named);
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  refuseReadOnly(path);
  removeStaleTemporaries(folder, path.filename().string());
  // The dot goes in last: "." + string trips a false -Wrestrict alarm in GCC 12.
  const std::filesystem::path temporary =
      folder / (path.filename().string() + "." + Uuid::generate().string() + ".tmp").insert(0, 1, '.');
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) raise(errno, "cannot create the output file", path);
  // A replaced file keeps its permissions: a private file does not become readable by all.
  struct stat existing {};
  if (::stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
    [[maybe_unused]] const int kept = ::fchmod(fd, existing.st_mode & 07777);
  }

  int error = produceInto(fd, produce, temporary.c_str());
  // Without the fsync a crash after the rename could leave an empty file under the output's name.
  if (flush == Flush::toDisk && error == 0 && ::fsync(fd) != 0) error = errno;
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temporary.c_str());
    raise(error, "cannot write the output file", path);
  }
  if (flush == Flush::none) return;
  const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folderFd >= 0) {
    ::fsync(folderFd);  // best effort: the file is already complete under its name
    ::close(folderFd);
  }
}

void writeFileAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes, Flush flush) {
  writeFileAtomically(path, [&](OutputSink& sink) { sink.write(bytes); }, flush);
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view text, Flush flush) {
  writeFileAtomically(path, [&](OutputSink& sink) { sink.write(text); }, flush);
}

bool writeIntoEmptyFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != 0) {
    ::close(fd);
    return false;
  }
  OutputSink sink(fd);
  int error = sink.write(bytes) ? 0 : sink.error();
  // Back to empty, so the reader finds no picture rather than part of one.
  [[maybe_unused]] const int emptied = error != 0 ? ::ftruncate(fd, 0) : 0;
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error != 0) raise(error, "cannot write the output file", path);
  return true;
}

}  // namespace zorvi::cli
