// Drawing contexts that pass calls on to another: Forwarding passes every call, drawing pixels or not as
// told; WithoutText drops the text, the picture a renderer that lost its text would make, so that checks
// comparing with the renderer can prove they would notice.
#pragma once
#include "zorvi/drawing_context.hpp"

namespace zorvi::testing {

class Forwarding : public DrawingContext {
 public:
  explicit Forwarding(DrawingContext& target, bool pixels = false) : target_(target), pixels_(pixels) {}
  void fillRect(const Rect& r, const Color& c) override { target_.fillRect(r, c); }
  void strokeRect(const Rect& r, const Color& c, double w) override { target_.strokeRect(r, c, w); }
  void strokePolyline(std::span<const Point> p, const Stroke& s) override { target_.strokePolyline(p, s); }
  void save() override { target_.save(); }
  void restore() override { target_.restore(); }
  void scale(double sx, double sy) override { target_.scale(sx, sy); }
  Point pixelsPerUnit() const override { return target_.pixelsPerUnit(); }
  void drawImage(const Raster& r, const Rect& rect) override { target_.drawImage(r, rect); }
  void drawTextBox(std::string_view t, const Font& f, const Color& c, TextAlignment a, const Rect& b) override {
    target_.drawTextBox(t, f, c, a, b);
  }
  void drawTextLine(std::string_view t, const Font& f, const Color& c, const Point& o,
                    std::optional<double> w) override {
    target_.drawTextLine(t, f, c, o, w);
  }
  const TextMeasurer& measurer() const override { return target_.measurer(); }
  bool drawsPixels() const override { return pixels_; }

 private:
  DrawingContext& target_;
  bool pixels_;
};

class WithoutText final : public Forwarding {
 public:
  using Forwarding::Forwarding;
  void drawTextBox(std::string_view, const Font&, const Color&, TextAlignment, const Rect&) override {}
  void drawTextLine(std::string_view, const Font&, const Color&, const Point&, std::optional<double>) override {}
};

}  // namespace zorvi::testing
