// Board thumbnails for KIO's thumbnail worker, which Dolphin and the other KDE applications use.
#include <KIO/ThumbnailCreator>
#include <KPluginFactory>
#include <QImage>

#include <cstring>

#include "isolated_render.hpp"

namespace {

class ZorviThumbnailCreator : public KIO::ThumbnailCreator {
  Q_OBJECT

 public:
  ZorviThumbnailCreator(QObject* parent, const QVariantList& args) : KIO::ThumbnailCreator(parent, args) {}

  KIO::ThumbnailResult create(const KIO::ThumbnailRequest& request) override {
    if (!request.url().isLocalFile()) return KIO::ThumbnailResult::fail();
    const QSize size = request.targetSize();
    const auto picture = zorvi::kde::renderIsolated(request.url().toLocalFile().toStdString(),
                                                    std::max(size.width(), size.height()));
    if (!picture) return KIO::ThumbnailResult::fail();
    // Both are premultiplied 32-bit ARGB words in native byte order.
    QImage image(picture->width, picture->height, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return KIO::ThumbnailResult::fail();
    const auto rowBytes = static_cast<std::size_t>(picture->width) * sizeof(std::uint32_t);
    for (int y = 0; y < picture->height; ++y)
      std::memcpy(image.scanLine(y), picture->pixels.data() + static_cast<std::size_t>(y) * picture->width, rowBytes);
    return KIO::ThumbnailResult::pass(image);
  }
};

}  // namespace

K_PLUGIN_CLASS_WITH_JSON(ZorviThumbnailCreator, "zorvi-thumbnailer.json")

#include "zorvi_thumbnail_creator.moc"
