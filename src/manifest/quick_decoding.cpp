// The quick reading of a manifest: simdjson's On-Demand iteration straight into the model, with no
// document tree in between. On-Demand checks the text only as far as it is read, so every value is
// read here, known or not: keys, strings, numbers and literals alike, and the text must end with the
// root object. Whatever the careful reading might see differently (an escaped or repeated key, a
// number too large, deep nesting, a wrong type, a missing key, any syntax error) makes this one give
// up, and the careful reading runs instead and reports what it finds. fuzz/manifest_quick_decode.cpp
// holds the two readings to the same results.
#include <simdjson.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "manifest/manifest_reading.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::manifest_reading {
namespace {

namespace od = simdjson::ondemand;

static_assert(padding >= simdjson::SIMDJSON_PADDING);

struct GiveUp {};

[[noreturn]] void giveUp() { throw GiveUp{}; }

template <typename T>
T take(simdjson::simdjson_result<T>&& result) {
  T value;
  if (std::move(result).get(value) != simdjson::SUCCESS) giveUp();
  return value;
}

// Known keys of one kind of object, found with one table look-up and one comparison.
template <std::size_t N>
class KeyTable {
 public:
  // Not a constant expression when two keys share a slot: the hash then needs changing.
  constexpr explicit KeyTable(const std::array<std::string_view, N>& keys) : keys_(keys) {
    slots_.fill(-1);
    for (std::size_t i = 0; i < N; ++i) {
      std::int8_t& slot = slots_[hash(keys[i])];
      if (slot >= 0) throw "two keys share a slot";
      slot = static_cast<std::int8_t>(i);
    }
  }

  // The key's index, or -1 for a key of no field.
  int find(std::string_view key) const {
    const int i = slots_[hash(key)];
    if (i < 0) return -1;
    // Compared here rather than by a call to memcmp, which costs more than these few bytes.
    const std::string_view known = keys_[static_cast<std::size_t>(i)];
    if (known.size() != key.size()) return -1;
    for (std::size_t at = 0; at < key.size(); ++at)
      if (known[at] != key[at]) return -1;
    return i;
  }

 private:
  static constexpr std::size_t hash(std::string_view key) {
    if (key.empty()) return 0;
    return (key.size() + 3 * static_cast<unsigned char>(key.front()) + static_cast<unsigned char>(key.back())) % 64;
  }

  std::array<std::string_view, N> keys_;
  std::array<std::int8_t, 64> slots_{};
};

template <typename Enum>
constexpr std::uint32_t bit(Enum key) {
  return std::uint32_t{1} << static_cast<int>(key);
}

// Deeper nesting is left to the careful reading, which knows the exact bound.
constexpr int maxDepth = 64;

// The first byte of a value, which tells its type. Past the end of the text there is padding, white
// space that starts no value.
char firstOf(od::value& value) { return *value.raw_json_token().data(); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The characters of a number from its first significant digit to its exponent, the point included:
// never fewer than the significant digits simdjson counts.
std::size_t significantLength(std::string_view number) {
  std::size_t at = 0;
  while (at < number.size() && (number[at] == '-' || number[at] == '0' || number[at] == '.')) ++at;
  std::size_t end = at;
  while (end < number.size() && (isDigit(number[end]) || number[end] == '.')) ++end;
  return end - at;
}

// Numbers are parsed by simdjson as its document parses them: the same checks, the same rounding,
// whole numbers of 64 signed bits as integers, larger whole numbers as unsigned. Past 19 significant
// digits simdjson 3.0 loses the value in get_number and misrounds it in get_double, so such a number
// is left to the careful reading.
od::number numberOf(od::value& value) {
  const std::string_view token = value.raw_json_token();
  od::number number = take(value.get_number());
  // A shorter mantissa ends before the twentieth character, which is then white space or exponent.
  if (token.size() >= 20 && (isDigit(token[19]) || token[19] == '.') &&
      number.get_number_type() == od::number_type::floating_point_number && significantLength(token) > 19)
    giveUp();
  return number;
}

double asNumber(od::value& value) {
  od::number number = numberOf(value);
  switch (number.get_number_type()) {
    case od::number_type::signed_integer: return static_cast<double>(number.get_int64());
    case od::number_type::unsigned_integer: return static_cast<double>(number.get_uint64());
    default: return number.get_double();
  }
}

std::int64_t asInteger(od::value& value) {
  od::number number = numberOf(value);
  if (number.get_number_type() != od::number_type::signed_integer) giveUp();
  return number.get_int64();
}

bool asBoolean(od::value& value) { return take(value.get_bool()); }

// Whether the value is null; a token that only starts like null is refused.
bool isNull(od::value& value) {
  if (firstOf(value) != 'n') return false;
  if (!take(value.is_null())) giveUp();
  return true;
}

// Valid only until the next string is read. A string without a backslash is its text as it lies:
// stage 1 has already checked the whole text's UTF-8 and refused raw control characters. It is
// still consumed: a string left behind is skipped as a key if a colon follows it.
std::string_view asStringView(od::value& value) {
  const std::string_view token = value.raw_json_token();
  if (token.empty() || token.front() != '"') giveUp();
  const char* begin = token.data() + 1;
  const auto* end = static_cast<const char*>(std::memchr(begin, '"', token.size() - 1));
  if (end == nullptr) giveUp();
  const auto length = static_cast<std::size_t>(end - begin);
  if (std::memchr(begin, '\\', length) != nullptr) return take(value.get_string());
  take(value.get_raw_json_string());
  return {begin, length};
}

std::string asString(od::value& value) { return std::string(asStringView(value)); }

Uuid asUuid(od::value& value) {
  const auto id = Uuid::parse(asStringView(value));
  if (!id) giveUp();
  return *id;
}

Date asDate(od::value& value) {
  const auto date = ManifestCoder::parseDate(asStringView(value));
  if (!date) giveUp();
  return *date;
}

template <typename Enum>
Enum asEnum(od::value& value, std::optional<Enum> (*parse)(std::string_view)) {
  const auto parsed = parse(asStringView(value));
  if (!parsed) giveUp();
  return *parsed;
}

// A key as it lies; an escaped one is left to the careful reading.
std::string_view keyOf(od::field& field) {
  const char* begin = field.key().raw();
  const char* end = begin;
  for (; *end != '"'; ++end)
    if (*end == '\\') giveUp();
  return {begin, static_cast<std::size_t>(end - begin)};
}

void readThrough(od::value& value, int depth);

template <typename Visit>
void forEachMember(od::object object, Visit visit) {
  for (auto member : object) {
    // Used in place: a copy of the field costs more than the rest of reading its key.
    if (member.error() != simdjson::SUCCESS) giveUp();
    od::field& field = member.value_unsafe();
    visit(keyOf(field), field.value());
  }
}

template <typename Visit>
void forEachElement(od::array array, Visit visit) {
  for (auto element : array) {
    if (element.error() != simdjson::SUCCESS) giveUp();
    visit(element.value_unsafe());
  }
}

od::array arrayOf(od::value& value, int depth) {
  if (firstOf(value) != '[' || depth > maxDepth) giveUp();
  return take(value.get_array());
}

template <typename Visit>
void forEachElement(od::value& value, int depth, Visit visit) {
  forEachElement(arrayOf(value, depth), visit);
}

// Reads a value nothing uses, so that it is checked as the careful reading checks it.
void readThrough(od::value& value, int depth) {
  switch (firstOf(value)) {
    case '{':
      if (depth > maxDepth) giveUp();
      forEachMember(take(value.get_object()), [&](std::string_view, od::value& member) { readThrough(member, depth + 1); });
      return;
    case '[':
      forEachElement(value, depth, [&](od::value& element) { readThrough(element, depth + 1); });
      return;
    case '"':
      asStringView(value);
      return;
    case 't':
    case 'f':
      asBoolean(value);
      return;
    case 'n':
      if (!isNull(value)) giveUp();
      return;
    default:
      asNumber(value);
  }
}

// The members of one object: each known key's value, unless null (which counts as missing), goes to
// read with the key's index; the values of unknown keys are read through. Gives the keys present.
template <std::size_t N, typename Read>
std::uint32_t readObject(od::object object, const KeyTable<N>& keys, int depth, Read read) {
  std::uint32_t seen = 0, present = 0;
  forEachMember(object, [&](std::string_view key, od::value& value) {
    const int index = keys.find(key);
    if (index < 0) return readThrough(value, depth + 1);
    const std::uint32_t mask = std::uint32_t{1} << index;
    if (seen & mask) giveUp();  // the careful reading keeps the last value
    seen |= mask;
    if (isNull(value)) return;
    present |= mask;
    read(index, value);
  });
  return present;
}

template <std::size_t N, typename Read>
std::uint32_t readObject(od::value& value, const KeyTable<N>& keys, int depth, Read read) {
  if (firstOf(value) != '{' || depth > maxDepth) giveUp();
  return readObject(take(value.get_object()), keys, depth, read);
}

void require(std::uint32_t present, std::uint32_t required) {
  if ((present & required) != required) giveUp();
}

enum class FrameKey { x, y, width, height };
constexpr KeyTable<4> frameKeys({"x", "y", "width", "height"});

Frame readFrame(od::value& value, int depth) {
  Frame frame;
  double* fields[] = {&frame.x, &frame.y, &frame.width, &frame.height};
  require(readObject(value, frameKeys, depth, [&](int key, od::value& v) { *fields[key] = asNumber(v); }), 0b1111);
  return frame;
}

constexpr KeyTable<2> pixelSizeKeys({"width", "height"});

PixelSize readPixelSize(od::value& value, int depth) {
  PixelSize size;
  std::int64_t* fields[] = {&size.width, &size.height};
  require(readObject(value, pixelSizeKeys, depth, [&](int key, od::value& v) { *fields[key] = asInteger(v); }),
          0b11);
  return size;
}

enum class SourceKey { url, addedAt };
constexpr KeyTable<2> sourceKeys({"url", "addedAt"});

ItemSource readSource(od::value& value, int depth) {
  ItemSource source;
  require(readObject(value, sourceKeys, depth,
                     [&](int key, od::value& v) {
                       if (key == static_cast<int>(SourceKey::url)) {
                         source.url = asString(v);
                       } else {
                         source.addedAt = asDate(v);
                       }
                     }),
          bit(SourceKey::addedAt));
  return source;
}

constexpr std::string_view defaultColor = "#111111";

enum class TextKey { content, color, fontSize };
constexpr KeyTable<3> textKeys({"content", "color", "fontSize"});

TextContent readText(od::value& value, int depth) {
  TextContent text{{}, std::string(defaultColor), 44.0};
  require(readObject(value, textKeys, depth,
                     [&](int key, od::value& v) {
                       switch (static_cast<TextKey>(key)) {
                         case TextKey::content: text.content = asString(v); break;
                         case TextKey::color: text.color = asString(v); break;
                         case TextKey::fontSize: text.fontSize = asNumber(v); break;
                       }
                     }),
          bit(TextKey::content));
  return text;
}

enum class ShapeKey { fillColor, strokeColor, strokeWidth, title, titleFontSize };
constexpr KeyTable<5> shapeKeys({"fillColor", "strokeColor", "strokeWidth", "title", "titleFontSize"});

ShapeContent readShape(od::value& value, int depth) {
  ShapeContent shape;
  shape.strokeWidth = ShapeContent::defaultStroke;
  readObject(value, shapeKeys, depth, [&](int key, od::value& v) {
    switch (static_cast<ShapeKey>(key)) {
      case ShapeKey::fillColor: shape.fillColor = asString(v); break;
      case ShapeKey::strokeColor: shape.strokeColor = asString(v); break;
      case ShapeKey::strokeWidth: shape.strokeWidth = asNumber(v); break;
      case ShapeKey::title: shape.title = asString(v); break;
      case ShapeKey::titleFontSize: shape.titleFontSize = asNumber(v); break;
    }
  });
  return shape;
}

constexpr KeyTable<2> pointKeys({"x", "y"});

std::vector<DrawingPoint> readPoints(od::value& value, int depth) {
  std::vector<DrawingPoint> points;
  od::array array = arrayOf(value, depth);
  points.reserve(take(array.count_elements()));  // counting costs less than growing
  forEachElement(array, [&](od::value& element) {
    DrawingPoint& point = points.emplace_back();
    double* fields[] = {&point.x, &point.y};
    require(readObject(element, pointKeys, depth + 1, [&](int key, od::value& v) { *fields[key] = asNumber(v); }),
            0b11);
  });
  return points;
}

enum class DrawingKey { points, color, strokeWidth, style };
constexpr KeyTable<4> drawingKeys({"points", "color", "strokeWidth", "style"});

DrawingContent readDrawing(od::value& value, int depth) {
  DrawingContent drawing{{}, std::string(defaultColor), 3.0, DrawingContent::LineStyle::solid};
  require(readObject(value, drawingKeys, depth,
                     [&](int key, od::value& v) {
                       switch (static_cast<DrawingKey>(key)) {
                         case DrawingKey::points: drawing.points = readPoints(v, depth + 1); break;
                         case DrawingKey::color: drawing.color = asString(v); break;
                         case DrawingKey::strokeWidth: drawing.strokeWidth = asNumber(v); break;
                         case DrawingKey::style: drawing.style = asEnum(v, parseLineStyle); break;
                       }
                     }),
          bit(DrawingKey::points));
  return drawing;
}

enum class ItemKey {
  id, type, image, thumbnail, naturalSize, source, text, shape, drawing, caption, captionAlignment, frame, zIndex,
  locked, groupId
};
constexpr KeyTable<15> itemKeys({"id", "type", "image", "thumbnail", "naturalSize", "source", "text", "shape",
                                 "drawing", "caption", "captionAlignment", "frame", "zIndex", "locked", "groupId"});

void readItem(od::value& value, int depth, CanvasItem& item) {
  const auto present = readObject(value, itemKeys, depth, [&](int key, od::value& v) {
    switch (static_cast<ItemKey>(key)) {
      case ItemKey::id: item.id = asUuid(v); break;
      case ItemKey::type: item.type = asEnum(v, parseItemType); break;
      case ItemKey::image: item.image = asString(v); break;
      case ItemKey::thumbnail: item.thumbnail = asString(v); break;
      case ItemKey::naturalSize: item.naturalSize = readPixelSize(v, depth + 1); break;
      case ItemKey::source: item.source = readSource(v, depth + 1); break;
      case ItemKey::text: item.text = readText(v, depth + 1); break;
      case ItemKey::shape: item.shape = readShape(v, depth + 1); break;
      case ItemKey::drawing: item.drawing = readDrawing(v, depth + 1); break;
      case ItemKey::caption: item.caption = asString(v); break;
      case ItemKey::captionAlignment: item.captionAlignment = asEnum(v, parseCaptionAlignment); break;
      case ItemKey::frame: item.frame = readFrame(v, depth + 1); break;
      case ItemKey::zIndex: item.zIndex = asInteger(v); break;
      case ItemKey::locked: item.locked = asBoolean(v); break;
      case ItemKey::groupId: item.groupId = asUuid(v); break;
    }
  });
  require(present, bit(ItemKey::id) | bit(ItemKey::frame));
}

constexpr KeyTable<3> viewportKeys({"offsetX", "offsetY", "zoom"});

Viewport readViewport(od::value& value, int depth) {
  Viewport viewport;
  double* fields[] = {&viewport.offsetX, &viewport.offsetY, &viewport.zoom};
  require(readObject(value, viewportKeys, depth, [&](int key, od::value& v) { *fields[key] = asNumber(v); }), 0b111);
  return viewport;
}

enum class CanvasKey { backgroundColor, lastViewport };
constexpr KeyTable<2> canvasKeys({"backgroundColor", "lastViewport"});

Canvas readCanvas(od::value& value, int depth) {
  Canvas canvas;
  require(readObject(value, canvasKeys, depth,
                     [&](int key, od::value& v) {
                       if (key == static_cast<int>(CanvasKey::backgroundColor)) {
                         canvas.backgroundColor = asString(v);
                       } else {
                         canvas.lastViewport = readViewport(v, depth + 1);
                       }
                     }),
          0b11);
  return canvas;
}

constexpr KeyTable<6> headerKeys({"title", "client", "model", "date", "location", "notes"});

BoardHeader readHeader(od::value& value, int depth) {
  BoardHeader header;
  std::optional<std::string>* fields[] = {&header.title,    &header.client,   &header.model,
                                          &header.date, &header.location, &header.notes};
  readObject(value, headerKeys, depth, [&](int key, od::value& v) { *fields[key] = asString(v); });
  return header;
}

enum class PageSetupKey { format, orientation };
constexpr KeyTable<2> pageSetupKeys({"format", "orientation"});

// An unknown format or orientation falls back, as in the careful reading.
PageSetup readPageSetup(od::value& value, int depth) {
  PageSetup setup;
  readObject(value, pageSetupKeys, depth, [&](int key, od::value& v) {
    const std::string_view text = asStringView(v);
    if (key == static_cast<int>(PageSetupKey::format)) {
      setup.format = parsePageFormat(text).value_or(PageFormat::a4);
    } else if (text == "landscape") {
      setup.orientation = PageOrientation::landscape;
    }
  });
  return setup;
}

enum class BoardKey { id, name, createdAt, modifiedAt, canvas, pageSetup, header };
constexpr KeyTable<7> boardKeys({"id", "name", "createdAt", "modifiedAt", "canvas", "pageSetup", "header"});

Board readBoard(od::value& value, int depth) {
  Board board;
  const auto present = readObject(value, boardKeys, depth, [&](int key, od::value& v) {
    switch (static_cast<BoardKey>(key)) {
      case BoardKey::id: board.id = asUuid(v); break;
      case BoardKey::name: board.name = asString(v); break;
      case BoardKey::createdAt: board.createdAt = asDate(v); break;
      case BoardKey::modifiedAt: board.modifiedAt = asDate(v); break;
      case BoardKey::canvas: board.canvas = readCanvas(v, depth + 1); break;
      case BoardKey::pageSetup: board.pageSetup = readPageSetup(v, depth + 1); break;
      case BoardKey::header: board.header = readHeader(v, depth + 1); break;
    }
  });
  require(present, bit(BoardKey::id) | bit(BoardKey::name) | bit(BoardKey::createdAt) | bit(BoardKey::modifiedAt) |
                       bit(BoardKey::canvas));
  return board;
}

enum class ManifestKey { schemaVersion, board, items };
constexpr KeyTable<3> manifestKeys({"schemaVersion", "board", "items"});

Manifest readManifest(od::document& document) {
  Manifest manifest;
  const auto present = readObject(take(document.get_object()), manifestKeys, 1, [&](int key, od::value& v) {
    switch (static_cast<ManifestKey>(key)) {
      case ManifestKey::schemaVersion: manifest.schemaVersion = asInteger(v); break;
      case ManifestKey::board: manifest.board = readBoard(v, 2); break;
      case ManifestKey::items: {
        // Counted first: growing a vector of items a step at a time costs more in fresh pages.
        od::array items = arrayOf(v, 2);
        manifest.items.reserve(take(items.count_elements()));
        forEachElement(items, [&](od::value& element) { readItem(element, 3, manifest.items.emplace_back()); });
        break;
      }
    }
  });
  require(present, 0b111);
  // Nothing may follow the root object: the document then has no location left.
  if (document.current_location().error() != simdjson::OUT_OF_BOUNDS) giveUp();
  return manifest;
}

}  // namespace

std::optional<Manifest> decodeQuickly(std::string_view json) {
  if (json.empty()) return std::nullopt;
  // A parser keeps its buffers, and mapping them afresh costs a page fault per 4 KiB touched: more than
  // parsing a small manifest. Each thread keeps one for texts up to 16 MiB, so what stays mapped after
  // the largest of them is bounded; a larger text gets a parser of its own, freed at once.
  constexpr std::size_t largestForKeptParser = std::size_t{16} << 20;
  thread_local od::parser kept;
  std::optional<od::parser> own;
  od::parser& parser = json.size() <= largestForKeptParser ? kept : own.emplace();
  od::document document;
  if (parser.iterate(json.data(), json.size(), json.size() + padding).get(document) != simdjson::SUCCESS)
    return std::nullopt;
  try {
    return readManifest(document);
  } catch (const GiveUp&) {
    return std::nullopt;
  }
}

}  // namespace zorvi::manifest_reading
