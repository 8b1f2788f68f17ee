// Moving and resizing item frames by pointer movements, and the geometry of free-hand strokes.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "zorvi/canvas_transform.hpp"
#include "zorvi/document.hpp"

namespace zorvi {

// The corner of a frame that the user drags.
enum class ResizeCorner { topLeft, topRight, bottomLeft, bottomRight };

inline constexpr std::array<ResizeCorner, 4> allResizeCorners{
    ResizeCorner::topLeft, ResizeCorner::topRight, ResizeCorner::bottomLeft, ResizeCorner::bottomRight};

namespace ItemGeometry {

// The fixed corner of a resize and the dragged corner before the drag, in world units.
struct AnchorAndStart {
  CanvasPoint anchor;
  CanvasPoint start;
  bool operator==(const AnchorAndStart&) const = default;
};

// The frame moved by a screen delta divided by zoom; unchanged when zoom ≤ 0.
Frame moved(const Frame& frame, CanvasSize screenDelta, double zoom);

// The anchor is the corner opposite `corner`; the start is `corner` itself.
AnchorAndStart resizeAnchorAndStart(const Frame& frame, ResizeCorner corner);

// Scales about the anchor by the projection of the dragged corner onto the diagonal, so the aspect ratio
// is kept; the smaller side never goes below minSize. Unchanged when width, height or zoom ≤ 0.
Frame resize(const Frame& frame, ResizeCorner corner, CanvasSize screenDelta, double zoom, double minSize);

// The dragged edges follow the pointer on each axis independently; a side that would be ≤ minSize
// becomes minSize instead of flipping. Unchanged when zoom ≤ 0 (sizes are not tested).
Frame resizeFree(const Frame& frame, ResizeCorner corner, CanvasSize screenDelta, double zoom,
                 double minSize);

}  // namespace ItemGeometry

namespace DrawingGeometry {

// The smallest extent of a stroke's frame along either axis.
inline constexpr double minFrameDimension = 1.0;

// Bounding box of the points, widened about its centre to minFrameDimension on a thinner axis;
// (0, 0, 0, 0) for no points.
Frame frame(std::span<const CanvasPoint> points);

// World points as fractions of the frame, in order; empty when the frame's width or height is not > 0.
std::vector<DrawingPoint> normalized(std::span<const CanvasPoint> points, const Frame& frame);

// Fractions of the frame back to world points, in order; the frame is not checked.
std::vector<CanvasPoint> worldPoints(std::span<const DrawingPoint> points, const Frame& frame);

// Shortest distance from the point to the polyline; to its one point if it has one; +∞ for none.
double distance(CanvasPoint from, std::span<const CanvasPoint> polyline);

// Keeps the first and last points and each point at least minDistance from the last kept one.
// Fewer than 3 points or minDistance ≤ 0: the points unchanged.
std::vector<CanvasPoint> simplified(std::span<const CanvasPoint> points, double minDistance);

}  // namespace DrawingGeometry
}  // namespace zorvi
