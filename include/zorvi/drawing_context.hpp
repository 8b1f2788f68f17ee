// The drawing operations a board picture needs, in a y-up drawing space, and a bitmap to run them on.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "zorvi/image_decoder.hpp"
#include "zorvi/text_measure.hpp"

namespace zorvi {

// A point of drawing space: origin at the bottom-left corner, y upwards.
struct Point {
  double x = 0, y = 0;
  bool operator==(const Point&) const = default;
};

// A rectangle of drawing space; y is its bottom edge, y + height its top edge.
struct Rect {
  double x = 0, y = 0, width = 0, height = 0;
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  bool operator==(const Rect&) const = default;
};

// An sRGB colour, components from 0 to 1.
struct Color {
  double red = 0, green = 0, blue = 0, alpha = 1;
  bool operator==(const Color&) const = default;
};

// How an open polyline is stroked: always round caps and round joins.
struct Stroke {
  Color color;
  double width = 1;
  // Dash length then gap length, starting with a dash at the first point; solid when absent.
  std::optional<std::array<double, 2>> dash;
  bool operator==(const Stroke&) const = default;
};

// Where the lines of a wrapped text box sit between its left and right edges.
enum class TextAlignment { left, center, right };

// Where board drawing goes: a Cairo bitmap in the product, a recorder in tests. Lengths are in the
// current units (after scale); colours need not be opaque. Every call draws or does nothing.
class DrawingContext {
 public:
  virtual ~DrawingContext() = default;

  // Fills rect with color.
  virtual void fillRect(const Rect& rect, const Color& color) = 0;
  // Strokes rect's outline with a line of width centred on its edges, mitred corners.
  virtual void strokeRect(const Rect& rect, const Color& color, double width) = 0;
  // Strokes points as one open path in order; fewer than 2 points draw nothing.
  virtual void strokePolyline(std::span<const Point> points, const Stroke& stroke) = 0;
  // Saves the current scale; restore() brings back the last saved one (and does nothing unbalanced).
  virtual void save() = 0;
  virtual void restore() = 0;
  // Scales all later drawing: one unit becomes sx × sy of the current units.
  virtual void scale(double sx, double sy) = 0;
  // Device pixels per current unit on x and y, for decoding images at the size they are drawn at.
  virtual Point pixelsPerUnit() const = 0;
  // Draws raster stretched to fill rect exactly, its first row at rect's top edge.
  virtual void drawImage(const Raster& raster, const Rect& rect) = 0;
  // Draws the image that bytes (a whole image file) hold, stretched to fill rect exactly, when the target
  // keeps pictures as files or decodes them itself; false, with nothing drawn, to have the caller decode
  // the bytes for drawImage.
  virtual bool drawEncodedImage(std::span<const std::uint8_t> /*bytes*/, const Rect& /*rect*/) { return false; }
  // Sets text wrapped within box's width (as TextMeasurer::wrappedHeight measures it), first line at
  // the box's top edge; lines past the bottom edge are still drawn.
  virtual void drawTextBox(std::string_view text, const Font& font, const Color& color,
                           TextAlignment alignment, const Rect& box) = 0;
  // Sets text as one line whose baseline starts at origin; when truncateWidth is given the line is cut
  // at its end with "…" to fit that width.
  virtual void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                            std::optional<double> truncateWidth) = 0;
  // The measurer whose numbers drawTextBox and drawTextLine follow.
  virtual const TextMeasurer& measurer() const = 0;
  // True when the drawing ends as pixels of a fixed size rather than as a document a reader can zoom
  // into: text a pixel or two tall and dashes under a pixel may then be drawn as the tone they leave.
  virtual bool drawsPixels() const { return false; }
};

namespace RasterCanvas {

// Runs draw on a context over a transparent width × height bitmap (8-bit ARGB, premultiplied) whose
// drawing space is y-up with one unit = one pixel. Nothing when a side is below 1 or above 32,767, or
// the pixels can't be allocated.
std::optional<Raster> render(std::int32_t width, std::int32_t height,
                             const std::function<void(DrawingContext&)>& draw);

// How pictures are resampled to the size they are drawn at: smoothly (filtered, for exports and
// thumbnails), fast (bilinear, for pictures already decoded within twice their drawn size, as a
// viewer holds them: ten times quicker), or nearest (the nearest pixel, for frames that last only
// while the view moves: half as long again).
enum class Resampling { smooth, fast, nearest };

// Runs draw over pixels the caller owns (8-bit ARGB, premultiplied, strideInPixels apart), as render
// does over its own bitmap, without clearing them first; false when the sizes are out of range.
bool drawInto(std::span<std::uint32_t> pixels, std::int32_t width, std::int32_t height, std::int32_t strideInPixels,
              const std::function<void(DrawingContext&)>& draw, Resampling resampling = Resampling::smooth);

// How a PNG's pixels are stored: compressed quickly, or as they are, for a reader that decodes the file
// at once and keeps a copy of its own (a file manager caching a thumbnail), where compressing is wasted.
enum class PNGCompression { fast, none };

// The raster as an opaque 8-bit RGB PNG: pixels composited over white, alpha dropped. Empty on failure.
std::vector<std::uint8_t> encodePNG(const Raster& raster, PNGCompression compression = PNGCompression::fast);

}  // namespace RasterCanvas
}  // namespace zorvi
