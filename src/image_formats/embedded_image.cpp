#include "zorvi/image_formats.hpp"

namespace zorvi::HTMLExporter {
namespace {

// The text after the last "." of the last path component; "" when there is none.
std::string_view fileExtensionOf(std::string_view path) {
  const auto slash = path.rfind('/');
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const auto dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view{} : name.substr(dot + 1);
}

}  // namespace

std::string_view mimeTypeOf(std::span<const std::uint8_t> bytes, std::string_view name) {
  if (const auto format = ImageFormatDetector::detect(bytes)) return mimeType(*format);
  // The name speaks only for bytes that are not an accepted format, so a GIF saved as photo.jpg is
  // labelled image/jpeg: the consumer's decoder, not this label, has the last word.
  if (const auto format = imageFormatFromFileExtension(fileExtensionOf(name))) return mimeType(*format);
  return "application/octet-stream";
}

std::unordered_map<Uuid, std::string> pictureEntries(const Manifest& manifest,
                                                     const std::function<bool(const std::string& path, bool thumbnail)>& holds) {
  std::unordered_map<Uuid, std::string> entries;
  for (const CanvasItem& item : manifest.items) {
    if (item.type != CanvasItem::Type::image || !item.image || !item.thumbnail) continue;
    if (holds(*item.image, false)) {
      entries.insert_or_assign(item.id, *item.image);
    } else if (holds(*item.thumbnail, true)) {
      entries.insert_or_assign(item.id, *item.thumbnail);
    } else {
      // An item without a picture leaves an earlier one of the same id in place.
    }
  }
  return entries;
}

ImageViewMap fullResolutionImageViews(const BoardBundle& bundle) {
  ImageViewMap images;
  for (const CanvasItem& item : bundle.manifest.items) {
    if (item.type != CanvasItem::Type::image || !item.image || !item.thumbnail) continue;
    const Bytes* bytes = nullptr;
    const std::string* name = nullptr;
    if (const auto full = bundle.images.find(*item.image); full != bundle.images.end()) {
      bytes = &full->second, name = &full->first;
    } else if (const auto small = bundle.thumbnails.find(*item.thumbnail); small != bundle.thumbnails.end()) {
      bytes = &small->second, name = &small->first;
    } else {
      continue;
    }
    images.insert_or_assign(item.id, EmbeddedImageView{*bytes, mimeTypeOf(*bytes, *name)});
  }
  return images;
}

ImageMap fullResolutionImages(const BoardBundle& bundle) {
  ImageMap images;
  for (const auto& [id, view] : fullResolutionImageViews(bundle)) {
    images.emplace(id, EmbeddedImage{Bytes(view.data.begin(), view.data.end()), std::string(view.mime)});
  }
  return images;
}

}  // namespace zorvi::HTMLExporter

namespace zorvi {

ImageViewMap viewsOf(const ImageMap& images) {
  ImageViewMap views;
  views.reserve(images.size());
  for (const auto& [id, image] : images) views.emplace(id, EmbeddedImageView{image.data, image.mime});
  return views;
}

}  // namespace zorvi
