#include "zorvi/text_measure.hpp"

#include "render/cairo/pango_text.hpp"

namespace zorvi {
namespace {

class EngineMeasurer final : public TextMeasurer {
 public:
  double wrappedHeight(std::string_view text, const Font& font, double width) const override {
    if (text.empty()) return 0;
    return pango::height(pango::wrappedLayout(text, font, width, pango::Alignment::left).get());
  }
  double lineWidth(std::string_view text, const Font& font) const override {
    return pango::width(pango::lineLayout(text, font, std::nullopt).get());
  }
  double ascent(std::string_view text, const Font& font) const override {
    return pango::ascent(pango::lineLayout(text, font, std::nullopt).get());
  }
};

}  // namespace

namespace TextMeasure {

const TextMeasurer& engine() {
  static const EngineMeasurer measurer;
  return measurer;
}

std::size_t wrappedLineCount(std::string_view text, double width, const Font& font) {
  if (text.empty()) return 0;
  const pango::LayoutPtr layout = pango::wrappedLayout(text, font, width, pango::Alignment::left);
  const auto lines = static_cast<std::size_t>(pango_layout_get_line_count(layout.get()));
  // A browser shows no empty line after a final line feed; Pango opens one.
  return text.back() == '\n' && lines > 1 ? lines - 1 : lines;
}

double wrappedTextHeight(std::string_view text, double width, const Font& font, double lineHeight) {
  return static_cast<double>(wrappedLineCount(text, width, font)) * lineHeight;
}

}  // namespace TextMeasure
}  // namespace zorvi
