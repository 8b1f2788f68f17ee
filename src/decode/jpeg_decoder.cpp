// libjpeg-turbo reports errors by calling error_exit, which must not return; it long-jumps back here.
// Only trivially destructible locals live in the frame that calls setjmp.
#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstring>
#include <new>

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

void onMessage(j_common_ptr cinfo, int level) {
  // A truncated file decodes as grey from where the data ends; treat it as undecodable.
  if (level < 0 && cinfo->err->msg_code == JWRN_JPEG_EOF) bail(cinfo);
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
void cmykToArgb(Raster& raster, bool inverted) {
  for (std::uint32_t& pixel : raster.pixels) {
    std::uint8_t cmyk[4];
    std::memcpy(cmyk, &pixel, 4);
    std::uint32_t channel[4];
    for (int i = 0; i < 4; ++i) channel[i] = inverted ? cmyk[i] : 255u - cmyk[i];
    pixel = packArgb(255, premultiply(channel[0], channel[3]), premultiply(channel[1], channel[3]),
                     premultiply(channel[2], channel[3]));
  }
}

// Kept out of run() so that no object with a destructor lives in the frame a long jump unwinds.
bool allocateInto(Raster& raster, std::int32_t width, std::int32_t height) {
  auto allocated = allocateRaster(width, height);
  if (!allocated) return false;
  raster = std::move(*allocated);
  return true;
}

bool run(jpeg_decompress_struct& cinfo, ErrorManager& errors, jpeg_progress_mgr& progress, ByteSpan bytes,
         Target target, Raster& raster) {
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

  if (!allocateInto(raster, static_cast<std::int32_t>(cinfo.output_width),
                    static_cast<std::int32_t>(cinfo.output_height))) {
    return false;
  }
  while (cinfo.output_scanline < cinfo.output_height) {
    JSAMPROW row = reinterpret_cast<JSAMPROW>(raster.pixels.data() +
                                              std::size_t{cinfo.output_scanline} * cinfo.output_width);
    if (jpeg_read_scanlines(&cinfo, &row, 1) != 1) return false;
  }
  jpeg_finish_decompress(&cinfo);
  if (cmyk) cmykToArgb(raster, cinfo.saw_Adobe_marker);
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
  Raster raster;
  bool decoded = false;
  try {
    decoded = run(cinfo, errors, progress, bytes, target, raster);
  } catch (const std::bad_alloc&) {
    decoded = false;
  }
  jpeg_destroy_decompress(&cinfo);
  if (!decoded) return std::nullopt;
  return raster;
}

}  // namespace zorvi::decoding
