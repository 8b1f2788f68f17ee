#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <memory>
#include <limits>
#include <optional>
#include <string>

#include "manifest/checked_json.hpp"
#include "manifest/manifest_reading.hpp"
#include "manifest/utf8.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::ManifestCoder {
namespace {

using rapidjson::SizeType;

// RapidJSON checks the syntax of numbers but hands their text over: its own conversion (1.1) has
// undefined behaviour on extreme exponents and rounds some overflowing values to infinity, while
// std::from_chars is correctly rounded, so every double the encoder writes reads back to the same
// bits. UTF-8 is validated before parsing, in one fast pass over the whole text: bytes outside
// strings must be ASCII anyway, so this refuses exactly what the parser's own, slower check would.
// (Parsing in situ was tried and lost: the private copy it needs costs more in fresh pages than it
// saves.)
constexpr unsigned kParseFlags = rapidjson::kParseNumbersAsStringsFlag;

std::string decimal(std::uint64_t value) {
  char buffer[24];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// Where a value sits in the document. Only a failure turns it into text, so the happy path pays
// for a few pointers per level and nothing else.
struct Path {
  const Path* parent = nullptr;
  std::string_view key;  // empty for an array element
  std::size_t index = 0;
};

void appendPath(std::string& out, const Path& path) {
  if (!path.parent) return;
  appendPath(out, *path.parent);
  if (path.key.empty()) {
    out += '[' + decimal(path.index) + ']';
  } else {
    if (!out.empty()) out += '.';
    out += path.key;
  }
}

[[noreturn]] void fail(const Path& at, std::string_view problem) {
  std::string message;
  appendPath(message, at);
  if (message.empty()) message = "manifest";
  message += ": ";
  message += problem;
  throw ManifestDecodingError(message);
}

// Key lists in field order, which is also the order in which faults are reported.
constexpr std::array<std::string_view, 4> kFrameKeys{"x", "y", "width", "height"};
constexpr std::array<std::string_view, 2> kPixelSizeKeys{"width", "height"};
constexpr std::array<std::string_view, 2> kItemSourceKeys{"url", "addedAt"};
constexpr std::array<std::string_view, 3> kTextKeys{"content", "color", "fontSize"};
constexpr std::array<std::string_view, 5> kShapeKeys{"fillColor", "strokeColor", "strokeWidth", "title",
                                                     "titleFontSize"};
constexpr std::array<std::string_view, 4> kDrawingKeys{"points", "color", "strokeWidth", "style"};
constexpr std::array<std::string_view, 2> kPointKeys{"x", "y"};
constexpr std::array<std::string_view, 15> kItemKeys{
    "id",     "type",   "image",   "thumbnail", "naturalSize",      "source",
    "text",   "shape",  "drawing", "caption",   "captionAlignment", "frame",
    "zIndex", "locked", "groupId"};
constexpr std::array<std::string_view, 3> kViewportKeys{"offsetX", "offsetY", "zoom"};
constexpr std::array<std::string_view, 2> kCanvasKeys{"backgroundColor", "lastViewport"};
constexpr std::array<std::string_view, 6> kHeaderKeys{"title", "client",   "model",
                                                      "date",  "location", "notes"};
constexpr std::array<std::string_view, 2> kPageSetupKeys{"format", "orientation"};
constexpr std::array<std::string_view, 7> kBoardKeys{"id",     "name",      "createdAt", "modifiedAt",
                                                     "canvas", "pageSetup", "header"};
constexpr std::array<std::string_view, 3> kManifestKeys{"schemaVersion", "board", "items"};

constexpr std::string_view kDefaultColor = "#111111";

// A JSON value as decoding reads it, from either parser's document; cheap to copy.
class RapidValue {
 public:
  explicit RapidValue(const rapidjson::Value& value) : value_(&value) {}
  bool IsNull() const { return value_->IsNull(); }
  bool IsBool() const { return value_->IsBool(); }
  bool IsNumber() const { return value_->IsNumber(); }
  bool IsInt64() const { return value_->IsInt64(); }
  bool IsString() const { return value_->IsString(); }
  bool IsObject() const { return value_->IsObject(); }
  bool IsArray() const { return value_->IsArray(); }
  bool GetBool() const { return value_->GetBool(); }
  double GetDouble() const { return value_->GetDouble(); }
  std::int64_t GetInt64() const { return value_->GetInt64(); }
  std::string_view GetStringView() const { return {value_->GetString(), value_->GetStringLength()}; }
  std::size_t Size() const { return value_->Size(); }
  template <typename Visit>
  void forEachMember(Visit visit) const {
    for (const auto& member : value_->GetObject())
      visit(std::string_view(member.name.GetString(), member.name.GetStringLength()), RapidValue(member.value));
  }
  template <typename Visit>
  void forEachElement(Visit visit) const {
    for (const auto& element : value_->GetArray()) visit(RapidValue(element));
  }

 private:
  const rapidjson::Value* value_;
};

// simdjson keeps whole numbers beyond 64 signed bits as unsigned; RapidJSON's reading above makes them
// doubles, which is what they are here too.
class SimdValue {
 public:
  explicit SimdValue(simdjson::dom::element element) : element_(element) {}
  bool IsNull() const { return type() == Type::NULL_VALUE; }
  bool IsBool() const { return type() == Type::BOOL; }
  bool IsNumber() const { return type() == Type::INT64 || type() == Type::UINT64 || type() == Type::DOUBLE; }
  bool IsInt64() const { return type() == Type::INT64; }
  bool IsString() const { return type() == Type::STRING; }
  bool IsObject() const { return type() == Type::OBJECT; }
  bool IsArray() const { return type() == Type::ARRAY; }
  bool GetBool() const { return element_.get_bool().value_unsafe(); }
  double GetDouble() const {
    if (type() == Type::INT64) return static_cast<double>(element_.get_int64().value_unsafe());
    if (type() == Type::UINT64) return static_cast<double>(element_.get_uint64().value_unsafe());
    return element_.get_double().value_unsafe();
  }
  std::int64_t GetInt64() const { return element_.get_int64().value_unsafe(); }
  std::string_view GetStringView() const { return element_.get_string().value_unsafe(); }
  std::size_t Size() const { return simdjson::dom::array(element_.get_array().value_unsafe()).size(); }
  template <typename Visit>
  void forEachMember(Visit visit) const {
    const simdjson::dom::object object = element_.get_object().value_unsafe();
    for (const simdjson::dom::key_value_pair member : object) visit(member.key, SimdValue(member.value));
  }
  template <typename Visit>
  void forEachElement(Visit visit) const {
    const simdjson::dom::array array = element_.get_array().value_unsafe();
    for (const simdjson::dom::element element : array) visit(SimdValue(element));
  }

 private:
  using Type = simdjson::dom::element_type;
  Type type() const { return element_.type(); }
  simdjson::dom::element element_;
};

// The decoding of a manifest's document, the same whichever parser made it.
template <typename Value>
struct Decoding {
  static std::string_view typeName(const Value& value) {
    if (value.IsNull()) return "null";
    if (value.IsBool()) return "a boolean";
    if (value.IsObject()) return "an object";
    if (value.IsArray()) return "an array";
    if (value.IsString()) return "a string";
    if (value.IsNumber()) return "a number";
    return "an unknown value";
  }

  [[noreturn]] static void failType(const Path& at, std::string_view expected, const Value& found) {
    fail(at, "expected " + std::string(expected) + ", found " + std::string(typeName(found)));
  }

  static std::string_view view(const Value& string) { return string.GetStringView(); }

  static double asNumber(const Value& value, const Path& at) {
    if (!value.IsNumber()) failType(at, "a number", value);
    return value.GetDouble();
  }

  // RapidJSON keeps a number with a fraction or an exponent as a double even when its value is
  // whole, so IsInt64 is exactly "written as an integer that fits 64 signed bits". "-0" arrives as
  // the integer 0.
  static std::int64_t asInteger(const Value& value, const Path& at) {
    if (!value.IsInt64()) {
      if (!value.IsNumber()) failType(at, "an integer", value);
      fail(at, "expected an integer without fraction or exponent within the signed 64-bit range");
    }
    return value.GetInt64();
  }

  static bool asBoolean(const Value& value, const Path& at) {
    if (!value.IsBool()) failType(at, "true or false", value);
    return value.GetBool();
  }

  static std::string_view asStringView(const Value& value, const Path& at) {
    if (!value.IsString()) failType(at, "a string", value);
    return view(value);
  }

  static std::string asString(const Value& value, const Path& at) { return std::string(asStringView(value, at)); }

  static Uuid asUuid(const Value& value, const Path& at) {
    const auto id = Uuid::parse(asStringView(value, at));
    if (!id) fail(at, "not a UUID of the form XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX");
    return *id;
  }

  static Date asDate(const Value& value, const Path& at) {
    const auto date = parseDate(asStringView(value, at));
    if (!date) fail(at, "not a date of the form YYYY-MM-DDTHH:MM:SSZ or YYYY-MM-DDTHH:MM:SS+hh:mm");
    return *date;
  }

  template <typename Enum>
  static Enum asEnum(const Value& value, const Path& at, std::optional<Enum> (*parse)(std::string_view),
              std::string_view allowed) {
    const auto parsed = parse(asStringView(value, at));
    if (!parsed) fail(at, "expected one of " + std::string(allowed));
    return *parsed;
  }

  // The known members of one JSON object, gathered in a single pass over it. A repeated key keeps
  // its last value, and null counts as missing.
  template <std::size_t N>
  class Record {
   public:
    Record(const Value& object, const Path& at, const std::array<std::string_view, N>& keys)
        : keys_(keys), at_(at) {
      if (!object.IsObject()) failType(at, "an object", object);
      object.forEachMember([&](std::string_view name, const Value& value) {
        for (std::size_t i = 0; i < N; ++i) {
          if (keys[i] == name) {
            values_[i].reset();
            if (!value.IsNull()) values_[i].emplace(value);
            break;
          }
        }
      });
    }

    // The value under key; nullptr when it is missing or null.
    const Value* find(std::string_view key) const {
      const auto& value = values_[slot(key)];
      return value ? &*value : nullptr;
    }

    Path pathOf(std::string_view key) const { return Path{&at_, key}; }

    const Value& required(std::string_view key) const {
      const Value* value = find(key);
      if (!value) fail(pathOf(key), "required key is missing or null");
      return *value;
    }

    // Applies convert to the value under key, or gives fallback when it is missing or null.
    template <typename Convert, typename T>
    auto orDefault(std::string_view key, Convert convert, T fallback) const {
      const Value* value = find(key);
      return value ? convert(*value, pathOf(key)) : fallback;
    }

    template <typename Convert>
    auto get(std::string_view key, Convert convert) const {
      return convert(required(key), pathOf(key));
    }

    template <typename Convert>
    auto optional(std::string_view key, Convert convert) const {
      const Value* value = find(key);
      using Result = decltype(convert(*value, pathOf(key)));
      return value ? std::optional<Result>(convert(*value, pathOf(key))) : std::nullopt;
    }

   private:
    std::size_t slot(std::string_view key) const {
      std::size_t i = 0;
      while (keys_[i] != key) ++i;  // keys name only fields of this record
      return i;
    }

    const std::array<std::string_view, N>& keys_;
    const Path& at_;
    std::array<std::optional<Value>, N> values_{};
};


static Frame decodeFrame(const Value& value, const Path& at) {
  const Record<kFrameKeys.size()> r(value, at, kFrameKeys);
  return {r.get("x", asNumber), r.get("y", asNumber), r.get("width", asNumber), r.get("height", asNumber)};
}

static PixelSize decodePixelSize(const Value& value, const Path& at) {
  const Record<kPixelSizeKeys.size()> r(value, at, kPixelSizeKeys);
  return {r.get("width", asInteger), r.get("height", asInteger)};
}

static ItemSource decodeItemSource(const Value& value, const Path& at) {
  const Record<kItemSourceKeys.size()> r(value, at, kItemSourceKeys);
  return {r.optional("url", asString), r.get("addedAt", asDate)};
}

static TextContent decodeText(const Value& value, const Path& at) {
  const Record<kTextKeys.size()> r(value, at, kTextKeys);
  return {r.get("content", asString), r.orDefault("color", asString, std::string(kDefaultColor)),
          r.orDefault("fontSize", asNumber, 44.0)};
}

static ShapeContent decodeShape(const Value& value, const Path& at) {
  const Record<kShapeKeys.size()> r(value, at, kShapeKeys);
  ShapeContent shape;
  shape.fillColor = r.optional("fillColor", asString);
  shape.strokeColor = r.optional("strokeColor", asString);
  shape.strokeWidth = r.orDefault("strokeWidth", asNumber, ShapeContent::defaultStroke);
  shape.title = r.optional("title", asString);
  shape.titleFontSize = r.optional("titleFontSize", asNumber);
  return shape;
}

static DrawingPoint decodePoint(const Value& value, const Path& at) {
  const Record<kPointKeys.size()> r(value, at, kPointKeys);
  return {r.get("x", asNumber), r.get("y", asNumber)};
}

static std::vector<DrawingPoint> decodePoints(const Value& value, const Path& at) {
  if (!value.IsArray()) failType(at, "an array", value);
  std::vector<DrawingPoint> points;
  points.reserve(value.Size());
  std::size_t i = 0;
  value.forEachElement([&](const Value& element) { points.push_back(decodePoint(element, Path{&at, {}, i++})); });
  return points;
}

static DrawingContent::LineStyle asLineStyle(const Value& value, const Path& at) {
  return asEnum(value, at, parseLineStyle, R"("solid", "dashed")");
}

static DrawingContent decodeDrawing(const Value& value, const Path& at) {
  const Record<kDrawingKeys.size()> r(value, at, kDrawingKeys);
  return {r.get("points", decodePoints), r.orDefault("color", asString, std::string(kDefaultColor)),
          r.orDefault("strokeWidth", asNumber, 3.0),
          r.orDefault("style", asLineStyle, DrawingContent::LineStyle::solid)};
}

static CanvasItem::Type asItemType(const Value& value, const Path& at) {
  return asEnum(value, at, parseItemType, R"("image", "text", "shape", "drawing")");
}

static CaptionAlignment asCaptionAlignment(const Value& value, const Path& at) {
  return asEnum(value, at, parseCaptionAlignment, R"("leading", "center", "trailing")");
}

static CanvasItem decodeItem(const Value& value, const Path& at) {
  const Record<kItemKeys.size()> r(value, at, kItemKeys);
  CanvasItem item;
  item.id = r.get("id", asUuid);
  item.type = r.orDefault("type", asItemType, CanvasItem::Type::image);
  item.image = r.optional("image", asString);
  item.thumbnail = r.optional("thumbnail", asString);
  item.naturalSize = r.optional("naturalSize", decodePixelSize);
  item.source = r.optional("source", decodeItemSource);
  item.text = r.optional("text", decodeText);
  item.shape = r.optional("shape", decodeShape);
  item.drawing = r.optional("drawing", decodeDrawing);
  item.caption = r.optional("caption", asString);
  item.captionAlignment = r.optional("captionAlignment", asCaptionAlignment);
  item.frame = r.get("frame", decodeFrame);
  item.zIndex = r.orDefault("zIndex", asInteger, std::int64_t{0});
  item.locked = r.orDefault("locked", asBoolean, false);
  item.groupId = r.optional("groupId", asUuid);
  return item;
}

static std::vector<CanvasItem> decodeItems(const Value& value, const Path& at) {
  if (!value.IsArray()) failType(at, "an array", value);
  std::vector<CanvasItem> items;
  items.reserve(value.Size());
  std::size_t i = 0;
  value.forEachElement([&](const Value& element) { items.push_back(decodeItem(element, Path{&at, {}, i++})); });
  return items;
}

static Viewport decodeViewport(const Value& value, const Path& at) {
  const Record<kViewportKeys.size()> r(value, at, kViewportKeys);
  return {r.get("offsetX", asNumber), r.get("offsetY", asNumber), r.get("zoom", asNumber)};
}

static Canvas decodeCanvas(const Value& value, const Path& at) {
  const Record<kCanvasKeys.size()> r(value, at, kCanvasKeys);
  return {r.get("backgroundColor", asString), r.get("lastViewport", decodeViewport)};
}

static BoardHeader decodeHeader(const Value& value, const Path& at) {
  const Record<kHeaderKeys.size()> r(value, at, kHeaderKeys);
  return {r.optional("title", asString), r.optional("client", asString),   r.optional("model", asString),
          r.optional("date", asString),  r.optional("location", asString), r.optional("notes", asString)};
}

// Lenient by design: a page setup from a newer application must not make the board unreadable,
// so an unknown string falls back; a value that is not a string at all is still an error.
static PageSetup decodePageSetup(const Value& value, const Path& at) {
  const Record<kPageSetupKeys.size()> r(value, at, kPageSetupKeys);
  PageSetup setup;
  if (const Value* format = r.find("format")) {
    setup.format = parsePageFormat(asStringView(*format, r.pathOf("format"))).value_or(PageFormat::a4);
  }
  if (const Value* orientation = r.find("orientation")) {
    if (asStringView(*orientation, r.pathOf("orientation")) == "landscape") {
      setup.orientation = PageOrientation::landscape;
    }
  }
  return setup;
}

static Board decodeBoard(const Value& value, const Path& at) {
  const Record<kBoardKeys.size()> r(value, at, kBoardKeys);
  return {r.get("id", asUuid),
          r.get("name", asString),
          r.get("createdAt", asDate),
          r.get("modifiedAt", asDate),
          r.get("canvas", decodeCanvas),
          r.optional("pageSetup", decodePageSetup),
          r.optional("header", decodeHeader)};
}

static Manifest decodeManifest(const Value& value) {
  const Path root;
  const Record<kManifestKeys.size()> r(value, root, kManifestKeys);
  return {r.get("schemaVersion", asInteger), r.get("board", decodeBoard), r.get("items", decodeItems)};
}
};

[[noreturn]] void failSyntax(std::string_view problem, std::size_t offset) {
  throw ManifestDecodingError("invalid JSON at byte " + decimal(offset) + ": " + std::string(problem));
}

}  // namespace

}  // namespace zorvi::ManifestCoder

namespace zorvi::manifest_reading {

using ManifestCoder::Decoding;
using ManifestCoder::RapidValue;
using ManifestCoder::SimdValue;
using ManifestCoder::failSyntax;
using ManifestCoder::kParseFlags;

// simdjson's document takes about twice the text beside the text, RapidJSON's less, so the largest
// manifests are read by RapidJSON alone.
constexpr std::size_t largestForSimdjson = std::size_t{64} << 20;

Manifest decodeCarefully(std::string_view json, bool padded) {
  // RapidJSON measures strings in 32 bits; a longer one would be cut short without a word.
  if (json.size() > std::numeric_limits<rapidjson::SizeType>::max()) failSyntax("larger than 4 GiB", 0);
  // simdjson reads a document several times faster. What it accepts, the reading below accepts as the
  // same values: valid UTF-8, no escaped lone surrogate, nesting within the same bound, numbers
  // rounded the same way, whole numbers of 64 signed bits as integers. Whatever it refuses (a number
  // too large included) goes to that reading, whose errors are the ones reported.
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  // An empty text, which may come without even a pointer, is for the reading below to refuse.
  if (!json.empty() && json.size() <= largestForSimdjson &&
      parser.allocate(json.size(), json::maxRecursiveDepth) == simdjson::SUCCESS &&
      parser.parse(json.data(), json.size(), !padded).get(root) == simdjson::SUCCESS)
    return Decoding<SimdValue>::decodeManifest(SimdValue(root));
  // The parser also reads a NUL byte as the end of its input; a raw NUL is never valid JSON.
  if (const std::size_t fault = utf8::firstFault(json, true); fault != json.size()) {
    failSyntax(json[fault] == 0 ? "NUL byte" : "invalid UTF-8", fault);
  }

  rapidjson::Document document;
  rapidjson::MemoryStream stream(json.data(), json.size());
  rapidjson::Reader reader;
  json::CheckedHandler handler(document, utf8::mayEscapeSurrogate(json));
  auto generate = [&](rapidjson::Document&) { return !reader.Parse<kParseFlags>(stream, handler).IsError(); };
  document.Populate(generate);
  if (reader.HasParseError()) {
    if (!handler.refusal().empty()) failSyntax(handler.refusal(), reader.GetErrorOffset());
    failSyntax(rapidjson::GetParseError_En(reader.GetParseErrorCode()), reader.GetErrorOffset());
  }
  return Decoding<RapidValue>::decodeManifest(RapidValue(document));
}

Manifest decodePadded(std::string_view json) {
  if (auto manifest = decodeQuickly(json)) return std::move(*manifest);
  return decodeCarefully(json, true);
}

}  // namespace zorvi::manifest_reading

namespace zorvi::ManifestCoder {

Manifest decode(std::string_view json) {
  using manifest_reading::padding;
  if (json.empty() || json.size() > manifest_reading::largestForSimdjson) return manifest_reading::decodeCarefully(json, false);
  const std::unique_ptr<char[]> copy(new char[json.size() + padding]);
  std::memcpy(copy.get(), json.data(), json.size());
  std::memset(copy.get() + json.size(), ' ', padding);
  return manifest_reading::decodePadded(std::string_view(copy.get(), json.size()));
}

Manifest decode(std::span<const std::uint8_t> bytes) {
  return decode(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

}  // namespace zorvi::ManifestCoder
