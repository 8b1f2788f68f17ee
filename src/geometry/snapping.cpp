#include "zorvi/snapping.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace zorvi {

SnapResult::Guides::Guides(std::initializer_list<AlignmentGuide> guides) {
  for (const AlignmentGuide& g : guides) push_back(g);
}

void SnapResult::Guides::push_back(const AlignmentGuide& guide) {
  if (count_ < capacity) items_[count_++] = guide;
}

bool operator==(const SnapResult::Guides& a, const SnapResult::Guides& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

namespace Snapping {
namespace {

// The two axes share every algorithm; these pick a frame's coordinates along one of them.
struct AlongX {
  static double lead(const Frame& f) { return f.x; }
  static double extent(const Frame& f) { return f.width; }
  static double acrossLead(const Frame& f) { return f.y; }
  static double acrossExtent(const Frame& f) { return f.height; }
  static constexpr AlignmentGuide::Axis guideAxis = AlignmentGuide::Axis::vertical;
};
struct AlongY {
  static double lead(const Frame& f) { return f.y; }
  static double extent(const Frame& f) { return f.height; }
  static double acrossLead(const Frame& f) { return f.x; }
  static double acrossExtent(const Frame& f) { return f.width; }
  static constexpr AlignmentGuide::Axis guideAxis = AlignmentGuide::Axis::horizontal;
};

double gridLine(double value, double grid) { return std::round(value / grid) * grid; }

bool gridTakesPart(std::optional<double> grid) { return grid && *grid > 0; }

// Calls visit(line) for each candidate line along the axis, in the order that decides ties: each other
// frame's leading edge, centre and trailing edge, then the caller's guides. Nothing is materialised.
template <typename Along, typename Visit>
void forEachLine(std::span<const Frame> others, std::span<const double> guides, Visit&& visit) {
  for (const Frame& f : others) {
    const double lead = Along::lead(f), extent = Along::extent(f);
    visit(lead);
    visit(lead + extent * 0.5);
    visit(extent + lead);
  }
  for (double g : guides) visit(g);
}

// The extent across the axis of a guide at `line`: the snapped frame, widened by every other frame whose
// edge or centre lies within half a unit of the line.
template <typename Along>
AlignmentGuide guideAt(double line, const Frame& snapped, std::span<const Frame> others) {
  constexpr double tolerance = 0.5;
  double lo = Along::acrossLead(snapped);
  double hi = Along::acrossLead(snapped) + Along::acrossExtent(snapped);
  for (const Frame& o : others) {
    const double lead = Along::lead(o), extent = Along::extent(o);
    if (std::abs(lead - line) < tolerance || std::abs(lead + extent * 0.5 - line) < tolerance ||
        std::abs(lead + extent - line) < tolerance) {
      lo = std::min(lo, Along::acrossLead(o));
      hi = std::max(hi, Along::acrossLead(o) + Along::acrossExtent(o));
    }
  }
  return {Along::guideAxis, line, lo, hi};
}

struct LineMatch {
  double delta;  // line − moving value
  double line;
};

// The best-line search of one axis over the three moving values (leading edge, centre, trailing edge, in
// this order, each value's grid line after the lines): the first pair in that order at the smallest
// distance within reach wins. Each value keeps its own first-nearest line, which gives the same pair;
// a line farther than the best distance so far from all three values cannot matter and costs only three
// comparisons, so the scan is not held up by a running best on every line.
template <typename Along>
std::optional<LineMatch> snapAxis(const Frame& moving, std::span<const Frame> to,
                                  std::span<const double> guides, std::optional<double> grid, double reach) {
  const double lead = Along::lead(moving), extent = Along::extent(moving);
  const std::array<double, 3> values{lead, lead + extent * 0.5, lead + extent};
  std::array<std::optional<double>, 3> nearestLine;
  std::array<double, 3> nearestDistance{};
  double bound = reach;

  const auto offer = [&](std::size_t i, double line) {
    const double d = std::abs(line - values[i]);
    if (d <= reach && (!nearestLine[i] || d < nearestDistance[i])) {
      nearestLine[i] = line;
      nearestDistance[i] = d;
      if (d < bound) bound = d;
    }
  };
  forEachLine<Along>(to, guides, [&](double line) {
    if (std::abs(line - values[0]) <= bound || std::abs(line - values[1]) <= bound ||
        std::abs(line - values[2]) <= bound) {
      for (std::size_t i = 0; i < values.size(); ++i) offer(i, line);
    }
  });
  if (gridTakesPart(grid)) {
    for (std::size_t i = 0; i < values.size(); ++i) offer(i, gridLine(values[i], *grid));
  }

  std::optional<std::size_t> winner;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (nearestLine[i] && (!winner || nearestDistance[i] < nearestDistance[*winner])) winner = i;
  }
  if (!winner) return std::nullopt;
  return LineMatch{*nearestLine[*winner] - values[*winner], *nearestLine[*winner]};
}

struct ScaleMatch {
  double distance;  // travel of the dragged corner along the diagonal
  double scale;
  AlignmentGuide::Axis axis;
  double line;
};

struct EdgeMatch {
  double distance;
  double line;
};

}  // namespace

Frame boundingBox(std::span<const Frame> frames) {
  if (frames.empty()) return {};
  const Frame& first = frames.front();
  double minX = first.x, minY = first.y, maxX = first.x + first.width, maxY = first.y + first.height;
  for (const Frame& f : frames.subspan(1)) {
    if (f.x < minX) minX = f.x;
    if (f.y < minY) minY = f.y;
    if (f.x + f.width >= maxX) maxX = f.x + f.width;
    if (f.y + f.height >= maxY) maxY = f.y + f.height;
  }
  return {minX, minY, maxX - minX, maxY - minY};
}

SnapResult snap(const Frame& moving, std::span<const Frame> to, std::span<const double> guidesX,
                std::span<const double> guidesY, std::optional<double> grid, double zoom, double threshold) {
  SnapResult result{moving, {}};
  if (!(zoom > 0)) return result;
  const double reach = threshold / zoom;

  const auto matchX = snapAxis<AlongX>(moving, to, guidesX, grid, reach);
  const auto matchY = snapAxis<AlongY>(moving, to, guidesY, grid, reach);
  if (matchX) result.frame.x = moving.x + matchX->delta;
  if (matchY) result.frame.y = moving.y + matchY->delta;
  if (matchX) result.guides.push_back(guideAt<AlongX>(matchX->line, result.frame, to));
  if (matchY) result.guides.push_back(guideAt<AlongY>(matchY->line, result.frame, to));
  return result;
}

SnapResult snapResize(const Frame& original, ResizeCorner corner, const Frame& proposed,
                      std::span<const Frame> to, std::span<const double> guidesX,
                      std::span<const double> guidesY, std::optional<double> grid, double zoom,
                      double threshold, double minSize) {
  SnapResult unchanged{proposed, {}};
  if (zoom <= 0 || original.width <= 0 || original.height <= 0) return unchanged;

  // Plain variables, not a structured binding: the lambdas below capture them (clang 14 refuses that).
  const auto corners = ItemGeometry::resizeAnchorAndStart(original, corner);
  const CanvasPoint anchor = corners.anchor, dragged = corners.start;
  const double dirX = dragged.x - anchor.x, dirY = dragged.y - anchor.y;
  const double lengthSquared = dirX * dirX + dirY * dirY;
  if (lengthSquared <= 0) return unchanged;
  const double diag = std::sqrt(lengthSquared);

  const double s = proposed.width / original.width;
  const double minScale = minSize / std::min(original.width, original.height);
  const double reach = threshold / zoom;

  std::optional<ScaleMatch> best;
  const auto offer = [&](double t, AlignmentGuide::Axis axis, double line) {
    const double travel = diag * std::abs(t - s);
    if (minScale <= t && travel <= reach && (!best || travel < best->distance))
      best = ScaleMatch{travel, t, axis, line};
  };
  // A diagonal (almost) parallel to an axis cannot reach lines across that axis.
  constexpr double directionBound = 1e-9;
  const bool alongX = std::abs(dirX) > directionBound, alongY = std::abs(dirY) > directionBound;
  if (alongX) {
    forEachLine<AlongX>(to, guidesX,
                        [&](double c) { offer((c - anchor.x) / dirX, AlignmentGuide::Axis::vertical, c); });
  }
  if (alongY) {
    forEachLine<AlongY>(to, guidesY,
                        [&](double c) { offer((c - anchor.y) / dirY, AlignmentGuide::Axis::horizontal, c); });
  }
  if (gridTakesPart(grid)) {
    if (alongX) {
      const double g = gridLine(anchor.x + s * dirX, *grid);
      offer((g - anchor.x) / dirX, AlignmentGuide::Axis::vertical, g);
    }
    if (alongY) {
      const double g = gridLine(anchor.y + s * dirY, *grid);
      offer((g - anchor.y) / dirY, AlignmentGuide::Axis::horizontal, g);
    }
  }
  if (!best) return unchanged;

  const double t = best->scale;
  SnapResult result{{std::min(anchor.x + dirX * t, anchor.x), std::min(anchor.y + dirY * t, anchor.y),
                     original.width * t, original.height * t},
                    {}};
  result.guides.push_back(best->axis == AlignmentGuide::Axis::vertical
                              ? guideAt<AlongX>(best->line, result.frame, to)
                              : guideAt<AlongY>(best->line, result.frame, to));
  return result;
}

SnapResult snapResizeFree(const Frame& original, ResizeCorner corner, const Frame& proposed,
                          std::span<const Frame> to, std::span<const double> guidesX,
                          std::span<const double> guidesY, std::optional<double> grid, double zoom,
                          double threshold, double minSize) {
  if (zoom <= 0) return {proposed, {}};
  // Plain variables, not a structured binding: the lambdas below capture them (clang 14 refuses that).
  const auto corners = ItemGeometry::resizeAnchorAndStart(original, corner);
  const CanvasPoint anchor = corners.anchor, dragged = corners.start;
  const double signX = anchor.x <= dragged.x ? 1.0 : -1.0;
  const double signY = anchor.y <= dragged.y ? 1.0 : -1.0;
  const double movingX = signX > 0 ? proposed.x + proposed.width : proposed.x;
  const double movingY = signY > 0 ? proposed.y + proposed.height : proposed.y;
  const double reach = threshold / zoom;

  // Lines that would leave the side shorter than minSize are passed over, whatever their distance.
  const auto search = [&](auto along, double moving, double anchorValue, double sign,
                          std::span<const double> guides) {
    std::optional<EdgeMatch> best;
    const auto offer = [&](double c) {
      const double d = std::abs(c - moving);
      if (minSize <= sign * (c - anchorValue) && d <= reach && (!best || d < best->distance))
        best = EdgeMatch{d, c};
    };
    forEachLine<decltype(along)>(to, guides, offer);
    if (gridTakesPart(grid)) offer(gridLine(moving, *grid));
    return best;
  };
  const auto matchX = search(AlongX{}, movingX, anchor.x, signX, guidesX);
  const auto matchY = search(AlongY{}, movingY, anchor.y, signY, guidesY);
  if (!matchX && !matchY) return {proposed, {}};

  double width = signX * ((matchX ? matchX->line : movingX) - anchor.x);
  if (width <= minSize) width = minSize;
  double height = signY * ((matchY ? matchY->line : movingY) - anchor.y);
  if (height <= minSize) height = minSize;

  SnapResult result{
      {signX > 0 ? anchor.x : anchor.x - width, signY > 0 ? anchor.y : anchor.y - height, width, height}, {}};
  if (matchX) result.guides.push_back(guideAt<AlongX>(matchX->line, result.frame, to));
  if (matchY) result.guides.push_back(guideAt<AlongY>(matchY->line, result.frame, to));
  return result;
}

}  // namespace Snapping
}  // namespace zorvi
