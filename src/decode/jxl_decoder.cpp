// libjxl decodes whole frames; orientation is applied by the decoder, as it belongs to the image.
#include <memory>

#include <jxl/decode.h>

#include "decode/codec_library.hpp"
#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

struct Jxl {
  decltype(&::JxlDecoderCreate) JxlDecoderCreate;
  decltype(&::JxlDecoderDestroy) JxlDecoderDestroy;
  decltype(&::JxlDecoderSubscribeEvents) JxlDecoderSubscribeEvents;
  decltype(&::JxlDecoderSetInput) JxlDecoderSetInput;
  decltype(&::JxlDecoderCloseInput) JxlDecoderCloseInput;
  decltype(&::JxlDecoderProcessInput) JxlDecoderProcessInput;
  decltype(&::JxlDecoderGetBasicInfo) JxlDecoderGetBasicInfo;
  decltype(&::JxlDecoderSetUnpremultiplyAlpha) JxlDecoderSetUnpremultiplyAlpha;
  decltype(&::JxlDecoderSetImageOutCallback) JxlDecoderSetImageOutCallback;
};

const Jxl* jxl() {
  static const std::optional<Jxl> table = []() -> std::optional<Jxl> {
    const CodecLibrary library(ZORVI_LIBJXL_SONAME);
    Jxl t{};
    if (ZORVI_BIND_CODEC(library, t, JxlDecoderCreate) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderDestroy) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderSubscribeEvents) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderSetInput) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderCloseInput) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderProcessInput) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderGetBasicInfo) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderSetUnpremultiplyAlpha) &&
        ZORVI_BIND_CODEC(library, t, JxlDecoderSetImageOutCallback)) {
      return t;
    }
    return std::nullopt;
  }();
  return table ? &*table : nullptr;
}

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
  const Jxl* lib = jxl();
  if (!lib) return std::nullopt;
  std::unique_ptr<JxlDecoder, decltype(&::JxlDecoderDestroy)> decoder(lib->JxlDecoderCreate(nullptr),
                                                                      lib->JxlDecoderDestroy);
  if (!decoder) return std::nullopt;
  JxlDecoder* dec = decoder.get();
  if (lib->JxlDecoderSubscribeEvents(dec, JXL_DEC_BASIC_INFO | JXL_DEC_FULL_IMAGE) != JXL_DEC_SUCCESS ||
      lib->JxlDecoderSetInput(dec, bytes.data(), bytes.size()) != JXL_DEC_SUCCESS) {
    return std::nullopt;
  }
  lib->JxlDecoderCloseInput(dec);
  const JxlPixelFormat format{4, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  std::optional<BoxReducer> reducer;
  for (int step = 0; step < maxDecoderSteps; ++step) {
    switch (lib->JxlDecoderProcessInput(dec)) {
      case JXL_DEC_BASIC_INFO: {
        JxlBasicInfo info{};
        if (lib->JxlDecoderGetBasicInfo(dec, &info) != JXL_DEC_SUCCESS ||
            !fitsFullDecode(info.xsize, info.ysize)) {
          return std::nullopt;
        }
        // Straight alpha out, whatever the file stores.
        if (info.alpha_premultiplied && lib->JxlDecoderSetUnpremultiplyAlpha(dec, JXL_TRUE) != JXL_DEC_SUCCESS) {
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
        if (!reducer || lib->JxlDecoderSetImageOutCallback(dec, &format, onPixels, &*reducer) != JXL_DEC_SUCCESS) {
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
