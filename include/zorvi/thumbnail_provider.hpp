// Answering a thumbnail request for a board file: a picture to draw, the read error, or nothing.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "zorvi/board_bundle.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/drawing_context.hpp"

namespace zorvi {

// A width and a height in points.
struct Size {
  double width = 0, height = 0;
  bool operator==(const Size&) const = default;
};

// What a host asks for: the board file, the size (points) the picture must fit, pixels per point.
struct ThumbnailRequest {
  std::filesystem::path fileURL;
  Size maximumSize;
  double scale = 1;
  // Hears of every image item the picture leaves out, so a host can say why; optional.
  SkippedImageHandler onImageLeftOut;
};

// A rendered board: contextSize is its pixel size divided by the scale (fractions kept); drawingBlock
// draws it stretched over (0, 0, contextSize) of the context it is given and returns true. The
// callback owns its picture and only reads it, so it may run later on any thread.
struct ThumbnailReply {
  Size contextSize;
  std::function<bool(DrawingContext&)> drawingBlock;
};

// Called once with a reply, or with the read error, or with neither (nothing to draw).
using ThumbnailCompletion =
    std::function<void(std::optional<ThumbnailReply> reply, std::optional<BoardArchiveError> error)>;

// Stateless; one provider may serve requests from several threads at once.
class ThumbnailProvider {
 public:
  // Reads the board, renders it with its longer side = the request's longer side × scale pixels, and
  // calls completion exactly once before returning.
  void provideThumbnail(const ThumbnailRequest& request, const ThumbnailCompletion& completion) const;
};

}  // namespace zorvi
