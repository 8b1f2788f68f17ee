#include "render/text/text_engine.hpp"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace zorvi::text {
namespace {

#ifndef ZORVI_TEXT_BUILTIN
// The folder of the file holding this code: a library in the library folder, or a command in the
// programs folder that carries the library's objects. For the command the loader knows only the name it
// was started by (a bare name from PATH, a relative path, a link), so the kernel's answer is used.
std::string folderOfThisCode() {
  Dl_info info{};
  link_map* object = nullptr;
  std::string path;
  if (::dladdr1(reinterpret_cast<void*>(&folderOfThisCode), &info, reinterpret_cast<void**>(&object),
                RTLD_DL_LINKMAP) != 0 && object != nullptr && object->l_name != nullptr && object->l_name[0] == '/') {
    path = object->l_name;
  } else {
    char exe[4096];
    const ssize_t length = ::readlink("/proc/self/exe", exe, sizeof exe);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof exe) path.assign(exe, static_cast<std::size_t>(length));
  }
  path.erase(path.find_last_of('/') + 1);
  return path;
}

const Engine* load() {
  const std::string folder = folderOfThisCode();
  void* module = nullptr;
  std::string tried;
  // The installed layout is the last resort, for a process without /proc.
  for (const std::string& path : {folder.empty() ? std::string() : folder + ZORVI_TEXT_MODULE,
                                  folder.empty() ? std::string() : folder + ZORVI_TEXT_MODULE_FROM_BINDIR,
                                  std::string(ZORVI_TEXT_MODULE_INSTALLED)}) {
    if (path.empty()) continue;
    // RTLD_NOW: a module with a missing dependency fails here rather than in the middle of a drawing.
    if ((module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) != nullptr) break;
    // A module that is there but fails to load says more than one that is missing.
    const char* why = ::dlerror();
    if (why != nullptr && (tried.empty() || ::access(path.c_str(), F_OK) == 0)) tried = why;
  }
  using Entry = const Engine* (*)();
  // POSIX guarantees that dlsym's object pointer converts to a function pointer.
  const auto entry = module ? reinterpret_cast<Entry>(::dlsym(module, "zorvi_text_engine")) : nullptr;
  if (entry == nullptr) {
    const char* why = module ? ::dlerror() : tried.c_str();
    std::fprintf(stderr, "zorvi: warning: text is left out, the text module could not be loaded: %s\n",
                 why && *why ? why : "zorvi-text.so");
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
