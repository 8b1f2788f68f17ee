#include "zorvi/html_exporter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "export/html_text.hpp"
#include "support/html_golden.hpp"

namespace zorvi {
namespace {

using Placed = BoardLayout::PlacedItem;

Uuid uuid(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

CanvasItem textItem(Frame frame, std::int64_t z, TextContent text) {
  return CanvasItem(uuid(1), std::move(text), frame, z, false, std::nullopt);
}

CanvasItem shapeItem(Frame frame, std::int64_t z, ShapeContent shape) {
  return CanvasItem(uuid(2), std::move(shape), frame, z, false, std::nullopt);
}

CanvasItem drawingItem(Frame frame, DrawingContent drawing) {
  return CanvasItem(uuid(3), std::move(drawing), frame, 0, false, std::nullopt);
}

CanvasItem imageItem(Uuid id, Frame frame, std::optional<std::string> caption = std::nullopt,
                     std::optional<CaptionAlignment> alignment = std::nullopt) {
  return CanvasItem(id, "images/" + id.string() + ".png", "thumbnails/" + id.string() + ".png", frame, 0,
                    PixelSize{4, 4}, ItemSource{}, std::move(caption), alignment, false, std::nullopt);
}

TEST(HTMLExporter, FormatsNumbersToHundredths) {
  struct Row {
    double value;
    std::string_view text;
  };
  const Row rows[] = {
      {12, "12"},
      {12.5, "12.5"},
      {0.125, "0.13"},
      {-0.625, "-0.63"},
      {99.999, "100"},
      {2.004, "2"},
      {-3.456, "-3.46"},
      {0.8727, "0.87"},
      {-0.004, "0"},
      {-0.0, "0"},
      {1.005, "1"},  // 100.49999… after scaling: rounding works on the double
      {0.005, "0.01"},
      {3.10, "3.1"},
      {1.375, "1.38"},
      {42.7777777, "42.78"},
      {-7, "-7"},
      {0.1, "0.1"},
      {123456789.125, "123456789.13"},
      {9007199254740993.0, "9007199254740992"},
      {-0x1p63, "-9223372036854775808"},
      {0x1p63, "9223372036854775808"},
      {1e20, "100000000000000000000"},
      {-1e20, "-100000000000000000000"},
      {std::numeric_limits<double>::infinity(), "inf"},
      {-std::numeric_limits<double>::infinity(), "-inf"},
      {std::nan(""), "nan"},
      {-std::nan(""), "nan"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(HTMLExporter::fmt(row.value), row.text);
  }
}

TEST(HTMLExporter, WritesHugeFiniteValuesWithAllTheirDigits) {
  // Scaling by 100 overflows these; they must still come out as their own integral value.
  for (const double value : {0x1p1020, -0x1p1023, std::numeric_limits<double>::max()}) {
    SCOPED_TRACE(value);
    const std::string text = HTMLExporter::fmt(value);
    EXPECT_EQ(text.find_first_not_of("-0123456789"), std::string::npos) << text;
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), value);
  }
}

TEST(HTMLExporter, AcceptsOnlyHashAndThreeOrSixHexCharacters) {
  struct Row {
    const char* name;
    std::optional<std::string> in;
    std::optional<std::string> out;
  };
  const std::vector<Row> rows = {
      {"absent", std::nullopt, std::nullopt},
      {"six", "#1a1A1a", "#1a1A1a"},
      {"three kept short", "#000", "#000"},
      {"trimmed spaces", "  #1a1a1a  ", "#1a1a1a"},
      {"trimmed tab and no-break space", "\t\u00A0#abc\u3000", "#abc"},
      {"line break not trimmed", "#abc\n", std::nullopt},
      {"five", "#12345", std::nullopt},
      {"seven", "#1234567", std::nullopt},
      {"eight", "#12345678", std::nullopt},
      {"no hash", "1a1a1a", std::nullopt},
      {"not hex", "#ggg", std::nullopt},
      {"word", "red", std::nullopt},
      {"empty", "", std::nullopt},
      {"hash only", "#", std::nullopt},
      {"two hashes", "##fff", std::nullopt},
      {"inner space", "#ff f", std::nullopt},
      {"full-width digits", "#\uFF10\uFF21\uFF46", "#\uFF10\uFF21\uFF46"},
      {"full-width beyond f", "#\uFF27\uFF10\uFF10", std::nullopt},
      {"combining mark makes one character", "#ab\u0301c", std::nullopt},
      {"combining marks do not add characters", "#a\u0301b\u0301c\u0301", std::nullopt},
      {"combining mark on the hash", "#\u0301fff", std::nullopt},
      {"invalid byte", "#ff\xFF", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(HTMLExporter::validColor(row.in), row.out);
    EXPECT_EQ(HTMLExporter::sanitizedColor(row.in.value_or("")), row.out.value_or("#FFFFFF"));
  }
}

TEST(HTMLExporter, EscapesFiveCharactersWalkingUserPerceivedCharacters) {
  struct Row {
    std::string_view in, out;
  };
  const Row rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"Tom & Jerry's <plan>", "Tom &amp; Jerry&#39;s &lt;plan&gt;"},
      {"\"q\"", "&quot;q&quot;"},
      {"&&", "&amp;&amp;"},
      {"line\nbreak\r\n&", "line\nbreak\r\n&amp;"},
      {"&\u0301", "&\u0301"},  // an ampersand carrying an accent is another character
      {"<\u200D>", "<\u200D&gt;"},
      {"\u0600&x", "\u0600&x"},  // a prepended mark joins the ampersand
      {"caf\u00E9 & th\u00E9", "caf\u00E9 &amp; th\u00E9"},
      {"\xFF<\xFE", "\xFF&lt;\xFE"},
      {"\U0001F600>", "\U0001F600&gt;"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.in);
    EXPECT_EQ(HTMLExporter::escape(row.in), row.out);
  }
}

TEST(HTMLExporter, EncodesBase64WithPadding) {
  struct Row {
    std::string_view in, out;
  };
  const Row rows[] = {
      {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},
      {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},  {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xFF\xBF", "+/+/"},
      {std::string_view("\0\0\0\0", 4), "AAAAAA=="},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.out);
    std::string out = "x";
    html::appendBase64(out, {reinterpret_cast<const std::uint8_t*>(row.in.data()), row.in.size()});
    EXPECT_EQ(out, "x" + std::string(row.out));
    EXPECT_EQ(html::base64Length(row.in.size()), row.out.size());
  }
}

TEST(HTMLExporter, ChoosesDarkInkUnlessTheBackgroundIsDark) {
  struct Row {
    std::string_view background, ink;
  };
  const Row rows[] = {
      {"#1a1a1a", "#FFFFFF"}, {"#ffffff", "#000000"}, {"#808080", "#000000"}, {"#7F7F7F", "#FFFFFF"},
      {"#000", "#000000"},  // the short form is no colour to the luminance
      {"red", "#000000"},     {"", "#000000"},        {"  000000\n", "#FFFFFF"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.background);
    EXPECT_EQ(HTMLExporter::contrastColor(row.background), row.ink);
  }
}

TEST(HTMLExporter, WritesTextElementsWithTheirOwnStyle) {
  struct Row {
    const char* name;
    CanvasItem item;
    std::optional<std::string> element;
  };
  CanvasItem noContent = textItem({}, 0, {});
  noContent.text.reset();
  const std::vector<Row> rows = {
      {"plain", textItem({40, 12.5, 300, 200}, 3, {"Hello", "", 24}),
       R"(      <div class="item text" style="left:40px;top:12.5px;width:300px;min-height:200px;z-index:3;font-size:24px;color:#111111;">Hello</div>
)"},
      {"coloured, escaped, line break kept", textItem({-1.005, 0.125, 10, 20}, -2, {"a<b>\n&c", " #ABC ", 44.444}),
       R"(      <div class="item text" style="left:-1px;top:0.13px;width:10px;min-height:20px;z-index:-2;font-size:44.44px;color:#ABC;">a&lt;b&gt;
&amp;c</div>
)"},
      {"no text content", noContent, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(HTMLExporter::renderedElement(Placed(row.item, row.item.frame, std::nullopt), {}), row.element);
  }
}

TEST(HTMLExporter, WritesShapesWithValidColoursOnly) {
  struct Row {
    const char* name;
    ShapeContent shape;
    std::string element;
  };
  const std::vector<Row> rows = {
      {"fill and stroke", {"#FF0000", "#000", 2, std::nullopt, std::nullopt},
       R"(      <div class="item" style="left:0px;top:0px;width:100px;height:50px;z-index:0;background:#FF0000;border:2px solid #000;"></div>
)"},
      {"invalid colours leave an empty box", {"red", "#12345", 2, std::nullopt, std::nullopt},
       R"(      <div class="item" style="left:0px;top:0px;width:100px;height:50px;z-index:0;"></div>
)"},
      {"stroke only", {std::nullopt, " #abcdef", 1.5, std::nullopt, std::nullopt},
       R"(      <div class="item" style="left:0px;top:0px;width:100px;height:50px;z-index:0;border:1.5px solid #abcdef;"></div>
)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const CanvasItem item = shapeItem({0, 0, 100, 50}, 0, row.shape);
    EXPECT_EQ(HTMLExporter::renderedElement(Placed(item, item.frame, std::nullopt), {}), row.element);
  }
}

TEST(HTMLExporter, WritesDrawingsAsInlineSvgScaledToTheirFrame) {
  struct Row {
    const char* name;
    DrawingContent drawing;
    std::optional<std::string> element;
  };
  const std::vector<Row> rows = {
      {"dashed", {{{0, 0}, {0.5, 1}, {1, 0.25}}, "#111111", 4, DrawingContent::LineStyle::dashed},
       R"(      <div class="item drawing" style="left:5px;top:6px;width:200px;height:100px;z-index:0;"><svg viewBox="0 0 200 100" preserveAspectRatio="none" xmlns="http://www.w3.org/2000/svg"><polyline points="0,0 100,100 200,25" fill="none" stroke="#111111" stroke-width="4" stroke-linecap="round" stroke-linejoin="round" stroke-dasharray="12 8"/></svg></div>
)"},
      {"solid, invalid colour, fractional", {{{0.3333, 0.001}, {-0.1, 1.2}}, "blue", 2.5, DrawingContent::LineStyle::solid},
       R"(      <div class="item drawing" style="left:5px;top:6px;width:200px;height:100px;z-index:0;"><svg viewBox="0 0 200 100" preserveAspectRatio="none" xmlns="http://www.w3.org/2000/svg"><polyline points="66.66,0.1 -20,120" fill="none" stroke="#111111" stroke-width="2.5" stroke-linecap="round" stroke-linejoin="round"/></svg></div>
)"},
      {"dashed width 2.5", {{{0, 0}, {1, 1}}, "#0f0", 2.5, DrawingContent::LineStyle::dashed},
       R"(      <div class="item drawing" style="left:5px;top:6px;width:200px;height:100px;z-index:0;"><svg viewBox="0 0 200 100" preserveAspectRatio="none" xmlns="http://www.w3.org/2000/svg"><polyline points="0,0 200,100" fill="none" stroke="#0f0" stroke-width="2.5" stroke-linecap="round" stroke-linejoin="round" stroke-dasharray="7.5 5"/></svg></div>
)"},
      {"one point", {{{0.5, 0.5}}, "#111111", 4, DrawingContent::LineStyle::solid}, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const CanvasItem item = drawingItem({5, 6, 200, 100}, row.drawing);
    EXPECT_EQ(HTMLExporter::renderedElement(Placed(item, item.frame, std::nullopt), {}), row.element);
  }
}

TEST(HTMLExporter, InlinesImagesAsDataUrisWhenTheMapHasThem) {
  const CanvasItem item = imageItem(uuid(7), {1, 2, 30, 40});
  const Placed placed(item, item.frame, std::nullopt);
  const ImageMap images{{uuid(7), EmbeddedImage{{'f', 'o', 'o', 'b'}, "image/png"}}};
  EXPECT_EQ(HTMLExporter::renderedElement(placed, images),
            R"(      <div class="item" style="left:1px;top:2px;width:30px;height:40px;z-index:0;"><img src="data:image/png;base64,Zm9vYg==" alt=""></div>
)");
  EXPECT_EQ(HTMLExporter::renderedElement(placed, {}), std::nullopt);
  const ImageMap others{{uuid(8), EmbeddedImage{{1}, "image/png"}}};
  EXPECT_EQ(HTMLExporter::renderedElement(placed, others), std::nullopt);
}

TEST(HTMLExporter, WritesSectionTitlesThatFitInsideTheirShape) {
  struct Row {
    const char* name;
    Frame frame;
    ShapeContent shape;
    std::string_view background;
    std::optional<std::string> element;
  };
  const std::vector<Row> rows = {
      {"dark fill gives light ink", {10, 20, 200, 100}, {"#1a1a1a", std::nullopt, 1, "Q1 <goals>", 44}, "#ffffff",
       R"(      <div class="item title" style="left:20px;top:30px;width:180px;z-index:4;font-size:44px;color:#FFFFFF;">Q1 &lt;goals&gt;</div>
)"},
      {"unparsable fill decides, not the background", {0, 0, 21, 50}, {"red", std::nullopt, 1, " x ", std::nullopt},
       "#000000",
       R"(      <div class="item title" style="left:10px;top:10px;width:1px;z-index:4;font-size:28px;color:#000000;"> x </div>
)"},
      {"no fill: the background decides", {0, 0, 100, 50}, {std::nullopt, std::nullopt, 1, "T", 20}, "#000000",
       R"(      <div class="item title" style="left:10px;top:10px;width:80px;z-index:4;font-size:20px;color:#FFFFFF;">T</div>
)"},
      {"too narrow", {0, 0, 20, 50}, {"#fff", std::nullopt, 1, "T", std::nullopt}, "#fff", std::nullopt},
      {"blank title", {0, 0, 100, 50}, {"#fff", std::nullopt, 1, " \n ", std::nullopt}, "#fff", std::nullopt},
      {"no title", {0, 0, 100, 50}, {"#fff", std::nullopt, 1, std::nullopt, std::nullopt}, "#fff", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const CanvasItem item = shapeItem(row.frame, 4, row.shape);
    EXPECT_EQ(HTMLExporter::sectionTitleElement(Placed(item, item.frame, std::nullopt), row.background),
              row.element);
  }
  CanvasItem text = textItem({0, 0, 100, 50}, 0, {"T", "", 24});
  text.shape = ShapeContent{"#fff", std::nullopt, 1, "T", std::nullopt};
  EXPECT_EQ(HTMLExporter::sectionTitleElement(Placed(text, text.frame, std::nullopt), "#fff"), std::nullopt);
}

TEST(HTMLExporter, WritesCaptionsUnderTheirImageWithTheirAlignment) {
  struct Row {
    const char* name;
    std::optional<std::string> caption;
    std::optional<CaptionAlignment> alignment;
    std::optional<Frame> captionFrame;
    std::optional<std::string> element;
  };
  const Frame below{0, 56, 100, 22.5};
  const std::vector<Row> rows = {
      {"absent alignment", "A & B", std::nullopt, below,
       R"(      <div class="item caption" style="left:0px;top:56px;width:100px;min-height:22.5px;z-index:0;font-size:18px;font-style:italic;text-align:left;color:#FFFFFF;">A &amp; B</div>
)"},
      {"leading", "a", CaptionAlignment::leading, below,
       R"(      <div class="item caption" style="left:0px;top:56px;width:100px;min-height:22.5px;z-index:0;font-size:18px;font-style:italic;text-align:left;color:#FFFFFF;">a</div>
)"},
      {"center", "a", CaptionAlignment::center, below,
       R"(      <div class="item caption" style="left:0px;top:56px;width:100px;min-height:22.5px;z-index:0;font-size:18px;font-style:italic;text-align:center;color:#FFFFFF;">a</div>
)"},
      {"trailing", "  ", CaptionAlignment::trailing, below,
       R"(      <div class="item caption" style="left:0px;top:56px;width:100px;min-height:22.5px;z-index:0;font-size:18px;font-style:italic;text-align:right;color:#FFFFFF;">  </div>
)"},
      {"empty caption", "", CaptionAlignment::center, below, std::nullopt},
      {"no caption", std::nullopt, CaptionAlignment::center, below, std::nullopt},
      {"no caption frame", "a", CaptionAlignment::center, std::nullopt, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const CanvasItem item = imageItem(uuid(9), {0, 0, 100, 50}, row.caption, row.alignment);
    EXPECT_EQ(HTMLExporter::captionElement(Placed(item, item.frame, row.captionFrame), "#FFFFFF"), row.element);
  }
}

// A few bytes with the PNG signature: enough for a data URI and for recognising the format.
const Bytes kPngBytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};

BoardBundle boardNamed(std::string name, std::string background, std::vector<CanvasItem> items) {
  BoardBundle bundle;
  bundle.manifest.board.name = std::move(name);
  bundle.manifest.board.canvas.backgroundColor = std::move(background);
  bundle.manifest.items = std::move(items);
  return bundle;
}

BoardBundle eachKindBoard() {
  DrawingContent line{{{0, 0}, {0.5, 1}, {1, 0}}, "#e63946", 6, DrawingContent::LineStyle::dashed};
  return boardNamed("Tom & Jerry's <plan>", "#fafafa",
                    {imageItem(uuid(1), {0, 0, 120, 80}),
                     CanvasItem(uuid(2), TextContent{"Hello\nworld", "#333333", 24}, {140, 0, 200, 60}, 1, false,
                                std::nullopt),
                     CanvasItem(uuid(3), ShapeContent{"#1a1a1a", "#ffffff", 3, "Moodboard", std::nullopt},
                                {0, 100, 300, 150}, -1, false, std::nullopt),
                     CanvasItem(uuid(4), line, {320, 100, 100, 100}, 2, false, std::nullopt)});
}

TEST(HTMLExporter, SinglePageDocumentsMatchTheirGoldenFiles) {
  const ImageMap eachKindImages{{uuid(1), EmbeddedImage{kPngBytes, "image/png"}}};

  BoardBundle captions = boardNamed("Captions", "  #202020 ",
                                    {imageItem(uuid(1), {0, 0, 160, 90}, "Leading line", CaptionAlignment::leading),
                                     imageItem(uuid(2), {180, 0, 160, 90}, "Centred", CaptionAlignment::center),
                                     imageItem(uuid(3), {360, 0, 160, 90}, "Trailing", CaptionAlignment::trailing),
                                     imageItem(uuid(4), {540, 0, 160, 90}, "No picture, caption stays")});
  const ImageMap captionImages{{uuid(1), EmbeddedImage{kPngBytes, "image/png"}},
                               {uuid(2), EmbeddedImage{kPngBytes, "image/png"}},
                               {uuid(3), EmbeddedImage{{0xFF, 0xD8, 0xFF, 0xE0}, "image/jpeg"}}};
  const CaptionHeights heights{{uuid(1), 20.7}, {uuid(2), 20.7}, {uuid(3), 41.4}, {uuid(4), 20.7}};

  // No "#": the page falls back to white, and the board container stays empty at 0 × 0.
  testing::expectMatchesGolden("empty", HTMLExporter::exportBoard(boardNamed("", "1a1a1a", {}), {}, {}));
  testing::expectMatchesGolden("each_kind", HTMLExporter::exportBoard(eachKindBoard(), eachKindImages, {}));
  testing::expectMatchesGolden("captions", HTMLExporter::exportBoard(captions, captionImages, heights));
}

TEST(HTMLExporter, SinglePageDocumentTakesThePicturesOfTheBundle) {
  // Reading pictures straight from the bundle must give what the board's image map gives.
  const Bytes gif{'G', 'I', 'F', '8', '9', 'a', 1, 0};
  const Bytes unknown{1, 2, 3, 4, 5};
  struct Row {
    const char* name;
    std::map<std::string, Bytes> images, thumbnails;
  };
  const std::string full = "images/" + uuid(1).string() + ".png";
  const std::string small = "thumbnails/" + uuid(1).string() + ".png";
  const std::vector<Row> rows = {
      {"full image", {{full, kPngBytes}}, {{small, {0xFF, 0xD8, 0xFF, 0xE0}}}},
      {"thumbnail only", {}, {{small, {0xFF, 0xD8, 0xFF, 0xE0}}}},
      {"rejected bytes named by extension", {{full, gif}}, {}},
      {"unknown bytes", {{full, unknown}}, {}},
      {"nothing", {}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    BoardBundle bundle = eachKindBoard();
    bundle.images = row.images;
    bundle.thumbnails = row.thumbnails;
    CanvasItem unnamed = imageItem(uuid(6), {0, 300, 10, 10});
    unnamed.thumbnail.reset();
    bundle.images["images/" + uuid(6).string() + ".png"] = kPngBytes;
    bundle.manifest.items.push_back(unnamed);
    EXPECT_EQ(HTMLExporter::exportBoard(bundle, {}),
              HTMLExporter::exportBoard(bundle, HTMLExporter::fullResolutionImages(bundle), {}));
  }
}

std::size_t count(std::string_view text, std::string_view piece) {
  std::size_t n = 0;
  for (auto at = text.find(piece); at != std::string_view::npos; at = text.find(piece, at + 1)) ++n;
  return n;
}

PageExportChrome chromeWith(bool cover, bool branding, bool margin, std::string sender = "",
                            std::optional<EmbeddedImage> logo = std::nullopt) {
  return PageExportChrome{cover, branding, margin, std::move(sender), std::move(logo),
                          CoverMetaLabels{"Client", "Model", "Date", "Location"}};
}

std::vector<PageExportPlan::Page> a4Pages(std::size_t n) {
  std::vector<PageExportPlan::Page> pages;
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<std::int64_t>(i);
    pages.push_back({c, c, 0, {909.0 * static_cast<double>(c), 0, 909, 1286}});
  }
  return pages;
}

BoardBundle withHeader(BoardBundle bundle, BoardHeader header) {
  bundle.manifest.board.header = std::move(header);
  return bundle;
}

TEST(HTMLExporter, PagedDocumentPlacesSheetsAndFootersByItsChrome) {
  const BoardBundle board = boardNamed("b", "#FFFFFF", {shapeItem({100, 100, 50, 50}, 0, {"#FF0000", {}, 0, {}, {}})});
  const std::string shape =
      R"(      <div class="item" style="left:100px;top:100px;width:50px;height:50px;z-index:0;background:#FF0000;"></div>
)";
  const std::string page = R"(    <div class="page" style="width:909px;height:1286px;background:#FFFFFF;">
)";
  struct Row {
    const char* name;
    PageExportChrome chrome;
    std::size_t pages;
    std::vector<std::string> pieces;  // each must appear, in this order
    std::vector<std::string> absent;
  };
  const std::vector<Row> rows = {
      {"chrome off", chromeWith(false, false, false), 1,
       {"    @page { size: 594.98pt 841.75pt; margin: 0; }\n", page + shape + "    </div>\n  </body>\n"},
       {"class=\"sheet\"", "class=\"footer\""}},
      {"margin only", chromeWith(false, false, true), 1,
       {page + R"(      <div class="sheet" style="left:42.78px;top:60.52px;width:909px;height:1286px;transform:scale(0.91);transform-origin:top left;">
)" + shape + "      </div>\n    </div>\n"},
       {"class=\"footer\""}},
      {"margin and branding", chromeWith(false, true, true, " Studio "), 4,
       {R"(<div class="sheet" style="left:48.6px;top:42.78px;width:909px;height:1286px;transform:scale(0.89);)",
        "      </div>\n" R"(      <div class="footer" style="left:42.78px;top:1191.28px;width:823.44px;height:51.94px;font-size:13.75px;color:#000000;"><div class="foot-left">Studio</div><div class="foot-right">1 / 4</div></div>
)",
        page + R"(      <div class="sheet" style="left:48.6px;top:42.78px;width:909px;height:1286px;transform:scale(0.89);transform-origin:top left;">
      </div>
      <div class="footer" style="left:42.78px;top:1191.28px;width:823.44px;height:51.94px;font-size:13.75px;color:#000000;"><div class="foot-left">Studio</div><div class="foot-right">2 / 4</div></div>
    </div>
)",
        "<div class=\"foot-right\">4 / 4</div>"},
       {}},
      {"cover wanted but no header", chromeWith(true, false, false), 1,
       {R"(<div class="sheet" style="left:0px;top:0px;width:909px;height:1286px;transform:scale(1);)"},
       {"class=\"cover\"", "class=\"footer\""}},
      {"no header, branding with blank sender", chromeWith(true, true, false, "  \n "), 2,
       {R"(<div class="foot-left"></div><div class="foot-right">1 / 2</div>)",
        R"(<div class="foot-left"></div><div class="foot-right">2 / 2</div>)"},
       {"class=\"cover\""}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string html = HTMLExporter::exportPaged(board, {}, a4Pages(row.pages), {}, row.chrome);
    std::size_t from = 0;
    for (const auto& piece : row.pieces) {
      const auto at = html.find(piece, from);
      EXPECT_NE(at, std::string::npos) << piece;
      if (at != std::string::npos) from = at + piece.size();
    }
    for (const auto& piece : row.absent) EXPECT_EQ(html.find(piece), std::string::npos) << piece;
    EXPECT_EQ(count(html, page), row.pages);
  }
}

TEST(HTMLExporter, CoverHoldsTitleTableAndNotesWithRulesAfterTitleAndTable) {
  struct Row {
    const char* name;
    BoardHeader header;
    std::string cover;  // the cover element's content
  };
  const std::string rule = R"(<div class="cv-rule" style="margin-top:15.28px;"></div>)";
  const std::vector<Row> rows = {
      {"title only", {.title = "  Spring  "}, R"(<div class="cv-title" style="font-size:45.83px;">Spring</div>)" + rule},
      {"rows without title", {.title = " ", .client = "  ACME  ", .date = "", .location = "Hall 3"},
       R"(<table class="cv-meta" style="font-size:19.86px;margin-top:15.28px;"><tr><td class="cv-k">Client</td><td class="cv-v">ACME</td></tr><tr><td class="cv-k">Location</td><td class="cv-v">Hall 3</td></tr></table>)" +
           rule},
      {"notes only", {.notes = "\n a & b\nc \n"},
       "<div class=\"cv-notes\" style=\"font-size:16.81px;margin-top:15.28px;\">a &amp; b\nc</div>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const BoardBundle board = withHeader(boardNamed("c", "#101010", {}), row.header);
    const std::string html = HTMLExporter::exportPaged(board, {}, a4Pages(2), {}, chromeWith(true, true, false));
    EXPECT_NE(html.find(R"(    <div class="page" style="width:909px;height:1286px;background:#101010;">
      <div class="cover" style="left:0px;top:0px;width:909px;height:1234.06px;color:#FFFFFF;">)" +
                        row.cover + "</div>\n      <div class=\"footer\""),
              std::string::npos);
    EXPECT_NE(html.find("<div class=\"foot-right\">1 / 3</div>"), std::string::npos);
    EXPECT_NE(html.find("<div class=\"foot-right\">3 / 3</div>"), std::string::npos);
  }
}

TEST(HTMLExporter, PagedDocumentWithoutPagesIsStillComplete) {
  const BoardBundle board = withHeader(boardNamed("e", "#fff", {}), {.title = "T"});
  const std::string bare = HTMLExporter::exportPaged(board, {}, {}, {}, chromeWith(false, true, true));
  EXPECT_NE(bare.find("    @page { size: 0pt 0pt; margin: 0; }\n"), std::string::npos);
  EXPECT_NE(bare.find("<body>\n  </body>\n</html>\n"), std::string::npos);
  const std::string covered = HTMLExporter::exportPaged(board, {}, {}, {}, chromeWith(true, false, false));
  EXPECT_NE(covered.find("<body>\n    <div class=\"page\" style=\"width:0px;height:0px;background:#fff;\">\n"
                         "      <div class=\"cover\""),
            std::string::npos);
}

TEST(HTMLExporter, PagedDocumentMatchesItsGoldenFile) {
  // Two tiles side by side with an image straddling them, a cover, footer, margin and logo.
  BoardBundle board = withHeader(eachKindBoard(), {.title = "Spring collection", .client = "ACME & Co",
                                                   .model = "  ", .date = "2026-03-01", .location = "Hall 3",
                                                   .notes = "Bring swatches.\nNo <glitter>."});
  board.manifest.board.canvas.backgroundColor = "#F4F1EA";
  board.manifest.items.push_back(imageItem(uuid(5), {850, 300, 120, 80}, "Across the fold", CaptionAlignment::center));
  const ImageMap images{{uuid(1), EmbeddedImage{kPngBytes, "image/png"}},
                        {uuid(5), EmbeddedImage{kPngBytes, "image/png"}}};
  const CaptionHeights heights{{uuid(5), 20.7}};
  std::vector<Frame> frames;
  for (const auto& item : board.manifest.items) frames.push_back(BoardLayout::contentFrame(item, heights));
  const auto pages = PageExportPlan::pages(PageSetup::defaultSetup(), frames);
  ASSERT_EQ(pages.size(), 2u);
  const PageExportChrome chrome = chromeWith(true, true, true, " Studio North ", EmbeddedImage{kPngBytes, "image/png"});
  const std::string html = HTMLExporter::exportPaged(board, images, pages, heights, chrome);
  testing::expectMatchesGolden("paged_cover", html);
  EXPECT_EQ(count(html, "Across the fold"), 2u);  // written on both tiles it reaches
}

}  // namespace
}  // namespace zorvi
