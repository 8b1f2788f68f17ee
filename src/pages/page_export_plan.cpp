#include "zorvi/page_export_plan.hpp"

#include <algorithm>
#include <utility>

#include "pages/page_cells.hpp"

namespace zorvi {

std::vector<PageExportPlan::Page> PageExportPlan::pages(const PageSetup& setup, std::span<const Frame> itemFrames) {
  const PageSize page = setup.size();
  // (row, column) pairs sort straight into reading order.
  std::vector<std::pair<std::int64_t, std::int64_t>> cells;
  for (const Frame& frame : itemFrames) {
    const auto range = pages::cellsOverlapping(frame, page);
    if (!range) continue;
    for (std::int64_t r = range->r0; r <= range->r1; ++r) {
      for (std::int64_t c = range->c0; c <= range->c1; ++c) cells.emplace_back(r, c);
    }
  }
  std::sort(cells.begin(), cells.end());
  cells.erase(std::unique(cells.begin(), cells.end()), cells.end());

  std::vector<Page> result;
  result.reserve(cells.size());
  for (const auto& [row, column] : cells) {
    result.push_back({static_cast<std::int64_t>(result.size()), column, row,
                      Frame{page.width * static_cast<double>(column), page.height * static_cast<double>(row),
                            page.width, page.height}});
  }
  return result;
}

double RasterScale::full(const BoardLayout& layout, double maxEdge) {
  double scale = 1;
  for (const auto& placed : layout.items) {
    const Frame& frame = placed.frame;
    if (!(frame.width > 0) || !(frame.height > 0) || !placed.item.naturalSize) continue;
    const double ratio = std::max(static_cast<double>(placed.item.naturalSize->width) / frame.width,
                                  static_cast<double>(placed.item.naturalSize->height) / frame.height);
    if (ratio > scale) scale = ratio;
  }
  const double edge = std::max(layout.width, layout.height);
  if (edge > 0 && maxEdge / edge < scale) scale = maxEdge / edge;
  return scale;
}

double RasterScale::compact(const BoardLayout& layout, double maxEdge) {
  const double edge = std::max(layout.width, layout.height);
  if (!(edge > 0)) return 1;
  return std::min(maxEdge / edge, 1.0);
}

}  // namespace zorvi
