// The board document: the records of manifest.json as plain values.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorvi {

// A 128-bit identifier; its text form is 8-4-4-4-12 hexadecimal digits.
struct Uuid {
  std::array<std::uint8_t, 16> bytes{};

  // Accepts the 36-character form in either letter case; nothing else.
  static std::optional<Uuid> parse(std::string_view text);
  // A new random (version 4) identifier.
  static Uuid generate();
  // The 36-character form with upper-case digits.
  std::string string() const;

  auto operator<=>(const Uuid&) const = default;
};

// A point in time in UTC; the manifest keeps whole seconds.
using Date = std::chrono::sys_seconds;

// A rectangle in world units: x to the right, y downwards, so y is the top edge.
struct Frame {
  double x = 0, y = 0, width = 0, height = 0;
  bool operator==(const Frame&) const = default;
};

struct PixelSize {
  std::int64_t width = 0, height = 0;
  bool operator==(const PixelSize&) const = default;
};

struct ItemSource {
  std::optional<std::string> url;
  Date addedAt{};
  bool operator==(const ItemSource&) const = default;
};

enum class CaptionAlignment { leading, center, trailing };

struct TextContent {
  std::string content;
  std::string color;
  double fontSize = 0;
  bool operator==(const TextContent&) const = default;
};

// A rectangle that may carry a section title.
struct ShapeContent {
  static constexpr double thinStroke = 1.5;
  static constexpr double mediumStroke = 3.0;
  static constexpr double thickStroke = 6.0;
  static constexpr double defaultStroke = 3.0;
  static constexpr std::array<double, 3> allStrokeWidths{thinStroke, mediumStroke, thickStroke};

  std::optional<std::string> fillColor;
  std::optional<std::string> strokeColor;
  double strokeWidth = 0;
  std::optional<std::string> title;
  std::optional<double> titleFontSize;

  // True when the title holds a character after Unicode white space and line breaks are trimmed.
  bool hasTitle() const;
  // titleFontSize when present, else 28.
  double effectiveTitleFontSize() const;
  // The colour the title stands on: fillColor when present (even empty), else the board background.
  std::string titleBackdrop(std::string_view boardBackground) const;

  bool operator==(const ShapeContent&) const = default;
};

// A point of a drawing as fractions of its frame: (0, 0) top-left, (1, 1) bottom-right; not clamped.
struct DrawingPoint {
  double x = 0, y = 0;
  bool operator==(const DrawingPoint&) const = default;
};

// A free-hand line.
struct DrawingContent {
  enum class LineStyle { solid, dashed };

  std::vector<DrawingPoint> points;
  std::string color;
  double strokeWidth = 0;
  LineStyle style = LineStyle::solid;

  // Dash then gap of a dashed line of the given width: 3 × width, 2 × width.
  static std::array<double, 2> dashPattern(double width);

  bool operator==(const DrawingContent&) const = default;
};

// One item on the canvas. Each constructor makes one kind of item and leaves the
// other kinds' fields absent; decoding may produce any combination.
struct CanvasItem {
  enum class Type { image, text, shape, drawing };

  Uuid id;
  Type type = Type::image;
  std::optional<std::string> image;
  std::optional<std::string> thumbnail;
  std::optional<PixelSize> naturalSize;
  std::optional<ItemSource> source;
  std::optional<TextContent> text;
  std::optional<ShapeContent> shape;
  std::optional<DrawingContent> drawing;
  std::optional<std::string> caption;
  std::optional<CaptionAlignment> captionAlignment;
  Frame frame;
  std::int64_t zIndex = 0;
  bool locked = false;
  std::optional<Uuid> groupId;

  CanvasItem() = default;
  // An image item.
  CanvasItem(Uuid id, std::string image, std::string thumbnail, Frame frame, std::int64_t zIndex,
             PixelSize naturalSize, ItemSource source, std::optional<std::string> caption,
             std::optional<CaptionAlignment> captionAlignment, bool locked, std::optional<Uuid> groupId);
  // A text item.
  CanvasItem(Uuid id, TextContent text, Frame frame, std::int64_t zIndex, bool locked,
             std::optional<Uuid> groupId);
  // A shape item.
  CanvasItem(Uuid id, ShapeContent shape, Frame frame, std::int64_t zIndex, bool locked,
             std::optional<Uuid> groupId);
  // A drawing item.
  CanvasItem(Uuid id, DrawingContent drawing, Frame frame, std::int64_t zIndex, bool locked,
             std::optional<Uuid> groupId);

  bool operator==(const CanvasItem&) const = default;
};

struct Viewport {
  double offsetX = 0, offsetY = 0, zoom = 0;
  bool operator==(const Viewport&) const = default;
};

struct Canvas {
  std::string backgroundColor;
  Viewport lastViewport;
  bool operator==(const Canvas&) const = default;
};

// Free-text metadata shown on an export cover.
struct BoardHeader {
  std::optional<std::string> title, client, model, date, location, notes;

  // True when any field holds a character after Unicode white space and line breaks are trimmed.
  bool hasContent() const;

  bool operator==(const BoardHeader&) const = default;
};

// A size in world units.
struct PageSize {
  double width = 0, height = 0;
  bool operator==(const PageSize&) const = default;
};

enum class PageFormat { a5, a4, a3, letter, legal, screen16x9 };
enum class PageOrientation { portrait, landscape };

inline constexpr std::array<PageFormat, 6> allPageFormats{PageFormat::a5,     PageFormat::a4,
                                                          PageFormat::a3,     PageFormat::letter,
                                                          PageFormat::legal,  PageFormat::screen16x9};

// The paper size in portrait, whole world units at 110 per inch.
PageSize portraitSize(PageFormat format);
// The portrait size, or width and height exchanged for landscape.
PageSize size(PageFormat format, PageOrientation orientation);

// The paper chosen for paged export.
struct PageSetup {
  PageFormat format = PageFormat::a4;
  PageOrientation orientation = PageOrientation::portrait;

  // A4 portrait: what a board without a page setup is exported with.
  static constexpr PageSetup defaultSetup() { return {}; }
  PageSize size() const { return zorvi::size(format, orientation); }

  bool operator==(const PageSetup&) const = default;
};

struct Board {
  Uuid id;
  std::string name;
  Date createdAt{};
  Date modifiedAt{};
  Canvas canvas;
  std::optional<PageSetup> pageSetup;
  std::optional<BoardHeader> header;
  bool operator==(const Board&) const = default;
};

// The root of a board document.
struct Manifest {
  // The newest schema this library reads.
  static constexpr std::int64_t currentSchemaVersion = 8;

  std::int64_t schemaVersion = currentSchemaVersion;
  Board board;
  std::vector<CanvasItem> items;
  bool operator==(const Manifest&) const = default;
};

// The stored strings of the enumerations, and their exact, case-sensitive reverse.
std::string_view rawValue(CanvasItem::Type value);
std::string_view rawValue(CaptionAlignment value);
std::string_view rawValue(DrawingContent::LineStyle value);
std::string_view rawValue(PageFormat value);
std::string_view rawValue(PageOrientation value);
std::optional<CanvasItem::Type> parseItemType(std::string_view raw);
std::optional<CaptionAlignment> parseCaptionAlignment(std::string_view raw);
std::optional<DrawingContent::LineStyle> parseLineStyle(std::string_view raw);
std::optional<PageFormat> parsePageFormat(std::string_view raw);
std::optional<PageOrientation> parsePageOrientation(std::string_view raw);

}  // namespace zorvi

template <>
struct std::hash<zorvi::Uuid> {
  std::size_t operator()(const zorvi::Uuid& id) const noexcept {
    std::size_t h = 0;
    for (auto b : id.bytes) h = h * 131 + b;
    return h;
  }
};
