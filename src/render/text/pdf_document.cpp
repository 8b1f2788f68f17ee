#include "render/text/pdf_document.hpp"

#include <cairo-pdf.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "render/cairo/cairo_shapes.hpp"
#include "render/text/pango_text.hpp"

namespace zorvi::text {
namespace {

using namespace cairo_shapes;

// The numbers the rest of the program measures with come from the same layouts.
class LayoutMeasurer final : public TextMeasurer {
 public:
  double wrappedHeight(std::string_view text, const Font& font, double width) const override {
    return pango::wrappedHeight(text, font, width);
  }
  double lineWidth(std::string_view text, const Font& font) const override { return pango::lineWidth(text, font); }
  double ascent(std::string_view text, const Font& font) const override { return pango::lineAscent(text, font); }
};

// Cairo keeps the key with the surface and frees it with free().
void setKey(cairo_surface_t* surface, std::uint64_t key) {
  const std::string text = "zorvi-image-" + std::to_string(key);
  auto* copy = static_cast<unsigned char*>(std::malloc(text.size()));
  if (copy == nullptr) return;
  std::memcpy(copy, text.data(), text.size());
  if (cairo_surface_set_mime_data(surface, CAIRO_MIME_TYPE_UNIQUE_ID, copy, text.size(), std::free, copy) !=
      CAIRO_STATUS_SUCCESS)
    std::free(copy);
}

class PDFDocument final : public Document, public DrawingContext {
 public:
  PDFDocument(WriteBytes write, void* closure, std::string_view title) : write_(write), closure_(closure) {
    surface_ = cairo_pdf_surface_create_for_stream(&PDFDocument::writeOut, this, 1, 1);
    const std::string titleText(title);
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_TITLE, titleText.c_str());
    cr_ = cairo_create(surface_);
  }
  ~PDFDocument() {
    cairo_destroy(cr_);
    cairo_surface_destroy(surface_);
  }
  PDFDocument(const PDFDocument&) = delete;
  PDFDocument& operator=(const PDFDocument&) = delete;

  bool ok() const { return cairo_status(cr_) == CAIRO_STATUS_SUCCESS; }

  DrawingContext& beginSheet(double widthPt, double heightPt) override {
    while (depth_ > 0) restore();
    if (sheets_++ > 0) cairo_show_page(cr_);
    cairo_pdf_surface_set_size(surface_, widthPt, heightPt);
    cairo_identity_matrix(cr_);
    cairo_translate(cr_, 0, heightPt);
    cairo_scale(cr_, 1, -1);
    return *this;
  }
  void translate(double x, double y) override {
    if (finite(x) && finite(y)) cairo_translate(cr_, x, y);
  }
  void drawJPEG(std::span<const std::uint8_t> bytes, std::uint64_t key, const Rect& rect) override {
    if (!finite(rect) || !(rect.width > 0) || !(rect.height > 0)) return;
    // The PDF takes its picture from the JPEG bytes alone, so the surface's own pixels are never read:
    // one pixel stands for the whole picture instead of a decoded copy.
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1);
    cairo_surface_set_mime_data(image, CAIRO_MIME_TYPE_JPEG, bytes.data(), bytes.size(), nullptr, nullptr);
    setKey(image, key);
    fillWithSurface(cr_, image, 1, 1, rect, CAIRO_EXTEND_NONE);
    cairo_surface_destroy(image);
  }
  void drawRaster(const Raster& raster, std::uint64_t key, const Rect& rect) override {
    if (!drawable(raster, rect)) return;
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, raster.width, raster.height);
    if (cairo_surface_status(image) == CAIRO_STATUS_SUCCESS) {
      cairo_surface_flush(image);
      unsigned char* to = cairo_image_surface_get_data(image);
      const int stride = cairo_image_surface_get_stride(image);
      const std::size_t row = static_cast<std::size_t>(raster.width) * 4;
      for (std::int32_t y = 0; y < raster.height; ++y)
        std::memcpy(to + static_cast<std::ptrdiff_t>(y) * stride,
                    raster.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width), row);
      cairo_surface_mark_dirty(image);
      setKey(image, key);
      fillWithSurface(cr_, image, raster.width, raster.height, rect, CAIRO_EXTEND_NONE);
    }
    cairo_surface_destroy(image);
  }
  bool finish() override {
    while (depth_ > 0) restore();
    const bool drawn = ok();
    cairo_destroy(cr_);
    cr_ = cairo_create(surface_);  // the destructor's, on a finished surface: draws nothing
    cairo_surface_finish(surface_);
    return drawn && !writeFailed_ && cairo_surface_status(surface_) == CAIRO_STATUS_SUCCESS;
  }
  void destroy() override { delete this; }

  void fillRect(const Rect& rect, const Color& color) override { cairo_shapes::fillRect(cr_, rect, color); }
  void strokeRect(const Rect& rect, const Color& color, double width) override {
    cairo_shapes::strokeRect(cr_, rect, color, width);
  }
  void strokePolyline(std::span<const Point> points, const Stroke& stroke) override {
    cairo_shapes::strokePolyline(cr_, points, stroke);
  }
  void save() override {
    cairo_save(cr_);
    ++depth_;
  }
  void restore() override {
    if (depth_ == 0) return;
    cairo_restore(cr_);
    --depth_;
  }
  void scale(double sx, double sy) override { cairo_shapes::scale(cr_, sx, sy); }
  // A picture that must be decoded for the page is decoded for 300 dots per inch.
  Point pixelsPerUnit() const override {
    const Point points = deviceUnitsPerUnit(cr_);
    return {points.x * 300 / 72, points.y * 300 / 72};
  }
  void drawImage(const Raster& raster, const Rect& rect) override {
    if (!drawable(raster, rect)) return;
    auto* data = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(raster.pixels.data()));
    cairo_surface_t* image = cairo_image_surface_create_for_data(data, CAIRO_FORMAT_ARGB32, raster.width,
                                                                 raster.height, raster.width * 4);
    fillWithSurface(cr_, image, raster.width, raster.height, rect, CAIRO_EXTEND_NONE);
    // The page keeps its own copy; the caller's pixels go away after this call.
    cairo_surface_finish(image);
    cairo_surface_destroy(image);
  }
  void drawTextBox(std::string_view text, const Font& font, const Color& color, TextAlignment alignment,
                   const Rect& box) override {
    if (!finite(box) || !(box.width > 0)) return;
    const pango::LayoutPtr layout = pango::wrappedLayout(text, font, box.width, alignment);
    Scoped scoped(cr_);
    cairo_translate(cr_, box.x, box.maxY());
    cairo_scale(cr_, 1, -1);
    setColor(cr_, color);
    cairo_move_to(cr_, 0, 0);
    pango_cairo_show_layout(cr_, layout.get());
  }
  void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                    std::optional<double> truncateWidth) override {
    if (!finite(origin.x) || !finite(origin.y)) return;
    const pango::LayoutPtr layout = pango::lineLayout(text, font, truncateWidth);
    PangoLayoutLine* line = pango_layout_get_line_readonly(layout.get(), 0);
    if (line == nullptr) return;
    Scoped scoped(cr_);
    cairo_translate(cr_, origin.x, origin.y);
    cairo_scale(cr_, 1, -1);
    setColor(cr_, color);
    cairo_move_to(cr_, 0, 0);
    pango_cairo_show_layout_line(cr_, line);
  }
  const TextMeasurer& measurer() const override { return measurer_; }

 private:
  static cairo_status_t writeOut(void* closure, const unsigned char* data, unsigned int length) {
    auto* self = static_cast<PDFDocument*>(closure);
    if (self->writeFailed_ || !self->write_(self->closure_, data, length)) {
      self->writeFailed_ = true;
      return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
  }

  WriteBytes write_;
  void* closure_;
  bool writeFailed_ = false;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cr_ = nullptr;
  int depth_ = 0;
  int sheets_ = 0;
  LayoutMeasurer measurer_;
};

}  // namespace

Document* openPDFDocument(WriteBytes write, void* closure, std::string_view title) {
  auto* document = new PDFDocument(write, closure, title);
  if (document->ok()) return document;
  document->destroy();
  return nullptr;
}

}  // namespace zorvi::text
