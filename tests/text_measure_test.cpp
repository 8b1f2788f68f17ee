#include "zorvi/text_measure.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

namespace zorvi {
namespace {

// DejaVu Sans Mono advances every character by 1233/2048 em.
constexpr double monoAdvance18 = 18.0 * 1233 / 2048;
const Font caption{FontFace::monospaceItalic, 18};

TEST(TextMeasure, CountsWrappedLinesAsAStyleSheetWouldLayThemOut) {
  const std::tuple<const char*, std::string, double, std::size_t> rows[] = {
      // name, text, width in characters, lines
      {"empty text takes no line", "", 10, 0},
      {"words wrap at the space", "abcd efgh", 6.5, 2},
      {"a final line feed opens no line", "abc\n", 10, 1},
      {"a lone line feed is one line", "\n", 10, 1},
      {"inner line feeds break", "a\nb\n\nc", 10, 4},
      {"a word wider than the line breaks anywhere", std::string(20, 'x'), 5.5, 4},
      {"no width still sets each paragraph", "a\nb", 0, 2},
  };
  for (const auto& [name, text, widthInCharacters, lines] : rows)
    EXPECT_EQ(TextMeasure::wrappedLineCount(text, widthInCharacters * monoAdvance18, caption), lines) << name;
}

TEST(TextMeasure, HeightIsLinesTimesTheLineHeight) {
  const double width = 6.5 * monoAdvance18;
  EXPECT_DOUBLE_EQ(TextMeasure::wrappedTextHeight("abcd efgh", width, caption, 18 * 1.15), 2 * 20.7);
  EXPECT_EQ(TextMeasure::wrappedTextHeight("", width, caption, 20.7), 0);
}

TEST(TextMeasure, EngineMeasuresWithThePinnedFaces) {
  const TextMeasurer& engine = TextMeasure::engine();
  EXPECT_NEAR(engine.lineWidth("abcd", caption), 4 * monoAdvance18, 0.01);
  const Font regular{FontFace::sans, 28};
  EXPECT_GT(engine.lineWidth("Moodboard", {FontFace::sansSemibold, 28}),
            engine.lineWidth("Moodboard", regular));
  // DejaVu's ascent is 0.928 em and a line 1.164 em high.
  EXPECT_NEAR(engine.ascent("Title", regular), 28 * 0.928, 0.05);
  EXPECT_NEAR(engine.wrappedHeight("one\ntwo", regular, 500), 2 * 28 * 1.164, 0.1);
  EXPECT_EQ(engine.wrappedHeight("", regular, 500), 0);
}

TEST(TextMeasure, OddSizesAndBrokenTextDegradeInsteadOfFailing) {
  const TextMeasurer& engine = TextMeasure::engine();
  const double usual = engine.lineWidth("ab", {FontFace::sans, 13});
  for (const double size : {0.0, std::nan("")})
    EXPECT_DOUBLE_EQ(engine.lineWidth("ab", {FontFace::sans, size}), usual);
  EXPECT_GT(engine.lineWidth(std::string("a\0b\xFF", 4), caption), 3 * monoAdvance18);
}

TEST(TextMeasure, SetsOnlyTheFirst32KiBOfAText) {
  std::string lines;
  for (int i = 0; i < 17000; ++i) lines += "a\n";  // 34,000 bytes
  EXPECT_EQ(TextMeasure::wrappedLineCount(lines, 100, caption), 16384u);
  // A cut inside a character leaves the whole character out.
  const std::string accented = std::string(32767, 'a') + "\u00E9";
  EXPECT_NEAR(TextMeasure::engine().lineWidth(accented, caption), 32767 * monoAdvance18, 1);
}

}  // namespace
}  // namespace zorvi
