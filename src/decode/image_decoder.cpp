#include "zorvi/image_decoder.hpp"

#include <algorithm>

#include "decode/codecs.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi {

std::optional<Raster> ImageDecoder::decode(std::span<const std::uint8_t> bytes, std::int32_t targetWidth,
                                           std::int32_t targetHeight) {
  using namespace decoding;
  const Target target{std::max(targetWidth, 1), std::max(targetHeight, 1)};
  const DetectedFormat detected = ImageFormatDetector::identify(bytes);
  if (const auto format = detected.acceptedFormat()) {
    switch (*format) {
      case ImageFormat::jpeg:
        return decodeJpeg(bytes, target);
      case ImageFormat::png:
        return decodePng(bytes, target);
      case ImageFormat::webp:
        return decodeWebp(bytes, target);
      case ImageFormat::avif:
        return decodeAvif(bytes, target);
    }
    return std::nullopt;
  }
  // Formats a board does not take may still sit in one, put there by other tools; show them as the
  // desktop would.
  const std::string& name = detected.rejectedName();
  if (name == "HEIC") return decodeHeif(bytes, target);
  if (name == "JPEG XL") return decodeJxl(bytes, target);
  if (name == "GIF") return decodeWithPixbuf(bytes, PixbufFormat::gif, target);
  if (name == "TIFF") return decodeWithPixbuf(bytes, PixbufFormat::tiff, target);
  if (name == "BMP") return decodeWithPixbuf(bytes, PixbufFormat::bmp, target);
  return std::nullopt;
}

}  // namespace zorvi
