// Rows are decoded one at a time and folded into the reduced raster at once, so even a huge image
// needs memory only for one source row and the reduced output.
#include <memory>
#include <new>
#include <vector>

#include <spng.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

// Interlaced rows come pass by pass, so sums for the whole output stay open (16 bytes a pixel);
// keep that within 64 MB.
constexpr std::int64_t maxInterlacedOutputPixels = std::int64_t{4} << 20;
constexpr std::uint32_t maxSide = std::uint32_t{1} << 18;
// Text, ICC and other ancillary chunks are skipped past this size.
constexpr std::size_t maxChunkBytes = std::size_t{16} << 20;
constexpr std::size_t maxChunkCacheBytes = std::size_t{64} << 20;

// Where each Adam7 pass starts and steps within a row.
constexpr std::int32_t adam7Start[7] = {0, 4, 0, 2, 0, 1, 0};
constexpr std::int32_t adam7Step[7] = {8, 8, 4, 4, 2, 2, 1};

using Context = std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)>;

std::optional<Raster> decodeRows(spng_ctx* ctx, Target target) {
  // Keeps spng's and our own row buffers small, whatever the area.
  if (spng_set_image_limits(ctx, maxSide, maxSide) != 0) return std::nullopt;
  spng_ihdr header{};
  if (spng_get_ihdr(ctx, &header) != 0) return std::nullopt;
  const std::int64_t width = header.width, height = header.height;
  if (width <= 0 || height <= 0 || width > ImageDecoder::maxStreamedPixels / height) return std::nullopt;

  const bool interlaced = header.interlace_method != SPNG_INTERLACE_NONE;
  const ReductionPlan plan =
      planReduction(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), target,
                    interlaced ? maxInterlacedOutputPixels : ImageDecoder::maxRasterPixels);
  auto reducer = BoxReducer::make(plan, !interlaced);
  if (!reducer) return std::nullopt;
  std::vector<std::uint8_t> row(static_cast<std::size_t>(width) * 4);

  if (spng_decode_image(ctx, nullptr, 0, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS | SPNG_DECODE_PROGRESSIVE) != 0) {
    return std::nullopt;
  }
  // Each call yields one row (or one pass's share of it) and the last one says so; a corrupt stream
  // errors out, so the loop ends after at most the image's scanline count.
  for (;;) {
    spng_row_info info{};
    if (spng_get_row_info(ctx, &info) != 0) return std::nullopt;
    const int status = spng_decode_row(ctx, row.data(), row.size());
    if (status != 0 && status != SPNG_EOI) return std::nullopt;
    const int pass = interlaced && info.pass >= 0 && info.pass < 7 ? info.pass : 6;
    reducer->addRgba(static_cast<std::int32_t>(info.row_num), adam7Start[pass], adam7Step[pass],
                     static_cast<std::int32_t>(width), row.data() + adam7Start[pass] * 4);
    if (status == SPNG_EOI) break;
  }
  return reducer->finish();
}

}  // namespace

std::optional<Raster> decodePng(ByteSpan bytes, Target target) {
  try {
    Context ctx(spng_ctx_new(0), spng_ctx_free);
    if (!ctx || spng_set_chunk_limits(ctx.get(), maxChunkBytes, maxChunkCacheBytes) != 0 ||
        spng_set_png_buffer(ctx.get(), bytes.data(), bytes.size()) != 0) {
      return std::nullopt;
    }
    return decodeRows(ctx.get(), target);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  } catch (const std::length_error&) {
    return std::nullopt;
  }
}

}  // namespace zorvi::decoding
