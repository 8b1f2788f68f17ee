// The range of grid cells a frame overlaps, shared by the grid query and the export plan.
#pragma once

#include <cstdint>
#include <optional>

#include "zorvi/document.hpp"

namespace zorvi::pages {

struct CellRange {
  std::int64_t c0, c1, r0, r1;
  std::int64_t count() const { return (c1 - c0 + 1) * (r1 - r0 + 1); }
};

// Columns c0…c1 and rows r0…r1 that rect overlaps on pages of pageSize; nothing when rect is
// empty, NaN, beyond the 64-bit index range, or spans more than PageGrid::maxTiles cells.
std::optional<CellRange> cellsOverlapping(const Frame& rect, PageSize pageSize);

}  // namespace zorvi::pages
