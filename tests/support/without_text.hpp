// A drawing context that passes every call on except text: the picture a renderer that lost its
// text would make, so that checks comparing with the renderer can prove they would notice.
#pragma once
#include "zorvi/drawing_context.hpp"

namespace zorvi::testing {

class WithoutText final : public DrawingContext {
 public:
  explicit WithoutText(DrawingContext& target) : target_(target) {}
  void fillRect(const Rect& r, const Color& c) override { target_.fillRect(r, c); }
  void strokeRect(const Rect& r, const Color& c, double w) override { target_.strokeRect(r, c, w); }
  void strokePolyline(std::span<const Point> p, const Stroke& s) override { target_.strokePolyline(p, s); }
  void save() override { target_.save(); }
  void restore() override { target_.restore(); }
  void scale(double sx, double sy) override { target_.scale(sx, sy); }
  Point pixelsPerUnit() const override { return target_.pixelsPerUnit(); }
  void drawImage(const Raster& r, const Rect& rect) override { target_.drawImage(r, rect); }
  void drawTextBox(std::string_view, const Font&, const Color&, TextAlignment,
                   const Rect&) override {}
  void drawTextLine(std::string_view, const Font&, const Color&, const Point&,
                    std::optional<double>) override {}
  const TextMeasurer& measurer() const override { return target_.measurer(); }

 private:
  DrawingContext& target_;
};

}  // namespace zorvi::testing
