#include "zorvi/update_check.hpp"

#include <gtest/gtest.h>

#include <string>

namespace zorvi {
namespace {

TEST(SemanticVersion, ParsesOneToThreeNonNegativeNumbers) {
  struct Row {
    std::string text;
    std::optional<SemanticVersion> expected;
  };
  const Row rows[] = {
      {"1.2.3", SemanticVersion{1, 2, 3}},
      {"2", SemanticVersion{2, 0, 0}},
      {"2.1", SemanticVersion{2, 1, 0}},
      {"01.002.0003", SemanticVersion{1, 2, 3}},
      {"+1.+2.+3", SemanticVersion{1, 2, 3}},
      {"-0.1.-0", SemanticVersion{0, 1, 0}},
      {" \t2.0.0 \t", SemanticVersion{2, 0, 0}},
      {"\u00A02.0.0\u3000", SemanticVersion{2, 0, 0}},  // no-break and ideographic spaces are blanks too
      {"9223372036854775807.0.0", SemanticVersion{INT64_MAX, 0, 0}},
      {"9223372036854775808.0.0", std::nullopt},
      {"-9223372036854775808", std::nullopt},
      {"1.-2.3", std::nullopt},
      {"2.0.0\n", std::nullopt},
      {"\r2.0.0", std::nullopt},
      {"2.0.0\u2028", std::nullopt},
      {"", std::nullopt},
      {" \t ", std::nullopt},
      {"v1.2.3", std::nullopt},
      {"1.2.3-beta", std::nullopt},
      {"1.2.3+5", std::nullopt},
      {"1.2.3.4", std::nullopt},
      {"1..3", std::nullopt},
      {"1.2.", std::nullopt},
      {".1", std::nullopt},
      {"1.2.x", std::nullopt},
      {"1. 2.3", std::nullopt},
      {"+", std::nullopt},
      {"-", std::nullopt},
      {"++1", std::nullopt},
      {"1.2.\xB3", std::nullopt},
      {"\xEF\xBC\x91", std::nullopt},  // a full-width digit is not an ASCII digit
      {std::string("1\0.2", 4), std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(SemanticVersion::parse(row.text), row.expected);
  }
}

TEST(SemanticVersion, OrdersNumericallyAndPrintsThreeNumbers) {
  EXPECT_LT((SemanticVersion{1, 9, 9}), (SemanticVersion{1, 10, 0}));
  EXPECT_LT((SemanticVersion{1, 2, 3}), (SemanticVersion{1, 2, 4}));
  EXPECT_LT((SemanticVersion{1, 99, 99}), (SemanticVersion{2, 0, 0}));
  EXPECT_EQ(SemanticVersion::parse("1.2")->description(), "1.2.0");
  EXPECT_EQ((SemanticVersion{INT64_MAX, 0, 10}).description(), "9223372036854775807.0.10");
}

TEST(UpdateCheck, EvaluateComparesInstalledWithTheFeed) {
  using Case = UpdateCheck::Result::Case;
  struct Row {
    const char* installed;
    const char* feed;
    UpdateCheck::Result expected;
  };
  const Row rows[] = {
      {"1.2.3", "1.2.4", UpdateCheck::Result::updateAvailable({1, 2, 4})},
      {"1.2.3", "1.2.3", UpdateCheck::Result::upToDate()},
      {"1.2.3", "1.2.2", UpdateCheck::Result::upToDate()},
      {"1.2", "1.2.0", UpdateCheck::Result::upToDate()},
      {"1.10.0", "1.9.9", UpdateCheck::Result::upToDate()},
      {"1.9.9", "1.10", UpdateCheck::Result::updateAvailable({1, 10, 0})},
      {" 2.0.0 ", "2.0.1", UpdateCheck::Result::updateAvailable({2, 0, 1})},
      {"2.0.0\n", "3", UpdateCheck::Result::unknown()},
      {"1.0", "2.0.0\n", UpdateCheck::Result::unknown()},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.installed) + " vs " + row.feed);
    EXPECT_EQ(UpdateCheck::evaluate(row.installed, UpdateManifest{row.feed, "https://example.org/z", {}, {}}),
              row.expected);
  }
  for (const char* bad : {"v1.2.3", "1.2.3-beta", "1.2.3.4", "1..3", "", "1.2.x"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(UpdateCheck::evaluate(bad, UpdateManifest{"9.9.9", "u", {}, {}}).kind(), Case::unknown);
    EXPECT_EQ(UpdateCheck::evaluate("0.0.1", UpdateManifest{bad, "u", {}, {}}).kind(), Case::unknown);
  }
  // minOS and notes take no part in the decision.
  EXPECT_EQ(UpdateCheck::evaluate("1.0", UpdateManifest{"1.1", "u", "99.0", "not a url"}).version(),
            (SemanticVersion{1, 1, 0}));
  EXPECT_EQ(UpdateCheck::Result::upToDate().version(), std::nullopt);
}

TEST(UpdateManifest, DecodesTheFeedRecord) {
  struct Row {
    const char* name;
    std::string json;
    UpdateManifest expected;
  };
  const Row rows[] = {
      {"required keys only", R"({"version":"1.2.3","url":"https://x/y"})", {"1.2.3", "https://x/y", {}, {}}},
      {"all keys", R"({"notesUrl":"n","minOS":"13.0","url":"u","version":"2"})", {"2", "u", "13.0", "n"}},
      {"null optional keys", R"({"version":"1","url":"u","minOS":null,"notesUrl":null})", {"1", "u", {}, {}}},
      {"other keys ignored", R"( {"url":"u","extra":[1,{"a":null}],"version":"v"} )", {"v", "u", {}, {}}},
      {"escapes and non-ASCII", R"({"version":"1","url":"a\/b\u00e9\ud83d\ude00"})", {"1", "a/b\u00e9\U0001F600", {}, {}}},
      // Nested a hundred thousand deep: read without exhausting the stack.
      {"deeply nested ignored key",
       "{\"version\":\"1\",\"url\":\"u\",\"x\":" + std::string(100000, '[') + std::string(100000, ']') + "}",
       {"1", "u", {}, {}}},
      {"escaped NUL", R"({"version":"1\u0000","url":"u"})", {std::string("1\0", 2), "u", {}, {}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(UpdateManifest::decode(row.json), row.expected);
  }
}

TEST(UpdateManifest, RefusesMalformedFeeds) {
  const std::string rows[] = {
      "",
      "{",
      R"({"url":"u"})",
      R"({"version":"1"})",
      R"({"version":null,"url":"u"})",
      R"({"version":1,"url":"u"})",
      R"({"version":"1","url":["u"]})",
      R"({"version":"1","url":"u","minOS":13})",
      R"({"version":"1","url":"u","notesUrl":false})",
      R"({"version":"1","url":"u","version":"2"})",
      R"(["version","url"])",
      R"("1.2.3")",
      R"({"version":"1","url":"u"} {})",
      R"({"version":"1","url":"u",})",
      "{\"version\":\"1\",\"url\":\"\xC3\x28\"}",
      "{\"version\":\"1\",\"url\":\"\xED\xA0\x80\"}",
      "{\"version\":\"1\",\"url\":\"a\tb\"}",
      R"({"version":"1","url":"\ud800"})",
      R"({"version":"1","url":"u","x":NaN})",
      R"({'version':'1','url':'u'})",
      "\xEF\xBB\xBF{\"version\":\"1\",\"url\":\"u\"}",
      std::string("{\"version\":\"1\",\"url\":\"u\"}\0 trailing", 35),
      std::string("{\"version\":\"1\0\",\"url\":\"u\"}", 26),
  };
  for (const std::string& json : rows) {
    SCOPED_TRACE(json.substr(0, 60));
    EXPECT_THROW(UpdateManifest::decode(json), UpdateManifestDecodingError);
  }
}

TEST(UpdateManifest, EncodesSortedKeysAndLeavesOutAbsentFields) {
  const UpdateManifest minimal{"1.2.3", "https://zorvi.example/dl/1.2.3", {}, {}};
  EXPECT_EQ(minimal.encode(), "{\n  \"url\": \"https://zorvi.example/dl/1.2.3\",\n  \"version\": \"1.2.3\"\n}");
  const UpdateManifest full{"2", "u", "13.0", "https://n/\u00e9"};
  EXPECT_EQ(full.encode(),
            "{\n  \"minOS\": \"13.0\",\n  \"notesUrl\": \"https://n/\u00e9\",\n  \"url\": \"u\",\n  \"version\": \"2\"\n}");
  for (const UpdateManifest& m : {minimal, full, UpdateManifest{"\"quoted\"\n", "\\", "", std::string("\0", 1)}}) {
    EXPECT_EQ(UpdateManifest::decode(m.encode()), m);
  }
  EXPECT_THROW((UpdateManifest{"1", "\xFF", {}, {}}.encode()), UpdateManifestEncodingError);
}

}  // namespace
}  // namespace zorvi
