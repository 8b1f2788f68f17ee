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
using Opt = std::optional<std::string>;

Uuid uuid(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

template <typename Content>
CanvasItem item(std::uint8_t n, Frame frame, std::int64_t z, Content content) {
  return CanvasItem(uuid(n), std::move(content), frame, z, false, std::nullopt);
}

CanvasItem imageItem(Uuid id, Frame frame, Opt caption = {}, std::optional<CaptionAlignment> alignment = {}) {
  return CanvasItem(id, "images/" + id.string() + ".png", "thumbnails/" + id.string() + ".png", frame, 0,
                    PixelSize{4, 4}, ItemSource{}, std::move(caption), alignment, false, std::nullopt);
}

Placed placed(const CanvasItem& item, std::optional<Frame> caption = {}) { return Placed(item, item.frame, caption); }

// Every element is one indented line.
std::string line(std::string_view element) { return "      " + std::string(element) + "\n"; }

TEST(HTMLNumbers, RoundToHundredthsOnTheDoubleValue) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const std::pair<double, std::string_view> rows[] = {
      {12, "12"}, {12.5, "12.5"}, {0.125, "0.13"}, {-0.625, "-0.63"}, {99.999, "100"},
      {1.005, "1"},  // 100.49999… after scaling
      {-0.004, "0"}, {-0.0, "0"}, {-0x1p63, "-9223372036854775808"}, {0x1p63, "9223372036854775808"},
      {-1e20, "-100000000000000000000"}, {inf, "inf"}, {-inf, "-inf"}, {std::nan(""), "nan"}, {-std::nan(""), "nan"},
  };
  for (const auto& [value, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(HTMLExporter::fmt(value), text);
  }
  // Scaling by 100 overflows these; they must still come out as their own integral value.
  for (const double value : {0x1p1020, -std::numeric_limits<double>::max()}) {
    const std::string text = HTMLExporter::fmt(value);
    EXPECT_EQ(text.find_first_not_of("-0123456789"), std::string::npos) << text;
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), value);
  }
}

TEST(HTMLColours, AcceptOnlyHashAndThreeOrSixHexCharacters) {
  const std::tuple<const char*, Opt, Opt> rows[] = {
      {"absent", std::nullopt, std::nullopt},
      {"six", "#1a1A1a", "#1a1A1a"},
      {"three kept short", "#000", "#000"},
      {"trimmed tab and wide spaces", "\t\u00A0#abc\u3000 ", "#abc"},
      {"line break not trimmed", "#abc\n", std::nullopt},
      {"five", "#12345", std::nullopt},
      {"seven", "#1234567", std::nullopt},
      {"no hash", "1a1a1a", std::nullopt},
      {"not hex", "#ggg", std::nullopt},
      {"full-width digits", "#\uFF10\uFF21\uFF46", "#\uFF10\uFF21\uFF46"},
      {"full-width beyond f", "#\uFF27\uFF10\uFF10", std::nullopt},
      {"combining mark makes a digit no digit", "#ab\u0301c", std::nullopt},
      {"combining mark on the hash", "#\u0301fff", std::nullopt},
      {"invalid byte", "#ff\xFF", std::nullopt},
  };
  for (const auto& [name, in, out] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(HTMLExporter::validColor(in), out);
    EXPECT_EQ(HTMLExporter::sanitizedColor(in.value_or("")), out.value_or("#FFFFFF"));
  }
}

TEST(HTMLEscaping, ReplacesFiveCharactersWalkingUserPerceivedCharacters) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"Tom & Jerry's <\"plan\">", "Tom &amp; Jerry&#39;s &lt;&quot;plan&quot;&gt;"},
      {"line\r\n&", "line\r\n&amp;"},
      {"&\u0301", "&\u0301"},      // an ampersand carrying an accent is another character
      {"<\u200D>", "<\u200D&gt;"},  // so is one joined to what follows
      {"\u0600&x", "\u0600&x"},    // a prepended mark joins the ampersand
      {"\xFF<\xFE", "\xFF&lt;\xFE"},
      {"\U0001F600>", "\U0001F600&gt;"},
  };
  for (const auto& [in, out] : rows) {
    SCOPED_TRACE(in);
    EXPECT_EQ(HTMLExporter::escape(in), out);
  }
}

TEST(HTMLBase64, EncodesWithPaddingAfterWhatIsThere) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"f", "Zg=="}, {"fo", "Zm8="}, {"foob", "Zm9vYg=="}, {"\xFB\xFF\xBF", "+/+/"}};
  for (const auto& [in, out] : rows) {
    SCOPED_TRACE(out);
    std::string text = "x";
    html::appendBase64(text, {reinterpret_cast<const std::uint8_t*>(in.data()), in.size()});
    EXPECT_EQ(text, "x" + std::string(out));
    EXPECT_EQ(html::base64Length(in.size()), out.size());
  }
}

TEST(HTMLContrast, ChoosesDarkInkUnlessTheBackgroundIsDark) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"#1a1a1a", "#FFFFFF"}, {"#808080", "#000000"}, {"#7F7F7F", "#FFFFFF"},
      {"#000", "#000000"},  // the short form is no colour to the luminance
      {"red", "#000000"},     {"  000000\n", "#FFFFFF"},
  };
  for (const auto& [background, ink] : rows) {
    SCOPED_TRACE(background);
    EXPECT_EQ(HTMLExporter::contrastColor(background), ink);
  }
}

TEST(HTMLElements, WriteEachKindOfItemOnOneLine) {
  using Style = DrawingContent::LineStyle;
  CanvasItem noText = item(1, {}, 0, TextContent{});
  noText.text.reset();
  const std::string svg = R"(<svg viewBox="0 0 200 100" preserveAspectRatio="none" xmlns="http://www.w3.org/2000/svg">)";
  const ImageMap images{{uuid(7), EmbeddedImage{{'f', 'o', 'o', 'b'}, "image/png"}}};
  const std::tuple<const char*, CanvasItem, Opt> rows[] = {
      {"text", item(1, {40, 12.5, 300, 200}, 3, TextContent{"Hello", "", 24}),
       line(R"(<div class="item text" style="left:40px;top:12.5px;width:300px;min-height:200px;z-index:3;font-size:24px;color:#111111;">Hello</div>)")},
      {"text coloured and escaped", item(1, {-1.005, 0.125, 10, 20}, -2, TextContent{"a<b>\n&c", " #ABC ", 44.444}),
       line("<div class=\"item text\" style=\"left:-1px;top:0.13px;width:10px;min-height:20px;z-index:-2;"
            "font-size:44.44px;color:#ABC;\">a&lt;b&gt;\n&amp;c</div>")},
      {"no text content", noText, std::nullopt},
      {"shape", item(2, {0, 0, 100, 50}, 0, ShapeContent{"#FF0000", " #abc", 1.5, {}, {}}),
       line(R"(<div class="item" style="left:0px;top:0px;width:100px;height:50px;z-index:0;background:#FF0000;border:1.5px solid #abc;"></div>)")},
      {"shape with invalid colours", item(2, {0, 0, 100, 50}, 0, ShapeContent{"red", "#12345", 2, {}, {}}),
       line(R"(<div class="item" style="left:0px;top:0px;width:100px;height:50px;z-index:0;"></div>)")},
      {"dashed drawing", item(3, {5, 6, 200, 100}, 0, DrawingContent{{{0, 0}, {0.5, 1}, {1, 0.25}}, "#111111", 4, Style::dashed}),
       line(R"(<div class="item drawing" style="left:5px;top:6px;width:200px;height:100px;z-index:0;">)" + svg +
            R"(<polyline points="0,0 100,100 200,25" fill="none" stroke="#111111" stroke-width="4" stroke-linecap="round" stroke-linejoin="round" stroke-dasharray="12 8"/></svg></div>)")},
      {"solid drawing, invalid colour", item(3, {5, 6, 200, 100}, 0, DrawingContent{{{0.3333, 0.001}, {-0.1, 1.2}}, "blue", 2.5, Style::solid}),
       line(R"(<div class="item drawing" style="left:5px;top:6px;width:200px;height:100px;z-index:0;">)" + svg +
            R"(<polyline points="66.66,0.1 -20,120" fill="none" stroke="#111111" stroke-width="2.5" stroke-linecap="round" stroke-linejoin="round"/></svg></div>)")},
      {"drawing of one point", item(3, {}, 0, DrawingContent{{{0.5, 0.5}}, "#111111", 4, Style::solid}), std::nullopt},
      {"image in the map", imageItem(uuid(7), {1, 2, 30, 40}),
       line(R"(<div class="item" style="left:1px;top:2px;width:30px;height:40px;z-index:0;"><img src="data:image/png;base64,Zm9vYg==" alt=""></div>)")},
      {"image not in the map", imageItem(uuid(8), {1, 2, 30, 40}), std::nullopt},
  };
  for (const auto& [name, it, element] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(HTMLExporter::renderedElement(placed(it), images), element);
  }
}

TEST(HTMLElements, WriteSectionTitlesThatFitInsideTheirShape) {
  const std::tuple<const char*, Frame, ShapeContent, std::string_view, Opt> rows[] = {
      {"dark fill gives light ink", {10, 20, 200, 100}, {"#1a1a1a", {}, 1, "Q1 <goals>", 44}, "#ffffff",
       line(R"(<div class="item title" style="left:20px;top:30px;width:180px;z-index:4;font-size:44px;color:#FFFFFF;">Q1 &lt;goals&gt;</div>)")},
      {"unparsable fill decides, not the background", {0, 0, 21, 50}, {"red", {}, 1, " x ", {}}, "#000000",
       line(R"(<div class="item title" style="left:10px;top:10px;width:1px;z-index:4;font-size:28px;color:#000000;"> x </div>)")},
      {"no fill: the background decides", {0, 0, 100, 50}, {{}, {}, 1, "T", 20}, "#000000",
       line(R"(<div class="item title" style="left:10px;top:10px;width:80px;z-index:4;font-size:20px;color:#FFFFFF;">T</div>)")},
      {"too narrow", {0, 0, 20, 50}, {"#fff", {}, 1, "T", {}}, "#fff", std::nullopt},
      {"blank title", {0, 0, 100, 50}, {"#fff", {}, 1, " \n ", {}}, "#fff", std::nullopt},
      {"no title", {0, 0, 100, 50}, {"#fff", {}, 1, {}, {}}, "#fff", std::nullopt},
  };
  for (const auto& [name, frame, shape, background, element] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(HTMLExporter::sectionTitleElement(placed(item(2, frame, 4, shape)), background), element);
  }
  CanvasItem text = item(1, {0, 0, 100, 50}, 0, TextContent{"T", "", 24});
  text.shape = ShapeContent{"#fff", std::nullopt, 1, "T", std::nullopt};
  EXPECT_EQ(HTMLExporter::sectionTitleElement(placed(text), "#fff"), std::nullopt);
}

TEST(HTMLElements, WriteCaptionsUnderTheirImageWithTheirAlignment) {
  const Frame below{0, 56, 100, 22.5};
  const auto caption = [](std::string_view align, std::string_view text) {
    return line(R"(<div class="item caption" style="left:0px;top:56px;width:100px;min-height:22.5px;z-index:0;font-size:18px;font-style:italic;text-align:)" +
                std::string(align) + ";color:#FFFFFF;\">" + std::string(text) + "</div>");
  };
  const std::tuple<const char*, Opt, std::optional<CaptionAlignment>, std::optional<Frame>, Opt> rows[] = {
      {"absent alignment", "A & B", std::nullopt, below, caption("left", "A &amp; B")},
      {"center", "a", CaptionAlignment::center, below, caption("center", "a")},
      {"trailing, blank kept", "  ", CaptionAlignment::trailing, below, caption("right", "  ")},
      {"empty caption", "", CaptionAlignment::center, below, std::nullopt},
      {"no caption frame", "a", CaptionAlignment::center, std::nullopt, std::nullopt},
  };
  for (const auto& [name, text, alignment, frame, element] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(HTMLExporter::captionElement(placed(imageItem(uuid(9), {0, 0, 100, 50}, text, alignment), frame), "#FFFFFF"),
              element);
  }
}

// A few bytes with the PNG signature: enough for a data URI and for recognising the format.
const Bytes kPng{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};

BoardBundle boardNamed(std::string name, std::string background, std::vector<CanvasItem> items, BoardHeader header = {}) {
  BoardBundle bundle;
  bundle.manifest.board.name = std::move(name);
  bundle.manifest.board.canvas.backgroundColor = std::move(background);
  bundle.manifest.board.header = std::move(header);
  bundle.manifest.items = std::move(items);
  return bundle;
}

BoardBundle eachKindBoard(BoardHeader header = {}) {
  return boardNamed("Tom & Jerry's <plan>", "#fafafa",
                    {imageItem(uuid(1), {0, 0, 120, 80}), item(2, {140, 0, 200, 60}, 1, TextContent{"Hello\nworld", "#333333", 24}),
                     item(3, {0, 100, 300, 150}, -1, ShapeContent{"#1a1a1a", "#ffffff", 3, "Moodboard", std::nullopt}),
                     item(4, {320, 100, 100, 100}, 2,
                          DrawingContent{{{0, 0}, {0.5, 1}, {1, 0}}, "#e63946", 6, DrawingContent::LineStyle::dashed})},
                    std::move(header));
}

TEST(HTMLDocuments, SinglePageDocumentsMatchTheirGoldenFiles) {
  const BoardBundle captions =
      boardNamed("Captions", "  #202020 ",
                 {imageItem(uuid(1), {0, 0, 160, 90}, "Leading line", CaptionAlignment::leading),
                  imageItem(uuid(2), {180, 0, 160, 90}, "Centred", CaptionAlignment::center),
                  imageItem(uuid(3), {360, 0, 160, 90}, "Trailing", CaptionAlignment::trailing),
                  imageItem(uuid(4), {540, 0, 160, 90}, "No picture, caption stays")});
  const ImageMap captionImages{{uuid(1), EmbeddedImage{kPng, "image/png"}},
                               {uuid(2), EmbeddedImage{kPng, "image/png"}},
                               {uuid(3), EmbeddedImage{{0xFF, 0xD8, 0xFF, 0xE0}, "image/jpeg"}}};
  const CaptionHeights heights{{uuid(1), 20.7}, {uuid(2), 20.7}, {uuid(3), 41.4}, {uuid(4), 20.7}};
  // No "#": the page falls back to white, and the board container stays empty at 0 × 0.
  testing::expectMatchesGolden("empty", HTMLExporter::exportBoard(boardNamed("", "1a1a1a", {}), {}, {}));
  testing::expectMatchesGolden(
      "each_kind", HTMLExporter::exportBoard(eachKindBoard(), {{uuid(1), EmbeddedImage{kPng, "image/png"}}}, {}));
  testing::expectMatchesGolden("captions", HTMLExporter::exportBoard(captions, captionImages, heights));
}

TEST(HTMLDocuments, SinglePageDocumentTakesThePicturesOfTheBundle) {
  // Reading pictures straight from the bundle must give what the board's image map gives.
  const std::string full = "images/" + uuid(1).string() + ".png", small = "thumbnails/" + uuid(1).string() + ".png";
  const Bytes jpeg{0xFF, 0xD8, 0xFF, 0xE0};
  const std::tuple<const char*, std::map<std::string, Bytes>, std::map<std::string, Bytes>> rows[] = {
      {"full image", {{full, kPng}}, {{small, jpeg}}},
      {"thumbnail only", {}, {{small, jpeg}}},
      {"rejected bytes named by extension", {{full, {'G', 'I', 'F', '8', '9', 'a', 1, 0}}}, {}},
      {"unknown bytes", {{full, {1, 2, 3, 4, 5}}}, {}},
  };
  for (const auto& [name, images, thumbnails] : rows) {
    SCOPED_TRACE(name);
    BoardBundle bundle = eachKindBoard();
    bundle.images = images;
    bundle.thumbnails = thumbnails;
    CanvasItem unnamed = imageItem(uuid(6), {0, 300, 10, 10});
    unnamed.thumbnail.reset();
    bundle.images["images/" + uuid(6).string() + ".png"] = kPng;
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

std::vector<PageExportPlan::Page> a4Pages(std::int64_t n) {
  std::vector<PageExportPlan::Page> pages;
  for (std::int64_t c = 0; c < n; ++c) pages.push_back({c, c, 0, {909.0 * static_cast<double>(c), 0, 909, 1286}});
  return pages;
}

TEST(HTMLDocuments, PagedDocumentPlacesSheetsAndFootersByItsChrome) {
  const BoardBundle board = boardNamed("b", "#FFFFFF", {item(2, {100, 100, 50, 50}, 0, ShapeContent{"#FF0000", {}, 0, {}, {}})});
  const std::string shape = line(R"(<div class="item" style="left:100px;top:100px;width:50px;height:50px;z-index:0;background:#FF0000;"></div>)");
  const std::string page = "    <div class=\"page\" style=\"width:909px;height:1286px;background:#FFFFFF;\">\n";
  const std::string sheet = R"(<div class="sheet" style="left:48.6px;top:42.78px;width:909px;height:1286px;transform:scale(0.89);)";
  const auto footer = [](std::string_view number) {
    return line(R"(<div class="footer" style="left:42.78px;top:1191.28px;width:823.44px;height:51.94px;font-size:13.75px;color:#000000;"><div class="foot-left">Studio</div><div class="foot-right">)" +
                std::string(number) + "</div></div>");
  };
  // Pieces must appear in this order; absent ones nowhere.
  const std::tuple<const char*, PageExportChrome, int, std::vector<std::string>, std::vector<std::string>> rows[] = {
      {"chrome off", chromeWith(false, false, false), 1,
       {"    @page { size: 594.98pt 841.75pt; margin: 0; }\n", page + shape + "    </div>\n  </body>\n"},
       {"class=\"sheet\"", "class=\"footer\""}},
      {"margin only", chromeWith(false, false, true), 1,
       {page + line(R"(<div class="sheet" style="left:42.78px;top:60.52px;width:909px;height:1286px;transform:scale(0.91);transform-origin:top left;">)") +
        shape + "      </div>\n    </div>\n"},
       {"class=\"footer\""}},
      {"margin and branding", chromeWith(false, true, true, " Studio "), 4,
       {sheet, "      </div>\n" + footer("1 / 4"),
        page + line(sheet + "transform-origin:top left;\">") + "      </div>\n" + footer("2 / 4") + "    </div>\n",
        footer("4 / 4")},
       {}},
      {"cover wanted but no header", chromeWith(true, false, false), 1,
       {R"(<div class="sheet" style="left:0px;top:0px;width:909px;height:1286px;transform:scale(1);)"},
       {"class=\"cover\"", "class=\"footer\""}},
      {"no header, branding with blank sender", chromeWith(true, true, false, "  \n "), 2,
       {R"(<div class="foot-left"></div><div class="foot-right">1 / 2</div>)",
        R"(<div class="foot-left"></div><div class="foot-right">2 / 2</div>)"},
       {"class=\"cover\""}},
  };
  for (const auto& [name, chrome, pages, pieces, absent] : rows) {
    SCOPED_TRACE(name);
    const std::string html = HTMLExporter::exportPaged(board, {}, a4Pages(pages), {}, chrome);
    std::size_t from = 0;
    for (const auto& piece : pieces) {
      const auto at = html.find(piece, from);
      EXPECT_NE(at, std::string::npos) << piece;
      if (at != std::string::npos) from = at + piece.size();
    }
    for (const auto& piece : absent) EXPECT_EQ(html.find(piece), std::string::npos) << piece;
    EXPECT_EQ(count(html, page), static_cast<std::size_t>(pages));
  }
}

TEST(HTMLDocuments, CoverHoldsTitleTableAndNotesWithRulesAfterTitleAndTable) {
  const std::string rule = R"(<div class="cv-rule" style="margin-top:15.28px;"></div>)";
  const std::tuple<const char*, BoardHeader, std::string> rows[] = {
      {"title only", {.title = "  Spring  "}, R"(<div class="cv-title" style="font-size:45.83px;">Spring</div>)" + rule},
      {"rows without title", {.title = " ", .client = "  ACME  ", .date = "", .location = "Hall 3"},
       R"(<table class="cv-meta" style="font-size:19.86px;margin-top:15.28px;"><tr><td class="cv-k">Client</td><td class="cv-v">ACME</td></tr><tr><td class="cv-k">Location</td><td class="cv-v">Hall 3</td></tr></table>)" + rule},
      {"notes only", {.notes = "\n a & b\nc \n"},
       "<div class=\"cv-notes\" style=\"font-size:16.81px;margin-top:15.28px;\">a &amp; b\nc</div>"},
  };
  for (const auto& [name, header, cover] : rows) {
    SCOPED_TRACE(name);
    const std::string html =
        HTMLExporter::exportPaged(boardNamed("c", "#101010", {}, header), {}, a4Pages(2), {}, chromeWith(true, true, false));
    EXPECT_NE(html.find("    <div class=\"page\" style=\"width:909px;height:1286px;background:#101010;\">\n" +
                        line(R"(<div class="cover" style="left:0px;top:0px;width:909px;height:1234.06px;color:#FFFFFF;">)" +
                             cover + "</div>") + "      <div class=\"footer\""),
              std::string::npos);
    EXPECT_NE(html.find("<div class=\"foot-right\">1 / 3</div>"), std::string::npos);
    EXPECT_NE(html.find("<div class=\"foot-right\">3 / 3</div>"), std::string::npos);
  }
}

TEST(HTMLDocuments, PagedDocumentWithoutPagesIsStillComplete) {
  const BoardBundle board = boardNamed("e", "#fff", {}, {.title = "T"});
  const std::string bare = HTMLExporter::exportPaged(board, {}, {}, {}, chromeWith(false, true, true));
  EXPECT_NE(bare.find("    @page { size: 0pt 0pt; margin: 0; }\n"), std::string::npos);
  EXPECT_NE(bare.find("<body>\n  </body>\n</html>\n"), std::string::npos);
  const std::string covered = HTMLExporter::exportPaged(board, {}, {}, {}, chromeWith(true, false, false));
  EXPECT_NE(covered.find("<body>\n    <div class=\"page\" style=\"width:0px;height:0px;background:#fff;\">\n"
                         "      <div class=\"cover\""),
            std::string::npos);
}

TEST(HTMLDocuments, PagedDocumentMatchesItsGoldenFile) {
  // Two tiles side by side with an image straddling them, a cover, footer, margin and logo.
  BoardBundle board = eachKindBoard({.title = "Spring collection", .client = "ACME & Co", .model = "  ",
                                     .date = "2026-03-01", .location = "Hall 3", .notes = "Bring swatches.\nNo <glitter>."});
  board.manifest.board.canvas.backgroundColor = "#F4F1EA";
  board.manifest.items.push_back(imageItem(uuid(5), {850, 300, 120, 80}, "Across the fold", CaptionAlignment::center));
  const ImageMap images{{uuid(1), EmbeddedImage{kPng, "image/png"}}, {uuid(5), EmbeddedImage{kPng, "image/png"}}};
  const CaptionHeights heights{{uuid(5), 20.7}};
  std::vector<Frame> frames;
  for (const auto& it : board.manifest.items) frames.push_back(BoardLayout::contentFrame(it, heights));
  const auto pages = PageExportPlan::pages(PageSetup::defaultSetup(), frames);
  ASSERT_EQ(pages.size(), 2u);
  const PageExportChrome chrome = chromeWith(true, true, true, " Studio North ", EmbeddedImage{kPng, "image/png"});
  const std::string html = HTMLExporter::exportPaged(board, images, pages, heights, chrome);
  testing::expectMatchesGolden("paged_cover", html);
  EXPECT_EQ(count(html, "Across the fold"), 2u);  // written on both tiles it reaches
}

// A picture handed over in pieces gives the same document as the picture whole, wherever it is cut.
TEST(HTMLExporterStreaming, PiecesGiveTheWholeDocument) {
  std::vector<std::uint8_t> bytes(1000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + 3);
  std::string whole;
  html::appendBase64(whole, bytes);
  for (const std::vector<std::size_t>& cuts :
       {std::vector<std::size_t>{}, {1}, {2}, {1, 2, 3}, {4, 4, 5}, {0, 998, 999}, {333, 334, 667}}) {
    std::string pieces;
    html::Base64Stream stream;
    std::size_t from = 0;
    for (const std::size_t cut : cuts) {
      stream.append(pieces, std::span(bytes).subspan(from, cut - from));
      from = cut;
    }
    stream.append(pieces, std::span(bytes).subspan(from));
    stream.finish(pieces);
    EXPECT_EQ(pieces, whole) << cuts.size();
  }
  // The streamed document, written to a sink in several pieces, equals the one built in memory.
  Manifest manifest;
  Uuid id;
  id.bytes[15] = 1;
  manifest.items.emplace_back(id, "images/a.png", "thumbnails/a.png", Frame{0, 0, 10, 10}, 0, PixelSize{1, 1},
                              ItemSource{}, std::nullopt, std::nullopt, false, std::nullopt);
  const std::vector<std::uint8_t> big(300 * 1024, 0x5A);
  BoardBundle bundle{manifest, {{"images/a.png", big}}, {}};
  const HTMLExporter::PictureLookup inPieces = [&](const CanvasItem& item) -> std::optional<HTMLExporter::PictureStream> {
    if (item.id != id) return std::nullopt;
    return HTMLExporter::PictureStream{"image/png", big.size(), [&](const HTMLExporter::ByteSink& sink) {
                                         for (std::size_t at = 0; at < big.size(); at += 1000)
                                           sink(std::span(big).subspan(at, std::min<std::size_t>(1000, big.size() - at)));
                                       }};
  };
  std::string streamed;
  int calls = 0;
  HTMLExporter::writeBoard(manifest, inPieces, {}, [&](std::string_view piece) {
    streamed += piece;
    ++calls;
  });
  EXPECT_EQ(streamed, HTMLExporter::exportBoard(bundle, {}));
  EXPECT_GT(calls, 2);
}

}  // namespace
}  // namespace zorvi
