// Drawing a laid-out board into a DrawingContext, and rasterising a whole board into a bitmap.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zorvi/board_bundle.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/drawing_context.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi {

// An image item that a drawing left out, and why, for telling the person who asked for the picture.
struct SkippedImage {
  enum class Reason {
    missingEntry,  // the board holds neither its image nor its thumbnail entry
    undecodable,   // the bytes are not an image the decoders read
    codecMissing,  // the codec library for its format is not installed (library names it)
  };
  Uuid item;
  std::string image;  // the entry path the item names
  Reason reason = Reason::missingEntry;
  std::string library;
  bool operator==(const SkippedImage&) const = default;
};
using SkippedImageHandler = std::function<void(const SkippedImage&)>;

// Where a drawing gets an image item's pixels: at least pixelWidth × pixelHeight where the source
// allows, or nothing to leave the item out. Lets a viewer draw from pictures it decoded earlier.
using ImageProvider = std::function<std::shared_ptr<const Raster>(const CanvasItem& item, std::int32_t pixelWidth,
                                                                  std::int32_t pixelHeight)>;

namespace BoardCGRenderer {

// The colour of a stored hex string: trimmed of Unicode white space, "#" required, then 6 hex digits
// (or 3, each doubled), where "+" and five digits or "-" and five zeros also read; opaque. Nothing
// for any other string.
std::optional<Color> cgColor(std::string_view hex);

// Draws the layout into context, whose units are layout units and whose y axis points up: the
// background when backgroundHex parses (over max(width, 1) × max(height, 1)), then each item in layout
// order, decoding each image at the pixel size it is drawn at and releasing it right after. What can't
// be drawn (missing or undecodable image, missing content, bad colour) is left out.
// onSkipped, when given, hears of every image item left out.
void draw(const BoardLayout& layout, DrawingContext& context, const ImageMap& images,
          std::string_view backgroundHex, const SkippedImageHandler& onSkipped = {});
// The same over views of the images, so a caller holding the bundle copies no bytes.
void draw(const BoardLayout& layout, DrawingContext& context, const ImageViewMap& images,
          std::string_view backgroundHex, const SkippedImageHandler& onSkipped = {});

// The same with the images from provider.
void draw(const BoardLayout& layout, DrawingContext& context, const ImageProvider& images,
          std::string_view backgroundHex);
}  // namespace BoardCGRenderer

namespace BoardPreviewRenderer {

// Bitmap size of a width × height layout whose longer side gets maxPixel pixels: each side rounded to
// the nearest whole pixel (halves away from zero), at least 1; scale is pixels per layout unit.
struct PixelBudget {
  std::int64_t width = 0, height = 0;
  double scale = 0;
  bool operator==(const PixelBudget&) const = default;
};

// Nothing when width, height or maxPixel is not greater than 0 (NaN included) or a side overflows.
std::optional<PixelBudget> pixelBudget(double width, double height, double maxPixel);

// The board without captions on white, its longer side maxPixel pixels (see pixelBudget). Nothing for
// an empty layout, a budget of 0 or less, or a bitmap too large to make (a side above 32,767).
std::optional<Raster> render(const BoardBundle& bundle, double maxPixel, const SkippedImageHandler& onSkipped = {});
// The same picture from a board read entry by entry: each picture's bytes are read as it is decoded and
// let go once it is drawn, so memory holds a few pictures whatever the board. A damaged entry the
// BoardFile has not checked throws BoardArchiveError.
std::optional<Raster> render(const BoardFile& file, double maxPixel, const SkippedImageHandler& onSkipped = {});

}  // namespace BoardPreviewRenderer
}  // namespace zorvi
