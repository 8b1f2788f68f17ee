#include "zorvi/document.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "zorvi/board_bundle.hpp"

namespace zorvi {
namespace {

const Uuid kId = *Uuid::parse("6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8");

TEST(Uuid, ParsesEitherCaseAndWritesUpperCase) {
  const auto lower = Uuid::parse("6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8");
  ASSERT_TRUE(lower);
  EXPECT_EQ(*lower, kId);
  EXPECT_EQ(lower->string(), "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8");
}

TEST(Uuid, RefusesEveryOtherForm) {
  for (const char* text : {"", "6F1C2A3B4D5E4F60817293A4B5C6D7E8", "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E",
                           "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8 ", "{6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E}",
                           "6F1C2A3B-4D5E-4F60-8172+93A4B5C6D7E8", "6G1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8",
                           "6F1C2A3B-4D5E4-F60-8172-93A4B5C6D7E8"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(Uuid::parse(text));
  }
}

TEST(Uuid, GeneratesDistinctVersionFourIdentifiers) {
  const Uuid a = Uuid::generate(), b = Uuid::generate();
  EXPECT_NE(a, b);
  EXPECT_EQ(a.string()[14], '4');
  EXPECT_EQ(Uuid::parse(a.string()), a);
}

TEST(BoardHeader, HasContentOnlyWhenSomethingSurvivesTrimming) {
  struct Row {
    const char* name;
    BoardHeader header;
    bool expected;
  };
  const Row rows[] = {
      {"all absent", {}, false},
      {"blanks and breaks", {" \t", "\n\r\n", "\u00A0", "\u2028", "\u3000", ""}, false},
      {"letter in notes", {.notes = " x "}, true},
      {"zero-width space is not white space", {.title = "\u200B"}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.header.hasContent(), row.expected);
  }
}

TEST(ShapeContent, DerivedValues) {
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
}

TEST(DrawingContent, DashPatternIsThreeAndTwoWidths) {
  EXPECT_EQ(DrawingContent::dashPattern(4), (std::array<double, 2>{12, 8}));
  EXPECT_EQ(DrawingContent::dashPattern(0), (std::array<double, 2>{0, 0}));
}

TEST(CanvasItem, ConstructorsSetTypeAndLeaveOtherKindsAbsent) {
  const CanvasItem text(kId, TextContent{"hi", "#111111", 44}, Frame{1, 2, 3, 4}, 5, true, std::nullopt);
  EXPECT_EQ(text.type, CanvasItem::Type::text);
  EXPECT_FALSE(text.caption);
  EXPECT_FALSE(text.captionAlignment);
  EXPECT_FALSE(text.image);

  const CanvasItem image(kId, "images/a.png", "thumbnails/a.png", Frame{}, 0, PixelSize{4, 3}, ItemSource{},
                         "cap", CaptionAlignment::center, false, std::nullopt);
  EXPECT_EQ(image.type, CanvasItem::Type::image);
  EXPECT_EQ(image.caption, "cap");
  EXPECT_FALSE(image.text || image.shape || image.drawing);

  const CanvasItem drawing(kId, DrawingContent{}, Frame{}, 0, false, std::nullopt);
  EXPECT_EQ(drawing.type, CanvasItem::Type::drawing);
  EXPECT_TRUE(drawing.drawing);

  CanvasItem grouped = drawing;
  grouped.groupId = kId;
  EXPECT_NE(grouped, drawing);
}

TEST(Frame, NaNNeverComparesEqual) {
  const Frame f{std::nan(""), 0, 1, 1};
  EXPECT_NE(f, f);
}

TEST(PageSetup, SizesFollowFormatAndOrientation) {
  EXPECT_EQ(size(PageFormat::a4, PageOrientation::landscape), (PageSize{1286, 909}));
  EXPECT_EQ(size(PageFormat::screen16x9, PageOrientation::landscape), (PageSize{1600, 900}));
  EXPECT_EQ(PageSetup::defaultSetup().size(), (PageSize{909, 1286}));
  EXPECT_EQ(portraitSize(PageFormat::legal), (PageSize{935, 1540}));
}

TEST(Enumerations, RawValuesRoundTripCaseSensitively) {
  for (PageFormat f : allPageFormats) EXPECT_EQ(parsePageFormat(rawValue(f)), f);
  EXPECT_FALSE(parsePageFormat("A4"));
  EXPECT_EQ(parseItemType("drawing"), CanvasItem::Type::drawing);
  EXPECT_FALSE(parseItemType("Image"));
  EXPECT_EQ(rawValue(CaptionAlignment::trailing), "trailing");
  EXPECT_EQ(parseLineStyle("dashed"), DrawingContent::LineStyle::dashed);
  EXPECT_EQ(parsePageOrientation("landscape"), PageOrientation::landscape);
  EXPECT_FALSE(parsePageOrientation("LANDSCAPE"));
}

TEST(BoardArchiveError, CasesCompareWithPayloadsAndDescribeThemselves) {
  const auto schema = BoardArchiveError::unsupportedSchemaVersion(9, 8);
  EXPECT_EQ(schema, BoardArchiveError::unsupportedSchemaVersion(9, 8));
  EXPECT_NE(schema, BoardArchiveError::unsupportedSchemaVersion(10, 8));
  EXPECT_EQ(static_cast<int>(schema.kind()), 1);
  EXPECT_STREQ(schema.what(), "unsupportedSchemaVersion: found 9, supported 8");
  EXPECT_NE(BoardArchiveError::archiveCorrupt("x"), BoardArchiveError::manifestMalformed("x"));
  EXPECT_EQ(BoardArchiveError::manifestMissing().caseName(), "manifestMissing");
}

}  // namespace
}  // namespace zorvi
