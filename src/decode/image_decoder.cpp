#include "zorvi/image_decoder.hpp"

#include <algorithm>

#include "decode/codec_library.hpp"
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

std::optional<std::string> ImageDecoder::missingCodecLibrary(std::span<const std::uint8_t> bytes) {
  const DetectedFormat detected = ImageFormatDetector::identify(bytes);
  const char* soname = nullptr;
  if (detected.acceptedFormat() == ImageFormat::avif) {
    soname = ZORVI_LIBAVIF_SONAME;
  } else if (detected.kind() == DetectedFormat::Case::rejected) {
    const std::string& name = detected.rejectedName();
    if (name == "HEIC") soname = ZORVI_LIBHEIF_SONAME;
    if (name == "JPEG XL") soname = ZORVI_LIBJXL_SONAME;
    if (name == "GIF" || name == "TIFF" || name == "BMP") soname = ZORVI_GDK_PIXBUF_SONAME;
  }
  // Opening again costs nothing once loaded; the codec keeps its handle open anyway.
  if (soname == nullptr || decoding::CodecLibrary(soname)) return std::nullopt;
  return std::string(soname);
}

}  // namespace zorvi
