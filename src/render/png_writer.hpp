#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include <zlib.h>

#include "zorvi/drawing_context.hpp"

namespace zorvi::png_writing {

// Bytes of the PNG as they are made; false stops the writing.
using Sink = std::function<bool(std::span<const std::uint8_t>)>;

// Writes an opaque 8-bit RGB picture as PNG, a row at a time, so a picture of any height passes
// through a few rows of memory. Compressed, every row takes the Paeth filter and zlib's run-length
// matching at level 1: on board pictures, photographs and flat colour alike, smaller than zlib's
// default level makes them, in a tenth of its time. Uncompressed, rows are stored as they are.
class RgbWriter {
 public:
  RgbWriter(std::uint32_t width, std::uint32_t height, Sink sink,
            RasterCanvas::PNGCompression compression = RasterCanvas::PNGCompression::fast);
  RgbWriter(const RgbWriter&) = delete;
  RgbWriter& operator=(const RgbWriter&) = delete;
  ~RgbWriter();

  // The next row to fill, width × 3 bytes.
  std::span<std::uint8_t> row() { return {current_.data(), current_.size()}; }
  // Takes the filled row; after the last one the file is complete. False once anything failed.
  bool commitRow();

 private:
  bool deflateFiltered(int flush);
  bool chunk(const char (&type)[5], std::span<const std::uint8_t> data);

  std::uint32_t rowsLeft_;
  Sink sink_;
  std::vector<std::uint8_t> previous_, current_, filtered_, compressed_;
  std::size_t filteredRows_ = 0;
  z_stream stream_{};
  bool paeth_ = true, open_ = false, failed_ = false;
};

// The Paeth filter of row against above (zeros for the first row), bytesPerPixel 3: what PNG stores.
void paethFilter(std::span<const std::uint8_t> row, std::span<const std::uint8_t> above, std::uint8_t* out);

}  // namespace zorvi::png_writing
