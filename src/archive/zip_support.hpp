// Ownership and error text for libzip handles; private to the archive library.
#pragma once

#include <zip.h>

#include <memory>
#include <string>

namespace zorvi::zip_support {

struct DiscardArchive {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseFile {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
struct FreeSource {
  void operator()(zip_source_t* source) const { zip_source_free(source); }
};

using ArchivePtr = std::unique_ptr<zip_t, DiscardArchive>;
using FilePtr = std::unique_ptr<zip_file_t, CloseFile>;
using SourcePtr = std::unique_ptr<zip_source_t, FreeSource>;

// libzip's own wording of an error, such as "CRC error" or "Not a zip archive".
inline std::string describe(zip_error_t* error) { return zip_error_strerror(error); }

inline std::string describe(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

}  // namespace zorvi::zip_support
