// Identifiers as the manifest reading parses them.
#include <gtest/gtest.h>

#include <string>

#include "zorvi/document.hpp"

namespace zorvi {
namespace {

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
