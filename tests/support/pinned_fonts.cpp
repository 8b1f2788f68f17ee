// Linked into every test program that sets text: fontconfig reads FONTCONFIG_FILE once, at its first
// use, so it is set before any test runs.
#include <cstdlib>

namespace {
const int pinned = [] { return setenv("FONTCONFIG_FILE", ZORVI_TEST_DATA_DIR "/fonts.conf", 1); }();
}  // namespace
