// The quick reading of manifests: what it takes, it reads as the careful reading does; what it is not
// sure of, it leaves to the careful reading.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "manifest/manifest_reading.hpp"
#include "support/sample_manifest.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

using manifest_reading::decodeCarefully;

std::optional<Manifest> quickly(std::string_view json) {
  std::string padded(json);
  padded.append(manifest_reading::padding, ' ');
  return manifest_reading::decodeQuickly(std::string_view(padded.data(), json.size()));
}

std::optional<Manifest> carefully(std::string_view json) {
  try {
    return decodeCarefully(json, false);
  } catch (const ManifestDecodingError&) {
    return std::nullopt;
  }
}

// A one-item manifest; `board` and `item` go inside those objects, `after` after the root.
std::string manifest(const std::string& item, const std::string& board = "", const std::string& after = "") {
  return R"({"schemaVersion": 8, "board": {"id": "6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8", "name": "Spring", )"
         R"("createdAt": "2025-03-14T09:26:53Z", "modifiedAt": "2025-03-15T17:02:10+02:00", "canvas": )"
         R"({"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": -0.0, "zoom": 1}})" +
         board + R"(}, "items": [{"id": "00000000-0000-0000-0000-00000000000a", )"
                 R"("frame": {"x": 1, "y": 2, "width": 3, "height": 4})" +
         item + "}]}" + after;
}

enum class Reading { both, onlyCareful, neither };

TEST(ManifestQuickReading, ReadsWhatItTakesAsTheCarefulReadingAndLeavesTheRest) {
  const std::tuple<const char*, std::string, Reading> rows[] = {
      {"plain", manifest(""), Reading::both},
      {"every kind of content",
       manifest(R"(, "type": "drawing", "image": "images/a.jpg", "thumbnail": "t.jpg", "caption": "c",)"
                R"( "captionAlignment": "trailing", "naturalSize": {"width": 2, "height": 3},)"
                R"( "source": {"url": "u", "addedAt": "2025-01-01T00:00:00Z"}, "text": {"content": "x"},)"
                R"( "shape": {"title": "t", "titleFontSize": 9}, "zIndex": -3, "locked": true,)"
                R"( "groupId": "00000000-0000-0000-0000-00000000000B",)"
                R"( "drawing": {"points": [{"x": 0.5, "y": 1e-3}], "style": "dashed"})",
                R"(, "pageSetup": {"format": "a3", "orientation": "landscape"}, "header": {"notes": "n"})"),
       Reading::both},
      {"defaults for null and missing",
       manifest(R"(, "type": null, "text": {"content": "x", "color": null}, "shape": {}, "drawing": {"points": []})",
                R"(, "pageSetup": {"format": "newer", "orientation": "sideways"}, "header": null)"),
       Reading::both},
      {"unknown keys of every kind",
       manifest(R"(, "future": {"a": [1, -0, 2.5e-3, "\u00e9\n", true, false, null, {"b": [[]]}]})"),
       Reading::both},
      {"numbers at the edges",
       manifest(R"(, "shape": {"strokeWidth": 1e-400, "titleFontSize": 18446744073709551615}, "zIndex": -0)"),
       Reading::both},
      {"escapes in known strings", manifest(R"(, "caption": "a\"b\\c\u0000\ud83d\ude00")"), Reading::both},
      {"repeated key", manifest(R"(, "zIndex": 1, "zIndex": 2)"), Reading::onlyCareful},
      {"repeated unknown key", manifest(R"(, "x": 1, "x": 2)"), Reading::both},
      {"escaped known key", manifest(R"(, "z\u0049ndex": 5)"), Reading::onlyCareful},
      {"escaped unknown key", manifest(R"(, "\u00e9": 5)"), Reading::onlyCareful},
      {"deep nesting in an unknown key",
       manifest(", \"future\": " + std::string(100, '[') + std::string(100, ']')), Reading::onlyCareful},
      {"whole number beyond 64 bits", manifest(R"(, "shape": {"strokeWidth": 184467440737095516160})"),
       Reading::onlyCareful},
      {"twenty significant digits", manifest(R"(, "shape": {"strokeWidth": 1234567890.123456789})"),
       Reading::onlyCareful},
      {"many digits that round to one",
       manifest(R"(, "shape": {"strokeWidth": 0.99999999999999999999999999999999999999999999925})"),
       Reading::onlyCareful},
      {"negative zeros", manifest(R"(, "shape": {"strokeWidth": -0, "titleFontSize": -0e1})"), Reading::both},
      {"lone surrogate in an unknown key", manifest(R"(, "future": "\udc00")"), Reading::neither},
      {"number too large in an unknown key", manifest(R"(, "future": [1e400])"), Reading::neither},
      {"literal cut short in an unknown key", manifest(R"(, "future": nul)"), Reading::neither},
      {"literal run on", manifest(R"(, "locked": truex)"), Reading::neither},
      {"number run on", manifest(R"(, "zIndex": 12x)"), Reading::neither},
      {"leading zero", manifest(R"(, "zIndex": 012)"), Reading::neither},
      {"missing comma", manifest(R"(, "zIndex": 1 "locked": true)"), Reading::neither},
      {"a colon after a string value", manifest(R"(, "future": "a": "b", "caption": "c": "d")"), Reading::neither},
      {"a colon after a number value", manifest(R"(, "future": 1: 2)"), Reading::neither},
      {"trailing comma", manifest(R"(, "zIndex": 1,)"), Reading::neither},
      {"trailing text", manifest("", "", " x"), Reading::neither},
      {"second document", manifest("", "", " {}"), Reading::neither},
      {"wrong type", manifest(R"(, "locked": "yes")"), Reading::neither},
      {"integer with a fraction", manifest(R"(, "zIndex": 1.0)"), Reading::neither},
      {"missing required key", manifest(R"(, "frame": null)"), Reading::neither},
      {"bad UUID", manifest(R"(, "groupId": "00000000-0000-0000-0000-00000000000g")"), Reading::neither},
  };
  for (const auto& [name, json, reading] : rows) {
    SCOPED_TRACE(name);
    const auto quick = quickly(json);
    const auto careful = carefully(json);
    EXPECT_EQ(quick.has_value(), reading == Reading::both);
    EXPECT_EQ(careful.has_value(), reading != Reading::neither);
    if (quick && careful) {
      EXPECT_EQ(*quick, *careful);
      EXPECT_EQ(ManifestCoder::encode(*quick), ManifestCoder::encode(*careful));
    }
  }
}

TEST(ManifestQuickReading, EveryProperPrefixOfAManifestIsLeftToTheCarefulReading) {
  const std::string json = manifest(R"(, "drawing": {"points": [{"x": 1, "y": 2}, {"x": 3, "y": 4}]})");
  ASSERT_TRUE(quickly(json));
  for (std::size_t length = 0; length < json.size(); ++length)
    EXPECT_FALSE(quickly(std::string_view(json).substr(0, length))) << length;
}

// The parser a thread keeps must carry nothing from one text to the next.
TEST(ManifestQuickReading, ReadsLargeSmallAndBrokenTextsInTurn) {
  const std::string large = ManifestCoder::encode(testing::sampleManifest(11, 300));
  const std::string small = manifest("");
  const std::string broken = large.substr(0, large.size() / 2);
  const auto expectedLarge = carefully(large), expectedSmall = carefully(small);
  ASSERT_TRUE(expectedLarge && expectedSmall);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(quickly(large), expectedLarge);
    EXPECT_EQ(quickly(broken), std::nullopt);
    EXPECT_EQ(quickly(small), expectedSmall);
  }
}

TEST(Uuid, RefusesANonDigitInEveryPlaceAndReadsEveryDigit) {
  const std::string valid = "0123abcd-ABCD-4ef0-89AB-cdefABCDEF01";
  const auto parsed = Uuid::parse(valid);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->string(), "0123ABCD-ABCD-4EF0-89AB-CDEFABCDEF01");
  for (std::size_t at = 0; at < valid.size(); ++at) {
    if (valid[at] == '-') continue;
    // The neighbours of the digit ranges, a dash where a digit belongs, and a byte beyond ASCII.
    for (const char bad : {'/', ':', '@', 'G', '`', 'g', '-', '\xC3'}) {
      std::string text = valid;
      text[at] = bad;
      EXPECT_FALSE(Uuid::parse(text)) << text;
    }
  }
}

}  // namespace
}  // namespace zorvi
