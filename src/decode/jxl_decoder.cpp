// libjxl decodes whole frames; orientation is applied by the decoder, as it belongs to the image.
#include <memory>

#include <jxl/decode.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

// Every event we wait for comes within a few calls once all input is there; more means a stuck decoder.
constexpr int maxDecoderSteps = 64;
// Pixels arrive group by group rather than row by row, so sums for the whole output stay open (16 bytes a
// pixel); keep that within 64 MB.
constexpr std::int64_t maxOutputPixels = std::int64_t{4} << 20;

void onPixels(void* reducer, std::size_t x, std::size_t y, std::size_t count, const void* pixels) {
  static_cast<BoxReducer*>(reducer)->addRgba(static_cast<std::int32_t>(y), static_cast<std::int32_t>(x), 1,
                                             static_cast<std::int32_t>(count),
                                             static_cast<const std::uint8_t*>(pixels));
}

}  // namespace

std::optional<Raster> decodeJxl(ByteSpan bytes, Target target) {
  std::unique_ptr<JxlDecoder, decltype(&JxlDecoderDestroy)> decoder(JxlDecoderCreate(nullptr),
                                                                    JxlDecoderDestroy);
  if (!decoder) return std::nullopt;
  JxlDecoder* dec = decoder.get();
  if (JxlDecoderSubscribeEvents(dec, JXL_DEC_BASIC_INFO | JXL_DEC_FULL_IMAGE) != JXL_DEC_SUCCESS ||
      JxlDecoderSetInput(dec, bytes.data(), bytes.size()) != JXL_DEC_SUCCESS) {
    return std::nullopt;
  }
  JxlDecoderCloseInput(dec);
  const JxlPixelFormat format{4, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  std::optional<BoxReducer> reducer;
  for (int step = 0; step < maxDecoderSteps; ++step) {
    switch (JxlDecoderProcessInput(dec)) {
      case JXL_DEC_BASIC_INFO: {
        JxlBasicInfo info{};
        if (JxlDecoderGetBasicInfo(dec, &info) != JXL_DEC_SUCCESS ||
            !fitsFullDecode(info.xsize, info.ysize)) {
          return std::nullopt;
        }
        // Straight alpha out, whatever the file stores.
        if (info.alpha_premultiplied && JxlDecoderSetUnpremultiplyAlpha(dec, JXL_TRUE) != JXL_DEC_SUCCESS) {
          return std::nullopt;
        }
        const bool turned = info.orientation >= JXL_ORIENT_TRANSPOSE;
        const auto width = static_cast<std::int32_t>(turned ? info.ysize : info.xsize);
        const auto height = static_cast<std::int32_t>(turned ? info.xsize : info.ysize);
        reducer = BoxReducer::make(planReduction(width, height, target, maxOutputPixels), false);
        if (!reducer) return std::nullopt;
        break;
      }
      case JXL_DEC_NEED_IMAGE_OUT_BUFFER:
        if (!reducer || JxlDecoderSetImageOutCallback(dec, &format, onPixels, &*reducer) != JXL_DEC_SUCCESS) {
          return std::nullopt;
        }
        break;
      case JXL_DEC_FULL_IMAGE:
        if (!reducer) return std::nullopt;
        decoder.reset();
        return reducer->finish();
      default:  // an error, input that ends early, or success without a frame
        return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace zorvi::decoding
