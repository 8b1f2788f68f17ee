#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "archive/zip_support.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::BoardArchive {
namespace {

using zip_support::ArchivePtr;
using zip_support::describe;
using zip_support::FilePtr;

// Large enough to keep read calls few, small enough that the CRC-32 runs over data still in cache.
constexpr std::size_t chunkSize = 256 * 1024;
// Raw deflate expands at most about 1032:1; a deflated entry claiming more is lying about its size.
constexpr std::uint64_t maxDeflateRatio = 1032;
// First allocation for a deflated entry; later growth follows the data actually inflated.
constexpr std::uint64_t deflateHeadStart = std::uint64_t{4} << 20;

struct OpenArchive {
  ArchivePtr zip;
  std::uint64_t length = 0;  // bounds what all entries together may claim
};

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

enum class EntryKind { file, directory, symlink };

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

// Inflates or copies one entry in chunks. libzip verifies the CRC-32 only once the data is read
// to its end, and never compares the length with the declared size, so both are driven and checked here.
// `unclaimed` is the part of the archive no extracted entry has used yet: entries of a real archive
// never share data, so a directory whose entries all point at one deflate stream is refused before
// it makes the work grow with the number of entries.
Bytes extract(zip_t* zip, zip_uint64_t index, std::uint64_t& unclaimed) {
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

  FilePtr file(zip_fopen_index(zip, index, 0));
  if (!file) throw corrupt(describe(zip_get_error(zip)));

  const auto declared = static_cast<std::size_t>(stat.size);
  Bytes bytes;
  try {
    resizeFaultingOnce(bytes, stored ? declared : static_cast<std::size_t>(std::min<std::uint64_t>(declared, deflateHeadStart)));
  } catch (const std::bad_alloc&) {
    throw corrupt(describe(ZIP_ER_MEMORY));
  }
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) {
      if (filled == declared) break;
      try {
        resizeFaultingOnce(bytes, std::min(declared, bytes.size() * 2));
      } catch (const std::bad_alloc&) {
        throw corrupt(describe(ZIP_ER_MEMORY));
      }
    }
    const auto want = std::min(chunkSize, bytes.size() - filled);
    const zip_int64_t got = zip_fread(file.get(), bytes.data() + filled, want);
    if (got < 0) throw corrupt(describe(zip_file_get_error(file.get())));
    if (got == 0) throw corrupt("entry holds fewer bytes than its declared size");
    filled += static_cast<std::size_t>(got);
  }
  std::uint8_t beyond = 0;
  const zip_int64_t extra = zip_fread(file.get(), &beyond, 1);
  if (extra < 0) throw corrupt(describe(zip_file_get_error(file.get())));
  if (extra > 0) throw corrupt("entry holds more bytes than its declared size");
  return bytes;
}

Manifest decodeManifest(const Bytes& json) {
  try {
    return ManifestCoder::decode(std::string_view(reinterpret_cast<const char*>(json.data()), json.size()));
  } catch (const ManifestDecodingError& error) {
    throw BoardArchiveError::manifestMalformed(error.what());
  }
}

BoardBundle readOpened(const OpenArchive& archive) {
  zip_t* zip = archive.zip.get();
  std::uint64_t unclaimed = archive.length;
  const zip_int64_t manifestIndex = zip_name_locate(zip, std::string(manifestPath).c_str(), 0);
  if (manifestIndex < 0) throw BoardArchiveError::manifestMissing();

  BoardBundle bundle;
  bundle.manifest = decodeManifest(extract(zip, static_cast<zip_uint64_t>(manifestIndex), unclaimed));
  if (bundle.manifest.schemaVersion > Manifest::currentSchemaVersion) {
    throw BoardArchiveError::unsupportedSchemaVersion(bundle.manifest.schemaVersion, Manifest::currentSchemaVersion);
  }

  const zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    const char* rawName = zip_get_name(zip, index, 0);
    if (rawName == nullptr) throw corrupt(describe(zip_get_error(zip)));
    const std::string_view name(rawName);
    std::map<std::string, Bytes>* target = nullptr;
    if (name.starts_with(imagesPrefix)) {
      target = &bundle.images;
    } else if (name.starts_with(thumbnailsPrefix)) {
      target = &bundle.thumbnails;
    } else {
      continue;
    }
    if (kindOf(zip, index, name) != EntryKind::file) continue;
    // Assignment, not emplace: of two entries with one path, the later in the directory wins.
    (*target)[std::string(name)] = extract(zip, index, unclaimed);
  }
  return bundle;
}

}  // namespace

BoardBundle read(const std::filesystem::path& path) {
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
  file.fd = -1;                                        // and now libzip's
  return readOpened({ArchivePtr(zip), static_cast<std::uint64_t>(info.st_size)});
}

BoardBundle read(std::span<const std::uint8_t> bytes) {
  // libzip takes zero bytes for an empty archive; a board file is never empty.
  if (bytes.empty()) throw corrupt(describe(ZIP_ER_NOZIP));
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  if (source == nullptr) {
    std::string detail = describe(&error);
    zip_error_fini(&error);
    throw corrupt(std::move(detail));
  }
  zip_t* zip = zip_open_from_source(source, ZIP_RDONLY, &error);
  if (zip == nullptr) {
    zip_source_free(source);
    std::string detail = describe(&error);
    zip_error_fini(&error);
    throw corrupt(std::move(detail));
  }
  zip_error_fini(&error);
  return readOpened({ArchivePtr(zip), bytes.size()});
}

}  // namespace zorvi::BoardArchive
