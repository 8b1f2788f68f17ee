#include "zorvi/document.hpp"

#include <gtest/gtest.h>

#include "unicode/unicode.hpp"
#include "zorvi/board_bundle.hpp"
#include "zorvi/canvas_contrast.hpp"

namespace zorvi {
namespace {

using CanvasContrast::ChromeTone;

TEST(Uuid, ParsesEitherCaseWritesUpperCaseGeneratesVersionFour) {
  const auto lower = Uuid::parse("6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8");
  ASSERT_TRUE(lower);
  EXPECT_EQ(lower->string(), "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8");
  EXPECT_EQ(Uuid::parse(lower->string()), lower);
  for (const char* text : {"", "6F1C2A3B4D5E4F60817293A4B5C6D7E8", "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E",
                           "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8 ", "{6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E}",
                           "6F1C2A3B-4D5E-4F60-8172+93A4B5C6D7E8", "6G1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8",
                           "6F1C2A3B-4D5E4-F60-8172-93A4B5C6D7E8"}) {
    EXPECT_FALSE(Uuid::parse(text)) << text;
  }
  const Uuid a = Uuid::generate(), b = Uuid::generate();
  EXPECT_NE(a, b);
  EXPECT_EQ(a.string()[14], '4');
}

TEST(BoardHeader, HasContentOnlyWhenSomethingSurvivesTrimming) {
  const std::pair<BoardHeader, bool> rows[] = {
      {{}, false},
      {{" \t", "\n\r\n", "\u00A0", "\u2028", "\u3000", ""}, false},
      {{.notes = " x "}, true},
      {{.title = "\u200B"}, true},  // a zero-width space is no white space
  };
  for (const auto& [header, expected] : rows) EXPECT_EQ(header.hasContent(), expected) << header.notes.value_or("");
}

TEST(ShapeAndDrawing, DerivedValues) {
  ShapeContent shape;
  EXPECT_FALSE(shape.hasTitle());
  shape.title = "   ";
  EXPECT_FALSE(shape.hasTitle());
  shape.title = "M";
  EXPECT_TRUE(shape.hasTitle());
  EXPECT_EQ(shape.effectiveTitleFontSize(), 28);
  shape.titleFontSize = 0;
  EXPECT_EQ(shape.effectiveTitleFontSize(), 0);
  EXPECT_EQ(shape.titleBackdrop("#FFFFFF"), "#FFFFFF");
  shape.fillColor = "";
  EXPECT_EQ(shape.titleBackdrop("#FFFFFF"), "");
  EXPECT_EQ(DrawingContent::dashPattern(4), (std::array<double, 2>{12, 8}));
}

TEST(Unicode, TrimsWhiteSpaceAndLineBreaksFromBothEndsOnly) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {"  a b  ", "a b"},
      {"\t\r\n\u00A0\u2029x\u3000\u0085", "x"},
      {"\u200Bx", "\u200Bx"},  // zero-width space is a format character, not white space
      {"\xFF a", "\xFF a"},    // invalid bytes stop trimming rather than being eaten
      {" \xC3", "\xC3"},
  };
  for (const auto& [in, out] : rows) EXPECT_EQ(unicode::trimWhitespaceAndNewlines(in), out) << in;
}

TEST(Unicode, CountsUserPerceivedCharacters) {
  const std::pair<std::string_view, std::size_t> rows[] = {
      {"", 0},
      {"abc", 3},
      {"e\u0301", 1},                                    // e + combining acute
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 2},    // two flags
      {"\U0001F469\u200D\U0001F469\u200D\U0001F467", 1},  // family joined by ZWJ
      {"\r\n", 1},
      {"\xFF\xFE", 2},
  };
  for (const auto& [text, count] : rows) EXPECT_EQ(unicode::graphemeCount(text), count) << text;
}

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
