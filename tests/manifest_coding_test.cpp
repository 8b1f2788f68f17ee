#include "zorvi/manifest_coding.hpp"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cmath>
#include <limits>
#include <string>

#include "manifest/utf8.hpp"
#include "support/sample_manifest.hpp"

namespace zorvi {
namespace {

using namespace std::chrono_literals;

Uuid id(const char* text) { return *Uuid::parse(text); }

Date utc(std::chrono::year_month_day day, std::chrono::seconds time = 0s) {
  return std::chrono::sys_days{day} + time;
}

// A board with one item of each kind, its header and page setup partly filled in.
Manifest exampleManifest() {
  using std::chrono::March;
  Manifest m;
  m.board.id = id("6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8");
  m.board.name = "Spring collection";
  m.board.createdAt = utc(2025y / March / 14, 9h + 26min + 53s);
  m.board.modifiedAt = utc(2025y / March / 15, 17h + 2min + 10s);
  m.board.canvas = {"#F5F2EC", {-120, 40, 1}};
  m.board.pageSetup = PageSetup{PageFormat::a4, PageOrientation::landscape};
  m.board.header = BoardHeader{.client = "Studio North"};
  m.items.emplace_back(id("00000000-0000-4000-8000-000000000001"), "images/swatch-01.jpg",
                       "thumbnails/swatch-01.jpg", Frame{40, 12.5, 300, 200}, 0, PixelSize{2400, 1600},
                       ItemSource{"file:///Users/example/swatch.jpg", utc(2025y / March / 14, 9h + 30min)},
                       "Fabric swatch", CaptionAlignment::center, false, std::nullopt);
  m.items.emplace_back(id("00000000-0000-4000-8000-000000000002"),
                       TextContent{"Warm tones\nfor summer", "#111111", 44}, Frame{400, 0, 320, 120}, 1,
                       false, std::nullopt);
  m.items.emplace_back(id("00000000-0000-4000-8000-000000000003"),
                       ShapeContent{"#E8DCCA", std::nullopt, 3, "Materials", std::nullopt},
                       Frame{-20, -40, 800, 600}, -1, true, id("00000000-0000-4000-8000-0000000000AA"));
  m.items.emplace_back(
      id("00000000-0000-4000-8000-000000000004"),
      DrawingContent{{{0, 0}, {0.5, 1}, {1, 0.25}}, "#111111", 3, DrawingContent::LineStyle::dashed},
      Frame{10, 20, 30, 40}, 2, false, std::nullopt);
  return m;
}

constexpr std::string_view kExampleJson = R"({
  "board": {
    "canvas": {
      "backgroundColor": "#F5F2EC",
      "lastViewport": {
        "offsetX": -120.0,
        "offsetY": 40.0,
        "zoom": 1.0
      }
    },
    "createdAt": "2025-03-14T09:26:53Z",
    "header": {
      "client": "Studio North"
    },
    "id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8",
    "modifiedAt": "2025-03-15T17:02:10Z",
    "name": "Spring collection",
    "pageSetup": {
      "format": "a4",
      "orientation": "landscape"
    }
  },
  "items": [
    {
      "caption": "Fabric swatch",
      "captionAlignment": "center",
      "frame": {
        "height": 200.0,
        "width": 300.0,
        "x": 40.0,
        "y": 12.5
      },
      "id": "00000000-0000-4000-8000-000000000001",
      "image": "images/swatch-01.jpg",
      "locked": false,
      "naturalSize": {
        "height": 1600,
        "width": 2400
      },
      "source": {
        "addedAt": "2025-03-14T09:30:00Z",
        "url": "file:///Users/example/swatch.jpg"
      },
      "thumbnail": "thumbnails/swatch-01.jpg",
      "type": "image",
      "zIndex": 0
    },
    {
      "frame": {
        "height": 120.0,
        "width": 320.0,
        "x": 400.0,
        "y": 0.0
      },
      "id": "00000000-0000-4000-8000-000000000002",
      "locked": false,
      "text": {
        "color": "#111111",
        "content": "Warm tones\nfor summer",
        "fontSize": 44.0
      },
      "type": "text",
      "zIndex": 1
    },
    {
      "frame": {
        "height": 600.0,
        "width": 800.0,
        "x": -20.0,
        "y": -40.0
      },
      "groupId": "00000000-0000-4000-8000-0000000000AA",
      "id": "00000000-0000-4000-8000-000000000003",
      "locked": true,
      "shape": {
        "fillColor": "#E8DCCA",
        "strokeWidth": 3.0,
        "title": "Materials"
      },
      "type": "shape",
      "zIndex": -1
    },
    {
      "drawing": {
        "color": "#111111",
        "points": [
          {
            "x": 0.0,
            "y": 0.0
          },
          {
            "x": 0.5,
            "y": 1.0
          },
          {
            "x": 1.0,
            "y": 0.25
          }
        ],
        "strokeWidth": 3.0,
        "style": "dashed"
      },
      "frame": {
        "height": 40.0,
        "width": 30.0,
        "x": 10.0,
        "y": 20.0
      },
      "id": "00000000-0000-4000-8000-000000000004",
      "locked": false,
      "type": "drawing",
      "zIndex": 2
    }
  ],
  "schemaVersion": 8
})";

// A valid manifest whose only item is the given JSON object.
std::string withItem(std::string_view item) {
  return R"({"schemaVersion": 8, "items": [)" + std::string(item) + R"(], "board": {
    "id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "B", "createdAt": "2025-03-14T09:26:53Z",
    "modifiedAt": "2025-03-14T09:26:53Z",
    "canvas": {"backgroundColor": "#FFFFFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}}}})";
}

constexpr std::string_view kMinimalItem = R"({"id": "00000000-0000-4000-8000-000000000001",
  "frame": {"x": 1, "y": 2, "width": 3, "height": 4}})";

// A valid manifest with no items whose board ends with the given members. Being last, they
// replace the board's own members of the same name.
std::string withBoard(std::string_view members) {
  return R"({"schemaVersion": 8, "items": [], "board": {
    "id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "B", "createdAt": "2025-03-14T09:26:53Z",
    "modifiedAt": "2025-03-14T09:26:53Z",
    "canvas": {"backgroundColor": "#FFFFFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}})" +
         std::string(members) + "}}";
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  return text.replace(text.find(from), from.size(), to);
}

// The minimal item ending with more members, such as R"("zIndex": 3)".
std::string itemWith(std::string_view members) {
  std::string item(kMinimalItem);
  item.insert(item.size() - 1, ", " + std::string(members));
  return withItem(item);
}

TEST(ManifestCoder, EncodesTheExampleBoardExactly) {
  EXPECT_EQ(ManifestCoder::encode(exampleManifest()), kExampleJson);
}

TEST(ManifestCoder, DecodesTheExampleBoard) {
  EXPECT_EQ(ManifestCoder::decode(kExampleJson), exampleManifest());
}

void expectKeysAscending(const rapidjson::Value& value, const std::string& path) {
  if (value.IsArray()) {
    for (const auto& element : value.GetArray()) expectKeysAscending(element, path + "[]");
  } else if (value.IsObject()) {
    std::string previous;
    for (const auto& member : value.GetObject()) {
      const std::string name(member.name.GetString(), member.name.GetStringLength());
      if (!previous.empty()) {
        EXPECT_LT(previous, name) << "in " << path;
      }
      previous = name;
      expectKeysAscending(member.value, path + "." + name);
    }
  }
}

TEST(ManifestCoder, WritesKeysInAscendingOrderWithEveryFieldPresent) {
  Manifest m = exampleManifest();
  m.board.header = BoardHeader{"t", "c", "m", "d", "l", "n"};
  CanvasItem everything = m.items[0];
  everything.groupId = m.board.id;
  everything.text = m.items[1].text;
  everything.shape = ShapeContent{"#000", "#111", 1.5, "T", 30};
  everything.drawing = m.items[3].drawing;
  m.items.push_back(everything);

  const std::string written = ManifestCoder::encode(m);
  rapidjson::Document document;
  document.Parse(written.c_str());
  ASSERT_FALSE(document.HasParseError());
  expectKeysAscending(document, "manifest");
  EXPECT_EQ(ManifestCoder::decode(written), m);
}

TEST(ManifestCoder, ItemWithOnlyIdAndFrameGetsDefaults) {
  const Manifest m = ManifestCoder::decode(withItem(kMinimalItem));
  ASSERT_EQ(m.items.size(), 1u);
  CanvasItem expected;
  expected.id = id("00000000-0000-4000-8000-000000000001");
  expected.frame = {1, 2, 3, 4};
  EXPECT_EQ(m.items[0], expected);
  EXPECT_EQ(m.items[0].type, CanvasItem::Type::image);
}

TEST(ManifestCoder, ContentDefaultsAreFilledInAndWrittenBack) {
  const Manifest m = ManifestCoder::decode(itemWith(R"("type": "text", "text": {"content": "Hi"})"));
  ASSERT_EQ(m.items.size(), 1u);
  EXPECT_EQ(m.items[0].text, (TextContent{"Hi", "#111111", 44}));
  const std::string written = ManifestCoder::encode(m);
  EXPECT_NE(written.find(R"("color": "#111111")"), std::string::npos);
  EXPECT_NE(written.find(R"("fontSize": 44.0)"), std::string::npos);

  const Manifest shape = ManifestCoder::decode(itemWith(R"("shape": {})"));
  EXPECT_EQ(shape.items[0].shape, (ShapeContent{std::nullopt, std::nullopt, 3, std::nullopt, std::nullopt}));

  const Manifest drawing = ManifestCoder::decode(itemWith(R"("drawing": {"points": []})"));
  EXPECT_EQ(drawing.items[0].drawing, (DrawingContent{{}, "#111111", 3, DrawingContent::LineStyle::solid}));
}

TEST(ManifestCoder, NullReadsAsMissing) {
  const Manifest m = ManifestCoder::decode(itemWith(
      R"("type": null, "image": null, "thumbnail": null, "naturalSize": null, "source": null, "text": null,
         "shape": null, "drawing": null, "caption": null, "captionAlignment": null, "zIndex": null,
         "locked": null, "groupId": null)"));
  EXPECT_EQ(m, ManifestCoder::decode(withItem(kMinimalItem)));

  const Manifest content = ManifestCoder::decode(itemWith(
      R"("text": {"content": "", "color": null, "fontSize": null},
         "shape": {"fillColor": null, "strokeColor": null, "strokeWidth": null, "title": null, "titleFontSize": null},
         "drawing": {"points": [], "color": null, "strokeWidth": null, "style": null},
         "source": {"url": null, "addedAt": "2025-03-14T09:26:53Z"})"));
  const CanvasItem& item = content.items[0];
  EXPECT_EQ(item.text, (TextContent{"", "#111111", 44}));
  EXPECT_EQ(item.shape, (ShapeContent{std::nullopt, std::nullopt, 3, std::nullopt, std::nullopt}));
  EXPECT_EQ(item.drawing, (DrawingContent{{}, "#111111", 3, DrawingContent::LineStyle::solid}));
  EXPECT_EQ(item.source, (ItemSource{std::nullopt, utc(std::chrono::year{2025} / 3 / 14, 9h + 26min + 53s)}));

  const Manifest board = ManifestCoder::decode(withBoard(R"(, "header": null, "pageSetup": null)"));
  EXPECT_FALSE(board.board.header);
  EXPECT_FALSE(board.board.pageSetup);
  const Manifest header = ManifestCoder::decode(withBoard(
      R"(, "header": {"title": null, "client": null, "model": null, "date": null, "location": null, "notes": null})"));
  EXPECT_EQ(header.board.header, BoardHeader{});
}

TEST(ManifestCoder, PageSetupIsLenientAboutStrings) {
  struct Row {
    const char* members;
    PageSetup expected;
  };
  const Row rows[] = {
      {R"({})", {PageFormat::a4, PageOrientation::portrait}},
      {R"({"format": null, "orientation": null})", {PageFormat::a4, PageOrientation::portrait}},
      {R"({"format": "tabloid", "orientation": "LANDSCAPE"})", {PageFormat::a4, PageOrientation::portrait}},
      {R"({"format": "A5", "orientation": "Landscape"})", {PageFormat::a4, PageOrientation::portrait}},
      {R"({"format": "a5", "orientation": "landscape"})", {PageFormat::a5, PageOrientation::landscape}},
      {R"({"format": "screen16x9", "orientation": "portrait"})",
       {PageFormat::screen16x9, PageOrientation::portrait}},
      {R"({"format": "legal"})", {PageFormat::legal, PageOrientation::portrait}},
      {R"({"orientation": "landscape"})", {PageFormat::a4, PageOrientation::landscape}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.members);
    const Manifest m = ManifestCoder::decode(withBoard(R"(, "pageSetup": )" + std::string(row.members)));
    EXPECT_EQ(m.board.pageSetup, row.expected);
  }
}

TEST(ManifestCoder, RefusesEveryMalformedManifest) {
  struct Row {
    std::string name;
    std::string json;
    std::string where;  // expected at the start of the message
  };
  const std::string valid = withItem(kMinimalItem);
  const std::string deep = std::string(600, '[') + std::string(600, ']');
  const Row rows[] = {
      // The JSON text itself.
      {"empty", "", "invalid JSON"},
      {"not JSON", "manifest", "invalid JSON"},
      {"only an opening brace", "{", "invalid JSON"},
      {"trailing text", valid + " x", "invalid JSON"},
      {"second document", valid + "{}", "invalid JSON"},
      {"leading comment", "/* c */" + valid, "invalid JSON"},
      {"byte order mark", "\xEF\xBB\xBF" + valid, "invalid JSON"},
      {"trailing comma", withItem(std::string(kMinimalItem) + ","), "invalid JSON"},
      {"NaN under an unknown key", itemWith(R"("extra": NaN)"), "invalid JSON"},
      {"broken array under an unknown key", itemWith(R"("extra": [1,])"), "invalid JSON"},
      {"single quotes under an unknown key", itemWith(R"("extra": 'x')"), "invalid JSON"},
      {"raw control character in a string", itemWith("\"caption\": \"a\tb\""), "invalid JSON"},
      {"NUL byte after the document", valid + std::string(1, '\0') + "x", "invalid JSON"},
      {"invalid UTF-8 byte", itemWith("\"caption\": \"\xFF\""), "invalid JSON"},
      {"overlong UTF-8", itemWith("\"caption\": \"\xC0\xAF\""), "invalid JSON"},
      {"UTF-8 encoded surrogate", itemWith("\"caption\": \"\xED\xA0\x80\""), "invalid JSON"},
      {"escaped lone low surrogate", itemWith(R"("caption": "\uDC00")"), "invalid JSON"},
      {"escaped lone high surrogate", itemWith(R"("caption": "\uD800")"), "invalid JSON"},
      {"lone surrogate in an unknown key", itemWith(R"("\uDFFF": 1)"), "invalid JSON"},
      {"nesting beyond the limit", itemWith(R"("extra": )" + deep), "invalid JSON"},
      {"exponent too big for a double", itemWith(R"("extra": 1e400)"), "invalid JSON"},
      {"digits too big for a double", itemWith(R"("extra": 2.7976931348623157e308)"), "invalid JSON"},
      {"tiny mantissa, huge exponent", itemWith(R"("extra": 0.00001e99999999999999999999)"), "invalid JSON"},
      {"long integer beyond a double", itemWith(R"("extra": 1)" + std::string(400, '0') + ")"),
       "invalid JSON"},
      {"negative number too big",
       itemWith(
           R"("extra": -179769313486231580793728971405303415079934132710037826936173778980444968292764750946649017977587207096330286416692887910946555547851940402630657488671505820681908902000708383676273854845817711531764475730270069855571366959622842914819860834936475292719074168444365510704342711559699508093042880177904174497792)"),
       "invalid JSON"},
      // The root.
      {"empty object", "{}", "schemaVersion"},
      {"array root", "[]", "manifest"},
      {"null root", "null", "manifest"},
      {"schemaVersion as a string", R"({"schemaVersion": "8"})", "schemaVersion"},
      {"schemaVersion with a fraction", R"({"schemaVersion": 8.0})", "schemaVersion"},
      {"schemaVersion with an exponent", R"({"schemaVersion": 8e0})", "schemaVersion"},
      {"schemaVersion above 64 bits", R"({"schemaVersion": 9223372036854775808})", "schemaVersion"},
      {"schemaVersion below 64 bits", R"({"schemaVersion": -9223372036854775809})", "schemaVersion"},
      {"schemaVersion null", R"({"schemaVersion": null})", "schemaVersion"},
      {"board missing", R"({"schemaVersion": 8, "items": []})", "board"},
      {"board an array", R"({"schemaVersion": 8, "board": [], "items": []})", "board"},
      {"items missing", replaced(withBoard(""), R"("items": [],)", ""), "items"},
      {"items null", replaced(withBoard(""), R"("items": [],)", R"("items": null,)"), "items"},
      {"items an object", replaced(withBoard(""), R"("items": [],)", R"("items": {},)"), "items"},
      // The board.
      {"board id lower-case but short", withBoard(R"(, "id": "6f1c2a3b")"), "board.id"},
      {"board id a number", withBoard(R"(, "id": 1)"), "board.id"},
      {"board name a number", withBoard(R"(, "name": 1)"), "board.name"},
      {"createdAt with fractional seconds", withBoard(R"(, "createdAt": "2025-03-14T09:26:53.123Z")"),
       "board.createdAt"},
      {"createdAt on February 30", withBoard(R"(, "createdAt": "2025-02-30T09:26:53Z")"), "board.createdAt"},
      {"modifiedAt as a number", withBoard(R"(, "modifiedAt": 0)"), "board.modifiedAt"},
      {"canvas null", withBoard(R"(, "canvas": null)"), "board.canvas"},
      {"backgroundColor missing",
       withBoard(R"(, "canvas": {"lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}})"),
       "board.canvas.backgroundColor"},
      {"zoom a string",
       withBoard(
           R"(, "canvas": {"backgroundColor": "#FFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": "1"}})"),
       "board.canvas.lastViewport.zoom"},
      {"offsetY null",
       withBoard(
           R"(, "canvas": {"backgroundColor": "#FFF", "lastViewport": {"offsetX": 0, "offsetY": null, "zoom": 1}})"),
       "board.canvas.lastViewport.offsetY"},
      {"pageSetup a string", withBoard(R"(, "pageSetup": "a4")"), "board.pageSetup"},
      {"page format a number", withBoard(R"(, "pageSetup": {"format": 4})"), "board.pageSetup.format"},
      {"orientation a boolean", withBoard(R"(, "pageSetup": {"orientation": true})"),
       "board.pageSetup.orientation"},
      {"header a string", withBoard(R"(, "header": "x")"), "board.header"},
      {"header title a number", withBoard(R"(, "header": {"title": 1})"), "board.header.title"},
      // Items.
      {"item not an object", withItem("[]"), "items[0]"},
      {"item id missing", withItem(R"({"frame": {"x": 1, "y": 2, "width": 3, "height": 4}})"), "items[0].id"},
      {"item id with braces", itemWith(R"("id": "{00000000-0000-4000-8000-000000000001}")"), "items[0].id"},
      {"type in capitals", itemWith(R"("type": "Image")"), "items[0].type"},
      {"type unknown", itemWith(R"("type": "video")"), "items[0].type"},
      {"type a number", itemWith(R"("type": 0)"), "items[0].type"},
      {"image a number", itemWith(R"("image": 1)"), "items[0].image"},
      {"thumbnail an array", itemWith(R"("thumbnail": [])"), "items[0].thumbnail"},
      {"frame missing", withItem(R"({"id": "00000000-0000-4000-8000-000000000001"})"), "items[0].frame"},
      {"frame width a string", withItem(R"({"id": "00000000-0000-4000-8000-000000000001",
         "frame": {"x": 1, "y": 2, "width": "3", "height": 4}})"),
       "items[0].frame.width"},
      {"frame height missing", withItem(R"({"id": "00000000-0000-4000-8000-000000000001",
         "frame": {"x": 1, "y": 2, "width": 3}})"),
       "items[0].frame.height"},
      {"zIndex a string", itemWith(R"("zIndex": "0")"), "items[0].zIndex"},
      {"zIndex with a fraction", itemWith(R"("zIndex": 1.5)"), "items[0].zIndex"},
      {"zIndex with a zero fraction", itemWith(R"("zIndex": 1.0)"), "items[0].zIndex"},
      {"zIndex with an exponent", itemWith(R"("zIndex": 1e2)"), "items[0].zIndex"},
      {"zIndex negative zero with a fraction", itemWith(R"("zIndex": -0.0)"), "items[0].zIndex"},
      {"locked as 1", itemWith(R"("locked": 1)"), "items[0].locked"},
      {"locked as a string", itemWith(R"("locked": "true")"), "items[0].locked"},
      {"groupId not a UUID", itemWith(R"("groupId": "group-1")"), "items[0].groupId"},
      {"caption a number", itemWith(R"("caption": 3)"), "items[0].caption"},
      {"captionAlignment unknown", itemWith(R"("captionAlignment": "middle")"), "items[0].captionAlignment"},
      {"naturalSize with a fraction", itemWith(R"("naturalSize": {"width": 1.5, "height": 2})"),
       "items[0].naturalSize.width"},
      {"naturalSize height missing", itemWith(R"("naturalSize": {"width": 1})"),
       "items[0].naturalSize.height"},
      {"source without addedAt", itemWith(R"("source": {"url": "x"})"), "items[0].source.addedAt"},
      {"source url a number", itemWith(R"("source": {"url": 1, "addedAt": "2025-03-14T09:26:53Z"})"),
       "items[0].source.url"},
      {"text without content", itemWith(R"("text": {"color": "#000"})"), "items[0].text.content"},
      {"fontSize a string", itemWith(R"("text": {"content": "", "fontSize": "44"})"),
       "items[0].text.fontSize"},
      {"strokeWidth a boolean", itemWith(R"("shape": {"strokeWidth": false})"), "items[0].shape.strokeWidth"},
      {"titleFontSize a string", itemWith(R"("shape": {"titleFontSize": "28"})"),
       "items[0].shape.titleFontSize"},
      {"drawing without points", itemWith(R"("drawing": {})"), "items[0].drawing.points"},
      {"points an object", itemWith(R"("drawing": {"points": {}})"), "items[0].drawing.points"},
      {"point without y", itemWith(R"("drawing": {"points": [{"x": 0, "y": 0}, {"x": 1}]})"),
       "items[0].drawing.points[1].y"},
      {"line style unknown", itemWith(R"("drawing": {"points": [], "style": "dotted"})"),
       "items[0].drawing.style"},
      {"drawing color a number", itemWith(R"("drawing": {"points": [], "color": 1})"),
       "items[0].drawing.color"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      ManifestCoder::decode(row.json);
      ADD_FAILURE() << "decoded without error";
    } catch (const ManifestDecodingError& error) {
      EXPECT_EQ(std::string_view(error.what()).substr(0, row.where.size()), row.where) << error.what();
    }
  }
}

TEST(ManifestCoder, AcceptsIntegerEdges) {
  struct Row {
    const char* json;
    std::int64_t expected;
  };
  const Row rows[] = {
      {"0", 0},
      {"-0", 0},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
      {"-2147483649", -2147483649},
      {"4294967296", 4294967296},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    const Manifest m = ManifestCoder::decode(itemWith(std::string(R"("zIndex": )") + row.json));
    EXPECT_EQ(m.items[0].zIndex, row.expected);
  }
}

TEST(ManifestCoder, AcceptsEveryNumberFormForDoubles) {
  struct Row {
    const char* json;
    double expected;
  };
  const Row rows[] = {
      {"44", 44},
      {"44.0", 44},
      {"4.4e1", 44},
      {"440E-1", 44},
      {"-0", 0},
      {"-1.5", -1.5},
      {"1e-320", 1e-320},
      {"18446744073709551616", 18446744073709551616.0},
      {"0.1", 0.1},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"1e-400", 0},
      {"-0.0001e-330", 0},
      {"0.000e-999999999", 0},
      {"1.7976931348623158e308", 1.7976931348623157e308},
      {"123456789012345678901234567890e-10", 1.2345678901234568e19},
      {"4.9406564584124654e-324", 5e-324},
      {"9223372036854775808", 9223372036854775808.0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.json);
    const Manifest m = ManifestCoder::decode(
        itemWith(std::string(R"("text": {"content": "", "fontSize": )") + row.json + "}"));
    EXPECT_EQ(m.items[0].text->fontSize, row.expected);
  }
}

TEST(ManifestCoder, RepeatedKeyKeepsItsLastValue) {
  const Manifest m =
      ManifestCoder::decode(itemWith(R"("zIndex": 1, "locked": true, "zIndex": 2, "locked": null)"));
  EXPECT_EQ(m.items[0].zIndex, 2);
  EXPECT_FALSE(m.items[0].locked);
  // A repeated key's earlier value is still checked as JSON but not as a field.
  EXPECT_EQ(ManifestCoder::decode(itemWith(R"("zIndex": "x", "zIndex": 5)")).items[0].zIndex, 5);
}

TEST(ManifestCoder, UnknownKeysAreIgnoredAndNotWrittenBack) {
  const std::string json = R"({"future": {"a": [1, 2, {"b": null}]}, )" +
                           itemWith(R"("sticker": "yes", "text": {"content": "x", "glow": true})").substr(1);
  const Manifest m = ManifestCoder::decode(json);
  const std::string written = ManifestCoder::encode(m);
  for (const char* key : {"future", "sticker", "glow"}) {
    SCOPED_TRACE(key);
    EXPECT_EQ(written.find(key), std::string::npos);
  }
  EXPECT_EQ(ManifestCoder::decode(written), m);
}

TEST(ManifestCoder, ReadsLowerCaseUuidsAndWritesUpperCase) {
  const Manifest m = ManifestCoder::decode(itemWith(R"("groupId": "abcdef00-1234-4bcd-8def-abcdefabcdef")"));
  EXPECT_EQ(m.items[0].groupId, id("ABCDEF00-1234-4BCD-8DEF-ABCDEFABCDEF"));
  EXPECT_NE(ManifestCoder::encode(m).find(R"("groupId": "ABCDEF00-1234-4BCD-8DEF-ABCDEFABCDEF")"),
            std::string::npos);
}

TEST(ManifestCoder, WritesNoAbsentOptionalAndNoNull) {
  Manifest m;
  m.items.push_back(CanvasItem{});
  m.items.push_back(CanvasItem(Uuid{}, ShapeContent{}, Frame{}, 0, false, std::nullopt));
  m.items.push_back(CanvasItem(Uuid{}, DrawingContent{}, Frame{}, 0, false, std::nullopt));
  m.board.header = BoardHeader{};
  m.items.back().source = ItemSource{};
  const std::string written = ManifestCoder::encode(m);
  for (const char* key : {"null", "\"pageSetup\":", "\"title\":", "\"client\":", "\"image\":",
                          "\"thumbnail\":", "\"naturalSize\":", "\"caption", "\"groupId\":", "\"fillColor\":",
                          "\"strokeColor\":", "\"titleFontSize\":", "\"url\":"}) {
    SCOPED_TRACE(key);
    EXPECT_EQ(written.find(key), std::string::npos);
  }
  EXPECT_EQ(ManifestCoder::decode(written), m);
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

TEST(ManifestCoder, RefusesToWriteWhatCannotBeReadBack) {
  struct Row {
    const char* name;
    void (*spoil)(Manifest&);
  };
  const Row rows[] = {
      {"NaN zoom", [](Manifest& m) { m.board.canvas.lastViewport.zoom = nan; }},
      {"infinite frame", [](Manifest& m) { m.items[0].frame.x = inf; }},
      {"negative infinite point", [](Manifest& m) { m.items[3].drawing->points[1].y = -inf; }},
      {"NaN title font size", [](Manifest& m) { m.items[2].shape->titleFontSize = nan; }},
      {"NaN font size", [](Manifest& m) { m.items[1].text->fontSize = nan; }},
      {"invalid UTF-8 name", [](Manifest& m) { m.board.name = "\xFF"; }},
      {"truncated UTF-8 caption", [](Manifest& m) { m.items[0].caption = "\xE6\x97"; }},
      {"encoded surrogate in a header", [](Manifest& m) { m.board.header->notes = "\xED\xA0\x80"; }},
      {"date before year 0",
       [](Manifest& m) { m.board.createdAt = Date{std::chrono::seconds{-62167219201}}; }},
      {"date after year 9999",
       [](Manifest& m) { m.items[0].source->addedAt = Date{std::chrono::seconds{253402300800}}; }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Manifest m = exampleManifest();
    row.spoil(m);
    EXPECT_THROW(ManifestCoder::encode(m), ManifestEncodingError);
  }
}

TEST(ManifestCoder, ParsesDates) {
  using std::chrono::year;
  struct Row {
    const char* text;
    std::optional<Date> expected;
  };
  const Row rows[] = {
      {"2025-03-14T09:26:53Z", utc(year{2025} / 3 / 14, 9h + 26min + 53s)},
      {"2025-03-14T11:26:53+02:00", utc(year{2025} / 3 / 14, 9h + 26min + 53s)},
      {"2025-03-14T04:56:53-04:30", utc(year{2025} / 3 / 14, 9h + 26min + 53s)},
      {"2025-03-14T09:26:53-00:00", utc(year{2025} / 3 / 14, 9h + 26min + 53s)},
      {"2025-01-01T00:30:00+01:00", utc(year{2024} / 12 / 31, 23h + 30min)},
      {"2024-02-29T23:59:59Z", utc(year{2024} / 2 / 29, 23h + 59min + 59s)},
      {"2000-02-29T00:00:00Z", utc(year{2000} / 2 / 29)},
      {"1969-12-31T23:59:59Z", Date{-1s}},
      {"0000-01-01T00:00:00Z", utc(year{0} / 1 / 1)},
      {"9999-12-31T23:59:59Z", utc(year{9999} / 12 / 31, 23h + 59min + 59s)},
      {"9999-12-31T23:59:59+23:59", utc(year{9999} / 12 / 31, 59s)},
      {"2025-03-14T09:26:53.123Z", std::nullopt},
      {"2025-03-14T09:26:53.Z", std::nullopt},
      {"2025-03-14T09:26:53", std::nullopt},
      {"2025-03-14 09:26:53Z", std::nullopt},
      {"2025-03-14t09:26:53z", std::nullopt},
      {"2025-03-14T09:26Z", std::nullopt},
      {"2025-3-14T09:26:53Z", std::nullopt},
      {"20250314T092653Z", std::nullopt},
      {"2025-02-29T00:00:00Z", std::nullopt},
      {"1900-02-29T00:00:00Z", std::nullopt},
      {"2025-04-31T00:00:00Z", std::nullopt},
      {"2025-13-01T00:00:00Z", std::nullopt},
      {"2025-00-01T00:00:00Z", std::nullopt},
      {"2025-01-00T00:00:00Z", std::nullopt},
      {"2025-01-01T24:00:00Z", std::nullopt},
      {"2025-01-01T00:60:00Z", std::nullopt},
      {"2025-01-01T00:00:60Z", std::nullopt},
      {"2025-01-01T00:00:00+24:00", std::nullopt},
      {"2025-01-01T00:00:00+01:60", std::nullopt},
      {"2025-01-01T00:00:00+0100", std::nullopt},
      {"2025-01-01T00:00:00 01:00", std::nullopt},
      {"2025-01-01T00:00:00+01:00Z", std::nullopt},
      {"+2025-01-01T00:00:00Z", std::nullopt},
      {"2025-01-01T00:00:0 Z", std::nullopt},
      {"2025-01-01T00:00:-1Z", std::nullopt},
      {"0000-01-01T00:30:00+01:00", std::nullopt},
      {"9999-12-31T23:30:00-01:00", std::nullopt},
      {"", std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(ManifestCoder::parseDate(row.text), row.expected);
  }
}

TEST(ManifestCoder, FormatsDatesInUtc) {
  using std::chrono::year;
  struct Row {
    Date date;
    const char* expected;
  };
  const Row rows[] = {
      {Date{0s}, "1970-01-01T00:00:00Z"},
      {Date{-1s}, "1969-12-31T23:59:59Z"},
      {utc(year{2025} / 3 / 14, 9h + 26min + 53s), "2025-03-14T09:26:53Z"},
      {utc(year{2024} / 2 / 29, 12h), "2024-02-29T12:00:00Z"},
      {utc(year{0} / 1 / 1), "0000-01-01T00:00:00Z"},
      {utc(year{9} / 7 / 4, 1h + 2min + 3s), "0009-07-04T01:02:03Z"},
      {utc(year{9999} / 12 / 31, 23h + 59min + 59s), "9999-12-31T23:59:59Z"},
      {utc(year{10000} / 1 / 1), "+10000-01-01T00:00:00Z"},
      {utc(year{-1} / 12 / 31), "-0001-12-31T00:00:00Z"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(ManifestCoder::formatDate(row.date), row.expected);
  }
  // The extremes of the representation must not overflow the calendar arithmetic.
  for (const Date extreme : {Date::min(), Date::max()}) {
    EXPECT_FALSE(ManifestCoder::parseDate(ManifestCoder::formatDate(extreme)));
  }
}

TEST(ManifestCoder, GeneratedManifestsRoundTrip) {
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Manifest m = testing::sampleManifest(seed, seed % 12);
    const std::string written = ManifestCoder::encode(m);
    const Manifest read = ManifestCoder::decode(written);
    ASSERT_EQ(read, m);
    ASSERT_EQ(ManifestCoder::encode(read), written);
  }
}

TEST(ManifestCoder, EveryProperPrefixFailsCleanly) {
  const std::string written = ManifestCoder::encode(testing::sampleManifest(7, 4));
  ASSERT_NO_THROW(ManifestCoder::decode(written));
  for (std::size_t length = 0; length < written.size(); ++length) {
    SCOPED_TRACE("prefix of " + std::to_string(length) + " bytes");
    EXPECT_THROW(ManifestCoder::decode(std::string_view(written).substr(0, length)), ManifestDecodingError);
  }
}

TEST(Utf8, FindsTheFirstFault) {
  using namespace std::string_literals;
  struct Row {
    const char* name;
    std::string text;
    bool refuseNul;
    std::size_t expected;
  };
  const Row rows[] = {
      {"empty", "", true, 0},
      {"ASCII", "plain text, longer than eight bytes", true, 35},
      {"fault after a long ASCII run", "0123456789abcdefg\xFFxyz", true, 17},
      {"NUL inside an ASCII word", "abcdefg\0hijklmnop"s, true, 7},
      {"NUL allowed", "abcdefg\0hijklmnop"s, false, 17},
      {"two-byte minimum", "\xC2\x80", true, 2},
      {"overlong two-byte", "\xC1\xBF", true, 0},
      {"three-byte overlong", "\xE0\x9F\xBF", true, 0},
      {"three-byte minimum", "\xE0\xA0\x80", true, 3},
      {"last before surrogates", "\xED\x9F\xBF", true, 3},
      {"high surrogate", "\xED\xA0\x80", true, 0},
      {"low surrogate", "\xED\xBF\xBF", true, 0},
      {"U+FFFF", "\xEF\xBF\xBF", true, 3},
      {"four-byte overlong", "\xF0\x8F\xBF\xBF", true, 0},
      {"four-byte minimum", "\xF0\x90\x80\x80", true, 4},
      {"U+10FFFF", "\xF4\x8F\xBF\xBF", true, 4},
      {"above U+10FFFF", "\xF4\x90\x80\x80", true, 0},
      {"lead byte F5", "\xF5\x80\x80\x80", true, 0},
      {"stray continuation", "ab\x80", true, 2},
      {"FF", "\xFF", true, 0},
      {"truncated at the end", "ab\xE6\x97", true, 2},
      {"continuation replaced by ASCII",
       "\xE6\x97"
       "a",
       true, 0},
      {"mixed text", "caf\xC3\xA9 \xE6\x97\xA5 \xF0\x9F\x98\x80!", true, 15},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(utf8::firstFault(row.text, row.refuseNul), row.expected);
  }
}

}  // namespace
}  // namespace zorvi
