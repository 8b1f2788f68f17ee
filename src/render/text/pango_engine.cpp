#include "render/text/pango_text.hpp"
#include "render/text/pdf_document.hpp"
#include "render/text/text_engine.hpp"

namespace zorvi::text {
namespace {

class PangoEngine final : public Engine {
 public:
  double wrappedHeight(std::string_view text, const Font& font, double width) const override {
    return pango::wrappedHeight(text, font, width);
  }
  double lineWidth(std::string_view text, const Font& font) const override { return pango::lineWidth(text, font); }
  double ascent(std::string_view text, const Font& font) const override { return pango::lineAscent(text, font); }
  std::size_t wrappedLineCount(std::string_view text, const Font& font, double width) const override {
    if (text.empty()) return 0;
    const pango::LayoutPtr layout = pango::wrappedLayout(text, font, width, TextAlignment::left);
    const auto lines = static_cast<std::size_t>(pango_layout_get_line_count(layout.get()));
    // A browser shows no empty line after a final line feed; Pango opens one.
    return text.back() == '\n' && lines > 1 ? lines - 1 : lines;
  }
  void showWrapped(const Canvas& canvas, std::string_view text, const Font& font, double width,
                   TextAlignment alignment) const override {
    const pango::LayoutPtr layout = pango::wrappedLayout(text, font, width, alignment);
    onto(canvas, [&](cairo_t* cr) { pango_cairo_show_layout(cr, layout.get()); });
  }
  void showLine(const Canvas& canvas, std::string_view text, const Font& font,
                std::optional<double> truncateWidth) const override {
    const pango::LayoutPtr layout = pango::lineLayout(text, font, truncateWidth);
    PangoLayoutLine* line = pango_layout_get_line_readonly(layout.get(), 0);
    if (line == nullptr) return;
    onto(canvas, [&](cairo_t* cr) { pango_cairo_show_layout_line(cr, line); });
  }
  Document* openPDF(WriteBytes write, void* closure, std::string_view title) const override {
    return openPDFDocument(write, closure, title);
  }

 private:
  template <typename Show>
  static void onto(const Canvas& canvas, Show show) {
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        canvas.pixels, CAIRO_FORMAT_ARGB32, canvas.width, canvas.height, canvas.stride);
    cairo_t* cr = cairo_create(surface);
    if (cairo_status(cr) == CAIRO_STATUS_SUCCESS) {
      cairo_set_matrix(cr, &canvas.matrix);
      cairo_set_source_rgba(cr, canvas.color.red, canvas.color.green, canvas.color.blue, canvas.color.alpha);
      cairo_move_to(cr, 0, 0);
      show(cr);
    }
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    cairo_surface_destroy(surface);
  }
};

}  // namespace
}  // namespace zorvi::text

extern "C" const zorvi::text::Engine* zorvi_text_engine() {
  static const zorvi::text::PangoEngine engine;
  return &engine;
}
