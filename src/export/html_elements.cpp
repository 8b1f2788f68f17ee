#include "export/html_elements.hpp"

#include "export/html_text.hpp"

namespace zorvi::html {

void appendBoxPosition(std::string& out, const Frame& f) {
  out += "left:";
  appendNumber(out, f.x);
  out += "px;top:";
  appendNumber(out, f.y);
  out += "px;width:";
  appendNumber(out, f.width);
}

namespace {

void appendZIndex(std::string& out, std::int64_t zIndex) {
  out += "z-index:";
  appendInteger(out, zIndex);
  out += ';';
}

void appendBoxStyle(std::string& out, const BoardLayout::PlacedItem& placed) {
  appendBoxPosition(out, placed.frame);
  out += "px;height:";
  appendNumber(out, placed.frame.height);
  out += "px;";
  appendZIndex(out, placed.item.zIndex);
}

bool appendImage(Writer& writer, const BoardLayout::PlacedItem& placed, const HTMLExporter::PictureLookup& pictures) {
  const auto picture = pictures ? pictures(placed.item) : std::nullopt;
  if (!picture) return false;
  std::string& out = writer.out;
  out += R"(      <div class="item" style=")";
  appendBoxStyle(out, placed);
  out += R"("><img src="data:)";
  out += picture->mime;
  out += ";base64,";
  Base64Stream base64;
  if (picture->read) {
    picture->read([&](std::span<const std::uint8_t> piece) {
      base64.append(out, piece);
      writer.flushIfLarge();
    });
  }
  base64.finish(out);
  out += "\" alt=\"\"></div>\n";
  return true;
}

bool appendText(std::string& out, const BoardLayout::PlacedItem& placed) {
  if (!placed.item.text) return false;
  const TextContent& text = *placed.item.text;
  out += R"(      <div class="item text" style=")";
  appendBoxPosition(out, placed.frame);
  out += "px;min-height:";
  appendNumber(out, placed.frame.height);
  out += "px;";
  appendZIndex(out, placed.item.zIndex);
  out += "font-size:";
  appendNumber(out, text.fontSize);
  out += "px;color:";
  out += validColorView(text.color).value_or("#111111");
  out += ";\">";
  appendEscaped(out, text.content);
  out += "</div>\n";
  return true;
}

std::optional<std::string_view> validOptionalColor(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return validColorView(*text);
}

bool appendShape(std::string& out, const BoardLayout::PlacedItem& placed) {
  if (!placed.item.shape) return false;
  const ShapeContent& shape = *placed.item.shape;
  out += R"(      <div class="item" style=")";
  appendBoxStyle(out, placed);
  if (const auto fill = validOptionalColor(shape.fillColor)) {
    out += "background:";
    out += *fill;
    out += ';';
  }
  if (const auto stroke = validOptionalColor(shape.strokeColor)) {
    out += "border:";
    appendNumber(out, shape.strokeWidth);
    out += "px solid ";
    out += *stroke;
    out += ';';
  }
  out += "\"></div>\n";
  return true;
}

bool appendDrawing(std::string& out, const BoardLayout::PlacedItem& placed) {
  if (!placed.item.drawing || placed.item.drawing->points.size() < 2) return false;
  const DrawingContent& drawing = *placed.item.drawing;
  const Frame& f = placed.frame;
  out += R"(      <div class="item drawing" style=")";
  appendBoxStyle(out, placed);
  out += R"("><svg viewBox="0 0 )";
  appendNumber(out, f.width);
  out += ' ';
  appendNumber(out, f.height);
  out += R"(" preserveAspectRatio="none" xmlns="http://www.w3.org/2000/svg"><polyline points=")";
  bool first = true;
  for (const DrawingPoint& p : drawing.points) {
    if (!first) out += ' ';
    first = false;
    appendNumber(out, f.width * p.x);
    out += ',';
    appendNumber(out, f.height * p.y);
  }
  out += R"(" fill="none" stroke=")";
  out += validColorView(drawing.color).value_or("#111111");
  out += R"(" stroke-width=")";
  appendNumber(out, drawing.strokeWidth);
  out += R"(" stroke-linecap="round" stroke-linejoin="round")";
  if (drawing.style == DrawingContent::LineStyle::dashed) {
    const auto dash = DrawingContent::dashPattern(drawing.strokeWidth);
    out += R"( stroke-dasharray=")";
    appendNumber(out, dash[0]);
    out += ' ';
    appendNumber(out, dash[1]);
    out += '"';
  }
  out += "/></svg></div>\n";
  return true;
}

std::string_view alignmentWord(const std::optional<CaptionAlignment>& alignment) {
  if (!alignment) return "left";
  switch (*alignment) {
    case CaptionAlignment::center:
      return "center";
    case CaptionAlignment::trailing:
      return "right";
    case CaptionAlignment::leading:
      break;
  }
  return "left";
}

}  // namespace

const std::string_view documentOpening =
    "<!DOCTYPE html>\n"
    "<html lang=\"de\">\n"
    "<head>\n"
    "  <meta charset=\"utf-8\">\n"
    "  <meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "  <title>";

const std::string_view itemStyleSheet =
    "    .item { position: absolute; overflow: hidden; }\n"
    "    .item img { width: 100%; height: 100%; display: block; }\n"
    "    .item.text, .item.caption { white-space: pre-wrap; overflow-wrap: break-word; overflow: visible; "
    "font-family: -apple-system, system-ui, sans-serif; line-height: 1.15; }\n"
    "    .item.drawing { overflow: visible; }\n"
    "    .item.drawing svg { display: block; width: 100%; height: 100%; overflow: visible; }\n"
    "    .item.caption { font-family: ui-monospace, SFMono-Regular, Menlo, monospace; }\n"
    "    .item.title { font-family: -apple-system, system-ui, sans-serif; font-weight: 600; line-height: "
    "1.15; "
    "white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }\n";

bool appendRenderedElement(Writer& writer, const BoardLayout::PlacedItem& placed,
                           const HTMLExporter::PictureLookup& pictures) {
  switch (placed.item.type) {
    case CanvasItem::Type::image:
      return appendImage(writer, placed, pictures);
    case CanvasItem::Type::text:
      return appendText(writer.out, placed);
    case CanvasItem::Type::shape:
      return appendShape(writer.out, placed);
    case CanvasItem::Type::drawing:
      return appendDrawing(writer.out, placed);
  }
  return false;
}

bool appendSectionTitleElement(std::string& out, const BoardLayout::PlacedItem& placed,
                               std::string_view background) {
  const CanvasItem& item = placed.item;
  if (item.type != CanvasItem::Type::shape || !item.shape || !item.shape->hasTitle()) return false;
  const ShapeContent& shape = *item.shape;
  const Frame& f = placed.frame;
  const double inset = SectionTitleStyle::inset;
  if (!(f.width - 2 * inset > 0)) return false;
  out += R"(      <div class="item title" style=")";
  appendBoxPosition(out, {f.x + inset, f.y + inset, f.width - 2 * inset, 0});
  out += "px;";
  appendZIndex(out, item.zIndex);
  out += "font-size:";
  appendNumber(out, shape.titleFontSize.value_or(SectionTitleStyle::defaultFontSize));
  out += "px;color:";
  // The fill is judged as stored: an invalid fill still decides the title's colour.
  out += HTMLExporter::contrastColor(shape.fillColor ? std::string_view(*shape.fillColor) : background);
  out += ";\">";
  appendEscaped(out, *shape.title);
  out += "</div>\n";
  return true;
}

bool appendCaptionElement(std::string& out, const BoardLayout::PlacedItem& placed, std::string_view color) {
  const CanvasItem& item = placed.item;
  if (!placed.captionFrame || !item.caption || item.caption->empty()) return false;
  const Frame& f = *placed.captionFrame;
  out += R"(      <div class="item caption" style=")";
  appendBoxPosition(out, f);
  out += "px;min-height:";
  appendNumber(out, f.height);
  out += "px;";
  appendZIndex(out, item.zIndex);
  out += "font-size:";
  appendNumber(out, CaptionStyle::fontSize);
  out += "px;font-style:italic;text-align:";
  out += alignmentWord(item.captionAlignment);
  out += ";color:";
  out += color;
  out += ";\">";
  appendEscaped(out, *item.caption);
  out += "</div>\n";
  return true;
}

void appendItems(Writer& writer, const BoardLayout& layout, const HTMLExporter::PictureLookup& pictures,
                 std::string_view background, std::string_view captionColor) {
  for (const auto& placed : layout.items) {
    appendRenderedElement(writer, placed, pictures);
    appendSectionTitleElement(writer.out, placed, background);
    appendCaptionElement(writer.out, placed, captionColor);
    writer.flushIfLarge();
  }
}

std::size_t estimatedItemsSize(const BoardLayout& layout, const HTMLExporter::PictureLookup& pictures) {
  // Fixed markup of an item with title and caption stays well under 1 KiB; escaping rarely
  // grows text by more than a quarter; a drawing point takes at most ~24 bytes.
  std::size_t size = 0;
  for (const auto& placed : layout.items) {
    const CanvasItem& item = placed.item;
    size += 1024;
    if (item.type == CanvasItem::Type::image && pictures) {
      if (const auto picture = pictures(item)) size += base64Length(picture->size) + picture->mime.size();
    }
    if (item.text) size += item.text->content.size() * 5 / 4;
    if (item.shape && item.shape->title) size += item.shape->title->size() * 5 / 4;
    if (item.caption) size += item.caption->size() * 5 / 4;
    if (item.drawing) size += item.drawing->points.size() * 24;
  }
  return size;
}

}  // namespace zorvi::html

namespace zorvi::HTMLExporter {
namespace {

template <typename Append>
std::optional<std::string> element(Append&& append) {
  std::string out;
  if (!append(out)) return std::nullopt;
  return out;
}

}  // namespace

PictureLookup picturesOf(const ImageViewMap& images) {
  return [&images](const CanvasItem& item) -> std::optional<PictureStream> {
    const auto found = images.find(item.id);
    if (found == images.end()) return std::nullopt;
    const EmbeddedImageView& image = found->second;
    return PictureStream{std::string(image.mime), image.data.size(),
                         [data = image.data](const ByteSink& sink) { sink(data); }};
  };
}

std::optional<std::string> renderedElement(const BoardLayout::PlacedItem& placed, const ImageMap& images) {
  ImageViewMap picture;
  if (const auto found = images.find(placed.item.id); found != images.end())
    picture.emplace(found->first, EmbeddedImageView{found->second.data, found->second.mime});
  html::Writer writer;
  if (!html::appendRenderedElement(writer, placed, picturesOf(picture))) return std::nullopt;
  return std::move(writer.out);
}

std::optional<std::string> sectionTitleElement(const BoardLayout::PlacedItem& placed,
                                               std::string_view background) {
  return element([&](std::string& out) { return html::appendSectionTitleElement(out, placed, background); });
}

std::optional<std::string> captionElement(const BoardLayout::PlacedItem& placed, std::string_view color) {
  return element([&](std::string& out) { return html::appendCaptionElement(out, placed, color); });
}

}  // namespace zorvi::HTMLExporter
