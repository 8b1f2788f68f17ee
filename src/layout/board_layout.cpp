#include "zorvi/board_layout.hpp"

#include <algorithm>
#include <utility>

namespace zorvi {
namespace {

std::optional<double> captionHeight(const CanvasItem& item, const CaptionHeights& captionHeights) {
  // A caption of blanks still counts: only the measured height decides whether it shows.
  if (item.type != CanvasItem::Type::image || !item.caption || item.caption->empty()) return std::nullopt;
  const auto entry = captionHeights.find(item.id);
  // Written as "not greater than" so that NaN is refused with zero and negatives.
  if (entry == captionHeights.end() || !(entry->second > 0)) return std::nullopt;
  return entry->second;
}

// Stable, so that items of equal zIndex keep the manifest's order. Sorting (zIndex, pointer) pairs keeps
// the comparisons in one contiguous array, and pointers avoid copying items a rectangle then drops.
std::vector<const CanvasItem*> drawingOrder(std::span<const CanvasItem> items) {
  struct Entry {
    std::int64_t zIndex;
    const CanvasItem* item;
  };
  std::vector<Entry> entries;
  entries.reserve(items.size());
  for (const CanvasItem& item : items) entries.push_back({item.zIndex, &item});
  const auto byZIndex = [](const Entry& a, const Entry& b) { return a.zIndex < b.zIndex; };
  // Boards are usually stored in drawing order already.
  if (!std::is_sorted(entries.begin(), entries.end(), byZIndex)) {
    std::stable_sort(entries.begin(), entries.end(), byZIndex);
  }
  std::vector<const CanvasItem*> order;
  order.reserve(entries.size());
  for (const Entry& entry : entries) order.push_back(entry.item);
  return order;
}

BoardLayout::PlacedItem place(const CanvasItem& item, double originX, double originY,
                              const CaptionHeights& captionHeights) {
  const Frame frame{item.frame.x - originX, item.frame.y - originY, item.frame.width, item.frame.height};
  std::optional<Frame> captionFrame;
  if (const auto height = captionHeight(item, captionHeights)) {
    captionFrame = Frame{frame.x, frame.y + frame.height + CaptionStyle::gap, item.frame.width, *height};
  }
  return {item, frame, captionFrame};
}

bool overlapsStrictly(const Frame& a, const Frame& b) {
  // Every comparison with NaN is false, which drops the item.
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

}  // namespace

BoardLayout::PlacedItem::PlacedItem(CanvasItem item_, Frame frame_, std::optional<Frame> captionFrame_)
    : item(std::move(item_)), frame(frame_), captionFrame(captionFrame_) {}

Frame BoardLayout::contentFrame(const CanvasItem& item, const CaptionHeights& captionHeights) {
  // Only drawings overhang their frame: the stroke is centred on a path that may run along the edge.
  const double pad =
      item.type == CanvasItem::Type::drawing && item.drawing ? item.drawing->strokeWidth * 0.5 : 0;
  Frame content{item.frame.x - pad, item.frame.y - pad, item.frame.width + 2 * pad,
                item.frame.height + 2 * pad};
  if (const auto height = captionHeight(item, captionHeights)) content.height += CaptionStyle::gap + *height;
  return content;
}

BoardLayout::BoardLayout(std::span<const CanvasItem> items_, const CaptionHeights& captionHeights) {
  const auto order = drawingOrder(items_);
  double minX = 0, minY = 0, maxX = 0, maxY = 0;
  bool first = true;
  for (const CanvasItem* item : order) {
    const Frame content = contentFrame(*item, captionHeights);
    const double right = content.x + content.width, bottom = content.y + content.height;
    if (first) {
      minX = content.x, minY = content.y, maxX = right, maxY = bottom;
      first = false;
      continue;
    }
    // Plain comparisons, as std::min_element and std::max_element make them: a later NaN edge never
    // replaces a number, and a NaN that comes first stays (that dimension then degrades to 0).
    if (content.x < minX) minX = content.x;
    if (content.y < minY) minY = content.y;
    if (maxX < right) maxX = right;
    if (maxY < bottom) maxY = bottom;
  }
  width = std::max(0.0, maxX - minX);
  height = std::max(0.0, maxY - minY);
  items.reserve(order.size());
  for (const CanvasItem* item : order) items.push_back(place(*item, minX, minY, captionHeights));
}

BoardLayout::BoardLayout(std::span<const CanvasItem> items_, const CaptionHeights& captionHeights,
                         const Frame& bounds) {
  width = std::max(0.0, bounds.width);
  height = std::max(0.0, bounds.height);
  for (const CanvasItem* item : drawingOrder(items_)) {
    if (overlapsStrictly(contentFrame(*item, captionHeights), bounds)) {
      items.push_back(place(*item, bounds.x, bounds.y, captionHeights));
    }
  }
}

}  // namespace zorvi
