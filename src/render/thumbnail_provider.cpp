#include "zorvi/thumbnail_provider.hpp"

#include <memory>
#include <utility>

#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi {

void ThumbnailProvider::provideThumbnail(const ThumbnailRequest& request,
                                         const ThumbnailCompletion& completion) const {
  std::optional<Raster> picture;
  {
    BoardBundle bundle;
    try {
      bundle = BoardArchive::read(request.fileURL);
    } catch (const BoardArchiveError& error) {
      completion(std::nullopt, error);
      return;
    }
    const Size& maximum = request.maximumSize;
    const double longer = maximum.width <= maximum.height ? maximum.height : maximum.width;
    picture = BoardPreviewRenderer::render(bundle, longer * request.scale, request.onImageLeftOut);
  }  // the bundle, with every image's bytes, is gone before the reply is made
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
