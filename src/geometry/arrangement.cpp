#include "zorvi/arrangement.hpp"

#include <algorithm>
#include <vector>

namespace zorvi::Arrangement {
namespace {

double& lead(Frame& f, Axis axis) { return axis == Axis::horizontal ? f.x : f.y; }
double lead(const Frame& f, Axis axis) { return axis == Axis::horizontal ? f.x : f.y; }
double extent(const Frame& f, Axis axis) { return axis == Axis::horizontal ? f.width : f.height; }

}  // namespace

Frames align(const Frames& frames, Alignment alignment) {
  Frames changed;
  if (frames.size() < 2) return changed;

  const Frame& first = frames.begin()->second;
  double minX = first.x, maxX = first.x + first.width, minY = first.y, maxY = first.y + first.height;
  for (const auto& [id, f] : frames) {
    minX = std::min(minX, f.x);
    maxX = std::max(maxX, f.x + f.width);
    minY = std::min(minY, f.y);
    maxY = std::max(maxY, f.y + f.height);
  }
  const double centreX = (minX + maxX) * 0.5, centreY = (minY + maxY) * 0.5;

  for (const auto& [id, old] : frames) {
    Frame f = old;
    switch (alignment) {
      case Alignment::left:
        f.x = minX;
        break;
      case Alignment::horizontalCenter:
        f.x = centreX - f.width * 0.5;
        break;
      case Alignment::right:
        f.x = maxX - f.width;
        break;
      case Alignment::top:
        f.y = minY;
        break;
      case Alignment::verticalCenter:
        f.y = centreY - f.height * 0.5;
        break;
      case Alignment::bottom:
        f.y = maxY - f.height;
        break;
    }
    if (f != old) changed.emplace_hint(changed.end(), id, f);
  }
  return changed;
}

Frames distribute(const Frames& frames, Axis axis) {
  Frames changed;
  const std::size_t n = frames.size();
  if (n < 3) return changed;

  std::vector<const Frames::value_type*> order;
  order.reserve(n);
  for (const auto& entry : frames) order.push_back(&entry);
  std::stable_sort(order.begin(), order.end(), [axis](const auto* a, const auto* b) {
    return lead(a->second, axis) < lead(b->second, axis);
  });

  const Frame& first = order.front()->second;
  const Frame& last = order.back()->second;
  const double start = lead(first, axis);
  const double end = lead(last, axis) + extent(last, axis);
  double total = 0;
  for (const auto* entry : order) total += extent(entry->second, axis);
  const double gap = ((end - start) - total) / static_cast<double>(n - 1);

  double cursor = start + extent(first, axis);
  const auto place = [&](const Frames::value_type& entry) {
    Frame f = entry.second;
    lead(f, axis) = cursor;
    if (f != entry.second) changed.emplace(entry.first, f);
  };
  if (gap >= 0) {
    // The ends stay put; the inner frames share the free span equally.
    cursor += gap;
    for (std::size_t i = 1; i + 1 < n; ++i) {
      place(*order[i]);
      cursor += gap + extent(order[i]->second, axis);
    }
  } else {
    // No room for a gap (or a NaN from non-finite input): abut everything after the first, the last too.
    for (std::size_t i = 1; i < n; ++i) {
      place(*order[i]);
      cursor += extent(order[i]->second, axis);
    }
  }
  return changed;
}

}  // namespace zorvi::Arrangement
