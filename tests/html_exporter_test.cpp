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
#include "support/items.hpp"

namespace zorvi {
namespace {

using Placed = BoardLayout::PlacedItem;
using Opt = std::optional<std::string>;

constexpr auto uuid = &testing::idNumber;
using testing::imageItem;

template <typename Content>
CanvasItem item(std::uint8_t n, Frame frame, std::int64_t z, Content content) {
  return testing::contentItem(n, std::move(content), frame, z);
}

Placed placed(const CanvasItem& item, std::optional<Frame> caption = {}) { return Placed(item, item.frame, caption); }


TEST(HTMLNumbers, RoundToHundredthsOnTheDoubleValue) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const std::pair<double, std::string_view> rows[] = {
      {12, "12"}, {12.5, "12.5"}, {0.125, "0.13"}, {-0.625, "-0.63"}, {99.999, "100"},
      {1.005, "1"},  // 100.49999… after scaling
      {-0.004, "0"}, {-0.0, "0"}, {-0x1p63, "-9223372036854775808"}, {0x1p63, "9223372036854775808"},
      {-1e20, "-100000000000000000000"}, {inf, "inf"}, {-inf, "-inf"}, {std::nan(""), "nan"}, {-std::nan(""), "nan"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(HTMLExporter::fmt(value), text) << text;
  // Scaling by 100 overflows these; they must still come out as their own integral value.
  for (const double value : {0x1p1020, -std::numeric_limits<double>::max()}) {
    const std::string text = HTMLExporter::fmt(value);
    EXPECT_EQ(text.find_first_not_of("-0123456789"), std::string::npos) << text;
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), value);
  }
}

TEST(HTMLColours, AcceptOnlyHashAndThreeOrSixHexCharacters) {
  const std::tuple<const char*, Opt, Opt> rows[] = {
      {"absent", std::nullopt, std::nullopt}, {"six", "#1a1A1a", "#1a1A1a"}, {"three kept short", "#000", "#000"},
      {"trimmed tab and wide spaces", "\t\u00A0#abc\u3000 ", "#abc"}, {"line break not trimmed", "#abc\n", std::nullopt},
      {"five", "#12345", std::nullopt}, {"seven", "#1234567", std::nullopt}, {"eight", "#12345678", std::nullopt},
      {"no hash", "1a1a1a", std::nullopt}, {"not hex", "#ggg", std::nullopt},
      {"full-width digits", "#\uFF10\uFF21\uFF46", "#\uFF10\uFF21\uFF46"},
      {"full-width beyond f", "#\uFF27\uFF10\uFF10", std::nullopt},
      {"combining mark makes a digit no digit", "#ab\u0301c", std::nullopt},
      {"combining mark on the hash", "#\u0301fff", std::nullopt}, {"invalid byte", "#ff\xFF", std::nullopt},
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
  for (const auto& [in, out] : rows) EXPECT_EQ(HTMLExporter::escape(in), out) << in;
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
  for (const auto& [background, ink] : rows)
    EXPECT_EQ(HTMLExporter::contrastColor(background), ink) << background;
}

// Every row's element, or "(none)", under its name in tests/golden/elements.txt.
TEST(HTMLElements, WriteEachKindOfItemTitleAndCaptionOnOneLine) {
  using Style = DrawingContent::LineStyle;
  CanvasItem noText = item(1, {}, 0, TextContent{});
  noText.text.reset();
  CanvasItem textWithShape = item(1, {0, 0, 100, 50}, 0, TextContent{"T", "", 24});
  textWithShape.shape = ShapeContent{"#fff", std::nullopt, 1, "T", std::nullopt};
  const ImageMap images{{uuid(7), EmbeddedImage{{'f', 'o', 'o', 'b'}, "image/png"}}};
  const auto shown = [&](const CanvasItem& it) { return HTMLExporter::renderedElement(placed(it), images); };
  const auto title = [](const CanvasItem& it, const char* background) {
    return HTMLExporter::sectionTitleElement(placed(it), background);
  };
  const auto shape = [](std::optional<std::string> fill, Opt heading, double width = 100) {
    return item(2, {0, 0, width, 50}, 4, ShapeContent{std::move(fill), {}, 1, std::move(heading), {}});
  };
  const std::pair<const char*, Opt> items[] = {
      {"text", shown(item(1, {40, 12.5, 300, 200}, 3, TextContent{"Hello", "", 24}))},
      {"text coloured and escaped",
       shown(item(1, {-1.005, 0.125, 10, 20}, -2, TextContent{"a<b>\n&c", " #ABC ", 44.444}))},
      {"no text content", shown(noText)},
      {"shape", shown(item(2, {0, 0, 100, 50}, 0, ShapeContent{"#FF0000", " #abc", 1.5, {}, {}}))},
      {"shape with invalid colours", shown(item(2, {0, 0, 100, 50}, 0, ShapeContent{"red", "#12345", 2, {}, {}}))},
      {"dashed drawing",
       shown(item(3, {5, 6, 200, 100}, 0, DrawingContent{{{0, 0}, {0.5, 1}, {1, 0.25}}, "#111111", 4, Style::dashed}))},
      {"solid drawing, invalid colour",
       shown(item(3, {5, 6, 200, 100}, 0, DrawingContent{{{0.3333, 0.001}, {-0.1, 1.2}}, "blue", 2.5, Style::solid}))},
      {"drawing of one point", shown(item(3, {}, 0, DrawingContent{{{0.5, 0.5}}, "#111111", 4, Style::solid}))},
      {"image in the map", shown(imageItem(7, {1, 2, 30, 40}))},
      {"image not in the map", shown(imageItem(8, {1, 2, 30, 40}))},
      {"title: dark fill gives light ink",
       title(item(2, {10, 20, 200, 100}, 4, ShapeContent{"#1a1a1a", {}, 1, "Q1 <goals>", 44}), "#ffffff")},
      {"title: unparsable fill decides, not the background", title(shape("red", " x ", 21), "#000000")},
      {"title: no fill, the background decides",
       title(item(2, {0, 0, 100, 50}, 4, ShapeContent{{}, {}, 1, "T", 20}), "#000000")},
      {"title: too narrow", title(shape("#fff", "T", 20), "#fff")},
      {"title: blank", title(shape("#fff", " \n "), "#fff")},
      {"title: none", title(shape("#fff", {}), "#fff")},
      {"title: not a shape", title(textWithShape, "#fff")},
  };
  const Frame below{0, 56, 100, 22.5};
  const std::tuple<const char*, Opt, std::optional<CaptionAlignment>, std::optional<Frame>> captions[] = {
      {"caption: absent alignment", "A & B", std::nullopt, below},
      {"caption: center", "a", CaptionAlignment::center, below},
      {"caption: trailing, blank kept", "  ", CaptionAlignment::trailing, below},
      {"caption: empty", "", CaptionAlignment::center, below},
      {"caption: no caption frame", "a", CaptionAlignment::center, std::nullopt},
  };
  std::string transcript;
  const auto add = [&](const char* name, const Opt& element) { transcript += "# " + std::string(name) + "\n" + element.value_or("(none)\n"); };
  for (const auto& [name, element] : items) add(name, element);
  for (const auto& [name, text, alignment, frame] : captions)
    add(name, HTMLExporter::captionElement(placed(imageItem(9, {0, 0, 100, 50}, text, alignment), frame), "#FFFFFF"));
  testing::expectMatchesGolden("elements", transcript, "txt");
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
                    {imageItem(1, {0, 0, 120, 80}), item(2, {140, 0, 200, 60}, 1, TextContent{"Hello\nworld", "#333333", 24}),
                     item(3, {0, 100, 300, 150}, -1, ShapeContent{"#1a1a1a", "#ffffff", 3, "Moodboard", std::nullopt}),
                     item(4, {320, 100, 100, 100}, 2,
                          DrawingContent{{{0, 0}, {0.5, 1}, {1, 0}}, "#e63946", 6, DrawingContent::LineStyle::dashed})},
                    std::move(header));
}

TEST(HTMLDocuments, SinglePageDocumentsMatchTheirGoldenFiles) {
  const BoardBundle captions =
      boardNamed("Captions", "  #202020 ",
                 {imageItem(1, {0, 0, 160, 90}, "Leading line", CaptionAlignment::leading),
                  imageItem(2, {180, 0, 160, 90}, "Centred", CaptionAlignment::center),
                  imageItem(3, {360, 0, 160, 90}, "Trailing", CaptionAlignment::trailing),
                  imageItem(4, {540, 0, 160, 90}, "No picture, caption stays")});
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
    CanvasItem unnamed = imageItem(6, {0, 300, 10, 10});
    unnamed.thumbnail.reset();
    bundle.images["images/" + uuid(6).string() + ".png"] = kPng;
    bundle.manifest.items.push_back(unnamed);
    EXPECT_EQ(HTMLExporter::exportBoard(bundle, {}),
              HTMLExporter::exportBoard(bundle, HTMLExporter::fullResolutionImages(bundle), {}));
  }
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

// Sheets, footers and covers by the chrome asked for, each document whole in tests/golden/paged_NAME.html.
TEST(HTMLDocuments, PagedDocumentsPlaceSheetsFootersAndCoversByTheirChrome) {
  const BoardBundle shape = boardNamed("b", "#FFFFFF", {item(2, {100, 100, 50, 50}, 0, ShapeContent{"#FF0000", {}, 0, {}, {}})});
  const auto covered = [](BoardHeader header) { return boardNamed("c", "#101010", {}, std::move(header)); };
  const BoardBundle titled = boardNamed("e", "#fff", {}, {.title = "T"});
  const std::tuple<const char*, BoardBundle, std::int64_t, PageExportChrome> rows[] = {
      {"chrome_off", shape, 1, chromeWith(false, false, false)},
      {"margin_only", shape, 1, chromeWith(false, false, true)},
      {"margin_and_branding", shape, 4, chromeWith(false, true, true, " Studio ")},
      {"cover_without_header", shape, 1, chromeWith(true, false, false)},
      {"blank_sender", shape, 2, chromeWith(true, true, false, "  \n ")},
      {"cover_title_only", covered({.title = "  Spring  "}), 2, chromeWith(true, true, false)},
      {"cover_rows_without_title", covered({.title = " ", .client = "  ACME  ", .date = "", .location = "Hall 3"}), 2,
       chromeWith(true, true, false)},
      {"cover_notes_only", covered({.notes = "\n a & b\nc \n"}), 2, chromeWith(true, true, false)},
      {"no_pages", titled, 0, chromeWith(false, true, true)},
      {"no_pages_but_cover", titled, 0, chromeWith(true, false, false)},
  };
  for (const auto& [name, board, pages, chrome] : rows) {
    SCOPED_TRACE(name);
    testing::expectMatchesGolden(std::string("paged_") + name, HTMLExporter::exportPaged(board, {}, a4Pages(pages), {}, chrome));
  }
}

TEST(HTMLDocuments, PagedDocumentMatchesItsGoldenFile) {
  // Two tiles side by side with an image straddling them, a cover, footer, margin and logo.
  BoardBundle board = eachKindBoard({.title = "Spring collection", .client = "ACME & Co", .model = "  ",
                                     .date = "2026-03-01", .location = "Hall 3", .notes = "Bring swatches.\nNo <glitter>."});
  board.manifest.board.canvas.backgroundColor = "#F4F1EA";
  board.manifest.items.push_back(imageItem(5, {850, 300, 120, 80}, "Across the fold", CaptionAlignment::center));
  const ImageMap images{{uuid(1), EmbeddedImage{kPng, "image/png"}}, {uuid(5), EmbeddedImage{kPng, "image/png"}}};
  const CaptionHeights heights{{uuid(5), 20.7}};
  std::vector<Frame> frames;
  for (const auto& it : board.manifest.items) frames.push_back(BoardLayout::contentFrame(it, heights));
  const auto pages = PageExportPlan::pages(PageSetup::defaultSetup(), frames);
  ASSERT_EQ(pages.size(), 2u);
  const PageExportChrome chrome = chromeWith(true, true, true, " Studio North ", EmbeddedImage{kPng, "image/png"});
  // The straddling picture's caption is written on both tiles it reaches.
  testing::expectMatchesGolden("paged_cover", HTMLExporter::exportPaged(board, images, pages, heights, chrome));
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
  const CanvasItem picture = imageItem(1, {0, 0, 10, 10});
  const std::vector<std::uint8_t> big(300 * 1024, 0x5A);
  BoardBundle bundle;
  bundle.images.emplace(*picture.image, big);
  bundle.manifest.items.push_back(picture);
  const HTMLExporter::PictureLookup inPieces = [&](const CanvasItem& it) -> std::optional<HTMLExporter::PictureStream> {
    if (it.id != picture.id) return std::nullopt;
    return HTMLExporter::PictureStream{"image/png", big.size(), [&](const HTMLExporter::ByteSink& sink) {
                                         for (std::size_t at = 0; at < big.size(); at += 1000)
                                           sink(std::span(big).subspan(at, std::min<std::size_t>(1000, big.size() - at)));
                                       }};
  };
  std::string streamed;
  int calls = 0;
  HTMLExporter::writeBoard(bundle.manifest, inPieces, {}, [&](std::string_view piece) {
    streamed += piece;
    ++calls;
  });
  EXPECT_EQ(streamed, HTMLExporter::exportBoard(bundle, {}));
  EXPECT_GT(calls, 2);
}

}  // namespace
}  // namespace zorvi
