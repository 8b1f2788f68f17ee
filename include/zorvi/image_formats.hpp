// What kind of image a byte string holds, judged by its leading bytes alone, and the image map that
// pairs each image item of a board with the bytes to show and their MIME type.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "zorvi/board_bundle.hpp"
#include "zorvi/document.hpp"

namespace zorvi {

// The formats a board accepts.
enum class ImageFormat { jpeg, png, webp, avif };

// Every accepted format, in declaration order.
inline constexpr std::array<ImageFormat, 4> allImageFormats{ImageFormat::jpeg, ImageFormat::png,
                                                            ImageFormat::webp, ImageFormat::avif};

// The stored string: "jpeg", "png", "webp", "avif".
std::string_view rawValue(ImageFormat format);
// The exact, case-sensitive reverse of rawValue.
std::optional<ImageFormat> parseImageFormat(std::string_view raw);
// "image/jpeg", "image/png", "image/webp", "image/avif".
std::string_view mimeType(ImageFormat format);
// "jpg", "png", "webp", "avif".
std::string_view fileExtension(ImageFormat format);
// "jpg" or "jpeg", "png", "webp", "avif" in any letter case; nothing for any other extension or "".
std::optional<ImageFormat> imageFormatFromFileExtension(std::string_view extension);

// The verdict on some bytes: an accepted format, a recognised format that boards do not take (with its
// display name), or nothing recognised.
class DetectedFormat {
 public:
  // Which of the three verdicts; the payload depends on it.
  enum class Case { accepted, rejected, unknown };

  // Bytes in a format boards take.
  static DetectedFormat accepted(ImageFormat format) { return {Case::accepted, format, {}}; }
  // name: "GIF", "TIFF", "JPEG XL", "BMP" or "HEIC".
  static DetectedFormat rejected(std::string name) { return {Case::rejected, {}, std::move(name)}; }
  // Nothing recognised.
  static DetectedFormat unknown() { return {Case::unknown, {}, {}}; }

  // The verdict's case.
  Case kind() const { return kind_; }
  // The format of an accepted verdict; nothing otherwise.
  std::optional<ImageFormat> acceptedFormat() const {
    return kind_ == Case::accepted ? std::optional(format_) : std::nullopt;
  }
  // The display name of a rejected verdict; empty otherwise.
  const std::string& rejectedName() const { return name_; }

  // Same case and equal payload.
  bool operator==(const DetectedFormat&) const = default;

 private:
  DetectedFormat(Case kind, ImageFormat format, std::string name)
      : kind_(kind), format_(format), name_(std::move(name)) {}

  Case kind_;
  ImageFormat format_;
  std::string name_;
};

namespace ImageFormatDetector {
// Sniffs the leading bytes: reads at most the first 16, and 64 for an ISO base media ("ftyp") file.
DetectedFormat identify(std::span<const std::uint8_t> bytes);
// The format when identify accepts the bytes; nothing when it rejects them or knows nothing.
std::optional<ImageFormat> detect(std::span<const std::uint8_t> bytes);
}  // namespace ImageFormatDetector

// Image bytes ready to inline or decode, unchanged from the board file.
struct EmbeddedImage {
  Bytes data;
  std::string mime;
  bool operator==(const EmbeddedImage&) const = default;
};

// Item id to the bytes to show for that image item.
using ImageMap = std::unordered_map<Uuid, EmbeddedImage>;

// An image's bytes and MIME type, viewed where they lie; valid while their owner lives.
struct EmbeddedImageView {
  std::span<const std::uint8_t> data;
  std::string_view mime;
};

// Item id to a view of the bytes to show for that image item.
using ImageViewMap = std::unordered_map<Uuid, EmbeddedImageView>;

// Views of every entry of images.
ImageViewMap viewsOf(const ImageMap& images);

namespace HTMLExporter {
// For each image item naming both an image and a thumbnail: the full image's bytes, else the
// thumbnail's, else no entry. The MIME type comes from the bytes when they are an accepted format,
// else from the entry's file extension, else "application/octet-stream". A later item of the same
// id replaces an earlier one.
ImageMap fullResolutionImages(const BoardBundle& bundle);
// The same pictures as views into the bundle, for callers that only read them: nothing is copied.
ImageViewMap fullResolutionImageViews(const BoardBundle& bundle);
// The same choice for a board whose entries are known by path only: by item id, the path of the entry
// to show. `holds` answers whether the board's images (or, when `thumbnail` is set, its thumbnails)
// include an entry at `path`.
std::unordered_map<Uuid, std::string> pictureEntries(
    const Manifest& manifest, const std::function<bool(const std::string& path, bool thumbnail)>& holds);
// The MIME type given to the entry at `path` whose bytes begin with `head`; the first 64 bytes decide.
std::string_view mimeTypeOf(std::span<const std::uint8_t> head, std::string_view path);
}  // namespace HTMLExporter

}  // namespace zorvi
