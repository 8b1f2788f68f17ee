// The shape operations of a drawing context, over whichever copy of Cairo includes this: the command's
// own for bitmaps, the text module's for documents whose text Pango sets.
#pragma once

#include <cairo.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "zorvi/drawing_context.hpp"

namespace zorvi::cairo_shapes {

inline bool finite(double v) { return std::isfinite(v); }
inline bool finite(const Rect& r) { return finite(r.x) && finite(r.y) && finite(r.width) && finite(r.height); }

inline void setColor(cairo_t* cr, const Color& c) { cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha); }

// Keeps one call's settings (source, line style, transforms) from reaching the next.
class Scoped {
 public:
  explicit Scoped(cairo_t* cr) : cr_(cr) { cairo_save(cr_); }
  ~Scoped() { cairo_restore(cr_); }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;

 private:
  cairo_t* cr_;
};

inline void fillRect(cairo_t* cr, const Rect& rect, const Color& color) {
  if (!finite(rect)) return;
  Scoped scoped(cr);
  cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height);
  setColor(cr, color);
  cairo_fill(cr);
}

inline void strokeRect(cairo_t* cr, const Rect& rect, const Color& color, double width) {
  if (!finite(rect) || !(width > 0) || !finite(width)) return;
  Scoped scoped(cr);
  cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height);
  setColor(cr, color);
  cairo_set_line_width(cr, width);
  cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
  cairo_stroke(cr);
}

inline void strokePolyline(cairo_t* cr, std::span<const Point> points, const Stroke& stroke) {
  if (points.size() < 2 || !(stroke.width > 0) || !finite(stroke.width)) return;
  for (const Point& p : points)
    if (!finite(p.x) || !finite(p.y)) return;
  Scoped scoped(cr);
  cairo_new_path(cr);
  cairo_move_to(cr, points[0].x, points[0].y);
  for (const Point& p : points.subspan(1)) cairo_line_to(cr, p.x, p.y);
  setColor(cr, stroke.color);
  cairo_set_line_width(cr, stroke.width);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
  if (stroke.dash) cairo_set_dash(cr, stroke.dash->data(), 2, 0);
  cairo_stroke(cr);
}

inline void scale(cairo_t* cr, double sx, double sy) {
  // A singular or non-finite scale would put Cairo in a sticky error state that ends all drawing.
  if (!finite(sx) || !finite(sy) || sx == 0 || sy == 0) return;
  cairo_scale(cr, sx, sy);
}

inline Point deviceUnitsPerUnit(cairo_t* cr) {
  double dx = 1, dy = 0;
  cairo_user_to_device_distance(cr, &dx, &dy);
  double ex = 0, ey = 1;
  cairo_user_to_device_distance(cr, &ex, &ey);
  return {std::hypot(dx, dy), std::hypot(ex, ey)};
}

// Fills rect with the picture of surface, surfaceWidth × surfaceHeight pattern units, its first row at
// rect's top edge (max y).
inline void fillWithSurface(cairo_t* cr, cairo_surface_t* surface, double surfaceWidth, double surfaceHeight,
                            const Rect& rect, cairo_extend_t extend, cairo_filter_t filter = CAIRO_FILTER_GOOD) {
  cairo_pattern_t* pattern = cairo_pattern_create_for_surface(surface);
  cairo_matrix_t matrix;
  const double sx = surfaceWidth / rect.width;
  const double sy = surfaceHeight / rect.height;
  cairo_matrix_init(&matrix, sx, 0, 0, -sy, -rect.x * sx, rect.maxY() * sy);
  cairo_pattern_set_matrix(pattern, &matrix);
  cairo_pattern_set_filter(pattern, filter);
  cairo_pattern_set_extend(pattern, extend);
  {
    Scoped scoped(cr);
    cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height);
    cairo_set_source(cr, pattern);
    cairo_fill(cr);
  }
  cairo_pattern_destroy(pattern);
}

// One row of premultiplied ARGB flattened over white into 8-bit RGB, as PNG files take it:
// premultiplied colour over white is colour + (255 - alpha).
inline void opaqueRow(const std::uint32_t* row, std::size_t width, std::uint8_t* rgb) {
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint32_t p = row[x];
    const auto white = static_cast<std::uint32_t>(255 - (p >> 24));
    rgb[3 * x] = static_cast<std::uint8_t>(((p >> 16) & 0xFF) + white);
    rgb[3 * x + 1] = static_cast<std::uint8_t>(((p >> 8) & 0xFF) + white);
    rgb[3 * x + 2] = static_cast<std::uint8_t>((p & 0xFF) + white);
  }
}

// True when raster holds width × height pixels and rect is a finite area to draw it into.
inline bool drawable(const Raster& raster, const Rect& rect) {
  return raster.width > 0 && raster.height > 0 &&
         raster.pixels.size() == static_cast<std::size_t>(raster.width) * static_cast<std::size_t>(raster.height) &&
         finite(rect) && rect.width > 0 && rect.height > 0;
}

}  // namespace zorvi::cairo_shapes
