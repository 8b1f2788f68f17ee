// Any text gives either no colour or a luminance within [0, 1] whose tone follows the 0.5 threshold.
#include <cstdlib>
#include <string_view>

#include "zorvi/canvas_contrast.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi::CanvasContrast;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto value = luminance(text);
  const auto tone = chromeTone(text);
  if (value && !(*value >= 0 && *value <= 1)) std::abort();
  if (tone != (value && *value < 0.5 ? ChromeTone::light : ChromeTone::dark)) std::abort();
  return 0;
}
