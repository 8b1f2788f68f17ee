// The DrawingContext over a Cairo context: the only drawing code that talks to Cairo.
#pragma once

#include <cairo.h>

#include <functional>

#include "render/text/text_engine.hpp"
#include "zorvi/drawing_context.hpp"

namespace zorvi {

class CairoContext final : public DrawingContext {
 public:
  // Draws into cr, whose target is heightInPixels tall; turns Cairo's y-down space into the y-up
  // drawing space once, here, so nothing else ever flips.
  CairoContext(cairo_t* cr, double heightInPixels, cairo_filter_t imageFilter = CAIRO_FILTER_GOOD);

  void fillRect(const Rect& rect, const Color& color) override;
  void strokeRect(const Rect& rect, const Color& color, double width) override;
  void strokePolyline(std::span<const Point> points, const Stroke& stroke) override;
  void save() override;
  void restore() override;
  void scale(double sx, double sy) override;
  Point pixelsPerUnit() const override;
  void drawImage(const Raster& raster, const Rect& rect) override;
  void drawTextBox(std::string_view text, const Font& font, const Color& color, TextAlignment alignment,
                   const Rect& box) override;
  void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                    std::optional<double> truncateWidth) override;
  const TextMeasurer& measurer() const override;
  bool drawsPixels() const override { return true; }

 private:
  // Lets show draw text into the target's pixels at the current transform, in color.
  void drawText(const Color& color, const std::function<void(const text::Canvas&)>& show);
  // rect with its corners moved to the nearest device pixels.
  Rect onWholePixels(const Rect& rect) const;

  cairo_t* cr_;
  cairo_filter_t imageFilter_;
  int depth_ = 0;
};

}  // namespace zorvi
