#include "zorvi/document.hpp"

#include <random>
#include <utility>

#include "unicode/unicode.hpp"

namespace zorvi {
namespace {

// The value of each hexadecimal digit in either case, 16 for every other byte.
constexpr std::array<std::uint8_t, 256> hexValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(16);
  for (int i = 0; i < 10; ++i) values['0' + i] = static_cast<std::uint8_t>(i);
  for (int i = 0; i < 6; ++i) values['a' + i] = values['A' + i] = static_cast<std::uint8_t>(10 + i);
  return values;
}();

// Where each byte's two digits start in the 36-character form.
constexpr std::array<std::uint8_t, 16> digitPairs{0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

template <typename Enum, std::size_t N>
std::optional<Enum> parseRaw(std::string_view raw, const std::array<std::string_view, N>& names) {
  for (std::size_t i = 0; i < N; ++i) {
    if (names[i] == raw) return static_cast<Enum>(i);
  }
  return std::nullopt;
}

constexpr std::array<std::string_view, 4> kItemTypes{"image", "text", "shape", "drawing"};
constexpr std::array<std::string_view, 3> kCaptionAlignments{"leading", "center", "trailing"};
constexpr std::array<std::string_view, 2> kLineStyles{"solid", "dashed"};
constexpr std::array<std::string_view, 6> kPageFormats{"a5", "a4", "a3", "letter", "legal", "screen16x9"};
constexpr std::array<std::string_view, 2> kPageOrientations{"portrait", "landscape"};

}  // namespace

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
    return std::nullopt;
  Uuid id;
  unsigned faults = 0;  // bit 4 of a value is set only for a byte that is no digit
  for (std::size_t i = 0; i < 16; ++i) {
    const unsigned hi = hexValues[static_cast<unsigned char>(text[digitPairs[i]])];
    const unsigned lo = hexValues[static_cast<unsigned char>(text[digitPairs[i] + 1])];
    faults |= hi | lo;
    id.bytes[i] = static_cast<std::uint8_t>(hi << 4 | lo);
  }
  if (faults & 16) return std::nullopt;
  return id;
}

Uuid Uuid::generate() {
  thread_local std::mt19937_64 engine{std::random_device{}()};
  Uuid id;
  for (std::size_t i = 0; i < 16; i += 8) {
    const std::uint64_t r = engine();
    for (std::size_t j = 0; j < 8; ++j) id.bytes[i + j] = static_cast<std::uint8_t>(r >> (8 * j));
  }
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

std::string Uuid::string() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(36);
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
    out.push_back(kDigits[bytes[i] >> 4]);
    out.push_back(kDigits[bytes[i] & 0x0F]);
  }
  return out;
}

bool ShapeContent::hasTitle() const { return title && unicode::hasVisibleText(*title); }

double ShapeContent::effectiveTitleFontSize() const { return titleFontSize.value_or(28.0); }

std::string ShapeContent::titleBackdrop(std::string_view boardBackground) const {
  return fillColor ? *fillColor : std::string(boardBackground);
}

std::array<double, 2> DrawingContent::dashPattern(double width) { return {3 * width, 2 * width}; }

CanvasItem::CanvasItem(Uuid id_, std::string image_, std::string thumbnail_, Frame frame_, std::int64_t zIndex_,
                       PixelSize naturalSize_, ItemSource source_, std::optional<std::string> caption_,
                       std::optional<CaptionAlignment> captionAlignment_, bool locked_,
                       std::optional<Uuid> groupId_)
    : id(id_),
      type(Type::image),
      image(std::move(image_)),
      thumbnail(std::move(thumbnail_)),
      naturalSize(naturalSize_),
      source(std::move(source_)),
      caption(std::move(caption_)),
      captionAlignment(captionAlignment_),
      frame(frame_),
      zIndex(zIndex_),
      locked(locked_),
      groupId(groupId_) {}

CanvasItem::CanvasItem(Uuid id_, TextContent text_, Frame frame_, std::int64_t zIndex_, bool locked_,
                       std::optional<Uuid> groupId_)
    : id(id_), type(Type::text), text(std::move(text_)), frame(frame_), zIndex(zIndex_), locked(locked_),
      groupId(groupId_) {}

CanvasItem::CanvasItem(Uuid id_, ShapeContent shape_, Frame frame_, std::int64_t zIndex_, bool locked_,
                       std::optional<Uuid> groupId_)
    : id(id_), type(Type::shape), shape(std::move(shape_)), frame(frame_), zIndex(zIndex_), locked(locked_),
      groupId(groupId_) {}

CanvasItem::CanvasItem(Uuid id_, DrawingContent drawing_, Frame frame_, std::int64_t zIndex_, bool locked_,
                       std::optional<Uuid> groupId_)
    : id(id_), type(Type::drawing), drawing(std::move(drawing_)), frame(frame_), zIndex(zIndex_),
      locked(locked_), groupId(groupId_) {}

bool BoardHeader::hasContent() const {
  for (const auto* field : {&title, &client, &model, &date, &location, &notes}) {
    if (*field && unicode::hasVisibleText(**field)) return true;
  }
  return false;
}

PageSize portraitSize(PageFormat format) {
  switch (format) {
    case PageFormat::a5: return {641, 909};
    case PageFormat::a4: return {909, 1286};
    case PageFormat::a3: return {1286, 1819};
    case PageFormat::letter: return {935, 1210};
    case PageFormat::legal: return {935, 1540};
    case PageFormat::screen16x9: return {900, 1600};
  }
  return {909, 1286};
}

PageSize size(PageFormat format, PageOrientation orientation) {
  const PageSize portrait = portraitSize(format);
  if (orientation == PageOrientation::landscape) return {portrait.height, portrait.width};
  return portrait;
}

std::string_view rawValue(CanvasItem::Type value) { return kItemTypes[static_cast<std::size_t>(value)]; }
std::string_view rawValue(CaptionAlignment value) { return kCaptionAlignments[static_cast<std::size_t>(value)]; }
std::string_view rawValue(DrawingContent::LineStyle value) { return kLineStyles[static_cast<std::size_t>(value)]; }
std::string_view rawValue(PageFormat value) { return kPageFormats[static_cast<std::size_t>(value)]; }
std::string_view rawValue(PageOrientation value) { return kPageOrientations[static_cast<std::size_t>(value)]; }

std::optional<CanvasItem::Type> parseItemType(std::string_view raw) {
  return parseRaw<CanvasItem::Type>(raw, kItemTypes);
}
std::optional<CaptionAlignment> parseCaptionAlignment(std::string_view raw) {
  return parseRaw<CaptionAlignment>(raw, kCaptionAlignments);
}
std::optional<DrawingContent::LineStyle> parseLineStyle(std::string_view raw) {
  return parseRaw<DrawingContent::LineStyle>(raw, kLineStyles);
}
std::optional<PageFormat> parsePageFormat(std::string_view raw) { return parseRaw<PageFormat>(raw, kPageFormats); }
std::optional<PageOrientation> parsePageOrientation(std::string_view raw) {
  return parseRaw<PageOrientation>(raw, kPageOrientations);
}

}  // namespace zorvi
