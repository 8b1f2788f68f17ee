// A board opened for viewing, and the drawing of one frame of it from the pictures held so far.
#pragma once
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "image_cache.hpp"
#include "view_state.hpp"
#include "zorvi/board_bundle.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/native_export.hpp"

namespace zorvi::view {

struct OpenBoard {
  std::shared_ptr<const BoardBundle> bundle;
  CaptionHeights captions;
  std::vector<Frame> contentFrames;  // what fitting and the page plan look at
  ImageViewMap full;                 // the full image entries (else thumbnails), viewing bundle
  ImageViewMap reduced;              // the thumbnail entries (else full images), viewing bundle
  std::vector<SkippedImage> missing; // image items with neither entry
};

// Reads the board (throws BoardArchiveError) and measures its captions.
OpenBoard openBoard(const std::filesystem::path& path);

// Decodes every image's reduced copy on `threads` threads into the cache's previews.
void decodePreviews(const OpenBoard& board, ImageCache& cache, unsigned threads);

// An image the frame wanted sharper than the cache held, at device pixels.
struct DecodeRequest {
  Uuid item;
  std::int64_t edge = 0;
  std::int32_t width = 0, height = 0;
  bool operator==(const DecodeRequest&) const = default;
};

// Draws what the window shows into pixels (width × height device pixels, ARGB premultiplied) at
// deviceScale pixels per screen point, from the pictures the cache holds, and lists the sharper
// pictures worth decoding.
std::vector<DecodeRequest> drawFrame(const OpenBoard& board, const ViewState& state, double deviceScale,
                                     ImageCache& cache, std::span<std::uint32_t> pixels, std::int32_t width,
                                     std::int32_t height, std::int32_t strideInPixels);

// The kinds the window exports, with the command's defaults: the board's own page setup, no cover or
// footer, the sharpest PNG up to 8192 pixels.
enum class ExportKind { pdf, png, html };

// Writes the export of kind to path, replacing it only once complete; a line saying why it failed,
// else nothing.
std::optional<std::string> exportBoard(const OpenBoard& board, ExportKind kind, const std::filesystem::path& path);

}  // namespace zorvi::view
