// Which pages of the page grid a paged export prints, and the scales of raster export.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "zorvi/board_layout.hpp"
#include "zorvi/document.hpp"

namespace zorvi {
namespace PageExportPlan {

// One printable page: its position in the plan and its grid tile in world units.
struct Page {
  std::int64_t index = 0;
  std::int64_t column = 0;
  std::int64_t row = 0;
  Frame worldRect;
  bool operator==(const Page&) const = default;
};

// The grid tiles that some frame overlaps, once each, top to bottom then left to right, numbered
// from 0. Frames with width or height ≤ 0, non-finite frames, and frames spanning more than
// PageGrid::maxTiles pages or pages beyond the 64-bit index range add nothing.
std::vector<Page> pages(const PageSetup& setup, std::span<const Frame> itemFrames);

}  // namespace PageExportPlan

// Output pixels per world unit when a board is rasterised for image export.
namespace RasterScale {
// The scale that shows the most detailed image at its natural resolution: at least 1, unless the
// board's longer side would then exceed maxEdge pixels (an empty board only takes the first rule).
double full(const BoardLayout& layout, double maxEdge);
// Only fits the board into maxEdge pixels, never enlarging it; 1 for an empty board.
double compact(const BoardLayout& layout, double maxEdge);
}  // namespace RasterScale

}  // namespace zorvi
