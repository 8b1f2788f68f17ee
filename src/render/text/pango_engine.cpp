#include "render/text/pango_text.hpp"
#include "render/text/text_engine.hpp"

namespace zorvi::text {
namespace {

class PangoEngine final : public Engine {
 public:
  double wrappedHeight(std::string_view text, const Font& font, double width) const override {
    if (text.empty()) return 0;
    return pango::height(pango::wrappedLayout(text, font, width, TextAlignment::left).get());
  }
  double lineWidth(std::string_view text, const Font& font) const override {
    return pango::width(pango::lineLayout(text, font, std::nullopt).get());
  }
  double ascent(std::string_view text, const Font& font) const override {
    return pango::ascent(pango::lineLayout(text, font, std::nullopt).get());
  }
  std::size_t wrappedLineCount(std::string_view text, const Font& font, double width) const override {
    if (text.empty()) return 0;
    const pango::LayoutPtr layout = pango::wrappedLayout(text, font, width, TextAlignment::left);
    const auto lines = static_cast<std::size_t>(pango_layout_get_line_count(layout.get()));
    // A browser shows no empty line after a final line feed; Pango opens one.
    return text.back() == '\n' && lines > 1 ? lines - 1 : lines;
  }
  void showWrapped(cairo_t* cr, std::string_view text, const Font& font, double width,
                   TextAlignment alignment) const override {
    const pango::LayoutPtr layout = pango::wrappedLayout(text, font, width, alignment);
    cairo_move_to(cr, 0, 0);
    pango_cairo_show_layout(cr, layout.get());
  }
  void showLine(cairo_t* cr, std::string_view text, const Font& font,
                std::optional<double> truncateWidth) const override {
    const pango::LayoutPtr layout = pango::lineLayout(text, font, truncateWidth);
    PangoLayoutLine* line = pango_layout_get_line_readonly(layout.get(), 0);
    if (line == nullptr) return;
    cairo_move_to(cr, 0, 0);
    pango_cairo_show_layout_line(cr, line);
  }
};

}  // namespace
}  // namespace zorvi::text

extern "C" const zorvi::text::Engine* zorvi_text_engine() {
  static const zorvi::text::PangoEngine engine;
  return &engine;
}
