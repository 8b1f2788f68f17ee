#include <fcntl.h>
#include <libdeflate.h>
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
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "archive/archive_reading.hpp"
#include "archive/zip_support.hpp"
#include "manifest/manifest_reading.hpp"
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

std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The manifest decode gives, with its errors and a schema from a newer application as the archive's.
template <typename Decode>
Manifest checkedManifest(Decode decode) {
  Manifest manifest;
  try {
    manifest = decode();
  } catch (const ManifestDecodingError& error) {
    throw BoardArchiveError::manifestMalformed(error.what());
  }
  if (manifest.schemaVersion > Manifest::currentSchemaVersion) {
    throw BoardArchiveError::unsupportedSchemaVersion(manifest.schemaVersion, Manifest::currentSchemaVersion);
  }
  return manifest;
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

PlannedEntry plan(const OpenArchive& archive, zip_uint64_t index, std::uint64_t& unclaimed) {
  zip_t* zip = archive.zip.get();
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
  PlannedEntry entry{index, static_cast<std::size_t>(stat.size), stored, stat.crc, std::nullopt};
  if ((stat.valid & ZIP_STAT_CRC) && index < archive.headers.size())
    entry.data = mapped_archive::entryData(archive.bytes, archive.headers[index], stat.comp_size);
  entry.mapped = entry.data && archive.mapping.owner;
  return entry;
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
Bytes extractThroughLibzip(zip_t* zip, const PlannedEntry& entry) {
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

// The entry's bytes from where they lie, when they are whole and their CRC-32 matches: a stored entry
// copied a chunk at a time with the CRC-32 run over the chunk while it is in cache, a deflated one of a
// believable size inflated in one call. Nothing sends the entry to libzip, whose reading has the errors.
std::optional<Bytes> extractInPlace(const PlannedEntry& entry) {
  if (!entry.data || (entry.stored ? entry.data->size() != entry.declared : entry.declared > deflateHeadStart))
    return std::nullopt;
  const std::span<const std::uint8_t> data = *entry.data;
  mapped_archive::prefetch(data);
  Bytes bytes;
  resizeFaultingOnce(bytes, entry.declared);
  std::uint32_t crc = 0;
  if (entry.stored) {
    for (std::size_t at = 0; at < data.size(); at += chunkSize) {
      const std::size_t length = std::min(chunkSize, data.size() - at);
      std::memcpy(bytes.data() + at, data.data() + at, length);
      crc = libdeflate_crc32(crc, bytes.data() + at, length);
    }
  } else if (mapped_archive::inflateExactly(data, bytes)) {
    crc = mapped_archive::crc32(bytes);
  } else {
    return std::nullopt;
  }
  if (entry.mapped) mapped_archive::release(data);
  if (crc != entry.crc) return std::nullopt;
  return bytes;
}

}  // namespace

Bytes extract(zip_t* zip, const PlannedEntry& entry) {
  if (auto bytes = extractInPlace(entry)) return std::move(*bytes);
  return extractThroughLibzip(zip, entry);
}

std::optional<std::span<const std::uint8_t>> checkedInPlace(const PlannedEntry& entry) {
  if (!entry.stored || !entry.data || entry.data->size() != entry.declared) return std::nullopt;
  mapped_archive::prefetch(*entry.data);
  if (mapped_archive::crc32(*entry.data) != entry.crc) return std::nullopt;
  return entry.data;
}

std::vector<NamedEntry> forEachEntry(const OpenArchive& archive, std::uint64_t& unclaimed,
                                     const std::function<void(zip_t*, std::size_t, const NamedEntry&)>& work) {
  zip_t* zip = archive.zip.get();
  std::vector<NamedEntry> entries;
  std::exception_ptr planning;  // comes after every entry planned before it
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    try {
      const std::string_view name = entryName(zip, index);
      const bool image = name.starts_with(imagesPrefix);
      if (!image && !name.starts_with(thumbnailsPrefix)) continue;
      if (kindOf(zip, index, name) != EntryKind::file) continue;
      entries.push_back({std::string(name), image, plan(archive, index, unclaimed)});
    } catch (...) {
      planning = std::current_exception();
      break;
    }
  }

  // Entries run perhaps two at a time; the first failure in directory order is the one reported, and an
  // entry after a failed one is skipped.
  std::vector<std::exception_ptr> failures(entries.size());
  std::atomic<std::size_t> next{0}, firstFailure{entries.size()};
  const auto run = [&](zip_t* handle) {
    for (std::size_t i; (i = next.fetch_add(1)) < entries.size();) {
      if (i > firstFailure.load()) continue;
      try {
        work(handle, i, entries[i]);
      } catch (...) {
        failures[i] = std::current_exception();
        for (std::size_t seen = firstFailure.load(); i < seen && !firstFailure.compare_exchange_weak(seen, i);) {
        }
      }
    }
  };
  std::uint64_t total = 0;
  for (const NamedEntry& entry : entries) total += entry.entry.declared;
  ArchivePtr second = total >= helperThreshold && std::thread::hardware_concurrency() > 1 && archive.reopen
                          ? archive.reopen()
                          : nullptr;
  if (second) {
    std::thread helper(run, second.get());
    run(zip);
    helper.join();
  } else {
    run(zip);
  }
  for (const std::exception_ptr& failure : failures)
    if (failure) std::rethrow_exception(failure);
  if (planning) std::rethrow_exception(planning);
  return entries;
}

namespace {

BoardBundle readOpened(const OpenArchive& archive) {
  std::uint64_t unclaimed = archive.length;
  BoardBundle bundle;
  bundle.manifest = readManifest(archive, unclaimed);
  std::vector<Bytes> contents;
  std::mutex sizing;
  const auto entries = forEachEntry(archive, unclaimed, [&](zip_t* zip, std::size_t i, const NamedEntry& entry) {
    Bytes bytes = extract(zip, entry.entry);
    const std::lock_guard lock(sizing);
    if (contents.size() <= i) contents.resize(i + 1);
    contents[i] = std::move(bytes);
  });
  for (std::size_t i = 0; i < entries.size(); ++i) {
    // Assignment, not emplace: of two entries with one path, the later in the directory wins.
    (entries[i].image ? bundle.images : bundle.thumbnails)[entries[i].name] = std::move(contents[i]);
  }
  return bundle;
}

}  // namespace

std::string_view entryName(zip_t* zip, zip_uint64_t index) {
  const char* name = zip_get_name(zip, index, 0);
  if (name == nullptr) throw corrupt(describe(zip_get_error(zip)));
  return name;
}

// Past a plausible manifest, a size is more likely a lie than a manifest, and libzip's growing buffer
// finds out at the cost of what the data holds.
constexpr std::size_t largestManifestInPlace = std::size_t{256} << 20;

Manifest readManifest(const OpenArchive& archive, std::uint64_t& unclaimed) {
  zip_t* zip = archive.zip.get();
  const zip_int64_t index = zip_name_locate(zip, std::string(manifestPath).c_str(), 0);
  if (index < 0) throw BoardArchiveError::manifestMissing();
  const PlannedEntry entry = plan(archive, static_cast<zip_uint64_t>(index), unclaimed);
  if (const auto bytes = checkedInPlace(entry)) return BoardArchive::decodeManifest(*bytes);
  // Inflated in one call into memory never written before: no zeroing, no growing, no copy, and room
  // behind the text for the padding the JSON parser reads.
  if (entry.data && !entry.stored && entry.declared <= largestManifestInPlace) {
    using manifest_reading::padding;
    const std::unique_ptr<std::uint8_t[]> json(new (std::nothrow) std::uint8_t[entry.declared + padding]);
    const std::span<std::uint8_t> out(json.get(), json ? entry.declared : 0);
    mapped_archive::prefault(out);
    if (json && mapped_archive::inflateExactly(*entry.data, out) && mapped_archive::crc32(out) == entry.crc) {
      std::memset(json.get() + entry.declared, ' ', padding);
      return checkedManifest([&] { return manifest_reading::decodePadded(asText(out)); });
    }
  }
  return BoardArchive::decodeManifest(extract(zip, entry));
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
  mapped_archive::Mapping mapping = mapped_archive::map(file.fd, static_cast<std::uint64_t>(info.st_size));
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
  OpenArchive archive{ArchivePtr(zip), static_cast<std::uint64_t>(info.st_size), reopen, mapping.bytes,
                      std::move(mapping), {}};
  archive.headers = mapped_archive::localHeaderOffsets(archive.bytes, zip);
  return archive;
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
  OpenArchive archive{std::move(zip), bytes.size(), reopen, bytes, {}, {}};
  archive.headers = mapped_archive::localHeaderOffsets(bytes, archive.zip.get());
  return archive;
}

}  // namespace zorvi::archive_reading

namespace zorvi::BoardArchive {

BoardBundle read(const std::filesystem::path& path) { return archive_reading::readOpened(archive_reading::openFile(path)); }

BoardBundle read(std::span<const std::uint8_t> bytes) {
  return archive_reading::readOpened(archive_reading::openBytes(bytes));
}

Manifest decodeManifest(std::span<const std::uint8_t> json) {
  return archive_reading::checkedManifest([&] { return ManifestCoder::decode(archive_reading::asText(json)); });
}

}  // namespace zorvi::BoardArchive
