#include "view_state.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <unordered_map>
#include <utility>

#include "zorvi/page_export_plan.hpp"
#include "zorvi/page_layout.hpp"

namespace zorvi::view {
namespace {

bool overlaps(const Frame& a, const Frame& b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

CanvasPoint centre(CanvasSize window) { return {window.width / 2, window.height / 2}; }

}  // namespace

std::optional<Action> actionForKey(std::string_view keyName) {
  static constexpr std::pair<std::string_view, Action> keys[] = {
      {"plus", Action::zoomIn},          {"equal", Action::zoomIn},        {"KP_Add", Action::zoomIn},
      {"minus", Action::zoomOut},        {"KP_Subtract", Action::zoomOut}, {"0", Action::fit},
      {"KP_0", Action::fit},             {"1", Action::actualSize},        {"KP_1", Action::actualSize},
      {"Left", Action::panLeft},         {"Right", Action::panRight},      {"Up", Action::panUp},
      {"Down", Action::panDown},         {"p", Action::togglePageGrid},    {"F11", Action::toggleFullscreen},
      {"f", Action::toggleFullscreen},
  };
  for (const auto& [name, action] : keys)
    if (name == keyName) return action;
  return std::nullopt;
}

CanvasTransform openingTransform(const Viewport& saved, std::span<const Frame> itemFrames, CanvasSize window) {
  const CanvasTransform stored(saved);
  const Frame shown = stored.toWorld(Frame{0, 0, window.width, window.height});
  if (std::isfinite(stored.zoom) &&
      std::any_of(itemFrames.begin(), itemFrames.end(), [&](const Frame& f) { return overlaps(f, shown); }))
    return stored;
  return BoardFit::transform(itemFrames, window, fitPadding).value_or(CanvasTransform{});
}

ViewState apply(const ViewState& state, Action action, std::span<const Frame> itemFrames) {
  ViewState next = state;
  const auto& t = state.transform;
  const double panX = state.window.width * panShare, panY = state.window.height * panShare;
  switch (action) {
    case Action::zoomIn: next.transform = t.zoomedBy(zoomStep, centre(state.window)); break;
    case Action::zoomOut: next.transform = t.zoomedBy(1 / zoomStep, centre(state.window)); break;
    case Action::fit:
      next.transform = BoardFit::transform(itemFrames, state.window, fitPadding).value_or(t);
      break;
    case Action::actualSize: next.transform = t.zoomedTo(1, centre(state.window)); break;
    // The arrows move the view, so the board moves the other way.
    case Action::panLeft: next.transform = t.panned({panX, 0}); break;
    case Action::panRight: next.transform = t.panned({-panX, 0}); break;
    case Action::panUp: next.transform = t.panned({0, panY}); break;
    case Action::panDown: next.transform = t.panned({0, -panY}); break;
    case Action::togglePageGrid: next.pageGrid = !state.pageGrid; break;
    case Action::toggleFullscreen: next.fullscreen = !state.fullscreen; break;
  }
  return next;
}

Frame visibleWorld(const ViewState& state) {
  return state.transform.toWorld(Frame{0, 0, state.window.width, state.window.height});
}

std::vector<SheetMark> pageGridMarks(const ViewState& state, const PageSetup& setup,
                                     std::span<const Frame> itemFrames) {
  struct CellHash {
    std::size_t operator()(std::pair<std::int64_t, std::int64_t> c) const {
      return std::hash<std::int64_t>{}(c.first * 1000003 ^ c.second);
    }
  };
  std::unordered_map<std::pair<std::int64_t, std::int64_t>, std::int64_t, CellHash> numbers;
  for (const auto& page : PageExportPlan::pages(setup, itemFrames))
    numbers.emplace(std::pair{page.column, page.row}, page.index + 1);

  std::vector<SheetMark> marks;
  for (const auto& tile : PageGrid::visibleTiles(setup, visibleWorld(state))) {
    SheetMark mark{state.transform.toScreen(tile.frame), std::nullopt};
    if (const auto it = numbers.find({tile.column, tile.row}); it != numbers.end()) mark.number = it->second;
    marks.push_back(mark);
  }
  return marks;
}

std::int64_t decodeEdge(double pixels) {
  if (!(pixels > 1)) return 1;
  if (pixels >= 65536) return 65536;
  return static_cast<std::int64_t>(std::bit_ceil(static_cast<std::uint64_t>(std::ceil(pixels))));
}

}  // namespace zorvi::view
