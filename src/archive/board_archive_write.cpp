#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "archive/zip_support.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::BoardArchive {
namespace {

using zip_support::ArchivePtr;
using zip_support::describe;

// The destination of a new archive, handed to libzip as a source it writes into. Owning the bytes'
// destination (instead of libzip's own "NAME.XXXXXX" file and rename) keeps every temporary file under
// our name and lets a full disk surface as the system error it is.
class Sink {
 public:
  Sink() { zip_error_init(&error_); }
  virtual ~Sink() { zip_error_fini(&error_); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  static zip_int64_t callback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    return static_cast<Sink*>(state)->handle(data, length, command);
  }
  // The errno of the first failed system call, or 0.
  int systemError() const { return systemError_; }

 protected:
  // Both return false with errno set.
  virtual bool store(std::uint64_t at, const std::uint8_t* data, std::size_t length) = 0;
  virtual bool load(std::uint64_t at, std::uint8_t* data, std::size_t length) = 0;
  virtual bool commit() = 0;

 private:
  zip_int64_t fail(int zipCode) {
    systemError_ = systemError_ != 0 ? systemError_ : errno;
    zip_error_set(&error_, zipCode, errno);
    return -1;
  }

  zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t command) {
    switch (command) {
      case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL,
                                              ZIP_SOURCE_SUPPORTS, ZIP_SOURCE_BEGIN_WRITE, ZIP_SOURCE_COMMIT_WRITE,
                                              ZIP_SOURCE_ROLLBACK_WRITE, ZIP_SOURCE_WRITE, ZIP_SOURCE_SEEK_WRITE,
                                              ZIP_SOURCE_TELL_WRITE, ZIP_SOURCE_REMOVE, -1);
      case ZIP_SOURCE_STAT: {
        auto* stat = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
        if (stat == nullptr) return -1;
        zip_stat_init(stat);
        stat->size = size_;
        stat->valid |= ZIP_STAT_SIZE;
        return sizeof(zip_stat_t);
      }
      case ZIP_SOURCE_OPEN:
        readAt_ = 0;
        return 0;
      case ZIP_SOURCE_READ: {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length, size_ - readAt_));
        if (!load(readAt_, static_cast<std::uint8_t*>(data), count)) return fail(ZIP_ER_READ);
        readAt_ += count;
        return static_cast<zip_int64_t>(count);
      }
      case ZIP_SOURCE_SEEK: {
        const zip_int64_t to = zip_source_seek_compute_offset(readAt_, size_, data, length, &error_);
        if (to < 0) return -1;
        readAt_ = static_cast<std::uint64_t>(to);
        return 0;
      }
      case ZIP_SOURCE_TELL:
        return static_cast<zip_int64_t>(readAt_);
      case ZIP_SOURCE_BEGIN_WRITE:
        writeAt_ = 0;
        size_ = 0;
        return 0;
      case ZIP_SOURCE_WRITE:
        if (!store(writeAt_, static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(length))) {
          return fail(ZIP_ER_WRITE);
        }
        writeAt_ += length;
        size_ = std::max(size_, writeAt_);
        return static_cast<zip_int64_t>(length);
      case ZIP_SOURCE_SEEK_WRITE: {
        const zip_int64_t to = zip_source_seek_compute_offset(writeAt_, size_, data, length, &error_);
        if (to < 0) return -1;
        writeAt_ = static_cast<std::uint64_t>(to);
        return 0;
      }
      case ZIP_SOURCE_TELL_WRITE:
        return static_cast<zip_int64_t>(writeAt_);
      case ZIP_SOURCE_COMMIT_WRITE:
        return commit() ? 0 : fail(ZIP_ER_WRITE);
      case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&error_, data, length);
      case ZIP_SOURCE_CLOSE:
      case ZIP_SOURCE_ROLLBACK_WRITE:  // the caller removes what was written
      case ZIP_SOURCE_REMOVE:
      case ZIP_SOURCE_FREE:  // owned by C++, outliving the archive
        return 0;
      default:
        zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
  }

  zip_error_t error_;
  int systemError_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t readAt_ = 0;
  std::uint64_t writeAt_ = 0;
};

class MemorySink final : public Sink {
 public:
  Bytes bytes;

 protected:
  bool store(std::uint64_t at, const std::uint8_t* data, std::size_t length) override {
    const auto start = static_cast<std::size_t>(at);
    try {
      if (bytes.size() < start + length) bytes.resize(start + length);
    } catch (const std::bad_alloc&) {  // must not unwind through libzip's C frames
      errno = ENOMEM;
      return false;
    }
    std::copy(data, data + length, bytes.begin() + static_cast<std::ptrdiff_t>(start));
    return true;
  }
  bool load(std::uint64_t at, std::uint8_t* data, std::size_t length) override {
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    std::copy(start, start + static_cast<std::ptrdiff_t>(length), data);
    return true;
  }
  bool commit() override { return true; }
};

// Holds the temporary file's descriptor; the rename into place happens after libzip is done.
class FileSink final : public Sink {
 public:
  explicit FileSink(int fd) : fd_(fd) {}
  ~FileSink() override {
    if (fd_ >= 0) ::close(fd_);
  }

 protected:
  bool store(std::uint64_t at, const std::uint8_t* data, std::size_t length) override {
    while (length > 0) {
      const ssize_t written = ::pwrite(fd_, data, length, static_cast<off_t>(at));
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      data += written;
      at += static_cast<std::uint64_t>(written);
      length -= static_cast<std::size_t>(written);
    }
    return true;
  }
  bool load(std::uint64_t at, std::uint8_t* data, std::size_t length) override {
    while (length > 0) {
      const ssize_t got = ::pread(fd_, data, length, static_cast<off_t>(at));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      data += got;
      at += static_cast<std::uint64_t>(got);
      length -= static_cast<std::size_t>(got);
    }
    return true;
  }
  // The data must reach the disk before the rename makes it the board: otherwise a crash right after
  // could leave an empty or partial file under the board's name.
  bool commit() override {
    if (::fsync(fd_) != 0) return false;
    const int fd = std::exchange(fd_, -1);
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

ArchivePtr createArchive(Sink& sink) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_function_create(&Sink::callback, &sink, &error);
  zip_t* zip = source == nullptr ? nullptr : zip_open_from_source(source, ZIP_CREATE | ZIP_TRUNCATE, &error);
  if (zip == nullptr) {
    if (source != nullptr) zip_source_free(source);
    std::string detail = describe(&error);
    zip_error_fini(&error);
    throw BoardArchiveError::archiveCorrupt(std::move(detail));
  }
  zip_error_fini(&error);
  return ArchivePtr(zip);
}

// The bytes must stay alive until the archive is closed: libzip reads them only then.
void addEntry(zip_t* zip, std::string_view path, const void* data, std::size_t size, zip_int32_t method) {
  zip_source_t* source = zip_source_buffer(zip, data, size, 0);
  if (source == nullptr) throw ZipError(describe(zip_get_error(zip)));
  const zip_int64_t index = zip_file_add(zip, std::string(path).c_str(), source, ZIP_FL_ENC_UTF_8);
  if (index < 0) {
    zip_source_free(source);
    throw ZipError(describe(zip_get_error(zip)));
  }
  const auto entry = static_cast<zip_uint64_t>(index);
  if (zip_set_file_compression(zip, entry, method, 0) != 0 || zip_file_set_mtime(zip, entry, std::time(nullptr), 0) != 0) {
    throw ZipError(describe(zip_get_error(zip)));
  }
}

// Builds the whole archive into `sink`. Entries follow a fixed order so that equal bundles give equal
// entry lists: manifest, then images, then thumbnails, each map already ascending by key in byte order.
// `file` names the sink's file in a system error.
void populate(Sink& sink, const BoardBundle& bundle, const std::filesystem::path& file = {}) {
  ArchivePtr archive = createArchive(sink);
  const std::string json = ManifestCoder::encode(bundle.manifest);
  addEntry(archive.get(), manifestPath, json.data(), json.size(), ZIP_CM_DEFLATE);
  for (const auto* entries : {&bundle.images, &bundle.thumbnails}) {
    for (const auto& [key, bytes] : *entries) addEntry(archive.get(), key, bytes.data(), bytes.size(), ZIP_CM_STORE);
  }
  if (zip_close(archive.get()) != 0) {
    if (sink.systemError() != 0) {
      throw std::filesystem::filesystem_error(describe(zip_get_error(archive.get())), file,
                                              std::error_code(sink.systemError(), std::generic_category()));
    }
    throw ZipError(describe(zip_get_error(archive.get())));
  }
  (void)archive.release();  // zip_close freed it
}

}  // namespace

Bytes encode(const BoardBundle& bundle) {
  MemorySink sink;
  populate(sink, bundle);
  if (sink.bytes.empty()) throw BoardArchiveError::archiveCorrupt("in-memory archive yielded no data");
  return std::move(sink.bytes);
}

void write(const BoardBundle& bundle, const std::filesystem::path& named) {
  // A symbolic link keeps pointing where it did: the file it leads to is the one replaced. A device, pipe
  // or folder is refused before anything is written: renaming over it would destroy it.
  std::error_code absent, unresolved;
  const std::filesystem::path path =
      std::filesystem::is_symlink(named, absent) ? std::filesystem::canonical(named, unresolved) : named;
  if (unresolved) throw std::filesystem::filesystem_error("cannot follow the board's link", named, unresolved);
  struct stat target {};
  if (::stat(path.c_str(), &target) == 0 && !S_ISREG(target.st_mode)) {
    const std::error_code refused(S_ISDIR(target.st_mode) ? EISDIR : ENOTSUP, std::generic_category());
    throw std::filesystem::filesystem_error("a board is written only to a file", path, refused);
  }
  const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
  // The dot goes in last: "." + string trips a false -Wrestrict alarm in GCC 12.
  const std::filesystem::path temporary =
      folder / (path.filename().string() + "." + Uuid::generate().string() + ".tmp").insert(0, 1, '.');
  std::filesystem::remove(temporary);

  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) throw BoardArchiveError::archiveCorrupt(std::strerror(errno));
  // A board saved over keeps its permissions: a private board must not become readable by others.
  struct stat existing {};
  if (::stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) ::fchmod(fd, existing.st_mode & 07777);

  try {
    FileSink sink(fd);
    populate(sink, bundle, temporary);
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    const std::error_code error(errno, std::generic_category());
    ::unlink(temporary.c_str());
    throw std::filesystem::filesystem_error("cannot replace the board file", temporary, path, error);
  }
  // Makes the rename itself durable. The board is already in place, so a folder that cannot be synced
  // (some file systems refuse) is no reason to report the save as failed.
  const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folderFd >= 0) {
    ::fsync(folderFd);
    ::close(folderFd);
  }
}

}  // namespace zorvi::BoardArchive
