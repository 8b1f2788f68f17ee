// The less common codecs pull dozens of shared libraries (encoders, GIO, …) into every process that
// links them, and the dynamic loader's time for those dominates a small thumbnail. They are opened on
// first use instead, so a board of JPEGs, PNGs and WebPs never pays for them.
#pragma once

namespace zorvi::decoding {

// A codec's shared library, opened by its SONAME. The handle is never closed: codecs keep thread pools
// and registered plugins whose code must outlive any one decode.
class CodecLibrary {
 public:
  explicit CodecLibrary(const char* soname);
  explicit operator bool() const { return handle_ != nullptr; }

  // Points fn at the library's symbol of that name (searched in its dependencies too, which is where
  // GLib's helpers for gdk-pixbuf live); false, leaving fn null, when the symbol or library is missing.
  template <typename Function>
  bool bind(Function& fn, const char* name) const {
    void* symbol = find(name);
    // POSIX guarantees that data and function pointers convert to each other for dlsym.
    fn = reinterpret_cast<Function>(symbol);
    return symbol != nullptr;
  }

 private:
  void* find(const char* name) const;
  void* handle_ = nullptr;
};

}  // namespace zorvi::decoding

// Binds a table member declared as `decltype(&::fn) fn;` to the library's symbol of the same name.
#define ZORVI_BIND_CODEC(library, table, fn) (library).bind((table).fn, #fn)
