// The HTML exports of a board: one self-contained page, and printable pages.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zorvi/board_bundle.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/page_chrome.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi::HTMLExporter {

// "export" is a C++ keyword, so the single-page document is exportBoard.
// The board as one self-contained page, with the pictures of fullResolutionImages(bundle).
std::string exportBoard(const BoardBundle& bundle, const CaptionHeights& captionHeights);

// The board as one self-contained page: world units as CSS pixels, pictures as data URIs,
// drawings as inline SVG. Items that cannot be drawn are left out; it never fails.
std::string exportBoard(const BoardBundle& bundle, const ImageMap& images, const CaptionHeights& captionHeights);

// The board as printable pages: an optional cover, then one page per plan entry in list order,
// each sized as the first entry, with the chrome's margins and footer. It never fails.
std::string exportPaged(const BoardBundle& bundle, const ImageMap& images,
                        const std::vector<PageExportPlan::Page>& pages, const CaptionHeights& captionHeights,
                        const PageExportChrome& chrome);

// Where a document written piece by piece goes.
using TextSink = std::function<void(std::string_view)>;
using ByteSink = std::function<void(std::span<const std::uint8_t>)>;

// A picture handed over in pieces rather than held whole.
struct PictureStream {
  std::string mime;
  std::uint64_t size = 0;  // how many bytes read hands over
  std::function<void(const ByteSink&)> read;
};
// The picture of an item, asked for when the document reaches the item; absent when it has none.
using PictureLookup = std::function<std::optional<PictureStream>(const CanvasItem& item)>;

// The pictures of an image map, for the writing forms below; the map must outlive the lookup.
PictureLookup picturesOf(const ImageViewMap& images);

// exportBoard, handed to `out` piece by piece as it is written: besides the manifest and its layout,
// memory holds a few pages of markup and a chunk of one picture, whatever the board. Exceptions from the
// pictures' readers and from `out` pass through, ending the document where it stands.
void writeBoard(const Manifest& manifest, const PictureLookup& pictures, const CaptionHeights& captionHeights,
                const TextSink& out);
// exportPaged, written the same way; an item on several pages has its picture read for each.
void writePaged(const Manifest& manifest, const PictureLookup& pictures,
                const std::vector<PageExportPlan::Page>& pages, const CaptionHeights& captionHeights,
                const PageExportChrome& chrome, const TextSink& out);

// The element of one placed item, one line; absent when the item cannot be drawn.
std::optional<std::string> renderedElement(const BoardLayout::PlacedItem& placed, const ImageMap& images);

// The title line of a shape with a title that fits inside it; absent otherwise.
std::optional<std::string> sectionTitleElement(const BoardLayout::PlacedItem& placed, std::string_view background);

// The caption line of an item with a caption frame and a non-empty caption; absent otherwise.
std::optional<std::string> captionElement(const BoardLayout::PlacedItem& placed, std::string_view color);

// A length for the document: rounded to hundredths (halves away from zero), trailing zeros and
// point dropped, "nan" for NaN, "0" for negative zero. Integral values beyond the 64-bit range
// are written with all their digits and no point; infinities as "inf" or "-inf".
std::string fmt(double value);

// The text trimmed of spaces and tabs when it is "#" and 3 or 6 hex digits (full-width digits
// too), counted as user-perceived characters; absent otherwise.
std::optional<std::string> validColor(const std::optional<std::string>& text);

// validColor of the text, or "#FFFFFF" when it fails.
std::string sanitizedColor(std::string_view text);

// The text with & < > " ' replaced by entities, walked by user-perceived character, so a
// character carrying a combining mark stays as it is.
std::string escape(std::string_view text);

// "#FFFFFF" over a background of luminance below 0.5, else "#000000" (unparsable included).
std::string contrastColor(std::string_view background);

}  // namespace zorvi::HTMLExporter
