#include "zorvi/html_exporter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "export/html_text.hpp"

namespace zorvi {
namespace {

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

}  // namespace
}  // namespace zorvi
