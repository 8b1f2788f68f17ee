// Exports drawn natively: the printable pages as a PDF, and the whole board as one PNG.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "zorvi/board_bundle.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/page_chrome.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi {

// Takes an export's bytes in order, piece by piece; false stops the export.
using ByteSink = std::function<bool(std::span<const std::uint8_t>)>;

// Why a native export stopped; the sink may then have seen part of a file, never a whole one.
enum class NativeExportError {
  nothingToDraw,    // no page to print, or a board without area
  tooLarge,         // the picture would be wider or taller than 32,767 pixels
  textUnavailable,  // the text module can't be loaded, and a PDF without its text is no document
  drawingFailed,    // Cairo or the PNG encoder failed, or memory ran out
  sinkRefused,      // the sink returned false
};

namespace PDFExport {

// The pages of the paged HTML export with the same arguments, as PDF sheets in the same order: the
// cover when the chrome asks for one and the board's header has content, then one sheet per plan
// entry. Every sheet is the first entry's size in points; text stays text, shapes and drawings stay
// vectors, a JPEG is embedded as its own bytes, and a picture on several sheets is stored once. The
// document's title is the board's name. Nothing is returned when the whole file reached the sink.
std::optional<NativeExportError> write(const BoardBundle& bundle, const ImageViewMap& images,
                                       std::span<const PageExportPlan::Page> pages,
                                       const CaptionHeights& captionHeights, const PageExportChrome& chrome,
                                       const ByteSink& sink);

}  // namespace PDFExport

namespace PNGExport {

// Which RasterScale rule sizes the picture.
enum class Scale { full, compact };

struct Options {
  Scale scale = Scale::full;
  // The longest side in pixels, at most 32,767.
  double maxEdge = 8192;
  bool operator==(const Options&) const = default;
};

// The picture's size in pixels (each side rounded up, at least 1) and its pixels per world unit.
struct PixelSize {
  std::int32_t width = 0, height = 0;
  double scale = 0;
  bool operator==(const PixelSize&) const = default;
};

// The size the whole-board picture of layout gets; nothingToDraw for a layout without area, tooLarge
// when maxEdge is above 32,767 or not a number.
std::optional<PixelSize> pixelSize(const BoardLayout& layout, const Options& options,
                                   NativeExportError* error = nullptr);

// The whole board (its layout with captions, over its background, on white) as one opaque 8-bit RGB
// PNG. It is drawn in bands of rows that go to the encoder as they are done, so the picture is never
// held whole; each image is decoded once, at the size it is drawn at.
std::optional<NativeExportError> write(const BoardBundle& bundle, const ImageViewMap& images,
                                       const CaptionHeights& captionHeights, const Options& options,
                                       const ByteSink& sink);

}  // namespace PNGExport
}  // namespace zorvi
