#include "decode/codec_library.hpp"

#include <dlfcn.h>

namespace zorvi::decoding {

// RTLD_LOCAL keeps the codec's symbols from resolving other libraries' lookups; RTLD_NOW makes a library
// with an unresolvable dependency fail here, as "unavailable", rather than abort mid-decode.
CodecLibrary::CodecLibrary(const char* soname) : handle_(::dlopen(soname, RTLD_NOW | RTLD_LOCAL)) {}

void* CodecLibrary::find(const char* name) const { return handle_ ? ::dlsym(handle_, name) : nullptr; }

}  // namespace zorvi::decoding
