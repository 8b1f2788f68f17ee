// The scale between world units and points, and the grid of pages laid over the canvas.
#pragma once

#include <cstdint>
#include <vector>

#include "zorvi/document.hpp"

namespace zorvi {

namespace PageScale {
// World units per inch: one world unit is one pixel at 110 dots per inch.
inline constexpr double referenceDPI = 110;
// Points (1/72 inch) per world unit.
inline constexpr double pointsPerWorldUnit = 72.0 / 110.0;
}  // namespace PageScale

namespace PageGrid {

// One page of the grid: tile (0, 0) covers x in [0, page width) and y in [0, page height).
struct Tile {
  std::int64_t column = 0;
  std::int64_t row = 0;
  Frame frame;
  bool operator==(const Tile&) const = default;
};

// Most tiles one query or one frame may touch; a rectangle spanning more pages than any
// printer or screen could show gives no tiles rather than exhausting memory.
inline constexpr std::int64_t maxTiles = std::int64_t{1} << 20;

// The tiles of the setup's page grid that rect touches, row by row, left to right. An edge lying
// exactly on a page boundary does not pull in the next page. Empty for a rect of width or
// height ≤ 0 or NaN, a non-finite rect, one whose page indices leave the 64-bit range, or one
// touching more than maxTiles pages.
std::vector<Tile> visibleTiles(const PageSetup& setup, const Frame& rect);

}  // namespace PageGrid
}  // namespace zorvi
