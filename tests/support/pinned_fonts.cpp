// Linked into every test program that sets text. fontconfig reads FONTCONFIG_FILE once, at its first
// use, so it is set before any test runs, for the program and for the commands it starts.
#include <cstdlib>

namespace {
const int pinned = [] { return setenv("FONTCONFIG_FILE", ZORVI_TEST_DATA_DIR "/fonts.conf", 1); }();
// LeakSanitizer reads this in programs that start from here; children get it through the environment.
const int quiet = [] {
  return setenv("LSAN_OPTIONS", "print_suppressions=0:suppressions=" ZORVI_TEST_DATA_DIR "/lsan.supp", 0);
}();
}  // namespace

// Pango sets fontconfig up on a thread of its own, which sometimes still holds font patterns when the
// process ends; LeakSanitizer then reports fontconfig's memory as lost.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
