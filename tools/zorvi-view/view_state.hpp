// What the viewer shows and how input moves it, free of any toolkit so it can be tested headless.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "zorvi/canvas_transform.hpp"
#include "zorvi/document.hpp"

namespace zorvi::view {

// Space left around the board when it is fitted to the window, in screen points.
inline constexpr double fitPadding = 24;
// One press of + or - zooms by this factor; one arrow press pans by this share of the window.
inline constexpr double zoomStep = 1.25;
inline constexpr double panShare = 0.1;

enum class Action {
  zoomIn,
  zoomOut,
  fit,
  actualSize,
  panLeft,
  panRight,
  panUp,
  panDown,
  togglePageGrid,
  toggleFullscreen,
};

// The action of a key, named as the toolkit names key symbols ("plus", "KP_Add", "Left", "F11").
std::optional<Action> actionForKey(std::string_view keyName);

struct ViewState {
  CanvasTransform transform;
  CanvasSize window;  // screen points
  bool pageGrid = false;
  bool fullscreen = false;
  bool operator==(const ViewState&) const = default;
};

// Where a board opens: its saved viewport when that shows any item, else fitted to the window.
CanvasTransform openingTransform(const Viewport& saved, std::span<const Frame> itemFrames, CanvasSize window);

// The state after an action; fit needs the frames of what is to be fitted.
ViewState apply(const ViewState& state, Action action, std::span<const Frame> itemFrames);

// The world rectangle the window shows.
Frame visibleWorld(const ViewState& state);

// One sheet of the page grid as drawn over the view: its screen rectangle, and its number in the
// export's order (1-based, as the sheets' footers count), absent for a sheet no export prints.
struct SheetMark {
  Frame screen;
  std::optional<std::int64_t> number;
  bool operator==(const SheetMark&) const = default;
};

std::vector<SheetMark> pageGridMarks(const ViewState& state, const PageSetup& setup,
                                     std::span<const Frame> itemFrames);

// The edge an image drawn `pixels` device pixels long is decoded at: rounded up to a power of two so
// that small zoom steps reuse what is cached; from 1 to 65,536.
std::int64_t decodeEdge(double pixels);

}  // namespace zorvi::view
