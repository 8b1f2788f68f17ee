#include "render/text/text_engine.hpp"

#include <dlfcn.h>

#include <cstdio>
#include <string>

namespace zorvi::text {
namespace {

#ifndef ZORVI_TEXT_BUILTIN
// The module's path from the folder of the file holding this code: a library in the library folder, or
// a command in the programs folder that carries the library's objects.
std::string besideThisCode(const char* relative) {
  Dl_info info{};
  std::string path;
  if (::dladdr(reinterpret_cast<void*>(&besideThisCode), &info) != 0 && info.dli_fname != nullptr) {
    path = info.dli_fname;
    path.erase(path.find_last_of('/') + 1);
  }
  return path + relative;
}

const Engine* load() {
  void* module = nullptr;
  for (const char* relative : {ZORVI_TEXT_MODULE, ZORVI_TEXT_MODULE_FROM_BINDIR}) {
    // RTLD_NOW: a module with a missing dependency fails here rather than in the middle of a drawing.
    if ((module = ::dlopen(besideThisCode(relative).c_str(), RTLD_NOW | RTLD_LOCAL)) != nullptr) break;
  }
  using Entry = const Engine* (*)();
  // POSIX guarantees that dlsym's object pointer converts to a function pointer.
  const auto entry = module ? reinterpret_cast<Entry>(::dlsym(module, "zorvi_text_engine")) : nullptr;
  if (entry == nullptr) {
    const char* why = ::dlerror();
    std::fprintf(stderr, "zorvi: no text engine, text is left out: %s\n", why ? why : "zorvi-text.so");
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
