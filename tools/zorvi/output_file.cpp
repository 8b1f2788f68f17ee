#include "output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

void writeFileAtomically(const std::filesystem::path& path, const std::function<void(OutputSink&)>& produce,
                         Flush flush) {
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  // The dot goes in last: "." + string trips a false -Wrestrict alarm in GCC 12.
  const std::filesystem::path temporary =
      folder / (path.filename().string() + "." + Uuid::generate().string() + ".tmp").insert(0, 1, '.');
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) raise(errno, "cannot create the output file", path);

  int error = 0;
  try {
    OutputSink sink(fd);
    produce(sink);
    error = sink.error();
  } catch (...) {
    ::close(fd);
    ::unlink(temporary.c_str());
    throw;
  }
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
