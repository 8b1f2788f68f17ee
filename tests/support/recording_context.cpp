#include "support/recording_context.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "unicode/unicode.hpp"

namespace zorvi::testing {
namespace {

std::string_view faceName(FontFace face) {
  switch (face) {
    case FontFace::sans:
      return "sans";
    case FontFace::sansSemibold:
      return "sansSemibold";
    case FontFace::monospaceItalic:
      return "monospaceItalic";
  }
  return "?";
}

std::string_view alignmentName(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::left:
      return "left";
    case TextAlignment::center:
      return "center";
    case TextAlignment::right:
      return "right";
  }
  return "?";
}

std::string rect(const Rect& r) {
  return number(r.x) + " " + number(r.y) + " " + number(r.width) + " " + number(r.height);
}

std::string font(const Font& f) { return std::string(faceName(f.face)) + " " + number(f.size); }

}  // namespace

std::string number(double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string hex(const Color& color) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string out = "#";
  const auto put = [&](double component) {
    const auto byte = static_cast<int>(std::lround(std::clamp(component, 0.0, 1.0) * 255));
    out += digits[byte >> 4];
    out += digits[byte & 15];
  };
  put(color.red);
  put(color.green);
  put(color.blue);
  if (color.alpha != 1) put(color.alpha);
  return out;
}

double FixedAdvanceMeasurer::wrappedHeight(std::string_view text, const Font& f, double width) const {
  if (text.empty()) return 0;
  const double step = advance * f.size;
  const auto perLine = std::max<std::size_t>(1, width > 0 ? static_cast<std::size_t>(width / step) : 1);
  std::size_t lines = 0;
  std::size_t paragraphStart = 0;
  while (paragraphStart <= text.size()) {
    const std::size_t end = std::min(text.find('\n', paragraphStart), text.size());
    const std::string_view paragraph = text.substr(paragraphStart, end - paragraphStart);
    std::size_t used = 0;  // characters on the current line
    ++lines;
    std::size_t wordStart = 0;
    while (wordStart <= paragraph.size()) {
      const std::size_t wordEnd = std::min(paragraph.find(' ', wordStart), paragraph.size());
      std::size_t word = unicode::graphemeCount(paragraph.substr(wordStart, wordEnd - wordStart));
      const std::size_t needed = used == 0 ? word : used + 1 + word;
      if (needed <= perLine) {
        used = needed;
      } else {
        if (used > 0) ++lines;
        while (word > perLine) {
          word -= perLine;
          ++lines;
        }
        used = word;
      }
      wordStart = wordEnd + 1;
    }
    paragraphStart = end + 1;
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
  for (const Point& p : points) trace += " " + number(p.x) + " " + number(p.y);
  trace += " " + hex(stroke.color) + " width " + number(stroke.width);
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
  scales_.back().x *= sx;
  scales_.back().y *= sy;
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
  trace += "drawTextBox " + rect(box) + " " + font(f) + " " + hex(color) + " " +
           std::string(alignmentName(alignment)) + " \"" + std::string(text) + "\"\n";
}

void RecordingContext::drawTextLine(std::string_view text, const Font& f, const Color& color,
                                    const Point& origin, std::optional<double> truncateWidth) {
  trace += "drawTextLine " + number(origin.x) + " " + number(origin.y) + " " + font(f) + " " + hex(color);
  if (truncateWidth) trace += " truncate " + number(*truncateWidth);
  trace += " \"" + std::string(text) + "\"\n";
}

}  // namespace zorvi::testing
