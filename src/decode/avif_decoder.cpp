// libavif can only decode whole frames, so the size is checked first. A frame to be reduced is turned
// into pixels a band of rows at a time, each folded into the reduction at once: a full-size picture
// would be a large fresh allocation, slow to touch the first time and read once.
#include <algorithm>
#include <bit>
#include <memory>
#include <new>
#include <vector>

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

// The frame's rows [first, end) as an image of their own; the planes stay the decoder's. first is even,
// so a 4:2:0 band starts on a chroma row.
avifImage rowsOf(const avifImage& image, std::int32_t first, std::int32_t end) {
  const std::int32_t chromaShift = image.yuvFormat == AVIF_PIXEL_FORMAT_YUV420 ? 1 : 0;
  avifImage rows = image;
  rows.height = static_cast<std::uint32_t>(end - first);
  rows.imageOwnsYUVPlanes = AVIF_FALSE;
  rows.imageOwnsAlphaPlane = AVIF_FALSE;
  for (int plane = 0; plane < AVIF_PLANE_COUNT_YUV; ++plane) {
    if (!rows.yuvPlanes[plane]) continue;
    const std::int32_t row = plane == AVIF_CHAN_Y ? first : first >> chromaShift;
    rows.yuvPlanes[plane] += static_cast<std::size_t>(row) * image.yuvRowBytes[plane];
  }
  if (rows.alphaPlane) rows.alphaPlane += static_cast<std::size_t>(first) * image.alphaRowBytes;
  return rows;
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

  const auto width = static_cast<std::int32_t>(image->width);
  const auto height = static_cast<std::int32_t>(image->height);
  avifRGBImage rgb;
  lib->avifRGBImageSetDefaults(&rgb, image);
  rgb.depth = 8;
  rgb.format = std::endian::native == std::endian::little ? AVIF_RGB_FORMAT_BGRA : AVIF_RGB_FORMAT_ARGB;
  rgb.alphaPremultiplied = AVIF_TRUE;
  rgb.rowBytes = image->width * 4;

  const ReductionPlan plan = planReduction(width, height, target);
  if (plan.factorX == 1 && plan.factorY == 1) {
    auto raster = allocateRaster(width, height);
    if (!raster) return std::nullopt;
    rgb.pixels = reinterpret_cast<std::uint8_t*>(raster->pixels.data());
    if (lib->avifImageYUVToRGB(image, &rgb) != AVIF_RESULT_OK) return std::nullopt;
    return raster;
  }
  auto reducer = BoxReducer::make(plan, true);
  if (!reducer) return std::nullopt;
  // Upsampled 4:2:0 chroma blends the neighbouring chroma row, so each band is converted with two rows
  // of context on either side, which makes its pixels exactly those of the whole frame's conversion.
  constexpr std::int32_t context = 2;
  const std::int32_t bandRows = std::clamp<std::int32_t>((std::int32_t{1} << 20) / (width * 4), 2, 64) & ~1;
  std::vector<std::uint32_t> band;
  try {
    band.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(bandRows + 2 * context));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  for (std::int32_t top = 0; top < height; top += bandRows) {
    const std::int32_t first = std::max(0, top - context);
    const avifImage part = rowsOf(*image, first, std::min(height, top + bandRows + context));
    avifRGBImage rows = rgb;
    rows.height = part.height;
    rows.pixels = reinterpret_cast<std::uint8_t*>(band.data());
    if (lib->avifImageYUVToRGB(&part, &rows) != AVIF_RESULT_OK) return std::nullopt;
    for (std::int32_t y = top; y < std::min(height, top + bandRows); ++y) {
      const std::size_t offset = static_cast<std::size_t>(y - first) * static_cast<std::size_t>(width);
      reducer->addPremultipliedRow(y, band.data() + offset);
    }
  }
  return reducer->finish();
}

}  // namespace zorvi::decoding
