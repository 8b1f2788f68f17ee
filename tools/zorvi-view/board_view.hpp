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
                                     std::int32_t height, std::int32_t strideInPixels,
                                     RasterCanvas::Resampling resampling = RasterCanvas::Resampling::fast);

// The last frame, drawn larger than the window by `margin` device pixels on every side, so that a pan
// within the margin moves it instead of drawing the board again.
class ViewFrame {
 public:
  static constexpr std::int32_t margin = 256;

  // Makes the frame show state: draws it again when the zoom, the window or the device scale changed,
  // the pan left the margin, or forget() was called since; otherwise only moves the window over it.
  // While zooming, a new zoom draws a rough frame of the window alone (no margin, nearest pixels); the
  // first update that is not zooming draws it properly. Returns the pictures worth decoding (none when
  // nothing was drawn).
  std::vector<DecodeRequest> update(const OpenBoard& board, const ViewState& state, double deviceScale,
                                    ImageCache& cache, bool zooming = false);
  // The last frame drawn was a rough one.
  bool rough() const { return drawn_ && drawn_->rough; }
  // New pictures arrived, or another board: the next update draws.
  void forget() { drawn_.reset(); }

  // The frame's pixels, and where the window's top-left corner lies in them (device pixels).
  std::span<const std::uint32_t> pixels() const { return pixels_; }
  std::int32_t width() const { return width_; }
  std::int32_t height() const { return height_; }
  std::int32_t windowX() const { return windowX_; }
  std::int32_t windowY() const { return windowY_; }
  // How many updates drew the board, for tests and benchmarks.
  std::uint64_t draws() const { return draws_; }

 private:
  struct Drawn {
    CanvasTransform transform;
    CanvasSize window;
    double deviceScale = 1;
    bool rough = false;
  };
  std::optional<Drawn> drawn_;
  std::vector<std::uint32_t> pixels_;
  std::int32_t width_ = 0, height_ = 0, windowX_ = 0, windowY_ = 0;
  std::uint64_t draws_ = 0;
};

// The kinds the window exports, with the command's defaults: the board's own page setup, no cover or
// footer, the sharpest PNG up to 8192 pixels.
enum class ExportKind { pdf, png, html };

// Writes the export of kind to path, replacing it only once complete; a line saying why it failed,
// else nothing.
std::optional<std::string> exportBoard(const OpenBoard& board, ExportKind kind, const std::filesystem::path& path);

}  // namespace zorvi::view
