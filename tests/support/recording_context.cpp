#include "support/recording_context.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "unicode/unicode.hpp"

namespace zorvi::testing {
namespace {

std::string rect(const Rect& r) {
  return number(r.x) + " " + number(r.y) + " " + number(r.width) + " " + number(r.height);
}

std::string font(const Font& f) {
  static constexpr const char* faces[] = {"sans", "sansSemibold", "monospaceItalic"};
  return std::string(faces[static_cast<int>(f.face)]) + " " + number(f.size);
}

}  // namespace

std::string number(double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string hex(const Color& color) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string out = "#";
  const int count = color.alpha == 1 ? 3 : 4;
  const double components[] = {color.red, color.green, color.blue, color.alpha};
  for (int i = 0; i < count; ++i) {
    const auto byte = static_cast<int>(std::lround(std::clamp(components[i], 0.0, 1.0) * 255));
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}

double FixedAdvanceMeasurer::wrappedHeight(std::string_view text, const Font& f, double width) const {
  if (text.empty()) return 0;
  const auto perLine =
      std::max<std::size_t>(1, width > 0 ? static_cast<std::size_t>(width / (advance * f.size)) : 1);
  std::size_t lines = 0;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    const std::size_t characters = unicode::graphemeCount(text.substr(start, end - start));
    lines += std::max<std::size_t>(1, (characters + perLine - 1) / perLine);
    start = end + 1;
  }
  return static_cast<double>(lines) * lineHeight * f.size;
}

double FixedAdvanceMeasurer::lineWidth(std::string_view text, const Font& f) const {
  return static_cast<double>(unicode::graphemeCount(text)) * advance * f.size;
}

double FixedAdvanceMeasurer::ascent(std::string_view, const Font& f) const { return ascentRatio * f.size; }

void RecordingContext::fillRect(const Rect& r, const Color& color) {
  trace += "fillRect " + rect(r) + " " + hex(color) + "\n";
}

void RecordingContext::strokeRect(const Rect& r, const Color& color, double width) {
  trace += "strokeRect " + rect(r) + " " + hex(color) + " width " + number(width) + "\n";
}

void RecordingContext::strokePolyline(std::span<const Point> points, const Stroke& stroke) {
  trace += "strokePolyline";
  for (const Point& p : points) trace.append(" ").append(number(p.x)).append(" ").append(number(p.y));
  trace.append(" ").append(hex(stroke.color)).append(" width ").append(number(stroke.width));
  if (stroke.dash) trace += " dash " + number((*stroke.dash)[0]) + " " + number((*stroke.dash)[1]);
  trace += "\n";
}

void RecordingContext::save() {
  scales_.push_back(scales_.back());
  trace += "save\n";
}

void RecordingContext::restore() {
  if (scales_.size() > 1) scales_.pop_back();
  trace += "restore\n";
}

void RecordingContext::scale(double sx, double sy) {
  scales_.back() = {scales_.back().x * sx, scales_.back().y * sy};
  trace += "scale " + number(sx) + " " + number(sy) + "\n";
}

Point RecordingContext::pixelsPerUnit() const {
  return {std::abs(scales_.back().x), std::abs(scales_.back().y)};
}

void RecordingContext::drawImage(const Raster& raster, const Rect& r) {
  trace += "drawImage " + rect(r) + " " + std::to_string(raster.width) + "x" + std::to_string(raster.height) +
           "\n";
}

void RecordingContext::drawTextBox(std::string_view text, const Font& f, const Color& color,
                                   TextAlignment alignment, const Rect& box) {
  static constexpr const char* alignments[] = {"left", "center", "right"};
  trace += "drawTextBox " + rect(box) + " " + font(f) + " " + hex(color) + " " +
           alignments[static_cast<int>(alignment)] + " \"" + std::string(text) + "\"\n";
}

void RecordingContext::drawTextLine(std::string_view text, const Font& f, const Color& color,
                                    const Point& origin, std::optional<double> truncateWidth) {
  trace += "drawTextLine " + number(origin.x) + " " + number(origin.y) + " " + font(f) + " " + hex(color);
  if (truncateWidth) trace += " truncate " + number(*truncateWidth);
  trace += " \"" + std::string(text) + "\"\n";
}

}  // namespace zorvi::testing
