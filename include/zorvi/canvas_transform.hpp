// The mapping between world units and the screen points of the canvas view, and fitting frames into a view.
#pragma once

#include <optional>
#include <span>

#include "zorvi/document.hpp"

namespace zorvi {

// A position on the canvas, y downwards: world units or screen points, as the function taking it says.
struct CanvasPoint {
  double x = 0, y = 0;
  bool operator==(const CanvasPoint&) const = default;
};

// An extent or a displacement: width along x, height along y.
struct CanvasSize {
  double width = 0, height = 0;
  bool operator==(const CanvasSize&) const = default;
};

// screen = world × zoom + offset, per axis. Initialisers keep the zoom within [minZoom, maxZoom];
// assigning the fields directly stores the values unchecked.
struct CanvasTransform {
  static constexpr double minZoom = 0.05;
  static constexpr double maxZoom = 20;

  // Screen position of the world origin, in screen points.
  CanvasPoint offset;
  // Screen points per world unit.
  double zoom = 1;

  // The identity: no offset, zoom 1.
  CanvasTransform() = default;
  // Stores offset and clampZoom(zoom).
  CanvasTransform(CanvasPoint screenOffset, double zoomFactor);
  // Offset from the viewport's offsetX/offsetY, zoom through clampZoom.
  explicit CanvasTransform(const Viewport& viewport);

  // z ≤ minZoom gives minZoom, z > maxZoom gives maxZoom; NaN passes through.
  static double clampZoom(double z);

  // The fields as a stored viewport, unclamped and unrounded.
  Viewport viewport() const;

  // World point to screen point.
  CanvasPoint toScreen(CanvasPoint world) const;
  // World point of a screen point; a zoom of 0 gives infinities or NaN, never a trap.
  CanvasPoint toWorld(CanvasPoint screen) const;
  // Origin mapped as stored; size is the absolute width and height times the zoom.
  Frame toScreen(const Frame& world) const;
  // Origin mapped as stored; size is the absolute width and height divided by the zoom.
  Frame toWorld(const Frame& screen) const;

  // Offset moved by delta (screen points), same zoom (clamped, as by every initialiser).
  CanvasTransform panned(CanvasSize delta) const;
  // Zoom set to clampZoom(z) while the world point under the screen point `about` stays under it.
  CanvasTransform zoomedTo(double z, CanvasPoint about) const;
  // zoomedTo(zoom × factor, about).
  CanvasTransform zoomedBy(double factor, CanvasPoint about) const;

  bool operator==(const CanvasTransform&) const = default;
};

namespace BoardFit {

// The transform showing all frames as large as possible, centred in a view of `view` screen points
// with `padding` on every side; zoom kept within the transform's limits. Absent for no frames or an
// empty view (width or height ≤ 0).
std::optional<CanvasTransform> transform(std::span<const Frame> fitting, CanvasSize view, double padding);

}  // namespace BoardFit
}  // namespace zorvi
