#include "zorvi/canvas_contrast.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace zorvi {
namespace {

using CanvasContrast::ChromeTone;

TEST(CanvasContrast, LuminanceAndTone) {
  struct Row {
    const char* hex;
    double luminance;
    ChromeTone tone;
  };
  const Row rows[] = {
      // The weighted sum in its fixed order stops one bit short of 1.
      {"#FFFFFF", 0.9999999999999999, ChromeTone::dark},
      {"FFFFFF", 0.9999999999999999, ChromeTone::dark},
      {"  #ffffff \n", 0.9999999999999999, ChromeTone::dark},
      {"\u00A0\u3000#FfFfFf\u2028\u0085", 0.9999999999999999, ChromeTone::dark},
      {"#000000", 0, ChromeTone::light},
      {"#808080", 0.5019607843137255, ChromeTone::dark},
      {"#7F7F7F", 0.4980392156862745, ChromeTone::light},
      {"#00FF00", 0.587, ChromeTone::dark},
      {"#FF0000", 0.299, ChromeTone::light},
      {"#0000FF", 0.114, ChromeTone::light},
      {"+FFFFF", 0.7185882352941176, ChromeTone::dark},  // read as 0FFFFF
      {"#+00001", 0.0004470588235294118, ChromeTone::light},
      {"-00000", 0, ChromeTone::light},
      {"#-00000", 0, ChromeTone::light},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.hex);
    const auto value = CanvasContrast::luminance(row.hex);
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, row.luminance);
    EXPECT_EQ(CanvasContrast::chromeTone(row.hex), row.tone);
  }
}

TEST(CanvasContrast, TextThatIsNoColourGivesNothingAndDarkMarks) {
  for (const char* hex : {"",
                          "#",
                          "#FFF",
                          "#FFFFFFFF",
                          "##FFFFFF",
                          "red",
                          "#GGGGGG",
                          "#FFFFF",
                          "-00001",
                          "+-FFFF",
                          "++FFFF",
                          "+",
                          "FFFFF+",
                          "0x1234",
                          "FF FFF",
                          "#FF\tFFF",
                          "\u200B#FFFFFF",
                          "#FFFFF\u00E9",
                          "\uFF26\uFF26\uFF26\uFF26\uFF26\uFF26",
                          "# FFFFFF",
                          "FFFFFF#"}) {
    SCOPED_TRACE(hex);
    EXPECT_EQ(CanvasContrast::luminance(hex), std::nullopt);
    EXPECT_EQ(CanvasContrast::chromeTone(hex), ChromeTone::dark);
  }
}

TEST(CanvasContrast, ToneSwitchesExactlyAtHalf) {
  // Walking the grey ramp: every step below 0x80 is light and every step from 0x80 on is dark.
  for (int level = 0; level < 256; ++level) {
    char hex[8];
    static constexpr char digits[] = "0123456789ABCDEF";
    hex[0] = '#';
    for (int i = 0; i < 3; ++i) {
      hex[1 + 2 * i] = digits[level / 16];
      hex[2 + 2 * i] = digits[level % 16];
    }
    hex[7] = '\0';
    SCOPED_TRACE(hex);
    EXPECT_EQ(CanvasContrast::chromeTone(hex), level < 128 ? ChromeTone::light : ChromeTone::dark);
  }
}

}  // namespace
}  // namespace zorvi
