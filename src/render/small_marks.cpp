#include "render/small_marks.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace zorvi::render {
namespace {

// Nine tenths of a Latin line's ink lies between the baseline and this far above it (per unit of font
// size): the x-height with a little over.
constexpr double inkBand = 0.6;

// The share of that band the face's glyphs cover, as DejaVu sets an English sentence a pixel or two tall
// (bold standing in for semibold, the oblique for the italic).
double inkShare(FontFace face) {
  switch (face) {
    case FontFace::sans:
      return 0.30;
    case FontFace::sansSemibold:
      return 0.46;
    case FontFace::monospaceItalic:
      return 0.25;
  }
  return 0.30;
}

// A round-capped dash of 3 widths with a gap of 2 covers (3 + π/4) / 5 of its period.
constexpr double dashedInkShare = (3 + 0.7853981633974483) / 5;

// As the text engine reads sizes.
double usableSize(double size) {
  if (!std::isfinite(size) || size <= 0) return 13;
  return std::min(size, 10000.0);
}

// The text engine sets no more than this; neither does the sketch.
constexpr std::size_t maxLaidOutBytes = std::size_t{1} << 15;

bool isSpace(char c) { return c == ' ' || c == '\t'; }
bool startsCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

// Counted in characters: a sentence's worth of an average line.
constexpr std::string_view sample = "The quick brown fox jumps over the lazy dog";

// The part of a line that holds ink: from start to end, in units from the line's left edge.
struct Line {
  double start = 0, end = 0;
};

// Lines of text wrapped within width when every character advances the same: line feeds end a line,
// words wrap at spaces, a word wider than a line breaks between characters. An empty line (no ink)
// still takes its place.
std::vector<Line> wrap(std::string_view text, double advance, double width) {
  std::vector<Line> lines;
  if (text.empty()) return lines;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t feed = std::min(text.find('\n', start), text.size());
    const std::string_view paragraph = text.substr(start, feed - start);
    Line line;
    bool inked = false;
    double pen = 0;
    for (std::size_t i = 0; i < paragraph.size();) {
      std::size_t j = i;
      if (isSpace(paragraph[i])) {
        while (j < paragraph.size() && isSpace(paragraph[j])) ++j;
        // Spaces hang past the line's end rather than wrap.
        pen += static_cast<double>(j - i) * advance;
        i = j;
        continue;
      }
      while (j < paragraph.size() && !isSpace(paragraph[j])) ++j;
      std::size_t count = characters(paragraph.substr(i, j - i));
      i = j;
      if (pen > 0 && pen + static_cast<double>(count) * advance > width) {
        lines.push_back(inked ? line : Line{});
        inked = false;
        pen = 0;
      }
      // A word wider than a whole line fills lines of its own and goes on below.
      while (count > 1 && static_cast<double>(count) * advance > width) {
        const auto fit = static_cast<std::size_t>(std::max(1.0, std::floor(width / advance)));
        const std::size_t taken = std::min(fit, count - 1);
        lines.push_back({0, static_cast<double>(taken) * advance});
        count -= taken;
      }
      if (!inked) line.start = pen;
      pen += static_cast<double>(count) * advance;
      line.end = pen;
      inked = true;
    }
    lines.push_back(inked ? line : Line{});
    start = feed + 1;
  }
  return lines;
}

}  // namespace

SmallMarks::SmallMarks(DrawingContext& context) : context_(context), pixels_(context.drawsPixels()) {
  const Point ppu = context.pixelsPerUnit();
  pixelsPerUnit_ = std::max(ppu.x, ppu.y);
  rowsPerUnit_ = ppu.y;
}

bool SmallMarks::sketches(const Font& font) const {
  return pixels_ && usableSize(font.size) * pixelsPerUnit_ < textPixels;
}

void SmallMarks::drawTextBox(std::string_view text, const Font& font, const Color& color,
                             TextAlignment alignment, const Rect& box) {
  const Proportions& face = proportions(font.face);
  const double size = usableSize(font.size);
  if (text.size() > maxLaidOutBytes) text = text.substr(0, maxLaidOutBytes);
  double top = box.maxY();
  for (const Line& line : wrap(text, face.advance * size, box.width)) {
    const double width = line.end - line.start;
    double x = box.x + line.start;
    if (alignment == TextAlignment::center) x = box.x + (box.width - width) / 2;
    if (alignment == TextAlignment::right) x = box.maxX() - width;
    drawBar(font, color, x, top - face.ascent * size, width);
    top -= face.lineHeight * size;
  }
}

double SmallMarks::ascent(const Font& font) { return proportions(font.face).ascent * usableSize(font.size); }

void SmallMarks::drawTextLine(std::string_view text, const Font& font, const Color& color,
                              const Point& origin, std::optional<double> truncateWidth) {
  const double size = usableSize(font.size);
  if (text.size() > maxLaidOutBytes) text = text.substr(0, maxLaidOutBytes);
  double width = static_cast<double>(characters(text)) * proportions(font.face).advance * size;
  if (truncateWidth) width = std::min(width, *truncateWidth);
  drawBar(font, color, origin.x, origin.y, width);
}

Stroke SmallMarks::stroke(const Stroke& stroke) const {
  if (!pixels_ || !stroke.dash || !((*stroke.dash)[0] * pixelsPerUnit_ < 1)) return stroke;
  Stroke solid = stroke;
  solid.dash.reset();
  solid.color.alpha *= dashedInkShare;
  return solid;
}

const SmallMarks::Proportions& SmallMarks::proportions(FontFace face) {
  std::optional<Proportions>& known = faces_[static_cast<std::size_t>(face)];
  if (!known) {
    // Measured large, where the measurer's rounding is lost in the size.
    constexpr double size = 100;
    const Font font{face, size};
    const TextMeasurer& measurer = context_.measurer();
    known = Proportions{measurer.wrappedHeight("Hg", font, 1e6) / size, measurer.ascent("Hg", font) / size,
                        measurer.lineWidth(sample, font) / (size * static_cast<double>(characters(sample)))};
  }
  return *known;
}

void SmallMarks::drawBar(const Font& font, const Color& color, double x, double baseline, double width) {
  if (!(width > 0) || !(rowsPerUnit_ > 0)) return;
  // Glyphs are placed on whole pixels, so a line's ink starts at its baseline rounded to a pixel row.
  Color ink = color;
  ink.alpha *= inkShare(font.face);
  context_.fillRect(
      {x, std::round(baseline * rowsPerUnit_) / rowsPerUnit_, width, inkBand * usableSize(font.size)}, ink);
}

}  // namespace zorvi::render
