// Linked into every test program that sets text. fontconfig reads FONTCONFIG_FILE once, at its first
// use, so it is set before any test runs, for the program and for the commands it starts.
#include <cstdlib>
#include <string>

namespace {
const int pinned = [] { return setenv("FONTCONFIG_FILE", ZORVI_TEST_DATA_DIR "/fonts.conf", 1); }();

// Commands started by a test inherit this. LeakSanitizer's report of the suppressions it used would
// add lines to their stderr, which the tests check line by line.
const int quiet = [] {
  const char* given = std::getenv("LSAN_OPTIONS");
  const std::string options = given != nullptr ? std::string(given) + ":print_suppressions=0"
                                               : "print_suppressions=0:suppressions=" ZORVI_SOURCE_DIR
                                                 "/tests/lsan.supp";
  return setenv("LSAN_OPTIONS", options.c_str(), 1);
}();
}  // namespace

// Pango sets fontconfig up on a thread of its own, which sometimes still holds font patterns when the
// process ends; LeakSanitizer then reports fontconfig's memory as lost.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
