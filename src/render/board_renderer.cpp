#include "zorvi/board_renderer.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "render/board_drawing.hpp"
#include "render/image_prefetch.hpp"
#include "render/small_marks.hpp"
#include "unicode/unicode.hpp"
#include "zorvi/canvas_contrast.hpp"

namespace zorvi::BoardCGRenderer {
namespace {

constexpr Color white{1, 1, 1, 1};
constexpr Color black{0, 0, 0, 1};

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

int hexValue(char c) {
  if (c <= '9') return c - '0';
  return (c | 0x20) - 'a' + 10;
}

// Layout space runs y down from the top; drawing space runs y up from the bottom.
Rect itemRect(const Frame& frame, double layoutHeight) {
  return {frame.x, layoutHeight - frame.y - frame.height, frame.width, frame.height};
}

Color chromeColor(std::string_view background) {
  return CanvasContrast::chromeTone(background) == CanvasContrast::ChromeTone::light ? white : black;
}

// A wrapped text box from the rectangle's top edge down, at least as tall as the rectangle and as tall
// as the text needs, rounded up to a whole unit.
void drawWrapped(DrawingContext& context, render::SmallMarks& small, std::string_view text, const Font& font,
                 const Color& color, TextAlignment alignment, const Rect& rect) {
  if (!(rect.width > 0)) return;
  if (small.sketches(font)) return small.drawTextBox(text, font, color, alignment, rect);
  const double needed = std::ceil(context.measurer().wrappedHeight(text, font, rect.width));
  const double boxHeight = std::max(rect.height, needed);
  context.drawTextBox(text, font, color, alignment, {rect.x, rect.maxY() - boxHeight, rect.width, boxHeight});
}

// How an image item gets onto the context; false leaves it out, caption and all.
using ImageDrawer = std::function<bool(DrawingContext&, const CanvasItem&, const Rect&)>;

std::int32_t pixelsAcross(DrawingContext& context, double width) {
  return render::targetPixels(width * context.pixelsPerUnit().x);
}
std::int32_t pixelsDown(DrawingContext& context, double height) {
  return render::targetPixels(height * context.pixelsPerUnit().y);
}

// Hands an image's own bytes to a context that can keep them (a PDF keeps a JPEG as it is), else decodes
// it as it is drawn, so no more than one picture is held at a time.
ImageDrawer decodingDrawer(const ImageViewMap& images, const SkippedImageHandler& onSkipped,
                           const render::DecodeFunction& decode) {
  return [&images, &onSkipped, &decode](DrawingContext& context, const CanvasItem& item, const Rect& rect) {
    const auto skip = [&](SkippedImage::Reason reason, std::string library = {}) {
      if (onSkipped) onSkipped({item.id, item.image.value_or(""), reason, std::move(library)});
      return false;
    };
    const auto found = images.find(item.id);
    if (found == images.end()) return skip(SkippedImage::Reason::missingEntry);
    if (context.drawEncodedImage(found->second.data, rect)) return true;
    const auto raster =
        decode(item, found->second.data, pixelsAcross(context, rect.width), pixelsDown(context, rect.height));
    if (raster) {
      context.drawImage(*raster, rect);
      return true;
    }
    if (!onSkipped) return false;
    if (auto library = ImageDecoder::missingCodecLibrary(found->second.data))
      return skip(SkippedImage::Reason::codecMissing, std::move(*library));
    return skip(SkippedImage::Reason::undecodable);
  };
}

ImageDrawer providedDrawer(const ImageProvider& images) {
  return [&images](DrawingContext& context, const CanvasItem& item, const Rect& rect) {
    const auto raster = images(item, pixelsAcross(context, rect.width), pixelsDown(context, rect.height));
    if (raster) context.drawImage(*raster, rect);
    return raster != nullptr;
  };
}

void drawTitle(DrawingContext& context, render::SmallMarks& small, const ShapeContent& shape,
               const Rect& rect, std::string_view background) {
  const double available = rect.width - 2 * SectionTitleStyle::inset;
  if (!(available > 0)) return;
  const std::string& title = *shape.title;
  const Font font{FontFace::sansSemibold, shape.effectiveTitleFontSize()};
  const Color color =
      CanvasContrast::chromeTone(shape.titleBackdrop(background)) == CanvasContrast::ChromeTone::light
          ? white
          : black;
  if (small.sketches(font))
    return small.drawTextLine(
        title, font, color,
        {rect.x + SectionTitleStyle::inset, rect.maxY() - SectionTitleStyle::inset - small.ascent(font)},
        available);
  const TextMeasurer& measurer = context.measurer();
  std::optional<double> truncate;
  if (measurer.lineWidth(title, font) > available) truncate = available;
  const double ascent = measurer.ascent(title, font);
  context.drawTextLine(title, font, color,
                       {rect.x + SectionTitleStyle::inset, rect.maxY() - SectionTitleStyle::inset - ascent},
                       truncate);
}

void drawShape(DrawingContext& context, render::SmallMarks& small, const ShapeContent& shape,
               const Rect& rect, std::string_view background) {
  if (const auto fill = cgColor(shape.fillColor.value_or(""))) context.fillRect(rect, *fill);
  if (const auto stroke = cgColor(shape.strokeColor.value_or(""))) {
    const double w = shape.strokeWidth;
    // Inset by half the width so the whole stroke stays inside the frame; a frame thinner than the
    // stroke has no rectangle left to stroke.
    const Rect inset{rect.x + w / 2, rect.y + w / 2, rect.width - w, rect.height - w};
    if (inset.width >= 0 && inset.height >= 0) context.strokeRect(inset, *stroke, w);
  }
  if (shape.hasTitle() && shape.title) drawTitle(context, small, shape, rect, background);
}

void drawDrawing(DrawingContext& context, const render::SmallMarks& small, const DrawingContent& drawing,
                 const Rect& rect) {
  if (drawing.points.size() < 2) return;
  const auto color = cgColor(drawing.color);
  if (!color) return;
  std::vector<Point> points;
  points.reserve(drawing.points.size());
  // Points are fractions of the frame measured from its top-left corner.
  for (const DrawingPoint& p : drawing.points)
    points.push_back({rect.x + p.x * rect.width, rect.maxY() - p.y * rect.height});
  Stroke stroke{*color, drawing.strokeWidth, std::nullopt};
  if (drawing.style == DrawingContent::LineStyle::dashed)
    stroke.dash = DrawingContent::dashPattern(drawing.strokeWidth);
  context.strokePolyline(points, small.stroke(stroke));
}

TextAlignment captionAlignment(const std::optional<CaptionAlignment>& alignment) {
  if (!alignment) return TextAlignment::left;
  switch (*alignment) {
    case CaptionAlignment::center:
      return TextAlignment::center;
    case CaptionAlignment::trailing:
      return TextAlignment::right;
    case CaptionAlignment::leading:
      break;
  }
  return TextAlignment::left;
}

// False when the item is skipped entirely, which also drops its caption.
bool drawItem(DrawingContext& context, render::SmallMarks& small, const CanvasItem& item, const Rect& rect,
              const ImageDrawer& images, std::string_view background) {
  switch (item.type) {
    case CanvasItem::Type::image:
      return images(context, item, rect);
    case CanvasItem::Type::text:
      if (!item.text) return false;
      if (const auto color = cgColor(item.text->color))
        drawWrapped(context, small, item.text->content, {FontFace::sans, item.text->fontSize}, *color,
                    TextAlignment::left, rect);
      return true;
    case CanvasItem::Type::shape:
      if (!item.shape) return false;
      drawShape(context, small, *item.shape, rect, background);
      return true;
    case CanvasItem::Type::drawing:
      if (!item.drawing) return false;
      drawDrawing(context, small, *item.drawing, rect);
      return true;
  }
  return false;
}

void drawLayout(const BoardLayout& layout, DrawingContext& context, const ImageDrawer& images,
                std::string_view backgroundHex) {
  if (const auto background = cgColor(backgroundHex))
    context.fillRect({0, 0, std::max(layout.width, 1.0), std::max(layout.height, 1.0)}, *background);
  const Color chrome = chromeColor(backgroundHex);
  render::SmallMarks small(context);
  for (const BoardLayout::PlacedItem& placed : layout.items) {
    const CanvasItem& item = placed.item;
    if (!drawItem(context, small, item, itemRect(placed.frame, layout.height), images, backgroundHex))
      continue;
    if (placed.captionFrame && item.caption && !item.caption->empty())
      drawWrapped(context, small, *item.caption, {FontFace::monospaceItalic, CaptionStyle::fontSize}, chrome,
                  captionAlignment(item.captionAlignment), itemRect(*placed.captionFrame, layout.height));
  }
}

}  // namespace

std::optional<Color> cgColor(std::string_view hex) {
  std::string_view text = unicode::trimWhitespaceAndNewlines(hex);
  if (text.empty() || text.front() != '#') return std::nullopt;
  text.remove_prefix(1);
  // Lengths count user-perceived characters; anything but ASCII digits and signs fails below anyway.
  std::string digits;
  const std::size_t count = unicode::graphemeCount(text);
  if (count == 3) {
    unicode::forEachGrapheme(text, [&](std::string_view c) {
      digits += c;
      digits += c;
    });
  } else if (count == 6) {
    digits = text;
  } else {
    return std::nullopt;
  }
  std::string_view rest = digits;
  bool negative = false;
  if (rest.front() == '+' || rest.front() == '-') {
    negative = rest.front() == '-';
    rest.remove_prefix(1);
  }
  if (rest.empty()) return std::nullopt;
  std::uint32_t value = 0;
  for (char c : rest) {
    if (!isHexDigit(c)) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(hexValue(c));
  }
  if (negative && value != 0) return std::nullopt;
  return Color{((value >> 16) & 0xFF) / 255.0, ((value >> 8) & 0xFF) / 255.0, (value & 0xFF) / 255.0, 1};
}

void draw(const BoardLayout& layout, DrawingContext& context, const ImageMap& images,
          std::string_view backgroundHex, const SkippedImageHandler& onSkipped) {
  draw(layout, context, viewsOf(images), backgroundHex, onSkipped);
}

void draw(const BoardLayout& layout, DrawingContext& context, const ImageViewMap& images,
          std::string_view backgroundHex, const SkippedImageHandler& onSkipped) {
  const render::DecodeFunction decode = [](const CanvasItem&, std::span<const std::uint8_t> bytes,
                                           std::int32_t width, std::int32_t height) {
    return ImageDecoder::decode(bytes, width, height);
  };
  drawLayout(layout, context, decodingDrawer(images, onSkipped, decode), backgroundHex);
}

void draw(const BoardLayout& layout, DrawingContext& context, const ImageProvider& images,
          std::string_view backgroundHex) {
  drawLayout(layout, context, providedDrawer(images), backgroundHex);
}

}  // namespace zorvi::BoardCGRenderer

namespace zorvi::render {

void drawDecoding(const BoardLayout& layout, DrawingContext& context, const ImageViewMap& images,
                  std::string_view backgroundHex, const SkippedImageHandler& onSkipped, const DecodeFunction& decode) {
  BoardCGRenderer::drawLayout(layout, context, BoardCGRenderer::decodingDrawer(images, onSkipped, decode),
                              backgroundHex);
}

}  // namespace zorvi::render
