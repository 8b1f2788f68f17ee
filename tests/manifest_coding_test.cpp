#include "zorvi/manifest_coding.hpp"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "manifest/manifest_reading.hpp"
#include "manifest/utf8.hpp"
#include "support/html_golden.hpp"
#include "support/sample_manifest.hpp"

namespace zorvi {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ManifestCoder::decode;
using ManifestCoder::encode;
using std::chrono::year;

Uuid id(const char* text) { return *Uuid::parse(text); }
Date utc(std::chrono::year_month_day day, std::chrono::seconds time = 0s) {
  return std::chrono::sys_days{day} + time;
}

// Small, but with integers next to doubles, optionals present and absent, and an enum.
Manifest exampleManifest() {
  Manifest m;
  m.board = {id("6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8"),
             "Spring/Summer",
             utc(year{2025} / 3 / 14, 9h + 26min + 53s),
             utc(year{2025} / 3 / 15, 17h),
             Canvas{"#F5F2EC", {-120, 40.5, 1}},
             PageSetup{PageFormat::a5, PageOrientation::landscape},
             std::nullopt};
  m.items.emplace_back(id("00000000-0000-4000-8000-000000000003"),
                       ShapeContent{"#E8DCCA", {}, 3, "Materials", {}}, Frame{-20, 0, 800, 600}, -1, true,
                       id("00000000-0000-4000-8000-0000000000AA"));
  return m;
}

constexpr std::string_view kBoard = R"("board": {"id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "B",
  "createdAt": "2025-03-14T09:26:53Z", "modifiedAt": "2025-03-14T09:26:53Z",
  "canvas": {"backgroundColor": "#FFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}})";

// A valid manifest whose board ends with the given members (replacing earlier ones of that name)
// and whose items are the given JSON.
std::string withBoard(std::string_view members, std::string_view items = "[]") {
  return R"({"schemaVersion": 8, "items": )" + std::string(items) + ", " + std::string(kBoard) +
         std::string(members) + "}}";
}
std::string withItem(std::string_view item) { return withBoard("", "[" + std::string(item) + "]"); }
// An item of only id and frame, ending with the given members.
std::string itemWith(std::string_view members) {
  return withItem(R"({"id": "00000000-0000-4000-8000-000000000001", "frame": {"x": 1, "y": 2, "width": 3,
    "height": 4})" +
                  std::string(members) + "}");
}

TEST(ManifestWriter, WritesTheExampleByteForByteAndReadsItBack) {
  const std::string written = encode(exampleManifest());
  testing::expectMatchesGolden("example_manifest", written, "json");
  EXPECT_EQ(decode(written), exampleManifest());
}

void expectKeysAscending(const rapidjson::Value& value, const std::string& path) {
  if (value.IsArray()) {
    for (const auto& element : value.GetArray()) expectKeysAscending(element, path + "[]");
  } else if (value.IsObject()) {
    std::string previous;
    for (const auto& member : value.GetObject()) {
      const std::string name = member.name.GetString();
      EXPECT_LT(previous, name) << "in " << path;
      previous = name;
      expectKeysAscending(member.value, path + "." + name);
    }
  }
}

TEST(ManifestWriter, RefusesWhatCouldNotBeReadBack) {
  const std::pair<const char*, std::function<void(Manifest&)>> rows[] = {
      {"NaN zoom", [](Manifest& m) { m.board.canvas.lastViewport.zoom = std::nan(""); }},
      {"infinite frame", [](Manifest& m) { m.items[0].frame.x = -std::numeric_limits<double>::infinity(); }},
      {"NaN optional number", [](Manifest& m) { m.items[0].shape->titleFontSize = std::nan(""); }},
      {"invalid UTF-8 name", [](Manifest& m) { m.board.name = "\xFF"; }},
      {"truncated UTF-8 in an optional", [](Manifest& m) { m.items[0].shape->title = "\xE6\x97"; }},
      {"date before year 0", [](Manifest& m) { m.board.createdAt = Date{-62167219201s}; }},
      {"date after year 9999", [](Manifest& m) { m.board.modifiedAt = Date{253402300800s}; }},
  };
  for (const auto& [name, spoil] : rows) {
    SCOPED_TRACE(name);
    Manifest m = exampleManifest();
    spoil(m);
    EXPECT_THROW(encode(m), ManifestEncodingError);
  }
}

// Each row: a manifest leaning on defaults, and the same manifest with the values spelled out.
TEST(ManifestReader, ReadsMissingNullOrUnknownValuesAsTheirDefaults) {
  const std::string a4Portrait = withBoard(R"(, "pageSetup": {"format": "a4", "orientation": "portrait"})");
  const std::pair<std::string, std::string> rows[] = {
      {itemWith(""), itemWith(R"(, "type": "image", "zIndex": 0, "locked": false)")},
      {itemWith(R"(, "type": null, "image": null, "naturalSize": null, "text": null, "zIndex": null,
                   "locked": null, "groupId": null, "captionAlignment": null)"),
       itemWith("")},
      {itemWith(R"(, "text": {"content": "Hi"})"),
       itemWith(R"(, "text": {"content": "Hi", "color": "#111111", "fontSize": 44})")},
      {itemWith(R"(, "shape": {})"), itemWith(R"(, "shape": {"strokeWidth": 3})")},
      {itemWith(R"(, "drawing": {"points": [], "color": null})"),
       itemWith(R"(, "drawing": {"points": [], "color": "#111111", "strokeWidth": 3, "style": "solid"})")},
      {itemWith(R"(, "zIndex": 1, "locked": true, "zIndex": 2, "locked": null)"),
       itemWith(R"(, "zIndex": 2)")},
      {itemWith(R"(, "zIndex": "x", "zIndex": 5, "sticker": [1, {"a": null}])"),
       itemWith(R"(, "zIndex": 5)")},
      {itemWith(R"(, "groupId": "abcdef00-1234-4bcd-8def-abcdefabcdef")"),
       itemWith(R"(, "groupId": "ABCDEF00-1234-4BCD-8DEF-ABCDEFABCDEF")")},
      {withBoard(R"(, "header": null, "pageSetup": null)"), withBoard("")},
      // A page setup from a newer application must not make the board unreadable.
      {withBoard(R"(, "pageSetup": {})"), a4Portrait},
      {withBoard(R"(, "pageSetup": {"format": "A5", "orientation": "Landscape"})"), a4Portrait}};
  for (const auto& [leaning, spelledOut] : rows) {
    SCOPED_TRACE(leaning);
    EXPECT_EQ(decode(leaning), decode(spelledOut));
    // The careful reading, which takes what the quick one declines, must fill in the same defaults.
    EXPECT_EQ(manifest_reading::decodeCarefully(leaning, false), decode(spelledOut));
  }
}

TEST(ManifestReader, ReadsEveryNumberForm) {
  const std::pair<const char*, double> doubles[] = {
      {"4.4e1", 44}, {"440E-1", 44}, {"-1.5", -1.5}, {"4.9406564584124654e-324", 5e-324},
      {"1.7976931348623158e308", 1.7976931348623157e308}, {"9223372036854775808", 9223372036854775808.0},
      // Too small for a double: zero, however the digits are spelled.
      {"1e-400", 0}, {"-0.0001e-330", 0}, {"0.000e-999999999", 0}};
  for (const auto& [json, expected] : doubles) {
    SCOPED_TRACE(json);
    const std::string text = R"(, "text": {"content": "", "fontSize": )" + std::string(json) + "}";
    EXPECT_EQ(decode(itemWith(text)).items[0].text->fontSize, expected);
  }
  const std::pair<const char*, std::int64_t> integers[] = {
      {"-0", 0}, {"-2147483649", -2147483649}, {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()}};
  for (const auto& [json, expected] : integers)
    EXPECT_EQ(decode(itemWith(R"(, "zIndex": )" + std::string(json))).items[0].zIndex, expected) << json;
}

void expectRefused(const std::string& json, std::string_view messageStart) {
  SCOPED_TRACE(json.substr(0, 200));
  try {
    decode(json);
    ADD_FAILURE() << "decoded without error";
  } catch (const ManifestDecodingError& error) {
    EXPECT_TRUE(std::string_view(error.what()).starts_with(messageStart)) << error.what();
  }
}

TEST(ManifestReader, RefusesInvalidJsonSayingWhere) {
  const std::string valid = withBoard("");
  expectRefused(valid + std::string(1, '\0') + "x", "invalid JSON at byte " + std::to_string(valid.size()));
  for (const std::string& json :
       {""s, valid + " x", "\xEF\xBB\xBF" + valid, withItem("{},"), itemWith(R"(, "x": NaN)"),
        itemWith(", \"caption\": \"\xC0\xAF\""), itemWith(R"(, "caption": "\uDC00")"),
        itemWith(R"(, "\udfff": 1)"), itemWith(R"(, "x": )" + std::string(513, '[') + std::string(513, ']')),
        itemWith(R"(, "x": 2.7976931348623157e308)"), itemWith(R"(, "x": 0.00001e99999999999999999999)"),
        itemWith(R"(, "x": -1)" + std::string(400, '0'))}) {
    expectRefused(json, "invalid JSON at byte ");
  }
}

TEST(ManifestReader, RefusesWrongFieldsNamingTheirPath) {
  const std::pair<std::string, const char*> rows[] = {
      {"[]", "manifest: expected an object"}, {R"({"schemaVersion": "8"})", "schemaVersion"},
      {R"({"schemaVersion": 9223372036854775808})", "schemaVersion"}, {R"({"schemaVersion": 8, "items": []})", "board"},
      {withBoard("", "{}"), "items"}, {withBoard(R"(, "id": "6f1c2a3b")"), "board.id"},
      {withBoard(R"(, "createdAt": "2025-02-30T09:26:53Z")"), "board.createdAt"},
      {withBoard(R"(, "canvas": null)"), "board.canvas: required"},
      {withBoard(R"(, "canvas": {"backgroundColor": "", "lastViewport": {"offsetX": 0, "zoom": "1"}})"),
       "board.canvas.lastViewport.offsetY"},
      {withBoard(R"(, "header": {"title": 1})"), "board.header.title: expected a string, found a number"},
      {withItem("[]"), "items[0]"},
      {withItem(R"({"frame": {"x": 1, "y": 2, "width": 3, "height": 4}})"), "items[0].id"},
      {withItem(R"({"id": "00000000-0000-4000-8000-000000000001", "frame": {"x": 1, "y": 2, "width": 3}})"),
       "items[0].frame.height"},
      {itemWith(R"(, "type": "Image")"), "items[0].type"}, {itemWith(R"(, "zIndex": 1.0)"), "items[0].zIndex"},
      {itemWith(R"(, "locked": 1)"), "items[0].locked"},
      {itemWith(R"(, "naturalSize": {"width": 1.5, "height": 2})"), "items[0].naturalSize.width"},
      {itemWith(R"(, "source": {"url": "x"})"), "items[0].source.addedAt"},
      {itemWith(R"(, "drawing": {"points": [{"x": 0, "y": 0}, {"x": 1}]})"), "items[0].drawing.points[1].y"},
      {itemWith(R"(, "drawing": {"points": [], "style": "dotted"})"), "items[0].drawing.style"}};
  for (const auto& [json, where] : rows) expectRefused(json, where);
}

// The generator mixes every field with every other, so a key written out of order shows up here.
TEST(ManifestRoundTrip, GeneratedManifestsReadBackEqualWithKeysAscending) {
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Manifest m = testing::sampleManifest(seed, seed % 12);
    const std::string written = encode(m);
    ASSERT_EQ(decode(written), m);
    ASSERT_EQ(encode(decode(written)), written);
    rapidjson::Document document;
    ASSERT_FALSE(document.Parse(written.c_str(), written.size()).HasParseError());
    expectKeysAscending(document, "manifest");
  }
}

TEST(ManifestRoundTrip, EveryProperPrefixIsRefused) {
  const std::string written = encode(testing::sampleManifest(7, 4));
  for (std::size_t length = 0; length < written.size(); ++length) {
    EXPECT_THROW(decode(std::string_view(written).substr(0, length)), ManifestDecodingError) << length;
  }
}

TEST(ManifestDates, ParsesRealInstantsInTheWritableYearsAndNothingElse) {
  const Date example = utc(year{2025} / 3 / 14, 9h + 26min + 53s);
  const std::pair<const char*, Date> rows[] = {
      {"2025-03-14T09:26:53Z", example}, {"2025-03-14T11:26:53+02:00", example}, {"2025-03-14T04:56:53-04:30", example},
      {"2025-01-01T00:30:00+01:00", utc(year{2024} / 12 / 31, 23h + 30min)},
      {"2024-02-29T23:59:59Z", utc(year{2024} / 2 / 29, 23h + 59min + 59s)},
      {"2000-02-29T00:00:00Z", utc(year{2000} / 2 / 29)}, {"1969-12-31T23:59:59Z", Date{-1s}},
      {"0000-01-01T00:00:00Z", utc(year{0} / 1 / 1)}, {"9999-12-31T23:59:59+23:59", utc(year{9999} / 12 / 31, 59s)}};
  for (const auto& [text, expected] : rows) EXPECT_EQ(ManifestCoder::parseDate(text), expected) << text;
  for (const char* text :
       {"0000-01-01T00:30:00+01:00", "9999-12-31T23:30:00-01:00", "2025-03-14T09:26:53.123Z",
        "2025-03-14t09:26:53z", "2025-03-14T09:26:53X", "2025-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2025-04-31T00:00:00Z",
        "2025-13-01T00:00:00Z", "2025-01-00T00:00:00Z", "2025-01-01T24:00:00Z", "2025-01-01T00:60:00Z",
        "2025-01-01T00:00:60Z", "2025-01-01T00:00:-1Z", "2025-01-01T00:00:00+24:00",
        "2025-01-01T00:00:00+01:60", "2025-01-01T00:00:00+01-00"}) {
    EXPECT_EQ(ManifestCoder::parseDate(text), std::nullopt) << text;
  }
}

TEST(ManifestDates, FormatsInUtcWithSignedWideYearsOutsideTheRange) {
  const std::pair<Date, const char*> rows[] = {
      {Date{-1s}, "1969-12-31T23:59:59Z"}, {utc(year{9} / 7 / 4, 12h + 3min + 4s), "0009-07-04T12:03:04Z"},
      {utc(year{10000} / 1 / 1), "+10000-01-01T00:00:00Z"}, {utc(year{-1} / 12 / 31), "-0001-12-31T00:00:00Z"}};
  for (const auto& [date, expected] : rows) EXPECT_EQ(ManifestCoder::formatDate(date), expected);
  // The extremes of the representation must not overflow the calendar arithmetic.
  for (const Date extreme : {Date::min(), Date::max()}) {
    EXPECT_FALSE(ManifestCoder::parseDate(ManifestCoder::formatDate(extreme)));
  }
}

TEST(Utf8, FindsTheFirstFault) {
  const std::tuple<std::string, bool, std::size_t> rows[] = {  // text, refuse NUL, expected offset
      {"0123456789abcdefg\xFFxyz", true, 17}, {"abcdefg\0hijklmnop"s, true, 7}, {"abcdefg\0hijklmnop"s, false, 17},
      {"\xC1\xBF", true, 0}, {"\xE0\x9F\xBF", true, 0}, {"\xED\x9F\xBF", true, 3}, {"\xED\xA0\x80", true, 0},
      {"\xF0\x8F\xBF\xBF", true, 0}, {"\xF4\x8F\xBF\xBF", true, 4}, {"\xF4\x90\x80\x80", true, 0},
      {"ab\x80", true, 2}, {"ab\xE6\x97", true, 2}, {"\xE6\x97!", true, 0}};
  for (const auto& [text, refuseNul, expected] : rows) {
    EXPECT_EQ(utf8::firstFault(text, refuseNul), expected) << ::testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace zorvi
