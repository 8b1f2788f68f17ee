// libjpeg-turbo reports errors by calling error_exit, which must not return; it long-jumps back here.
// Only trivially destructible locals live in the frame that calls setjmp.
#include "render/jpeg_encoder.hpp"

#include <bit>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstdlib>

#include <jpeglib.h>

namespace zorvi::JPEGEncoder {
namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
};

[[noreturn]] void bail(j_common_ptr cinfo) { std::longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1); }

// Leaves the file in *out (malloc'd, for the caller to free) and its length in *length.
bool compress(const Raster& raster, int quality, unsigned char** out, unsigned long* length) {
  jpeg_compress_struct cinfo{};
  ErrorManager errors{};
  cinfo.err = jpeg_std_error(&errors.base);
  errors.base.error_exit = bail;
  if (setjmp(errors.jump)) {
    jpeg_destroy_compress(&cinfo);
    return false;
  }
  jpeg_create_compress(&cinfo);
  jpeg_mem_dest(&cinfo, out, length);
  cinfo.image_width = static_cast<JDIMENSION>(raster.width);
  cinfo.image_height = static_cast<JDIMENSION>(raster.height);
  cinfo.input_components = 4;
  // One 32-bit word per pixel, alpha in the top byte: B, G, R, A in memory on a little-endian machine.
  cinfo.in_color_space = std::endian::native == std::endian::little ? JCS_EXT_BGRX : JCS_EXT_XRGB;
  jpeg_set_defaults(&cinfo);
  jpeg_set_quality(&cinfo, quality, TRUE);
  jpeg_start_compress(&cinfo, TRUE);
  while (cinfo.next_scanline < cinfo.image_height) {
    // libjpeg only reads the rows; its interface takes them as writable.
    auto* row = reinterpret_cast<JSAMPLE*>(const_cast<std::uint32_t*>(raster.pixels.data()) +
                                           static_cast<std::size_t>(cinfo.next_scanline) *
                                               static_cast<std::size_t>(raster.width));
    jpeg_write_scanlines(&cinfo, &row, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  return true;
}

}  // namespace

std::optional<Bytes> encode(const Raster& raster, int quality) {
  if (raster.width <= 0 || raster.height <= 0 ||
      raster.pixels.size() != static_cast<std::size_t>(raster.width) * static_cast<std::size_t>(raster.height))
    return std::nullopt;
  unsigned char* out = nullptr;
  unsigned long length = 0;
  const bool done = compress(raster, quality, &out, &length);
  std::optional<Bytes> bytes;
  if (done && out != nullptr) bytes.emplace(out, out + length);
  std::free(out);
  return bytes;
}

}  // namespace zorvi::JPEGEncoder
