#include "zorvi/canvas_contrast.hpp"

#include <gtest/gtest.h>

namespace zorvi {
namespace {

using CanvasContrast::ChromeTone;

TEST(CanvasContrast, LuminanceAndTone) {
  const std::tuple<const char*, std::optional<double>, ChromeTone> rows[] = {
      // Summed in the fixed order, white stops one bit short of 1 (the other order gives exactly 1).
      {"#FFFFFF", 0.9999999999999999, ChromeTone::dark},
      {"\u00A0\u3000FfFfFf\u2028\u0085", 0.9999999999999999, ChromeTone::dark},
      {"#000000", 0, ChromeTone::light},
      {"#808080", 0.5019607843137255, ChromeTone::dark},
      {"#7F7F7F", 0.4980392156862745, ChromeTone::light},
      {"#00FF00", 0.587, ChromeTone::dark},
      {"#FF0000", 0.299, ChromeTone::light},
      {"#0000FF", 0.114, ChromeTone::light},
      {"+FFFFF", 0.7185882352941176, ChromeTone::dark},  // read as 0FFFFF
      {"#-00000", 0, ChromeTone::light},
  };
  for (const auto& [hex, luminance, tone] : rows) {
    EXPECT_EQ(CanvasContrast::luminance(hex), luminance) << hex;
    EXPECT_EQ(CanvasContrast::chromeTone(hex), tone) << hex;
  }
  for (const char* hex : {"", "#FFF", "#FFFFFFFF", "#GGGGGG", "-00001", "++FFFF", "FFFFF+", "FF FFF",
                          "\u200B#FFFFFF", "#FFFFF\u00E9"}) {
    EXPECT_EQ(CanvasContrast::luminance(hex), std::nullopt) << hex;
    EXPECT_EQ(CanvasContrast::chromeTone(hex), ChromeTone::dark) << hex;
  }
}

}  // namespace
}  // namespace zorvi
