// libwebp resamples while it decodes, straight to the requested size.
#include <bit>
#include <memory>

#include <webp/decode.h>
#include <webp/demux.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

// An animation's first frame, as a still WebP bitstream inside bytes; the bytes themselves otherwise.
std::optional<ByteSpan> firstFrame(ByteSpan bytes, bool animated) {
  if (!animated) return bytes;
  const WebPData data{bytes.data(), bytes.size()};
  std::unique_ptr<WebPDemuxer, decltype(&WebPDemuxDelete)> demuxer(WebPDemux(&data), WebPDemuxDelete);
  if (!demuxer) return std::nullopt;
  WebPIterator frame{};
  if (!WebPDemuxGetFrame(demuxer.get(), 1, &frame)) return std::nullopt;
  const ByteSpan fragment(frame.fragment.bytes, frame.fragment.size);
  WebPDemuxReleaseIterator(&frame);
  return fragment;  // points into bytes, so it outlives the demuxer
}

}  // namespace

std::optional<Raster> decodeWebp(ByteSpan bytes, Target target) {
  WebPDecoderConfig config;
  if (!WebPInitDecoderConfig(&config)) return std::nullopt;
  if (WebPGetFeatures(bytes.data(), bytes.size(), &config.input) != VP8_STATUS_OK) return std::nullopt;
  const auto still = firstFrame(bytes, config.input.has_animation != 0);
  if (!still || WebPGetFeatures(still->data(), still->size(), &config.input) != VP8_STATUS_OK) {
    return std::nullopt;
  }
  const std::int32_t sourceWidth = config.input.width, sourceHeight = config.input.height;
  if (sourceWidth <= 0 || sourceHeight <= 0 ||
      std::int64_t{sourceWidth} * sourceHeight > ImageDecoder::maxStreamedPixels) {
    return std::nullopt;
  }
  // The scaler averages areas, so any size is cheap; keep within the raster limit all the same.
  const ReductionPlan plan = planReduction(sourceWidth, sourceHeight, target);
  std::int32_t width = std::min(sourceWidth, target.width), height = std::min(sourceHeight, target.height);
  if (std::int64_t{width} * height > std::int64_t{plan.width} * plan.height) {
    width = plan.width;
    height = plan.height;
  }
  auto raster = allocateRaster(width, height);
  if (!raster) return std::nullopt;

  config.options.use_threads = 0;
  if (width != sourceWidth || height != sourceHeight) {
    config.options.use_scaling = 1;
    config.options.scaled_width = width;
    config.options.scaled_height = height;
  }
  // Premultiplied words in this machine's byte order.
  config.output.colorspace = std::endian::native == std::endian::little ? MODE_bgrA : MODE_Argb;
  config.output.is_external_memory = 1;
  config.output.u.RGBA.rgba = reinterpret_cast<std::uint8_t*>(raster->pixels.data());
  config.output.u.RGBA.stride = width * 4;
  config.output.u.RGBA.size = raster->pixels.size() * 4;
  const VP8StatusCode status = WebPDecode(still->data(), still->size(), &config);
  WebPFreeDecBuffer(&config.output);
  if (status != VP8_STATUS_OK) return std::nullopt;
  return raster;
}

}  // namespace zorvi::decoding
