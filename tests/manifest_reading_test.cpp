// Manifests read as they always were: values, rounding, and every error word for word, whichever parser
// reads the text.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>

#include "support/html_golden.hpp"
#include "support/sample_manifest.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

// A board named `name` at the given zoom with the given items, and `extra` members after the board.
std::string doc(const std::string& zoom = "1", const std::string& items = "[]",
                const std::string& name = R"("Spring")", const std::string& extra = "") {
  return R"({"schemaVersion": 8, "items": )" + items +
         R"(, "board": {"id": "6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8", "name": )" + name +
         R"(, "createdAt": "2025-03-14T09:26:53Z", "modifiedAt": "2025-03-15T17:02:10Z", "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": )" +
         zoom + "}}}" + extra + "}";
}

// One item at the frame given, with `rest` after it.
std::string item(const std::string& rest,
                 const std::string& frame = R"({"x":0,"y":0,"width":1,"height":1})") {
  return doc("1", R"([{"id": "00000000-0000-0000-0000-000000000001", "frame": )" + frame + rest + "}]");
}

std::string nested(int depth) {
  return doc("1", "[]", R"("Spring")", R"(, "extra": )" + std::string(depth, '[') + std::string(depth, ']'));
}

std::string number(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

std::string outcome(const std::string& json) {
  try {
    const Manifest m = ManifestCoder::decode(json);
    std::string s = "zoom " + number(m.board.canvas.lastViewport.zoom) + ", name of " +
                    std::to_string(m.board.name.size()) + " bytes";
    for (const auto& i : m.items) {
      s += "; zIndex " + std::to_string(i.zIndex) + ", x " + number(i.frame.x) + (i.locked ? ", locked" : "");
      if (i.drawing) s += ", " + std::to_string(i.drawing->points.size()) + " points";
    }
    return s;
  } catch (const ManifestDecodingError& error) {
    return std::string("error: ") + error.what();
  }
}

// Each row's outcome, values or the error word for word, under its name in tests/golden/manifest_reading.txt.
TEST(ManifestReading, ReadsValuesAndRefusesTextAsBefore) {
  const std::pair<const char*, std::string> rows[] = {
      {"plain", doc()},
      {"negative zero integer", doc("-0")},
      {"negative zero double", doc("-0.0")},
      {"underflow", doc("1e-400")},
      {"negative underflow", doc("-1e-400")},
      {"overflow", doc("1e400")},
      {"largest 64-bit unsigned", doc("18446744073709551615")},
      {"beyond 64 bits", doc("18446744073709551616")},
      {"seventeen digits", doc("0.30000000000000004")},
      {"near the smallest normal", doc("2.2250738585072011e-308")},
      {"exponent only", doc("1E2")},
      {"zIndex at the 64-bit limit", item(R"(, "zIndex": 9223372036854775807)")},
      {"zIndex past it", item(R"(, "zIndex": 9223372036854775808)")},
      {"zIndex with a fraction", item(R"(, "zIndex": 1.0)")},
      {"zIndex negative zero", item(R"(, "zIndex": -0)")},
      {"frame member a string", item("", R"({"x":"0","y":0,"width":1,"height":1})")},
      {"frame member null", item("", R"({"x":null,"y":0,"width":1,"height":1})")},
      {"repeated keys",
       item(R"(, "locked": true, "locked": false)", R"({"x":5,"y":0,"width":1,"height":1,"x":7})")},
      {"items not an array", doc("1", "{}")},
      {"a bad point",
       item(R"(, "type": "drawing", "drawing": {"points": [{"x":1,"y":2}, [], {"x":3,"y":4}]})")},
      {"points", item(R"(, "type": "drawing", "drawing": {"points": [{"x":1,"y":2}, {"x":3,"y":4}]})")},
      {"escaped NUL and a surrogate pair", doc("1", "[]", R"("a\u0000b\ud83d\ude00c")")},
      {"escaped lone surrogate", doc("1", "[]", R"("a\ud800b")")},
      {"escaped lone low surrogate", doc("1", "[]", R"("a\uDC00")")},
      {"raw control character", doc("1", "[]", "\"a\x01b\"")},
      {"invalid UTF-8", doc("1", "[]", "\"a\xff\"")},
      {"raw NUL", doc("1", "[]", std::string("\"a") + '\0' + "b\"")},
      {"trailing comma", doc("1", "[],")},
      {"byte order mark", "\xEF\xBB\xBF" + doc()},
      {"two documents", doc() + " {}"},
      {"not an object", "[1, 2]"},
      {"empty", ""},
      {"nested to the limit", nested(511)},
      {"nested past it", nested(512)},
  };
  std::string transcript;
  for (const auto& [name, json] : rows) transcript += "# " + std::string(name) + "\n" + outcome(json) + "\n";
  testing::expectMatchesGolden("manifest_reading", transcript, "txt");
  // An empty entry gives a view of no bytes at all, without even a pointer.
  EXPECT_THROW(ManifestCoder::decode(std::string_view{}), ManifestDecodingError);
}

TEST(ManifestReading, LargeManifestReadsBackToTheSameText) {
  const std::string json = ManifestCoder::encode(testing::sampleManifest(5, 400));
  EXPECT_EQ(ManifestCoder::encode(ManifestCoder::decode(json)), json);
}

}  // namespace
}  // namespace zorvi
