#include "zorvi/item_geometry.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zorvi {
namespace ItemGeometry {

Frame moved(const Frame& frame, CanvasSize screenDelta, double zoom) {
  if (!(zoom > 0)) return frame;
  return {frame.x + screenDelta.width / zoom, frame.y + screenDelta.height / zoom, frame.width, frame.height};
}

AnchorAndStart resizeAnchorAndStart(const Frame& frame, ResizeCorner corner) {
  const double minX = frame.x, minY = frame.y;
  const double maxX = frame.x + frame.width, maxY = frame.y + frame.height;
  switch (corner) {
    case ResizeCorner::topLeft:
      return {{maxX, maxY}, {minX, minY}};
    case ResizeCorner::topRight:
      return {{minX, maxY}, {maxX, minY}};
    case ResizeCorner::bottomLeft:
      return {{maxX, minY}, {minX, maxY}};
    case ResizeCorner::bottomRight:
      break;
  }
  return {{minX, minY}, {maxX, maxY}};
}

Frame resize(const Frame& frame, ResizeCorner corner, CanvasSize screenDelta, double zoom, double minSize) {
  if (frame.width <= 0 || frame.height <= 0 || zoom <= 0) return frame;
  const auto [anchor, start] = resizeAnchorAndStart(frame, corner);
  const double dirX = start.x - anchor.x, dirY = start.y - anchor.y;
  const double lengthSquared = dirX * dirX + dirY * dirY;
  if (lengthSquared <= 0) return frame;

  const double wx = screenDelta.width / zoom, wy = screenDelta.height / zoom;
  const double relX = (wx + start.x) - anchor.x, relY = (wy + start.y) - anchor.y;
  double t = (dirX * relX + dirY * relY) / lengthSquared;
  const double minScale = minSize / std::min(frame.width, frame.height);
  if (t <= minScale) t = minScale;

  return {std::min(anchor.x + dirX * t, anchor.x), std::min(anchor.y + dirY * t, anchor.y), frame.width * t,
          frame.height * t};
}

Frame resizeFree(const Frame& frame, ResizeCorner corner, CanvasSize screenDelta, double zoom,
                 double minSize) {
  if (zoom <= 0) return frame;
  const auto [anchor, start] = resizeAnchorAndStart(frame, corner);
  const double signX = anchor.x > start.x ? -1.0 : 1.0;
  const double signY = anchor.y > start.y ? -1.0 : 1.0;

  const double wx = screenDelta.width / zoom, wy = screenDelta.height / zoom;
  double width = ((wx + start.x) - anchor.x) * signX;
  if (width <= minSize) width = minSize;
  double height = ((wy + start.y) - anchor.y) * signY;
  if (height <= minSize) height = minSize;

  return {signX >= 0 ? anchor.x : anchor.x - width, signY >= 0 ? anchor.y : anchor.y - height, width, height};
}

}  // namespace ItemGeometry

namespace DrawingGeometry {

Frame frame(std::span<const CanvasPoint> points) {
  if (points.empty()) return {};
  double minX = points.front().x, minY = points.front().y, maxX = minX, maxY = minY;
  for (const CanvasPoint& p : points.subspan(1)) {
    minX = std::min(minX, p.x);
    minY = std::min(minY, p.y);
    maxX = std::max(maxX, p.x);
    maxY = std::max(maxY, p.y);
  }
  const auto widen = [](double& lo, double& hi) {
    if (hi - lo < minFrameDimension) {
      const double centre = (lo + hi) * 0.5;
      lo = centre - minFrameDimension * 0.5;
      hi = centre + minFrameDimension * 0.5;
    }
  };
  widen(minX, maxX);
  widen(minY, maxY);
  return {minX, minY, maxX - minX, maxY - minY};
}

std::vector<DrawingPoint> normalized(std::span<const CanvasPoint> points, const Frame& frame) {
  std::vector<DrawingPoint> result;
  if (!(frame.width > 0) || !(frame.height > 0)) return result;
  result.reserve(points.size());
  for (const CanvasPoint& p : points)
    result.push_back({(p.x - frame.x) / frame.width, (p.y - frame.y) / frame.height});
  return result;
}

std::vector<CanvasPoint> worldPoints(std::span<const DrawingPoint> points, const Frame& frame) {
  std::vector<CanvasPoint> result;
  result.reserve(points.size());
  for (const DrawingPoint& q : points)
    result.push_back({frame.x + frame.width * q.x, frame.y + frame.height * q.y});
  return result;
}

double distance(CanvasPoint from, std::span<const CanvasPoint> polyline) {
  if (polyline.empty()) return std::numeric_limits<double>::infinity();
  if (polyline.size() == 1) return std::hypot(from.x - polyline.front().x, from.y - polyline.front().y);

  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 1; i < polyline.size(); ++i) {
    const CanvasPoint a = polyline[i - 1], b = polyline[i];
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double lengthSquared = dx * dx + dy * dy;
    double t = 0;
    if (lengthSquared > 0) {
      t = ((from.x - a.x) * dx + (from.y - a.y) * dy) / lengthSquared;
      if (t < 0)
        t = 0;
      else if (t >= 1)
        t = 1;
    }
    best = std::min(best, std::hypot(from.x - (a.x + dx * t), from.y - (a.y + dy * t)));
  }
  return best;
}

std::vector<CanvasPoint> simplified(std::span<const CanvasPoint> points, double minDistance) {
  if (points.size() < 3 || !(minDistance > 0)) return {points.begin(), points.end()};
  std::vector<CanvasPoint> kept;
  kept.reserve(points.size());
  kept.push_back(points.front());
  for (const CanvasPoint& p : points.subspan(1, points.size() - 2)) {
    if (std::hypot(p.x - kept.back().x, p.y - kept.back().y) >= minDistance) kept.push_back(p);
  }
  kept.push_back(points.back());
  return kept;
}

}  // namespace DrawingGeometry
}  // namespace zorvi
