// Marks too small for a bitmap to show as they are: text a pixel or two tall, and dashes shorter than a
// pixel. Drawn as the tone they leave at that size, which costs a few rectangles and one stroke instead
// of shaping every glyph and stroking every dash.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "zorvi/drawing_context.hpp"

namespace zorvi::render {

class SmallMarks {
 public:
  // Text whose em is smaller than this many device pixels is drawn as bars: a capital is then under two
  // pixels tall, and the text reads as a grey smudge whatever draws it.
  static constexpr double textPixels = 2.5;

  // For drawing into context at its current scale. Only a context whose drawing ends as pixels gets
  // anything but the marks themselves.
  explicit SmallMarks(DrawingContext& context);

  // True when text in font is drawn as bars on this context.
  bool sketches(const Font& font) const;
  // Text wrapped within box's width from its top edge down, as one bar of its ink per line.
  void drawTextBox(std::string_view text, const Font& font, const Color& color, TextAlignment alignment,
                   const Rect& box);
  // The distance from the top of a line of text in font to its baseline, as the bars are set.
  double ascent(const Font& font);
  // Text as one bar whose baseline starts at origin, no wider than truncateWidth when given.
  void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                    std::optional<double> truncateWidth);
  // A dashed stroke whose dashes are shorter than a pixel as the solid line of the same ink; any other
  // stroke as it is.
  Stroke stroke(const Stroke& stroke) const;

 private:
  // A face's proportions per unit of font size, measured once per drawing on the context's measurer.
  struct Proportions {
    double lineHeight = 0, ascent = 0, advance = 0;
  };
  const Proportions& proportions(FontFace face);
  void drawBar(const Font& font, const Color& color, double x, double baseline, double width);

  DrawingContext& context_;
  bool pixels_ = false;
  double pixelsPerUnit_ = 0, rowsPerUnit_ = 0;
  std::array<std::optional<Proportions>, 3> faces_;
};

}  // namespace zorvi::render
