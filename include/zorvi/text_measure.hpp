// Fonts of a board picture and the measuring of text set in them.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "zorvi/board_layout.hpp"

namespace zorvi {

// The three faces a board uses: the UI sans font (regular, semibold) and the monospace font made
// italic, upright when the system has no italic monospace face.
enum class FontFace { sans, sansSemibold, monospaceItalic };

// A face at a size in drawing units (one unit is one pixel before any scaling). Sizes that are not
// finite and positive are read as 13, the desktop's usual UI size; sizes above 10,000 as 10,000.
struct Font {
  FontFace face = FontFace::sans;
  double size = 13;
  bool operator==(const Font&) const = default;
};

// How text is measured; the renderer asks only this, so text placement can be checked with a
// fixed-advance fake.
class TextMeasurer {
 public:
  virtual ~TextMeasurer() = default;
  // Height of text wrapped at words (breaking words longer than the width) within width, line
  // feeds kept; 0 for empty text.
  virtual double wrappedHeight(std::string_view text, const Font& font, double width) const = 0;
  // Advance width of text as one unwrapped line.
  virtual double lineWidth(std::string_view text, const Font& font) const = 0;
  // Distance from the top of text's single line to its baseline.
  virtual double ascent(std::string_view text, const Font& font) const = 0;
};

namespace TextMeasure {

// The measurer backed by the text engine that draws board pictures (Pango over fontconfig). Usable
// from any thread; each thread keeps its own font state. Like the drawing, it sets at most the first
// 32 KiB of a text (a guard against hostile boards).
const TextMeasurer& engine();

// Lines that text needs when wrapped within width the way a style sheet with
// "white-space: pre-wrap; overflow-wrap: break-word" wraps it: line feeds break, words wrap,
// words wider than the line break anywhere, a final line feed opens no new line. 0 for empty text;
// at least 1 line per paragraph when width is not positive.
std::size_t wrappedLineCount(std::string_view text, double width, const Font& font);

// wrappedLineCount × lineHeight: the height a block with a fixed line height (CSS line-height of
// fontSize × 1.15 is lineHeight = 1.15 × fontSize) takes for text wrapped within width.
double wrappedTextHeight(std::string_view text, double width, const Font& font, double lineHeight);
// Every captioned image's caption height as a browser sets it: the caption font at its size, wrapped
// in the image's width, at a line height of 1.15.
CaptionHeights captionHeights(std::span<const CanvasItem> items);

}  // namespace TextMeasure
}  // namespace zorvi
