#include "zorvi/canvas_transform.hpp"

#include <algorithm>
#include <cmath>

namespace zorvi {

CanvasTransform::CanvasTransform(CanvasPoint screenOffset, double zoomFactor)
    : offset(screenOffset), zoom(clampZoom(zoomFactor)) {}

CanvasTransform::CanvasTransform(const Viewport& viewport)
    : CanvasTransform(CanvasPoint{viewport.offsetX, viewport.offsetY}, viewport.zoom) {}

double CanvasTransform::clampZoom(double z) {
  // Written as comparisons rather than std::clamp so that NaN falls through both tests unchanged.
  if (z <= minZoom) z = minZoom;
  if (z > maxZoom) z = maxZoom;
  return z;
}

Viewport CanvasTransform::viewport() const { return Viewport{offset.x, offset.y, zoom}; }

CanvasPoint CanvasTransform::toScreen(CanvasPoint world) const {
  return {offset.x + world.x * zoom, offset.y + world.y * zoom};
}

CanvasPoint CanvasTransform::toWorld(CanvasPoint screen) const {
  return {(screen.x - offset.x) / zoom, (screen.y - offset.y) / zoom};
}

Frame CanvasTransform::toScreen(const Frame& world) const {
  const CanvasPoint origin = toScreen(CanvasPoint{world.x, world.y});
  return {origin.x, origin.y, zoom * std::abs(world.width), zoom * std::abs(world.height)};
}

Frame CanvasTransform::toWorld(const Frame& screen) const {
  const CanvasPoint origin = toWorld(CanvasPoint{screen.x, screen.y});
  return {origin.x, origin.y, std::abs(screen.width) / zoom, std::abs(screen.height) / zoom};
}

CanvasTransform CanvasTransform::panned(CanvasSize delta) const {
  return CanvasTransform(CanvasPoint{offset.x + delta.width, offset.y + delta.height}, zoom);
}

CanvasTransform CanvasTransform::zoomedTo(double z, CanvasPoint about) const {
  const double newZoom = clampZoom(z);
  const CanvasPoint world = toWorld(about);
  return CanvasTransform(CanvasPoint{about.x - newZoom * world.x, about.y - newZoom * world.y}, newZoom);
}

CanvasTransform CanvasTransform::zoomedBy(double factor, CanvasPoint about) const {
  return zoomedTo(zoom * factor, about);
}

namespace BoardFit {

std::optional<CanvasTransform> transform(std::span<const Frame> fitting, CanvasSize view, double padding) {
  if (fitting.empty() || !(view.width > 0) || !(view.height > 0)) return std::nullopt;

  double minX = fitting.front().x, minY = fitting.front().y;
  double maxX = fitting.front().x + fitting.front().width, maxY = fitting.front().y + fitting.front().height;
  for (const Frame& f : fitting.subspan(1)) {
    minX = std::min(minX, f.x);
    minY = std::min(minY, f.y);
    maxX = std::max(maxX, f.x + f.width);
    maxY = std::max(maxY, f.y + f.height);
  }

  const auto atLeastOne = [](double v) { return v <= 1 ? 1.0 : v; };
  const double contentW = atLeastOne(maxX - minX), contentH = atLeastOne(maxY - minY);
  const double availW = atLeastOne(view.width - 2 * padding), availH = atLeastOne(view.height - 2 * padding);

  const double zoom = CanvasTransform::clampZoom(std::min(availW / contentW, availH / contentH));
  const double centreX = (minX + maxX) * 0.5, centreY = (minY + maxY) * 0.5;
  return CanvasTransform(CanvasPoint{view.width * 0.5 - centreX * zoom, view.height * 0.5 - centreY * zoom},
                         zoom);
}

}  // namespace BoardFit
}  // namespace zorvi
