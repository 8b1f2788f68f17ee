#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "archive/archive_reading.hpp"
#include "archive/zip_support.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::archive_reading {
namespace {

using BoardArchive::imagesPrefix;
using BoardArchive::manifestPath;
using BoardArchive::thumbnailsPrefix;
using zip_support::ArchivePtr;
using zip_support::describe;
using zip_support::FilePtr;

// Large enough to keep read calls few, small enough that the CRC-32 runs over data still in cache.
constexpr std::size_t chunkSize = 256 * 1024;
// Raw deflate expands at most about 1032:1; a deflated entry claiming more is lying about its size.
constexpr std::uint64_t maxDeflateRatio = 1032;
// First allocation for a deflated entry; later growth follows the data actually inflated.
constexpr std::uint64_t deflateHeadStart = std::uint64_t{4} << 20;

// Past this much entry data a second thread extracts too, on a handle of its own: libzip's handles
// are not shared between threads, and reading a board of photographs is mostly copying and CRC-32.
constexpr std::uint64_t helperThreshold = std::uint64_t{8} << 20;

BoardArchiveError corrupt(std::string detail) { return BoardArchiveError::archiveCorrupt(std::move(detail)); }

std::uint64_t saturatingMultiply(std::uint64_t a, std::uint64_t b) {
  return a > std::numeric_limits<std::uint64_t>::max() / b ? std::numeric_limits<std::uint64_t>::max() : a * b;
}

// Sizes `bytes` to `size`. Fresh memory is mapped in with one call instead of a fault per page, which
// on a virtual machine costs more than the copy that fills it.
void resizeFaultingOnce(Bytes& bytes, std::size_t size) {
  bytes.reserve(size);
  constexpr std::size_t page = 4096;
  const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data()) / page * page;
  const auto end = reinterpret_cast<std::uintptr_t>(bytes.data() + size);
  if (size >= 16 * page) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
  bytes.resize(size);
}

}  // namespace

EntryKind kindOf(zip_t* zip, zip_uint64_t index, std::string_view name) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(zip, index, 0, &system, &attributes) == 0 && system == ZIP_OPSYS_UNIX) {
    const auto mode = static_cast<mode_t>(attributes >> 16) & S_IFMT;
    if (mode == S_IFLNK) return EntryKind::symlink;
    if (mode == S_IFDIR) return EntryKind::directory;
  }
  return !name.empty() && name.back() == '/' ? EntryKind::directory : EntryKind::file;
}

PlannedEntry plan(zip_t* zip, zip_uint64_t index, std::uint64_t& unclaimed) {
  zip_stat_t stat;
  zip_stat_init(&stat);
  if (zip_stat_index(zip, index, 0, &stat) != 0) throw corrupt(describe(zip_get_error(zip)));
  constexpr auto needed = ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_ENCRYPTION_METHOD;
  if ((stat.valid & needed) != needed) throw corrupt("entry without size or method");
  if (stat.encryption_method != ZIP_EM_NONE) throw corrupt(describe(ZIP_ER_ENCRNOTSUPP));
  if (stat.comp_method != ZIP_CM_STORE && stat.comp_method != ZIP_CM_DEFLATE) {
    throw corrupt(describe(ZIP_ER_COMPNOTSUPP));
  }
  const bool stored = stat.comp_method == ZIP_CM_STORE;
  if (stat.comp_size > unclaimed) throw corrupt("entries claim more data than the archive holds");
  unclaimed -= stat.comp_size;
  const std::uint64_t holdable = stored ? stat.comp_size : saturatingMultiply(stat.comp_size, maxDeflateRatio);
  if (stat.size > holdable) throw corrupt("entry declares more bytes than its data can hold");
  if (stat.size > std::numeric_limits<std::size_t>::max() / 2) throw corrupt(describe(ZIP_ER_MEMORY));
  return {index, static_cast<std::size_t>(stat.size), stored};
}

namespace {

// Memory running out is no fault of the file: it is reported as std::bad_alloc, as for any allocation.
[[noreturn]] void failOpening(zip_t* zip) {
  if (zip_error_code_zip(zip_get_error(zip)) == ZIP_ER_MEMORY) throw std::bad_alloc();
  throw corrupt(describe(zip_get_error(zip)));
}

[[noreturn]] void failReading(zip_file_t* file) {
  if (zip_error_code_zip(zip_file_get_error(file)) == ZIP_ER_MEMORY) throw std::bad_alloc();
  throw corrupt(describe(zip_file_get_error(file)));
}

}  // namespace

void streamEntry(zip_t* zip, const PlannedEntry& entry, const ChunkSink& sink) {
  FilePtr file(zip_fopen_index(zip, entry.index, 0));
  if (!file) failOpening(zip);
  std::vector<std::uint8_t> chunk(std::min<std::size_t>(chunkSize, entry.declared + 1));
  std::uint64_t total = 0;
  for (;;) {
    const zip_int64_t got = zip_fread(file.get(), chunk.data(), chunk.size());
    if (got < 0) failReading(file.get());
    if (got == 0) break;
    total += static_cast<std::uint64_t>(got);
    if (total > entry.declared) throw corrupt("entry holds more bytes than its declared size");
    sink(std::span<const std::uint8_t>(chunk.data(), static_cast<std::size_t>(got)));
  }
  if (total < entry.declared) throw corrupt("entry holds fewer bytes than its declared size");
}

Bytes readHead(zip_t* zip, const PlannedEntry& entry, std::size_t count) {
  FilePtr file(zip_fopen_index(zip, entry.index, 0));
  if (!file) failOpening(zip);
  Bytes head(std::min(count, entry.declared));
  std::size_t filled = 0;
  while (filled < head.size()) {
    const zip_int64_t got = zip_fread(file.get(), head.data() + filled, head.size() - filled);
    if (got < 0) failReading(file.get());
    if (got == 0) throw corrupt("entry holds fewer bytes than its declared size");
    filled += static_cast<std::size_t>(got);
  }
  return head;
}

namespace {

// Inflates or copies a planned entry in chunks. libzip verifies the CRC-32 only once the data is read
// to its end, and never compares the length with the declared size, so both are driven and checked here.
Bytes extract(zip_t* zip, const PlannedEntry& entry) {
  FilePtr file(zip_fopen_index(zip, entry.index, 0));
  if (!file) failOpening(zip);

  const std::size_t declared = entry.declared;
  Bytes bytes;
  resizeFaultingOnce(bytes, entry.stored ? declared : std::min<std::size_t>(declared, deflateHeadStart));
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) {
      if (filled == declared) break;
      resizeFaultingOnce(bytes, std::min(declared, bytes.size() * 2));
    }
    const auto want = std::min(chunkSize, bytes.size() - filled);
    const zip_int64_t got = zip_fread(file.get(), bytes.data() + filled, want);
    if (got < 0) failReading(file.get());
    if (got == 0) throw corrupt("entry holds fewer bytes than its declared size");
    filled += static_cast<std::size_t>(got);
  }
  std::uint8_t beyond = 0;
  const zip_int64_t extra = zip_fread(file.get(), &beyond, 1);
  if (extra < 0) failReading(file.get());
  if (extra > 0) throw corrupt("entry holds more bytes than its declared size");
  return bytes;
}

// One entry of the bundle to be: where it goes, and its bytes or the reason it has none.
struct Job {
  std::map<std::string, Bytes>* target = nullptr;
  std::string name;
  PlannedEntry entry;
  Bytes bytes;
  std::exception_ptr failure;
};

// Extracts every job that could be the first to fail or is needed: a job after a failed one is skipped.
void extractAll(std::vector<Job>& jobs, const OpenArchive& archive) {
  std::atomic<std::size_t> next{0}, firstFailure{jobs.size()};
  const auto work = [&](zip_t* zip) {
    for (std::size_t i; (i = next.fetch_add(1)) < jobs.size();) {
      if (i > firstFailure.load() || jobs[i].failure) continue;
      try {
        jobs[i].bytes = extract(zip, jobs[i].entry);
      } catch (...) {
        jobs[i].failure = std::current_exception();
        for (std::size_t seen = firstFailure.load(); i < seen && !firstFailure.compare_exchange_weak(seen, i);) {
        }
      }
    }
  };
  std::uint64_t total = 0;
  for (const Job& job : jobs) total += job.entry.declared;
  ArchivePtr second = total >= helperThreshold && std::thread::hardware_concurrency() > 1 && archive.reopen
                          ? archive.reopen()
                          : nullptr;
  if (!second) return work(archive.zip.get());
  std::thread helper(work, second.get());
  work(archive.zip.get());
  helper.join();
}

BoardBundle readOpened(const OpenArchive& archive) {
  zip_t* zip = archive.zip.get();
  std::uint64_t unclaimed = archive.length;
  BoardBundle bundle;
  bundle.manifest = readManifest(zip, unclaimed);

  // Entries are planned in directory order and extracted, perhaps two at a time; the first failure in
  // directory order is the one reported, as if they had been read one after another.
  std::vector<Job> jobs;
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    Job job;
    try {
      const std::string_view name = entryName(zip, index);
      if (name.starts_with(imagesPrefix)) {
        job.target = &bundle.images;
      } else if (name.starts_with(thumbnailsPrefix)) {
        job.target = &bundle.thumbnails;
      } else {
        continue;
      }
      if (kindOf(zip, index, name) != EntryKind::file) continue;
      job.name = name;
      job.entry = plan(zip, index, unclaimed);
    } catch (...) {
      job.failure = std::current_exception();
      jobs.push_back(std::move(job));
      break;
    }
    jobs.push_back(std::move(job));
  }
  extractAll(jobs, archive);
  for (Job& job : jobs) {
    if (job.failure) std::rethrow_exception(job.failure);
    // Assignment, not emplace: of two entries with one path, the later in the directory wins.
    (*job.target)[std::move(job.name)] = std::move(job.bytes);
  }
  return bundle;
}

}  // namespace

std::string_view entryName(zip_t* zip, zip_uint64_t index) {
  const char* name = zip_get_name(zip, index, 0);
  if (name == nullptr) throw corrupt(describe(zip_get_error(zip)));
  return name;
}

Manifest readManifest(zip_t* zip, std::uint64_t& unclaimed) {
  const zip_int64_t index = zip_name_locate(zip, std::string(manifestPath).c_str(), 0);
  if (index < 0) throw BoardArchiveError::manifestMissing();
  return BoardArchive::decodeManifest(extract(zip, plan(zip, static_cast<zip_uint64_t>(index), unclaimed)));
}

OpenArchive openFile(const std::filesystem::path& path) {
  struct Descriptor {
    int fd;
    ~Descriptor() {
      if (fd >= 0) ::close(fd);
    }
  } file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  if (file.fd < 0) throw corrupt(std::strerror(errno));
  struct stat info {};
  if (::fstat(file.fd, &info) != 0) throw corrupt(std::strerror(errno));
  // A pipe or device has no end from which to find the central directory.
  if (!S_ISREG(info.st_mode)) throw corrupt(S_ISDIR(info.st_mode) ? std::strerror(EISDIR) : "not a regular file");
  if (info.st_size == 0) throw corrupt(describe(ZIP_ER_NOZIP));
  int code = 0;
  zip_t* zip = zip_fdopen(file.fd, ZIP_RDONLY, &code);
  if (zip == nullptr) throw corrupt(describe(code));  // the descriptor is still ours to close
  file.fd = -1;  // and now libzip's
  // The same file again, with a file offset of its own; not whatever the path names by now.
  const auto reopen = [path, info]() -> ArchivePtr {
    const int again = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat same {};
    int ignored = 0;
    zip_t* second = again >= 0 && ::fstat(again, &same) == 0 && same.st_dev == info.st_dev &&
                            same.st_ino == info.st_ino && same.st_size == info.st_size
                        ? zip_fdopen(again, ZIP_RDONLY, &ignored)
                        : nullptr;
    if (second == nullptr && again >= 0) ::close(again);
    return ArchivePtr(second);
  };
  return {ArchivePtr(zip), static_cast<std::uint64_t>(info.st_size), reopen};
}

namespace {

// A read-only archive over bytes the caller keeps alive; null, with `error` set, when libzip refuses them.
ArchivePtr openBuffer(std::span<const std::uint8_t> bytes, zip_error_t* error) {
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, error);
  if (source == nullptr) return nullptr;
  zip_t* zip = zip_open_from_source(source, ZIP_RDONLY, error);
  if (zip == nullptr) zip_source_free(source);
  return ArchivePtr(zip);
}

}  // namespace

OpenArchive openBytes(std::span<const std::uint8_t> bytes) {
  // libzip takes zero bytes for an empty archive; a board file is never empty.
  if (bytes.empty()) throw corrupt(describe(ZIP_ER_NOZIP));
  zip_error_t error;
  zip_error_init(&error);
  ArchivePtr zip = openBuffer(bytes, &error);
  std::string detail = zip ? std::string() : describe(&error);
  zip_error_fini(&error);
  if (!zip) throw corrupt(std::move(detail));
  const auto reopen = [bytes] {
    zip_error_t ignored;
    zip_error_init(&ignored);
    ArchivePtr again = openBuffer(bytes, &ignored);
    zip_error_fini(&ignored);
    return again;
  };
  return {std::move(zip), bytes.size(), reopen};
}

}  // namespace zorvi::archive_reading

namespace zorvi::BoardArchive {

BoardBundle read(const std::filesystem::path& path) { return archive_reading::readOpened(archive_reading::openFile(path)); }

BoardBundle read(std::span<const std::uint8_t> bytes) {
  return archive_reading::readOpened(archive_reading::openBytes(bytes));
}

Manifest decodeManifest(std::span<const std::uint8_t> json) {
  Manifest manifest;
  try {
    manifest = ManifestCoder::decode(std::string_view(reinterpret_cast<const char*>(json.data()), json.size()));
  } catch (const ManifestDecodingError& error) {
    throw BoardArchiveError::manifestMalformed(error.what());
  }
  if (manifest.schemaVersion > Manifest::currentSchemaVersion) {
    throw BoardArchiveError::unsupportedSchemaVersion(manifest.schemaVersion, Manifest::currentSchemaVersion);
  }
  return manifest;
}

}  // namespace zorvi::BoardArchive
