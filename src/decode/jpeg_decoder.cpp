// libjpeg-turbo reports errors by calling error_exit, which must not return; it long-jumps back here.
// Only trivially destructible locals live in the frame that calls setjmp.
#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <vector>

#include <jerror.h>
#include <jpeglib.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

// Progressive files may repeat scans without end; real encoders use a dozen or so.
constexpr int maxScans = 500;
// Progressive and multi-scan files keep every coefficient in memory; larger ones are refused.
constexpr long maxCodecMemory = 256L << 20;

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
};

[[noreturn]] void bail(j_common_ptr cinfo) {
  std::longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);
}

// Data that ends early or is damaged decodes as grey from where it goes wrong; such a picture is
// left out like any other undecodable one. Stray bytes before a marker are not among them: some
// cameras write them after whole pictures.
bool meansBrokenData(int code) {
  switch (code) {
    case JWRN_JPEG_EOF:     // premature end of file
    case JWRN_HIT_MARKER:   // premature end of data segment
    case JWRN_HUFF_BAD_CODE:
    case JWRN_MUST_RESYNC:  // a restart marker out of sequence
    case JWRN_NOT_SEQUENTIAL:
    case JWRN_BOGUS_PROGRESSION:
      return true;
    default:
      return false;
  }
}

void onMessage(j_common_ptr cinfo, int level) {
  if (level < 0 && meansBrokenData(cinfo->err->msg_code)) bail(cinfo);
}

void onProgress(j_common_ptr cinfo) {
  if (cinfo->is_decompressor && reinterpret_cast<j_decompress_ptr>(cinfo)->input_scan_number > maxScans) {
    bail(cinfo);
  }
}

// The smallest eighth-scale whose output covers the target (or the whole source), kept within the
// raster limit; leaves cinfo's output dimensions set for it.
void chooseScale(jpeg_decompress_struct& cinfo, Target target) {
  const auto wantWidth = std::min<JDIMENSION>(cinfo.image_width, static_cast<JDIMENSION>(target.width));
  const auto wantHeight = std::min<JDIMENSION>(cinfo.image_height, static_cast<JDIMENSION>(target.height));
  cinfo.scale_denom = 8;
  for (unsigned eighths = 1; eighths <= 8; ++eighths) {
    cinfo.scale_num = eighths;
    jpeg_calc_output_dimensions(&cinfo);
    const auto pixels = std::int64_t{cinfo.output_width} * cinfo.output_height;
    if (eighths > 1 && pixels > ImageDecoder::maxRasterPixels) {
      cinfo.scale_num = eighths - 1;
      jpeg_calc_output_dimensions(&cinfo);
      return;
    }
    if (cinfo.output_width >= wantWidth && cinfo.output_height >= wantHeight) return;
  }
}

// CMYK as Adobe writes it is stored inverted; plain CMYK is not.
void cmykToArgb(std::span<std::uint32_t> pixels, bool inverted) {
  for (std::uint32_t& pixel : pixels) {
    std::uint8_t cmyk[4];
    std::memcpy(cmyk, &pixel, 4);
    std::uint32_t channel[4];
    for (int i = 0; i < 4; ++i) channel[i] = inverted ? cmyk[i] : 255u - cmyk[i];
    pixel = packArgb(255, premultiply(channel[0], channel[3]), premultiply(channel[1], channel[3]),
                     premultiply(channel[2], channel[3]));
  }
}

// Where decoded rows go: straight into the raster when the DCT scale already meets the target, else
// one at a time through a row buffer into the box reducer, so the scaled image is never held whole.
struct Output {
  Raster raster;
  std::optional<BoxReducer> reducer;
  // libjpeg-turbo stores rows that start on a 16-byte boundary past the cache, and the reducer reads
  // each row straight back: the row starts one pixel into the buffer so that it stays cached.
  std::vector<std::uint32_t> row;
};

// Kept out of run() so that no object with a destructor lives in the frame a long jump unwinds.
bool prepare(Output& output, std::int32_t width, std::int32_t height, Target target) {
  const ReductionPlan plan = planReduction(width, height, target);
  if (plan.factorX == 1 && plan.factorY == 1) {
    auto allocated = allocateRaster(width, height);
    if (!allocated) return false;
    output.raster = std::move(*allocated);
    return true;
  }
  output.reducer = BoxReducer::make(plan, true);
  if (!output.reducer) return false;
  try {
    output.row.resize(static_cast<std::size_t>(width) + 1);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

std::uint32_t* rowFor(Output& output, JDIMENSION y) {
  if (output.reducer) return output.row.data() + 1;
  return output.raster.pixels.data() + std::size_t{y} * static_cast<std::size_t>(output.raster.width);
}

void finishRow(Output& output, JDIMENSION y, JDIMENSION width, bool cmyk, bool inverted) {
  std::uint32_t* row = rowFor(output, y);
  if (cmyk) cmykToArgb({row, width}, inverted);
  if (output.reducer) output.reducer->addPremultipliedRow(static_cast<std::int32_t>(y), row);
}

bool run(jpeg_decompress_struct& cinfo, ErrorManager& errors, jpeg_progress_mgr& progress, ByteSpan bytes,
         Target target, Output& output) {
  if (setjmp(errors.jump)) return false;
  jpeg_create_decompress(&cinfo);
  cinfo.mem->max_memory_to_use = maxCodecMemory;
  cinfo.progress = &progress;
  jpeg_mem_src(&cinfo, bytes.data(), static_cast<unsigned long>(bytes.size()));
  if (jpeg_read_header(&cinfo, TRUE) != JPEG_HEADER_OK) return false;
  if (std::int64_t{cinfo.image_width} * cinfo.image_height > ImageDecoder::maxStreamedPixels) return false;

  const bool cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
  if (cmyk) {
    cinfo.out_color_space = JCS_CMYK;
  } else {
    // Opaque ARGB32 words, written in place, in whichever byte order this machine stores them.
    cinfo.out_color_space = std::endian::native == std::endian::little ? JCS_EXT_BGRA : JCS_EXT_ARGB;
  }
  chooseScale(cinfo, target);
  if (!jpeg_start_decompress(&cinfo) || cinfo.output_components != 4) return false;

  if (!prepare(output, static_cast<std::int32_t>(cinfo.output_width), static_cast<std::int32_t>(cinfo.output_height),
               target)) {
    return false;
  }
  while (cinfo.output_scanline < cinfo.output_height) {
    const JDIMENSION y = cinfo.output_scanline;
    JSAMPROW row = reinterpret_cast<JSAMPROW>(rowFor(output, y));
    if (jpeg_read_scanlines(&cinfo, &row, 1) != 1) return false;
    finishRow(output, y, cinfo.output_width, cmyk, cinfo.saw_Adobe_marker);
  }
  jpeg_finish_decompress(&cinfo);
  return true;
}

}  // namespace

std::optional<Raster> decodeJpeg(ByteSpan bytes, Target target) {
  jpeg_decompress_struct cinfo{};
  ErrorManager errors{};
  cinfo.err = jpeg_std_error(&errors.base);
  errors.base.error_exit = bail;
  errors.base.emit_message = onMessage;
  jpeg_progress_mgr progress{};
  progress.progress_monitor = onProgress;
  Output output;
  bool decoded = false;
  try {
    decoded = run(cinfo, errors, progress, bytes, target, output);
  } catch (const std::bad_alloc&) {
    decoded = false;
  }
  jpeg_destroy_decompress(&cinfo);
  if (!decoded) return std::nullopt;
  return output.reducer ? output.reducer->finish() : std::move(output.raster);
}

}  // namespace zorvi::decoding
