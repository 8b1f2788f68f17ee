#include "zorvi/document.hpp"

#include <gtest/gtest.h>

#include "zorvi/board_bundle.hpp"

namespace zorvi {
namespace {

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

TEST(PageSetup, SizesFollowFormatAndOrientationAndNamesAreCaseSensitive) {
  EXPECT_EQ(size(PageFormat::a4, PageOrientation::landscape), (PageSize{1286, 909}));
  EXPECT_EQ(size(PageFormat::screen16x9, PageOrientation::landscape), (PageSize{1600, 900}));
  EXPECT_EQ(PageSetup::defaultSetup().size(), (PageSize{909, 1286}));
  EXPECT_EQ(portraitSize(PageFormat::legal), (PageSize{935, 1540}));
  for (PageFormat f : allPageFormats) EXPECT_EQ(parsePageFormat(rawValue(f)), f);
  EXPECT_FALSE(parsePageFormat("A4"));
  EXPECT_FALSE(parseItemType("Image"));
  EXPECT_EQ(rawValue(CaptionAlignment::trailing), "trailing");
  EXPECT_FALSE(parsePageOrientation("LANDSCAPE"));
}

TEST(BoardArchiveError, CasesCompareWithPayloadsAndDescribeThemselves) {
  const auto schema = BoardArchiveError::unsupportedSchemaVersion(9, 8);
  EXPECT_EQ(schema, BoardArchiveError::unsupportedSchemaVersion(9, 8));
  EXPECT_NE(schema, BoardArchiveError::unsupportedSchemaVersion(10, 8));
  EXPECT_STREQ(schema.what(), "unsupportedSchemaVersion: found 9, supported 8");
  EXPECT_NE(BoardArchiveError::archiveCorrupt("x"), BoardArchiveError::manifestMalformed("x"));
  EXPECT_EQ(BoardArchiveError::manifestMissing().caseName(), "manifestMissing");
}

}  // namespace
}  // namespace zorvi
