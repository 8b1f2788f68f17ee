#include "zorvi/update_check.hpp"

#include <gtest/gtest.h>

#include <string>

namespace zorvi {
namespace {

using Result = UpdateCheck::Result;

TEST(SemanticVersion, ParsesOneToThreeNonNegativeNumbers) {
  // clang-format off
  const std::pair<std::string, SemanticVersion> valid[] = {
      {"1.2.3", {1, 2, 3}}, {"2", {2, 0, 0}}, {"2.1", {2, 1, 0}}, {"01.002.0003", {1, 2, 3}}, {"+1.+2.+3", {1, 2, 3}},
      {"-0.1.-0", {0, 1, 0}}, {" \t2.0.0 \t", {2, 0, 0}}, {"\u00A02.0\u3000", {2, 0, 0}} /* Unicode spaces */,
      {"9223372036854775807.0.0", {INT64_MAX, 0, 0}},
  };
  const std::string invalid[] = {
      "9223372036854775808.0.0", "1.-2.3", "2.0.0\n", "2.0.0\u2028", " \t ", "v1.2.3", "1.2.3-beta", "1.2.3.4",
      "1.2.", ".1", "1.2.x", "1. 2.3", "+", "++1", "1.2.\xB3", "\xEF\xBC\x91" /* full-width digit one */,
      std::string("1\0.2", 4)};
  // clang-format on
  for (const auto& [text, version] : valid) EXPECT_EQ(SemanticVersion::parse(text), version) << text;
  for (const std::string& text : invalid) EXPECT_EQ(SemanticVersion::parse(text), std::nullopt) << text;
  EXPECT_EQ(SemanticVersion::parse("1.2")->description(), "1.2.0");
  EXPECT_EQ((SemanticVersion{INT64_MAX, 0, 10}).description(), "9223372036854775807.0.10");
}

TEST(UpdateCheck, EvaluateComparesInstalledWithTheFeed) {
  // clang-format off
  const std::tuple<const char*, const char*, Result> rows[] = {
      {"1.2.3", "1.2.4", Result::updateAvailable({1, 2, 4})}, {"1.2.3", "1.2.3", Result::upToDate()},
      {"1.10.0", "1.9.9", Result::upToDate()}, {"1.9.9", "1.10", Result::updateAvailable({1, 10, 0})},
      {"2.0.0\n", "3", Result::unknown()}, {"1.0", "2.0.0\n", Result::unknown()},
  };
  // clang-format on
  // minOS and notesUrl take no part in the decision.
  for (const auto& [installed, feed, expected] : rows)
    EXPECT_EQ(UpdateCheck::evaluate(installed, UpdateManifest{feed, "u", "99.0", "not a url"}), expected)
        << installed << " vs " << feed;
  EXPECT_EQ(Result::updateAvailable({1, 2, 4}).version(), (SemanticVersion{1, 2, 4}));
  EXPECT_EQ(Result::upToDate().version(), std::nullopt);
}

TEST(UpdateManifest, DecodesTheFeedRecord) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  // clang-format off
  const std::tuple<const char*, std::string, UpdateManifest> rows[] = {
      {"required keys only", R"({"version":"1.2.3","url":"https://x/y"})", {"1.2.3", "https://x/y", {}, {}}},
      {"all keys", R"({"notesUrl":"n","minOS":"13.0","url":"u","version":"2"})", {"2", "u", "13.0", "n"}},
      {"null optional keys", R"({"version":"1","url":"u","minOS":null,"notesUrl":null})", {"1", "u", {}, {}}},
      {"other keys ignored", R"( {"url":"u","extra":[1,{"a":null}],"version":"v"} )", {"v", "u", {}, {}}},
      {"escapes", R"({"version":"1\u0000","url":"a\/b\u00e9\ud83d\ude00"})", {std::string("1\0", 2), "a/b\u00e9\U0001F600", {}, {}}},
      // Nested a hundred thousand deep: read without exhausting the stack.
      {"deep ignored key", R"({"version":"1","url":"u","x":)" + deep + "}", {"1", "u", {}, {}}},
  };
  // clang-format on
  for (const auto& [name, json, expected] : rows) EXPECT_EQ(UpdateManifest::decode(json), expected) << name;
}

TEST(UpdateManifest, RefusesMalformedFeeds) {
  // clang-format off
  const std::string rows[] = {
      "", "{", R"({"url":"u"})", R"({"version":"1"})", R"({"version":null,"url":"u"})", R"({"version":1,"url":"u"})",
      R"({"version":"1","url":"u","minOS":13})", R"({"version":"1","url":"u","version":"2"})",
      R"(["version","url"])", R"("1.2.3")", R"({"version":"1","url":"u"} {})", R"({"version":"1","url":"u",})",
      "{\"version\":\"1\",\"url\":\"\xC3\x28\"}", "{\"version\":\"1\",\"url\":\"\xED\xA0\x80\"}",
      "{\"version\":\"1\",\"url\":\"a\tb\"}", R"({"version":"1","url":"\ud800"})", R"({"version":"1","url":"\ude00"})",
      R"({"version":"1","url":"u","x\uDFFF":0})", R"({"version":"1","url":"u","x":["\udc00"]})", R"({"version":"1","url":"u","x":NaN})",
      R"({'version':'1','url':'u'})", "\xEF\xBB\xBF{\"version\":\"1\",\"url\":\"u\"}",
      std::string("{\"version\":\"1\",\"url\":\"u\"}\0 trailing", 35), std::string("{\"version\":\"1\0\",\"url\":\"u\"}", 26)};
  // clang-format on
  for (const std::string& json : rows)
    EXPECT_THROW(UpdateManifest::decode(json), UpdateManifestDecodingError) << json.substr(0, 60);
}

TEST(UpdateManifest, EncodesSortedKeysAndLeavesOutAbsentFields) {
  const UpdateManifest minimal{"1.2.3", "https://zorvi.example/dl/1.2.3", {}, {}};
  EXPECT_EQ(minimal.encode(),
            "{\n  \"url\": \"https://zorvi.example/dl/1.2.3\",\n  \"version\": \"1.2.3\"\n}");
  const UpdateManifest full{"2", "u", "13.0", "https://n/\u00e9"};
  EXPECT_EQ(full.encode(),
            "{\n  \"minOS\": \"13.0\",\n  \"notesUrl\": \"https://n/\u00e9\",\n  \"url\": \"u\",\n  "
            "\"version\": \"2\"\n}");
  for (const UpdateManifest& m :
       {minimal, full, UpdateManifest{"\"quoted\"\n", "\\", "", std::string("\0", 1)}}) {
    EXPECT_EQ(UpdateManifest::decode(m.encode()), m);
  }
  EXPECT_THROW((UpdateManifest{"1", "\xFF", {}, {}}.encode()), UpdateManifestEncodingError);
}

}  // namespace
}  // namespace zorvi
