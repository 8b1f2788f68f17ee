// Snapping a moved or resized frame to other items, guide lines and a grid.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "zorvi/document.hpp"
#include "zorvi/item_geometry.hpp"

namespace zorvi {

// A line to draw where a frame snapped, in world units.
struct AlignmentGuide {
  // vertical: the line x = position from y = start to y = end (a snap along x); horizontal: the reverse.
  enum class Axis { vertical, horizontal };

  Axis axis = Axis::vertical;
  double position = 0;
  double start = 0;
  double end = 0;

  bool operator==(const AlignmentGuide&) const = default;
};

// The snapped frame and the guides to draw: at most one per axis, vertical first.
struct SnapResult {
  // Up to two guides held inline, so a snap on every pointer movement allocates nothing.
  class Guides {
   public:
    static constexpr std::size_t capacity = 2;

    Guides() = default;
    // Keeps at most `capacity` guides; the rest of the list is dropped.
    Guides(std::initializer_list<AlignmentGuide> guides);

    // Appends a guide; ignored once `capacity` guides are held.
    void push_back(const AlignmentGuide& guide);

    // How many guides are held: 0, 1 or 2.
    std::size_t size() const { return count_; }
    // True when nothing snapped.
    bool empty() const { return count_ == 0; }
    // The guide at i < size(), in the order added.
    const AlignmentGuide& operator[](std::size_t i) const { return items_[i]; }
    // The held guides as a range, for range-for loops.
    const AlignmentGuide* begin() const { return items_.data(); }
    const AlignmentGuide* end() const { return items_.data() + count_; }

    // Same guides in the same order.
    friend bool operator==(const Guides& a, const Guides& b);

   private:
    std::array<AlignmentGuide, capacity> items_{};
    std::size_t count_ = 0;
  };

  Frame frame;
  Guides guides;

  bool operator==(const SnapResult&) const = default;
};

namespace Snapping {

// The smallest frame holding all frames; (0, 0, 0, 0) for none.
Frame boundingBox(std::span<const Frame> frames);

// Moves `moving` so that its left, centre or right lands on the nearest x line within threshold ÷ zoom
// (screen points to world), and likewise top, middle or bottom on y. Lines: each frame of `to`'s
// edges and centre in order, then guidesX / guidesY, then the grid (spacing in world units, used when
// > 0, halves rounded away from zero). Ties go to the earlier line and moving edge. Zoom ≤ 0: no snap.
SnapResult snap(const Frame& moving, std::span<const Frame> to, std::span<const double> guidesX,
                std::span<const double> guidesY, std::optional<double> grid, double zoom, double threshold);

// Aspect-kept resize: `proposed` (from ItemGeometry::resize, only its width read as the current scale)
// is rescaled about the anchor so the dragged corner lands on the line nearest along the diagonal, never
// making the smaller side shorter than minSize. `proposed` itself when nothing snaps or zoom, the
// original width or height ≤ 0.
SnapResult snapResize(const Frame& original, ResizeCorner corner, const Frame& proposed,
                      std::span<const Frame> to, std::span<const double> guidesX,
                      std::span<const double> guidesY, std::optional<double> grid, double zoom,
                      double threshold, double minSize);

// Free resize: the dragged vertical and horizontal edges of `proposed` (from ItemGeometry::resizeFree)
// snap independently, never to a line giving a side shorter than minSize. `proposed` itself when
// nothing snaps or zoom ≤ 0.
SnapResult snapResizeFree(const Frame& original, ResizeCorner corner, const Frame& proposed,
                          std::span<const Frame> to, std::span<const double> guidesX,
                          std::span<const double> guidesY, std::optional<double> grid, double zoom,
                          double threshold, double minSize);

}  // namespace Snapping
}  // namespace zorvi
