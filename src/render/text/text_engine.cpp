#include "render/text/text_engine.hpp"

#include <dlfcn.h>

#include <cstdio>
#include <string>

namespace zorvi::text {
namespace {

#ifndef ZORVI_TEXT_BUILTIN
// The module sits in zorvi/ beside the library holding this code, in the build tree as once installed.
std::string modulePath() {
  Dl_info info{};
  std::string path;
  if (::dladdr(reinterpret_cast<void*>(&modulePath), &info) != 0 && info.dli_fname != nullptr) {
    path = info.dli_fname;
    path.erase(path.find_last_of('/') + 1);
  }
  return path + "zorvi/" ZORVI_TEXT_MODULE;
}

const Engine* load() {
  const std::string path = modulePath();
  // RTLD_NOW: a module with a missing dependency fails here rather than in the middle of a drawing.
  void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  using Entry = const Engine* (*)();
  // POSIX guarantees that dlsym's object pointer converts to a function pointer.
  const auto entry = module ? reinterpret_cast<Entry>(::dlsym(module, "zorvi_text_engine")) : nullptr;
  if (entry == nullptr) {
    const char* why = ::dlerror();
    std::fprintf(stderr, "zorvi: no text engine, text is left out: %s\n", why ? why : path.c_str());
    return nullptr;
  }
  return entry();
}
#endif

}  // namespace

const Engine* engine() {
#ifdef ZORVI_TEXT_BUILTIN
  return zorvi_text_engine();
#else
  // Never closed: Pango's caches and font threads outlive any one call.
  static const Engine* const loaded = load();
  return loaded;
#endif
}

}  // namespace zorvi::text
