// Which pages of the page grid a paged export prints.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "zorvi/document.hpp"

namespace zorvi::PageExportPlan {

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

}  // namespace zorvi::PageExportPlan
