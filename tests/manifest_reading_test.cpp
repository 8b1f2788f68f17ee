// Manifests read as they always were: values, rounding, and every error word for word, whichever parser
// reads the text.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>

#include "support/sample_manifest.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

std::string doc(const std::string& zoom, const std::string& items, const std::string& name,
                const std::string& extra = "") {
  return R"({"schemaVersion": 8, "items": )" + items +
         R"(, "board": {"id": "6f1c2a3b-4d5e-4f60-8172-93a4b5c6d7e8", "name": )" + name +
         R"(, "createdAt": "2025-03-14T09:26:53Z", "modifiedAt": "2025-03-15T17:02:10Z", "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": )" +
         zoom + "}}}" + extra + "}";
}

std::string item(const std::string& frame, const std::string& rest) {
  return R"([{"id": "00000000-0000-0000-0000-000000000001", "frame": )" + frame + rest + "}]";
}

std::string nested(int depth) { return R"(, "extra": )" + std::string(depth, '[') + std::string(depth, ']'); }

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

TEST(ManifestReading, ReadsValuesAndRefusesTextAsBefore) {
  const std::string box = R"({"x":0,"y":0,"width":1,"height":1})";
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"plain", doc("1", "[]", R"("Spring")"), "zoom 1, name of 6 bytes"},
      {"negative zero integer", doc("-0", "[]", R"("Spring")"), "zoom 0, name of 6 bytes"},
      {"negative zero double", doc("-0.0", "[]", R"("Spring")"), "zoom -0, name of 6 bytes"},
      {"underflow", doc("1e-400", "[]", R"("Spring")"), "zoom 0, name of 6 bytes"},
      {"negative underflow", doc("-1e-400", "[]", R"("Spring")"), "zoom -0, name of 6 bytes"},
      {"overflow", doc("1e400", "[]", R"("Spring")"),
       "error: invalid JSON at byte 277: Number too big to be stored in double."},
      {"largest 64-bit unsigned", doc("18446744073709551615", "[]", R"("Spring")"),
       "zoom 1.8446744073709552e+19, name of 6 bytes"},
      {"beyond 64 bits", doc("18446744073709551616", "[]", R"("Spring")"),
       "zoom 1.8446744073709552e+19, name of 6 bytes"},
      {"seventeen digits", doc("0.30000000000000004", "[]", R"("Spring")"),
       "zoom 0.30000000000000004, name of 6 bytes"},
      {"near the smallest normal", doc("2.2250738585072011e-308", "[]", R"("Spring")"),
       "zoom 2.2250738585072009e-308, name of 6 bytes"},
      {"exponent only", doc("1E2", "[]", R"("Spring")"), "zoom 100, name of 6 bytes"},
      {"zIndex at the 64-bit limit", doc("1", item(box, R"(, "zIndex": 9223372036854775807)"), R"("Spring")"),
       "zoom 1, name of 6 bytes; zIndex 9223372036854775807, x 0"},
      {"zIndex past it", doc("1", item(box, R"(, "zIndex": 9223372036854775808)"), R"("Spring")"),
       "error: items[0].zIndex: expected an integer without fraction or exponent within the signed 64-bit "
       "range"},
      {"zIndex with a fraction", doc("1", item(box, R"(, "zIndex": 1.0)"), R"("Spring")"),
       "error: items[0].zIndex: expected an integer without fraction or exponent within the signed 64-bit "
       "range"},
      {"zIndex negative zero", doc("1", item(box, R"(, "zIndex": -0)"), R"("Spring")"),
       "zoom 1, name of 6 bytes; zIndex 0, x 0"},
      {"frame member a string", doc("1", item(R"({"x":"0","y":0,"width":1,"height":1})", ""), R"("Spring")"),
       "error: items[0].frame.x: expected a number, found a string"},
      {"frame member null", doc("1", item(R"({"x":null,"y":0,"width":1,"height":1})", ""), R"("Spring")"),
       "error: items[0].frame.x: required key is missing or null"},
      {"repeated keys",
       doc("1", item(R"({"x":5,"y":0,"width":1,"height":1,"x":7})", R"(, "locked": true, "locked": false)"),
           R"("Spring")"),
       "zoom 1, name of 6 bytes; zIndex 0, x 7"},
      {"items not an array", doc("1", "{}", R"("Spring")"),
       "error: items: expected an array, found an object"},
      {"a bad point",
       doc("1",
           item(box, R"(, "type": "drawing", "drawing": {"points": [{"x":1,"y":2}, [], {"x":3,"y":4}]})"),
           R"("Spring")"),
       "error: items[0].drawing.points[1]: expected an object, found an array"},
      {"points",
       doc("1", item(box, R"(, "type": "drawing", "drawing": {"points": [{"x":1,"y":2}, {"x":3,"y":4}]})"),
           R"("Spring")"),
       "zoom 1, name of 6 bytes; zIndex 0, x 0, 2 points"},
      {"escaped NUL and a surrogate pair", doc("1", "[]", R"("a\u0000b\ud83d\ude00c")"),
       "zoom 1, name of 8 bytes"},
      {"escaped lone surrogate", doc("1", "[]", R"("a\ud800b")"),
       "error: invalid JSON at byte 100: The surrogate pair in string is invalid."},
      {"escaped lone low surrogate", doc("1", "[]", R"("a\uDC00")"),
       "error: invalid JSON at byte 107: escaped lone surrogate in a string"},
      {"raw control character", doc("1", "[]", "\"a\x01b\""),
       "error: invalid JSON at byte 100: Invalid escape character in string."},
      {"invalid UTF-8", doc("1", "[]", "\"a\xff\""), "error: invalid JSON at byte 100: invalid UTF-8"},
      {"raw NUL", doc("1", "[]", std::string("\"a") + '\0' + "b\""),
       "error: invalid JSON at byte 100: NUL byte"},
      {"trailing comma", doc("1", "[],", R"("Spring")"),
       "error: invalid JSON at byte 33: Missing a name for object member."},
      {"byte order mark", "\xEF\xBB\xBF" + doc("1", "[]", R"("Spring")"),
       "error: invalid JSON at byte 0: Invalid value."},
      {"two documents", doc("1", "[]", R"("Spring")") + " {}",
       "error: invalid JSON at byte 283: The document root must not be followed by other values."},
      {"not an object", "[1, 2]", "error: manifest: expected an object, found an array"},
      {"empty", "", "error: invalid JSON at byte 0: The document is empty."},
      {"nested to the limit", doc("1", "[]", R"("Spring")", nested(511)), "zoom 1, name of 6 bytes"},
      {"nested past it", doc("1", "[]", R"("Spring")", nested(512)),
       "error: invalid JSON at byte 804: nested deeper than 512 levels"},
  };
  for (const auto& [name, json, expected] : rows) EXPECT_EQ(outcome(json), expected) << name;
  // An empty entry gives a view of no bytes at all, without even a pointer.
  EXPECT_THROW(ManifestCoder::decode(std::string_view{}), ManifestDecodingError);
}

TEST(ManifestReading, LargeManifestReadsBackToTheSameText) {
  const std::string json = ManifestCoder::encode(testing::sampleManifest(5, 400));
  EXPECT_EQ(ManifestCoder::encode(ManifestCoder::decode(json)), json);
}

}  // namespace
}  // namespace zorvi
