#include "zorvi/text_measure.hpp"

#include "render/text/text_engine.hpp"

namespace zorvi {
namespace {

// Without an engine nothing is set, so nothing takes room.
class EngineMeasurer final : public TextMeasurer {
 public:
  double wrappedHeight(std::string_view text, const Font& font, double width) const override {
    const text::Engine* engine = text::engine();
    return engine ? engine->wrappedHeight(text, font, width) : 0;
  }
  double lineWidth(std::string_view text, const Font& font) const override {
    const text::Engine* engine = text::engine();
    return engine ? engine->lineWidth(text, font) : 0;
  }
  double ascent(std::string_view text, const Font& font) const override {
    const text::Engine* engine = text::engine();
    return engine ? engine->ascent(text, font) : 0;
  }
};

}  // namespace

namespace TextMeasure {

const TextMeasurer& engine() {
  static const EngineMeasurer measurer;
  return measurer;
}

std::size_t wrappedLineCount(std::string_view text, double width, const Font& font) {
  const text::Engine* engine = text::engine();
  return engine ? engine->wrappedLineCount(text, font, width) : 0;
}

double wrappedTextHeight(std::string_view text, double width, const Font& font, double lineHeight) {
  return static_cast<double>(wrappedLineCount(text, width, font)) * lineHeight;
}

CaptionHeights captionHeights(std::span<const CanvasItem> items) {
  const Font font{FontFace::monospaceItalic, CaptionStyle::fontSize};
  CaptionHeights heights;
  for (const CanvasItem& item : items) {
    if (item.type != CanvasItem::Type::image || !item.caption || item.caption->empty()) continue;
    heights[item.id] = wrappedTextHeight(*item.caption, item.frame.width, font, CaptionStyle::fontSize * 1.15);
  }
  return heights;
}

}  // namespace TextMeasure
}  // namespace zorvi
