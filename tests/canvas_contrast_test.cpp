#include "zorvi/canvas_contrast.hpp"

#include <gtest/gtest.h>

namespace zorvi {
namespace {

using CanvasContrast::ChromeTone;

TEST(CanvasContrast, LuminanceAndTone) {
  struct Row {
    const char* hex;
    std::optional<double> luminance;
    ChromeTone tone;
  } const rows[] = {
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.hex);
    EXPECT_EQ(CanvasContrast::luminance(row.hex), row.luminance);
    EXPECT_EQ(CanvasContrast::chromeTone(row.hex), row.tone);
  }
  for (const char* hex : {"", "#FFF", "#FFFFFFFF", "#GGGGGG", "-00001", "++FFFF", "FFFFF+", "FF FFF",
                          "\u200B#FFFFFF", "#FFFFF\u00E9"}) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(CanvasContrast::luminance(hex), std::nullopt);
    EXPECT_EQ(CanvasContrast::chromeTone(hex), ChromeTone::dark);
  }
}

}  // namespace
}  // namespace zorvi
