// libjxl decodes whole frames; orientation is applied by the decoder, as it belongs to the image.
#include <cstring>
#include <memory>

#include <jxl/decode.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

// Every event we wait for comes within a few calls once all input is there; more means a stuck decoder.
constexpr int maxDecoderSteps = 64;

}  // namespace

std::optional<Raster> decodeJxl(ByteSpan bytes, Target target) {
  std::unique_ptr<JxlDecoder, decltype(&JxlDecoderDestroy)> decoder(JxlDecoderCreate(nullptr), JxlDecoderDestroy);
  if (!decoder) return std::nullopt;
  JxlDecoder* dec = decoder.get();
  if (JxlDecoderSubscribeEvents(dec, JXL_DEC_BASIC_INFO | JXL_DEC_FULL_IMAGE) != JXL_DEC_SUCCESS ||
      JxlDecoderSetInput(dec, bytes.data(), bytes.size()) != JXL_DEC_SUCCESS) {
    return std::nullopt;
  }
  JxlDecoderCloseInput(dec);
  const JxlPixelFormat format{4, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  std::optional<Raster> raster;
  for (int step = 0; step < maxDecoderSteps; ++step) {
    switch (JxlDecoderProcessInput(dec)) {
      case JXL_DEC_BASIC_INFO: {
        JxlBasicInfo info{};
        if (JxlDecoderGetBasicInfo(dec, &info) != JXL_DEC_SUCCESS || !fitsFullDecode(info.xsize, info.ysize)) {
          return std::nullopt;
        }
        // Straight alpha out, whatever the file stores; it is premultiplied below.
        if (info.alpha_premultiplied && JxlDecoderSetUnpremultiplyAlpha(dec, JXL_TRUE) != JXL_DEC_SUCCESS) {
          return std::nullopt;
        }
        const bool turned = info.orientation >= JXL_ORIENT_TRANSPOSE;
        raster = allocateRaster(static_cast<std::int32_t>(turned ? info.ysize : info.xsize),
                                static_cast<std::int32_t>(turned ? info.xsize : info.ysize));
        if (!raster) return std::nullopt;
        break;
      }
      case JXL_DEC_NEED_IMAGE_OUT_BUFFER: {
        std::size_t size = 0;
        if (!raster || JxlDecoderImageOutBufferSize(dec, &format, &size) != JXL_DEC_SUCCESS ||
            size != raster->pixels.size() * 4 ||
            JxlDecoderSetImageOutBuffer(dec, &format, raster->pixels.data(), size) != JXL_DEC_SUCCESS) {
          return std::nullopt;
        }
        break;
      }
      case JXL_DEC_FULL_IMAGE: {
        decoder.reset();
        for (std::uint32_t& pixel : raster->pixels) {
          std::uint8_t rgba[4];
          std::memcpy(rgba, &pixel, 4);
          const std::uint32_t a = rgba[3];
          pixel = packArgb(a, premultiply(rgba[0], a), premultiply(rgba[1], a), premultiply(rgba[2], a));
        }
        return reduceRaster(std::move(*raster), target);
      }
      default:  // an error, input that ends early, or success without a frame
        return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace zorvi::decoding
