#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string_view>
#include <unordered_map>

#include "render/board_drawing.hpp"
#include "render/image_prefetch.hpp"
#include "zorvi/board_renderer.hpp"

namespace zorvi::BoardPreviewRenderer {
namespace {

// Whole pixels, halves away from zero, at least 1; nothing when the count leaves the 64-bit range.
std::optional<std::int64_t> wholePixels(double length) {
  const double rounded = std::round(length);
  // 2^63 is the first double beyond the range; NaN fails the comparison too.
  if (!(rounded < 9223372036854775808.0)) return std::nullopt;
  return std::max<std::int64_t>(static_cast<std::int64_t>(rounded), 1);
}

}  // namespace

std::optional<PixelBudget> pixelBudget(double width, double height, double maxPixel) {
  if (!(width > 0) || !(height > 0) || !(maxPixel > 0)) return std::nullopt;
  const double longer = width <= height ? height : width;
  const double scale = maxPixel / longer;
  const auto pixelWidth = wholePixels(width * scale);
  const auto pixelHeight = wholePixels(height * scale);
  if (!pixelWidth || !pixelHeight) return std::nullopt;
  return PixelBudget{*pixelWidth, *pixelHeight, scale};
}

namespace {

using Bytes = std::span<const std::uint8_t>;

// Draws the board with its pictures from `images`; `done` hears of each picture's bytes once the last item
// showing them has been decoded into pixels.
std::optional<Raster> renderViews(const Manifest& manifest, const ImageViewMap& images, double maxPixel,
                                  const SkippedImageHandler& onSkipped, const std::function<void(Bytes)>& done) {
  const BoardLayout layout(manifest.items, CaptionHeights{});
  const auto budget = pixelBudget(layout.width, layout.height, maxPixel);
  if (!budget || budget->width > std::numeric_limits<std::int32_t>::max() ||
      budget->height > std::numeric_limits<std::int32_t>::max())
    return std::nullopt;
  const auto width = static_cast<std::int32_t>(budget->width);
  const auto height = static_cast<std::int32_t>(budget->height);
  // Decoding is most of a thumbnail's time, and each picture's size is known from its frame: threads
  // decode the next pictures while one is drawn. The pixels are those the drawing would decode.
  std::vector<render::ImagePrefetch::Job> jobs;
  for (const auto& placed : layout.items) {
    if (placed.item.type != CanvasItem::Type::image) continue;
    if (const auto found = images.find(placed.item.id); found != images.end())
      jobs.push_back({placed.item.id, found->second.data, render::targetPixels(placed.frame.width * budget->scale),
                      render::targetPixels(placed.frame.height * budget->scale)});
  }
  std::unordered_map<const std::uint8_t*, std::size_t> uses;
  for (const auto& job : jobs) ++uses[job.bytes.data()];
  render::ImagePrefetch prefetch(std::move(jobs), render::prefetchThreads());
  const render::DecodeFunction decode = [&](const CanvasItem& item, std::span<const std::uint8_t> bytes,
                                            std::int32_t w, std::int32_t h) {
    auto raster = prefetch.take(item.id, bytes, w, h);
    // Bytes that gave no picture stay: the drawing reads them again to say why.
    if (const auto found = uses.find(bytes.data()); found != uses.end() && --found->second == 0 && raster && done)
      done(bytes);
    return raster;
  };
  return RasterCanvas::render(width, height, [&](DrawingContext& context) {
    context.fillRect({0, 0, static_cast<double>(width), static_cast<double>(height)}, {1, 1, 1, 1});
    context.scale(budget->scale, budget->scale);
    render::drawDecoding(layout, context, images, manifest.board.canvas.backgroundColor, onSkipped, decode);
  });
}

}  // namespace

std::optional<Raster> render(const BoardBundle& bundle, double maxPixel, const SkippedImageHandler& onSkipped) {
  return renderViews(bundle.manifest, HTMLExporter::fullResolutionImageViews(bundle), maxPixel, onSkipped, {});
}

std::optional<Raster> render(const BoardFile& file, double maxPixel, const SkippedImageHandler& onSkipped) {
  const auto paths = HTMLExporter::pictureEntries(file.manifest(), [&](const std::string& path, bool thumbnail) {
    return (thumbnail ? file.thumbnailSizes() : file.imageSizes()).contains(path);
  });
  // Views of stored entries cost nothing until read; the drawing only needs the bytes.
  ImageViewMap images;
  std::unordered_map<const std::uint8_t*, std::string_view> pathOf;
  for (const auto& [id, path] : paths) {
    if (const auto bytes = file.view(path)) {
      images.emplace(id, EmbeddedImageView{*bytes, {}});
      pathOf.emplace(bytes->data(), path);
    }
  }
  return renderViews(file.manifest(), images, maxPixel, onSkipped, [&](Bytes bytes) {
    if (const auto found = pathOf.find(bytes.data()); found != pathOf.end() && !bytes.empty())
      file.release(found->second);
  });
}

}  // namespace zorvi::BoardPreviewRenderer
