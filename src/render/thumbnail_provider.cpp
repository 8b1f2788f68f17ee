#include "zorvi/thumbnail_provider.hpp"

#include <memory>
#include <utility>

#include "zorvi/board_file.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi {

void ThumbnailProvider::provideThumbnail(const ThumbnailRequest& request,
                                         const ThumbnailCompletion& completion) const {
  std::optional<Raster> picture;
  {
    // Every entry is checked first, as reading the whole board would; then each picture is read as it is
    // decoded and let go once drawn.
    std::optional<BoardFile> file;
    try {
      file.emplace(BoardFile::openChecked(request.fileURL));
    } catch (const BoardArchiveError& error) {
      completion(std::nullopt, error);
      return;
    }
    const Size& maximum = request.maximumSize;
    const double longer = maximum.width <= maximum.height ? maximum.height : maximum.width;
    picture = BoardPreviewRenderer::render(*file, longer * request.scale, request.onImageLeftOut);
  }  // the board file is closed before the reply is made
  if (!picture) {
    completion(std::nullopt, std::nullopt);
    return;
  }
  const Size contextSize{static_cast<double>(picture->width) / request.scale,
                         static_cast<double>(picture->height) / request.scale};
  auto shared = std::make_shared<const Raster>(std::move(*picture));
  ThumbnailReply reply{contextSize, [shared, contextSize](DrawingContext& context) {
                         context.drawImage(*shared, {0, 0, contextSize.width, contextSize.height});
                         return true;
                       }};
  completion(std::move(reply), std::nullopt);
}

}  // namespace zorvi
