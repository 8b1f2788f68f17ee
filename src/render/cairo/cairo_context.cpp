#include "render/cairo/cairo_context.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

#include "render/cairo/cairo_shapes.hpp"
#include "render/png_writer.hpp"
#include "render/text/text_engine.hpp"

namespace zorvi {
using namespace cairo_shapes;

CairoContext::CairoContext(cairo_t* cr, double heightInPixels, cairo_filter_t imageFilter)
    : cr_(cr), imageFilter_(imageFilter) {
  cairo_translate(cr_, 0, heightInPixels);
  cairo_scale(cr_, 1, -1);
}

void CairoContext::fillRect(const Rect& rect, const Color& color) { cairo_shapes::fillRect(cr_, rect, color); }

void CairoContext::strokeRect(const Rect& rect, const Color& color, double width) {
  cairo_shapes::strokeRect(cr_, rect, color, width);
}

void CairoContext::strokePolyline(std::span<const Point> points, const Stroke& stroke) {
  cairo_shapes::strokePolyline(cr_, points, stroke);
}

void CairoContext::save() {
  cairo_save(cr_);
  ++depth_;
}

void CairoContext::restore() {
  if (depth_ == 0) return;
  cairo_restore(cr_);
  --depth_;
}

void CairoContext::scale(double sx, double sy) { cairo_shapes::scale(cr_, sx, sy); }

Point CairoContext::pixelsPerUnit() const { return deviceUnitsPerUnit(cr_); }

Rect CairoContext::onWholePixels(const Rect& rect) const {
  double x0 = rect.x, y0 = rect.y, x1 = rect.maxX(), y1 = rect.maxY();
  cairo_user_to_device(cr_, &x0, &y0);
  cairo_user_to_device(cr_, &x1, &y1);
  x0 = std::round(x0), y0 = std::round(y0), x1 = std::round(x1), y1 = std::round(y1);
  cairo_device_to_user(cr_, &x0, &y0);
  cairo_device_to_user(cr_, &x1, &y1);
  return {std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
}

void CairoContext::drawImage(const Raster& raster, const Rect& rect) {
  if (!drawable(raster, rect)) return;
  // Cairo only reads the pixels here; the cast is what its C interface asks for.
  auto* data = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(raster.pixels.data()));
  cairo_surface_t* image = cairo_image_surface_create_for_data(data, CAIRO_FORMAT_ARGB32, raster.width,
                                                               raster.height, raster.width * 4);
  // Nearest pixels are for frames that last an instant: edges on whole pixels keep to Cairo's fast path.
  // Otherwise edge pixels repeat outward, so a stretched picture keeps solid edges instead of fading out.
  fillWithSurface(cr_, image, raster.width, raster.height,
                  imageFilter_ == CAIRO_FILTER_NEAREST ? onWholePixels(rect) : rect, CAIRO_EXTEND_PAD, imageFilter_);
  cairo_surface_finish(image);
  cairo_surface_destroy(image);
}

void CairoContext::drawTextBox(std::string_view text, const Font& font, const Color& color,
                               TextAlignment alignment, const Rect& box) {
  if (!finite(box) || !(box.width > 0)) return;
  const text::Engine* engine = text::engine();
  if (engine == nullptr) return;
  Scoped scoped(cr_);
  // Text reads top-down: flip locally about the box's top edge.
  cairo_translate(cr_, box.x, box.maxY());
  cairo_scale(cr_, 1, -1);
  drawText(color, [&](const text::Canvas& canvas) {
    engine->showWrapped(canvas, text, font, box.width, alignment);
  });
}

void CairoContext::drawTextLine(std::string_view text, const Font& font, const Color& color,
                                const Point& origin, std::optional<double> truncateWidth) {
  if (!finite(origin.x) || !finite(origin.y)) return;
  const text::Engine* engine = text::engine();
  if (engine == nullptr) return;
  Scoped scoped(cr_);
  cairo_translate(cr_, origin.x, origin.y);
  cairo_scale(cr_, 1, -1);
  drawText(color, [&](const text::Canvas& canvas) { engine->showLine(canvas, text, font, truncateWidth); });
}

void CairoContext::drawText(const Color& color, const std::function<void(const text::Canvas&)>& show) {
  cairo_surface_t* target = cairo_get_target(cr_);
  if (cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE ||
      cairo_image_surface_get_format(target) != CAIRO_FORMAT_ARGB32)
    return;
  // The text engine writes the pixels behind Cairo's back: hand them over whole, then take them back.
  cairo_surface_flush(target);
  text::Canvas canvas;
  canvas.pixels = cairo_image_surface_get_data(target);
  canvas.width = cairo_image_surface_get_width(target);
  canvas.height = cairo_image_surface_get_height(target);
  canvas.stride = cairo_image_surface_get_stride(target);
  cairo_get_matrix(cr_, &canvas.matrix);
  canvas.color = color;
  show(canvas);
  cairo_surface_mark_dirty(target);
}

const TextMeasurer& CairoContext::measurer() const { return TextMeasure::engine(); }

namespace RasterCanvas {

bool drawInto(std::span<std::uint32_t> pixels, std::int32_t width, std::int32_t height, std::int32_t strideInPixels,
              const std::function<void(DrawingContext&)>& draw, Resampling resampling) {
  constexpr std::int32_t cairoLimit = 32767;
  if (width < 1 || height < 1 || width > cairoLimit || height > cairoLimit || strideInPixels < width ||
      pixels.size() < static_cast<std::size_t>(strideInPixels) * static_cast<std::size_t>(height))
    return false;
  cairo_surface_t* surface = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data()),
                                                                 CAIRO_FORMAT_ARGB32, width, height, strideInPixels * 4);
  cairo_t* cr = cairo_create(surface);
  bool ok = cairo_status(cr) == CAIRO_STATUS_SUCCESS;
  if (ok) {
    const cairo_filter_t filter = resampling == Resampling::fast      ? CAIRO_FILTER_BILINEAR
                                  : resampling == Resampling::nearest ? CAIRO_FILTER_NEAREST
                                                                      : CAIRO_FILTER_GOOD;
    CairoContext context(cr, height, filter);
    draw(context);
  }
  cairo_destroy(cr);
  cairo_surface_finish(surface);
  ok = ok && cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(surface);
  return ok;
}

std::optional<Raster> render(std::int32_t width, std::int32_t height,
                             const std::function<void(DrawingContext&)>& draw) {
  constexpr std::int32_t cairoLimit = 32767;
  if (width < 1 || height < 1 || width > cairoLimit || height > cairoLimit) return std::nullopt;
  Raster raster;
  raster.width = width;
  raster.height = height;
  try {
    raster.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  if (!drawInto(raster.pixels, width, height, width, draw)) return std::nullopt;
  return raster;
}

std::vector<std::uint8_t> encodePNG(const Raster& raster, PNGCompression compression) {
  if (raster.width <= 0 || raster.height <= 0 ||
      raster.pixels.size() !=
          static_cast<std::size_t>(raster.width) * static_cast<std::size_t>(raster.height))
    return {};
  std::vector<std::uint8_t> png;
  const auto width = static_cast<std::size_t>(raster.width);
  try {
    png_writing::RgbWriter writer(
        static_cast<std::uint32_t>(raster.width), static_cast<std::uint32_t>(raster.height),
        [&](std::span<const std::uint8_t> bytes) {
          png.insert(png.end(), bytes.begin(), bytes.end());
          return true;
        },
        compression);
    for (std::size_t y = 0; y < static_cast<std::size_t>(raster.height); ++y) {
      opaqueRow(raster.pixels.data() + y * width, width, writer.row().data());
      if (!writer.commitRow()) return {};
    }
  } catch (const std::bad_alloc&) {
    return {};
  }
  return png;
}

}  // namespace RasterCanvas
}  // namespace zorvi
