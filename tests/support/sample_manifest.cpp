#include "support/sample_manifest.hpp"

#include <array>
#include <limits>
#include <string>
#include <string_view>

namespace zorvi::testing {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

// SplitMix64: unlike the standard distributions it gives the same numbers on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  template <typename T, std::size_t N>
  T pick(const std::array<T, N>& choices) {
    return choices[below(N)];
  }

  // What the writer must escape or pass through untouched, a few pieces at a time.
  std::string text(std::size_t maxPieces = 6) {
    // clang-format off
    static constexpr std::array<std::string_view, 14> kPieces{
        "Spring", " ", "/", "\"", "\\", "\n", "\x01", "\x7f", "é", "日本語", "👩‍👩‍👧", "\u2028", "https://",
        std::string_view("\0", 1)};
    // clang-format on
    std::string out;
    for (std::size_t i = below(maxPieces + 1); i > 0; --i) out += pick(kPieces);
    return out;
  }
  std::optional<std::string> maybeText() { return chance(50) ? std::optional(text()) : std::nullopt; }

  Uuid uuid() {
    Uuid id;
    for (std::size_t i = 0; i < 16; ++i) id.bytes[i] = static_cast<std::uint8_t>(next());
    return id;
  }
  std::optional<Uuid> maybeUuid() { return chance(25) ? std::optional(uuid()) : std::nullopt; }

  // The edges of the writable years turn up often enough to be seen in every run.
  Date date() {
    constexpr std::int64_t kFirst = -62167219200, kLast = 253402300799;
    const std::int64_t second = below(8) == 0
                                    ? pick(std::array{kFirst, kLast})
                                    : kFirst + static_cast<std::int64_t>(next() % (kLast - kFirst + 1));
    return Date{std::chrono::seconds{second}};
  }

  double number() {
    static constexpr double kMax = std::numeric_limits<double>::max();
    static constexpr std::array<double, 8> kEdgeValues{0.0, -0.0, 0.1, 1e300, -1e-300, 5e-324, kMax, -kMax};
    if (chance(20)) return pick(kEdgeValues);
    return chance(50) ? static_cast<double>(below(4001)) - 2000 : (unit() - 0.5) * 1e6;
  }

  std::int64_t integer() {
    return chance(10) ? pick(std::array{Limits::min(), Limits::max()})
                      : static_cast<std::int64_t>(below(2000)) - 100;
  }

 private:
  std::uint64_t state_;
};

CanvasItem item(Random& r) {
  CanvasItem item;
  item.id = r.uuid();
  item.type = static_cast<CanvasItem::Type>(r.below(4));
  item.frame = {r.number(), r.number(), r.number(), r.number()};
  item.zIndex = r.integer();
  item.locked = r.chance(20);
  item.groupId = r.maybeUuid();
  // Mostly the content that goes with the type; now and then any mix, as a reader may meet it.
  const bool mixed = r.chance(10);
  const auto has = [&](CanvasItem::Type type) { return mixed ? r.chance(40) : item.type == type; };
  if (has(CanvasItem::Type::image)) {
    item.image = "images/" + r.text(2) + ".jpg";
    item.thumbnail = r.maybeText();
    item.naturalSize = PixelSize{r.integer(), r.integer()};
    item.source = ItemSource{r.maybeText(), r.date()};
    item.caption = r.maybeText();
    if (r.chance(50)) item.captionAlignment = static_cast<CaptionAlignment>(r.below(3));
  }
  if (has(CanvasItem::Type::text)) item.text = TextContent{r.text(40), r.text(2), r.number()};
  if (has(CanvasItem::Type::shape)) {
    item.shape = ShapeContent{r.maybeText(), r.maybeText(), r.number(), r.maybeText(),
                              r.chance(40) ? std::optional(r.number()) : std::nullopt};
  }
  if (has(CanvasItem::Type::drawing)) {
    item.drawing =
        DrawingContent{{}, r.text(2), r.number(), static_cast<DrawingContent::LineStyle>(r.below(2))};
    // Points may lie outside the frame.
    for (std::size_t i = r.below(48); i > 0; --i)
      item.drawing->points.push_back({r.unit() * 3, r.unit() * 3});
  }
  return item;
}

}  // namespace

Manifest sampleManifest(std::uint64_t seed, std::size_t itemCount) {
  Random r(seed);
  Manifest manifest;
  manifest.schemaVersion = r.pick(std::array<std::int64_t, 4>{8, 7, 0, -1});
  Board& board = manifest.board;
  board.id = r.uuid();
  board.name = r.text();
  board.createdAt = r.date();
  board.modifiedAt = r.date();
  board.canvas = {r.text(2), {r.number(), r.number(), r.number()}};
  if (r.chance(50)) {
    board.pageSetup = PageSetup{r.pick(allPageFormats), static_cast<PageOrientation>(r.below(2))};
  }
  if (r.chance(50)) {
    board.header =
        BoardHeader{r.maybeText(), r.maybeText(), r.maybeText(), r.maybeText(), r.maybeText(), r.maybeText()};
  }
  for (std::size_t i = 0; i < itemCount; ++i) manifest.items.push_back(item(r));
  return manifest;
}

}  // namespace zorvi::testing
