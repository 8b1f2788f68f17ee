// libavif can only decode whole frames, so the size is checked first and the result reduced after.
#include <bit>
#include <memory>

#include <avif/avif.h>

#include "decode/codec_library.hpp"
#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

struct Avif {
  decltype(&::avifDecoderCreate) avifDecoderCreate;
  decltype(&::avifDecoderDestroy) avifDecoderDestroy;
  decltype(&::avifDecoderSetIOMemory) avifDecoderSetIOMemory;
  decltype(&::avifDecoderParse) avifDecoderParse;
  decltype(&::avifDecoderNextImage) avifDecoderNextImage;
  decltype(&::avifRGBImageSetDefaults) avifRGBImageSetDefaults;
  decltype(&::avifImageYUVToRGB) avifImageYUVToRGB;
};

const Avif* avif() {
  static const std::optional<Avif> table = []() -> std::optional<Avif> {
    const CodecLibrary library(ZORVI_LIBAVIF_SONAME);
    Avif t{};
    if (ZORVI_BIND_CODEC(library, t, avifDecoderCreate) && ZORVI_BIND_CODEC(library, t, avifDecoderDestroy) &&
        ZORVI_BIND_CODEC(library, t, avifDecoderSetIOMemory) && ZORVI_BIND_CODEC(library, t, avifDecoderParse) &&
        ZORVI_BIND_CODEC(library, t, avifDecoderNextImage) &&
        ZORVI_BIND_CODEC(library, t, avifRGBImageSetDefaults) &&
        ZORVI_BIND_CODEC(library, t, avifImageYUVToRGB)) {
      return t;
    }
    return std::nullopt;
  }();
  return table ? &*table : nullptr;
}

}  // namespace

std::optional<Raster> decodeAvif(ByteSpan bytes, Target target) {
  const Avif* lib = avif();
  if (!lib) return std::nullopt;
  std::unique_ptr<avifDecoder, decltype(&::avifDecoderDestroy)> decoder(lib->avifDecoderCreate(),
                                                                        lib->avifDecoderDestroy);
  if (!decoder) return std::nullopt;
  decoder->maxThreads = 1;
  decoder->imageSizeLimit = static_cast<std::uint32_t>(ImageDecoder::maxFullDecodePixels);
  decoder->ignoreExif = AVIF_TRUE;
  decoder->ignoreXMP = AVIF_TRUE;
  // Files that omit boxes a strict reader demands still show fine elsewhere.
  decoder->strictFlags = AVIF_STRICT_DISABLED;
  if (lib->avifDecoderSetIOMemory(decoder.get(), bytes.data(), bytes.size()) != AVIF_RESULT_OK ||
      lib->avifDecoderParse(decoder.get()) != AVIF_RESULT_OK) {
    return std::nullopt;
  }
  const avifImage* image = decoder->image;
  if (!fitsFullDecode(image->width, image->height)) return std::nullopt;
  if (lib->avifDecoderNextImage(decoder.get()) != AVIF_RESULT_OK) return std::nullopt;
  image = decoder->image;
  if (!fitsFullDecode(image->width, image->height)) return std::nullopt;

  auto raster =
      allocateRaster(static_cast<std::int32_t>(image->width), static_cast<std::int32_t>(image->height));
  if (!raster) return std::nullopt;
  avifRGBImage rgb;
  lib->avifRGBImageSetDefaults(&rgb, image);
  rgb.depth = 8;
  rgb.format = std::endian::native == std::endian::little ? AVIF_RGB_FORMAT_BGRA : AVIF_RGB_FORMAT_ARGB;
  rgb.alphaPremultiplied = AVIF_TRUE;
  rgb.pixels = reinterpret_cast<std::uint8_t*>(raster->pixels.data());
  rgb.rowBytes = image->width * 4;
  if (lib->avifImageYUVToRGB(image, &rgb) != AVIF_RESULT_OK) return std::nullopt;
  decoder.reset();  // the frame's planes go before the reduction needs its own memory
  return reduceRaster(std::move(*raster), target);
}

}  // namespace zorvi::decoding
