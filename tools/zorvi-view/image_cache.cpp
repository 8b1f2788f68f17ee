#include "image_cache.hpp"

namespace zorvi::view {
namespace {

std::size_t sizeOf(const std::shared_ptr<const Raster>& raster) {
  return raster ? raster->pixels.size() * sizeof(std::uint32_t) : 0;
}

}  // namespace

std::shared_ptr<const Raster> ImageCache::find(const Uuid& id) {
  if (const auto it = sharp_.find(id); it != sharp_.end()) {
    uses_.splice(uses_.begin(), uses_, it->second.use);
    return it->second.image.raster;
  }
  if (const auto it = previews_.find(id); it != previews_.end()) return it->second;
  return nullptr;
}

bool ImageCache::wants(const Uuid& id, std::int64_t edge) const {
  const auto it = sharp_.find(id);
  if (it == sharp_.end()) return true;
  const std::int64_t held = it->second.image.edge;
  return held < edge || held >= edge * shrinkRatio;
}

void ImageCache::insert(const Uuid& id, CachedImage image) {
  if (const auto it = sharp_.find(id); it != sharp_.end()) {
    bytes_ -= sizeOf(it->second.image.raster);
    uses_.erase(it->second.use);
    sharp_.erase(it);
  }
  bytes_ += sizeOf(image.raster);
  uses_.push_front(id);
  sharp_.emplace(id, Entry{std::move(image), uses_.begin()});
  while (bytes_ > budget_ && uses_.size() > 1) {
    const auto oldest = sharp_.find(uses_.back());
    bytes_ -= sizeOf(oldest->second.image.raster);
    sharp_.erase(oldest);
    uses_.pop_back();
  }
}

void ImageCache::insertPreview(const Uuid& id, std::shared_ptr<const Raster> raster) {
  previews_.insert_or_assign(id, std::move(raster));
}

void ImageCache::clear() {
  sharp_.clear();
  previews_.clear();
  uses_.clear();
  bytes_ = 0;
}

}  // namespace zorvi::view
