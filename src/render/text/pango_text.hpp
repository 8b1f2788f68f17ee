// The one place that sets text: Pango layouts over fontconfig fonts, shared by measuring and drawing.
#pragma once

#include <pango/pangocairo.h>

#include <memory>
#include <optional>
#include <string_view>

#include "zorvi/drawing_context.hpp"
#include "zorvi/text_measure.hpp"

namespace zorvi::pango {

struct GObjectUnref {
  void operator()(void* object) const { g_object_unref(object); }
};
using LayoutPtr = std::unique_ptr<PangoLayout, GObjectUnref>;

// Text wrapped within width (words, then characters), drawn from its top-left corner.
LayoutPtr wrappedLayout(std::string_view text, const Font& font, double width, TextAlignment alignment);

// Text as one line; when truncateWidth is given, cut at its end with "…" to fit that width.
LayoutPtr lineLayout(std::string_view text, const Font& font, std::optional<double> truncateWidth);

// Logical height and width of a layout, and the ascent of its first line, in drawing units.
double height(PangoLayout* layout);
double width(PangoLayout* layout);
double ascent(PangoLayout* layout);

// What a TextMeasurer reports, measured on these layouts: the height of wrapped text (0 when empty),
// and the width and ascent of one line.
double wrappedHeight(std::string_view text, const Font& font, double width);
double lineWidth(std::string_view text, const Font& font);
double lineAscent(std::string_view text, const Font& font);

}  // namespace zorvi::pango
