// Decoded pictures kept between frames within a memory budget, and when to decode an image again.
#pragma once
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>

#include "zorvi/document.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi::view {

// A picture held for an image item, decoded so that its longer side covers `edge` pixels.
struct CachedImage {
  std::int64_t edge = 0;
  std::shared_ptr<const Raster> raster;
};

class ImageCache {
 public:
  // A picture this much larger than needed is decoded again smaller, to give the memory back.
  static constexpr std::int64_t shrinkRatio = 4;

  explicit ImageCache(std::size_t budgetBytes) : budget_(budgetBytes) {}

  // The sharp picture held for id, else its preview, else nothing; a hit counts as a use.
  std::shared_ptr<const Raster> find(const Uuid& id);
  // Whether a picture of this edge is worth decoding: none is held, the one held is too small, or
  // it is shrinkRatio times too large.
  bool wants(const Uuid& id, std::int64_t edge) const;
  // Keeps the sharp picture, replacing the one held, then drops the least recently used sharp
  // pictures until the budget holds again (never the one just kept).
  void insert(const Uuid& id, CachedImage image);
  // The picture drawn until a sharp one is ready; previews are small and never evicted.
  void insertPreview(const Uuid& id, std::shared_ptr<const Raster> raster);
  std::size_t sharpBytes() const { return bytes_; }
  void clear();

 private:
  struct Entry {
    CachedImage image;
    std::list<Uuid>::iterator use;
  };
  std::size_t budget_;
  std::size_t bytes_ = 0;
  std::list<Uuid> uses_;  // most recent first
  std::unordered_map<Uuid, Entry> sharp_;
  std::unordered_map<Uuid, std::shared_ptr<const Raster>> previews_;
};

}  // namespace zorvi::view
