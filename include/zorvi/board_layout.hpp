// Where a board's items stand once laid out: drawing order, frames relative to the content's
// top-left corner (or to a chosen rectangle), caption frames, and the shared text style constants.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "zorvi/document.hpp"

namespace zorvi {

// Text item sizes in points, small to large.
namespace TextLayout {
inline constexpr double smallFontSize = 24;
inline constexpr double mediumFontSize = 44;
inline constexpr double largeFontSize = 80;
inline constexpr double defaultFontSize = 44;
inline constexpr std::array<double, 3> allSizes{smallFontSize, mediumFontSize, largeFontSize};
}  // namespace TextLayout

// Caption text size and its distance below the image, in world units.
namespace CaptionStyle {
inline constexpr double fontSize = 18;
inline constexpr double gap = 6;
}  // namespace CaptionStyle

// Section title sizes, small to large, and the title's distance from its shape's left, top and right edges.
namespace SectionTitleStyle {
inline constexpr double smallFontSize = 20;
inline constexpr double mediumFontSize = 28;
inline constexpr double largeFontSize = 44;
inline constexpr double defaultFontSize = 28;
inline constexpr double inset = 10;
inline constexpr std::array<double, 3> allSizes{smallFontSize, mediumFontSize, largeFontSize};
}  // namespace SectionTitleStyle

// Measured caption heights in world units, by item id; the layout never measures text itself.
using CaptionHeights = std::unordered_map<Uuid, double>;

// A laid-out board: its size and its items in drawing order. Never fails; NaN frames degrade.
struct BoardLayout {
  // One item in layout space; captionFrame only for captioned images with a positive caption height.
  struct PlacedItem {
    // A full copy of the item.
    CanvasItem item;
    // The item's own frame (without stroke overhang) moved into layout space.
    Frame frame;
    // Under the image: its left edge and width, CaptionStyle::gap below it, the caption height tall.
    std::optional<Frame> captionFrame;

    PlacedItem() = default;
    // The three fields as given.
    PlacedItem(CanvasItem item, Frame frame, std::optional<Frame> captionFrame);

    bool operator==(const PlacedItem&) const = default;
  };

  // Size of the laid-out area in world units, never negative.
  double width = 0;
  double height = 0;
  // Ascending zIndex; items of equal zIndex keep their input order.
  std::vector<PlacedItem> items;

  // An empty layout: 0 × 0, no items.
  BoardLayout() = default;
  // The whole board: the bounding box of every content frame, origin at its top-left corner.
  BoardLayout(std::span<const CanvasItem> items, const CaptionHeights& captionHeights);
  // One rectangle of the canvas (world units): items whose content frame strictly overlaps it, kept
  // whole, origin at its top-left corner; a negative (or NaN) bounds size gives 0.
  BoardLayout(std::span<const CanvasItem> items, const CaptionHeights& captionHeights, const Frame& bounds);

  // The world rectangle the item covers once drawn: a drawing's stroke overhang and a caption included.
  static Frame contentFrame(const CanvasItem& item, const CaptionHeights& captionHeights);

  bool operator==(const BoardLayout&) const = default;
};

}  // namespace zorvi
