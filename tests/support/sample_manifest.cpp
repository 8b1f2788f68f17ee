#include "support/sample_manifest.hpp"

#include <array>
#include <limits>
#include <string>
#include <string_view>

namespace zorvi::testing {
namespace {

// SplitMix64: tiny, and unlike the standard distributions it gives the same numbers everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }

  // Uniform in [0, bound).
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

  template <typename T, std::size_t N>
  const T& pick(const std::array<T, N>& choices) {
    return choices[below(N)];
  }

 private:
  std::uint64_t state_;
};

constexpr std::array<std::string_view, 24> kPieces{"Spring",   "collection",
                                                   " ",        "/",
                                                   "\"",       "\\",
                                                   "\n",       "\t",
                                                   "\r\n",     "\x01",
                                                   "\x1f",     "é",
                                                   "日本語",   "👩‍👩‍👧",
                                                   "\u2028",   "\u00A0",
                                                   "a/b/c",    "<b>&amp;",
                                                   "Ünïcödé",  "#F5F2EC",
                                                   "https://", "\x7f",
                                                   "Z",        std::string_view("\0", 1)};

std::string text(Random& random, std::size_t maxPieces = 6) {
  std::string out;
  const std::size_t count = random.below(maxPieces + 1);
  for (std::size_t i = 0; i < count; ++i) out += random.pick(kPieces);
  return out;
}

std::optional<std::string> maybeText(Random& random, int percent) {
  if (!random.chance(percent)) return std::nullopt;
  return text(random);
}

Uuid uuid(Random& random) {
  Uuid id;
  for (std::size_t i = 0; i < 16; i += 8) {
    const std::uint64_t bits = random.next();
    for (std::size_t j = 0; j < 8; ++j) id.bytes[i + j] = static_cast<std::uint8_t>(bits >> (8 * j));
  }
  return id;
}

// Whole seconds between 0000-01-01 and 9999-12-31, with the edges themselves now and then.
Date date(Random& random) {
  constexpr std::int64_t kFirst = -62167219200, kLast = 253402300799;
  switch (random.below(8)) {
    case 0:
      return Date{std::chrono::seconds{kFirst}};
    case 1:
      return Date{std::chrono::seconds{kLast}};
    default: {
      const std::int64_t span = kLast - kFirst + 1;
      return Date{std::chrono::seconds{kFirst + static_cast<std::int64_t>(random.next() % span)}};
    }
  }
}

double number(Random& random) {
  static constexpr std::array<double, 10> kSpecial{0.0,
                                                   -0.0,
                                                   1.0,
                                                   -1.0,
                                                   0.1,
                                                   1e300,
                                                   -1e-300,
                                                   5e-324,
                                                   std::numeric_limits<double>::max(),
                                                   std::numeric_limits<double>::lowest()};
  switch (random.below(6)) {
    case 0:
      return random.pick(kSpecial);
    case 1:
      return static_cast<double>(static_cast<std::int64_t>(random.below(4001)) - 2000);
    case 2:
      return (random.unit() - 0.5) * 1e6;
    default:
      return random.unit() * 800.0;
  }
}

std::int64_t zIndex(Random& random) {
  static constexpr std::array<std::int64_t, 4> kExtreme{std::numeric_limits<std::int64_t>::min(),
                                                        std::numeric_limits<std::int64_t>::max(), -1, 0};
  if (random.chance(10)) return random.pick(kExtreme);
  return static_cast<std::int64_t>(random.below(2000)) - 100;
}

std::optional<Uuid> maybeGroup(Random& random) {
  if (!random.chance(25)) return std::nullopt;
  return uuid(random);
}

Frame frame(Random& random) { return {number(random), number(random), number(random), number(random)}; }

PixelSize pixelSize(Random& random) {
  if (random.chance(5))
    return {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()};
  return {static_cast<std::int64_t>(random.below(8000)), static_cast<std::int64_t>(random.below(8000))};
}

ItemSource source(Random& random) { return {maybeText(random, 60), date(random)}; }

std::optional<CaptionAlignment> maybeAlignment(Random& random) {
  if (!random.chance(50)) return std::nullopt;
  return static_cast<CaptionAlignment>(random.below(3));
}

TextContent textContent(Random& random) { return {text(random, 40), text(random, 2), number(random)}; }

ShapeContent shapeContent(Random& random) {
  ShapeContent shape;
  shape.fillColor = maybeText(random, 60);
  shape.strokeColor = maybeText(random, 50);
  shape.strokeWidth = random.chance(70) ? ShapeContent::allStrokeWidths[random.below(3)] : number(random);
  shape.title = maybeText(random, 50);
  if (random.chance(40)) shape.titleFontSize = number(random);
  return shape;
}

DrawingContent drawingContent(Random& random) {
  DrawingContent drawing;
  const std::size_t count = random.below(48);
  drawing.points.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    // Mostly inside the frame, as drawn; now and then outside, which is allowed.
    const double spread = random.chance(90) ? 1.0 : 3.0;
    drawing.points.push_back({random.unit() * spread, random.unit() * spread});
  }
  drawing.color = text(random, 2);
  drawing.strokeWidth = number(random);
  drawing.style = random.chance(50) ? DrawingContent::LineStyle::solid : DrawingContent::LineStyle::dashed;
  return drawing;
}

std::string entryPath(Random& random, std::string_view prefix) {
  return std::string(prefix) + text(random, 2) + std::to_string(random.below(100000)) + ".jpg";
}

CanvasItem constructedItem(Random& random) {
  const Uuid id = uuid(random);
  switch (random.below(4)) {
    case 0:
      return CanvasItem(id, entryPath(random, "images/"), entryPath(random, "thumbnails/"), frame(random),
                        zIndex(random), pixelSize(random), source(random), maybeText(random, 50),
                        maybeAlignment(random), random.chance(20), maybeGroup(random));
    case 1:
      return CanvasItem(id, textContent(random), frame(random), zIndex(random), random.chance(20),
                        maybeGroup(random));
    case 2:
      return CanvasItem(id, shapeContent(random), frame(random), zIndex(random), random.chance(20),
                        maybeGroup(random));
    default:
      return CanvasItem(id, drawingContent(random), frame(random), zIndex(random), random.chance(20),
                        maybeGroup(random));
  }
}

// Any combination of fields, as a decoder may meet them.
CanvasItem mixedItem(Random& random) {
  CanvasItem item;
  item.id = uuid(random);
  item.type = static_cast<CanvasItem::Type>(random.below(4));
  item.image = maybeText(random, 40);
  item.thumbnail = maybeText(random, 40);
  if (random.chance(40)) item.naturalSize = pixelSize(random);
  if (random.chance(40)) item.source = source(random);
  if (random.chance(40)) item.text = textContent(random);
  if (random.chance(40)) item.shape = shapeContent(random);
  if (random.chance(40)) item.drawing = drawingContent(random);
  item.caption = maybeText(random, 40);
  item.captionAlignment = maybeAlignment(random);
  item.frame = frame(random);
  item.zIndex = zIndex(random);
  item.locked = random.chance(50);
  item.groupId = maybeGroup(random);
  return item;
}

BoardHeader header(Random& random) {
  return {maybeText(random, 50), maybeText(random, 50), maybeText(random, 50),
          maybeText(random, 50), maybeText(random, 50), maybeText(random, 50)};
}

}  // namespace

Manifest sampleManifest(std::uint64_t seed, std::size_t itemCount) {
  Random random(seed);
  Manifest manifest;
  static constexpr std::array<std::int64_t, 5> kVersions{8, 8, 7, 0, -1};
  manifest.schemaVersion = random.pick(kVersions);

  Board& board = manifest.board;
  board.id = uuid(random);
  board.name = text(random);
  board.createdAt = date(random);
  board.modifiedAt = date(random);
  board.canvas = {text(random, 2), {number(random), number(random), number(random)}};
  if (random.chance(50)) {
    board.pageSetup = PageSetup{allPageFormats[random.below(allPageFormats.size())],
                                static_cast<PageOrientation>(random.below(2))};
  }
  if (random.chance(50)) board.header = header(random);

  manifest.items.reserve(itemCount);
  for (std::size_t i = 0; i < itemCount; ++i) {
    manifest.items.push_back(random.chance(10) ? mixedItem(random) : constructedItem(random));
  }
  return manifest;
}

}  // namespace zorvi::testing
