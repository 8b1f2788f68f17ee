// A DrawingContext that writes one line per call, and a text measurer with fixed advances, so
// drawing logic is checked as one trace string.
#pragma once

#include <string>
#include <vector>

#include "zorvi/drawing_context.hpp"

namespace zorvi::testing {

// Every character (user-perceived) advances advance × size; lines are lineHeight × size apart; the
// baseline sits ascent × size below a line's top. Each line feed starts a line, and a paragraph wraps
// between any two characters: word breaks are the real engine's concern, not the renderer's.
class FixedAdvanceMeasurer final : public TextMeasurer {
 public:
  double advance = 0.5, lineHeight = 1.25, ascentRatio = 0.75;

  double wrappedHeight(std::string_view text, const Font& font, double width) const override;
  double lineWidth(std::string_view text, const Font& font) const override;
  double ascent(std::string_view text, const Font& font) const override;
};

// Appends one line per call to trace, numbers in their shortest round-trip form, colours as
// #RRGGBB (#RRGGBBAA when not opaque), for example "fillRect 0 0 256 128 #000000".
class RecordingContext final : public DrawingContext {
 public:
  explicit RecordingContext(const TextMeasurer& measurer) : measurer_(measurer) {}

  std::string trace;

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
  const TextMeasurer& measurer() const override { return measurer_; }

 private:
  const TextMeasurer& measurer_;
  std::vector<Point> scales_{{1, 1}};
};

// Shortest round-trip text of a number, independent of the locale.
std::string number(double value);
// "#RRGGBB", or "#RRGGBBAA" when the colour is not opaque.
std::string hex(const Color& color);

}  // namespace zorvi::testing
