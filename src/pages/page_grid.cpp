#include "zorvi/page_layout.hpp"

#include <cmath>

#include "pages/page_cells.hpp"

namespace zorvi {
namespace pages {
namespace {

// A page index as a 64-bit integer, or nothing when the value does not fit.
std::optional<std::int64_t> pageIndex(double value) {
  // 2^63 is exact in double; anything at or above it, or NaN, fails the range test.
  constexpr double limit = 9223372036854775808.0;
  if (!(value >= -limit && value < limit)) return std::nullopt;
  return static_cast<std::int64_t>(value);
}

}  // namespace

std::optional<CellRange> cellsOverlapping(const Frame& rect, PageSize pageSize) {
  if (!(rect.width > 0) || !(rect.height > 0)) return std::nullopt;
  const auto c0 = pageIndex(std::floor(rect.x / pageSize.width));
  const auto c1 = pageIndex(std::ceil((rect.x + rect.width) / pageSize.width) - 1);
  const auto r0 = pageIndex(std::floor(rect.y / pageSize.height));
  const auto r1 = pageIndex(std::ceil((rect.y + rect.height) / pageSize.height) - 1);
  if (!c0 || !c1 || !r0 || !r1 || *c1 < *c0 || *r1 < *r0) return std::nullopt;
  // Differences are compared in unsigned arithmetic so spans near the 64-bit ends cannot overflow.
  const auto columns = static_cast<std::uint64_t>(*c1) - static_cast<std::uint64_t>(*c0);
  const auto rows = static_cast<std::uint64_t>(*r1) - static_cast<std::uint64_t>(*r0);
  constexpr auto cap = static_cast<std::uint64_t>(PageGrid::maxTiles);
  if (columns >= cap || rows >= cap || (columns + 1) * (rows + 1) > cap) return std::nullopt;
  return CellRange{*c0, *c1, *r0, *r1};
}

}  // namespace pages

std::vector<PageGrid::Tile> PageGrid::visibleTiles(const PageSetup& setup, const Frame& rect) {
  const PageSize page = setup.size();
  const auto cells = pages::cellsOverlapping(rect, page);
  if (!cells) return {};
  std::vector<Tile> tiles;
  tiles.reserve(static_cast<std::size_t>(cells->count()));
  for (std::int64_t r = cells->r0; r <= cells->r1; ++r) {
    for (std::int64_t c = cells->c0; c <= cells->c1; ++c) {
      tiles.push_back({c, r, Frame{page.width * static_cast<double>(c), page.height * static_cast<double>(r),
                                   page.width, page.height}});
    }
  }
  return tiles;
}

}  // namespace zorvi
