// Canvas items for tests, with ids made from small numbers: maps keyed by them iterate in number order.
#pragma once

#include "zorvi/document.hpp"

namespace zorvi::testing {

inline Uuid idNumber(std::uint64_t n) {
  Uuid id;
  for (int i = 0; i < 8; ++i) id.bytes[15 - i] = static_cast<std::uint8_t>(n >> (8 * i));
  return id;
}

// An image item whose entries are named after its id, 4 × 4 pixels.
inline CanvasItem imageItem(std::uint64_t n, Frame frame, std::optional<std::string> caption = {},
                            std::optional<CaptionAlignment> alignment = {}, std::int64_t zIndex = 0) {
  const std::string name = idNumber(n).string() + ".png";
  return CanvasItem(idNumber(n), "images/" + name, "thumbnails/" + name, frame, zIndex, PixelSize{4, 4}, ItemSource{},
                    std::move(caption), alignment, false, std::nullopt);
}

template <typename Content>
CanvasItem contentItem(std::uint64_t n, Content content, Frame frame = {}, std::int64_t zIndex = 0) {
  return CanvasItem(idNumber(n), std::move(content), frame, zIndex, false, std::nullopt);
}

}  // namespace zorvi::testing
