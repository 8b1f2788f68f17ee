#include "render/png_writer.hpp"

#include <algorithm>
#include <cstring>

namespace zorvi::png_writing {
namespace {

constexpr std::size_t bpp = 3;
// Rows are filtered into a batch of about this size before zlib sees them, and IDAT chunks are cut at it.
constexpr std::size_t batchBytes = 256 * 1024;

void putBE32(std::uint8_t* at, std::uint32_t value) {
  at[0] = static_cast<std::uint8_t>(value >> 24);
  at[1] = static_cast<std::uint8_t>(value >> 16);
  at[2] = static_cast<std::uint8_t>(value >> 8);
  at[3] = static_cast<std::uint8_t>(value);
}

std::uint8_t paeth(int a, int b, int c) {
  const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
  return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

#if defined(__GNUC__)
// Eight bytes at a time in 16-bit lanes: every input is a raw pixel, so lanes never wait on each other.
using Bytes8 = std::uint8_t __attribute__((vector_size(8)));
using Lanes8 = std::int16_t __attribute__((vector_size(16)));

Lanes8 load(const std::uint8_t* at) {
  Bytes8 bytes;
  std::memcpy(&bytes, at, sizeof bytes);
  return __builtin_convertvector(bytes, Lanes8);
}

Lanes8 absolute(Lanes8 v) {
  const Lanes8 sign = v >> 15;
  return (v ^ sign) - sign;
}
#endif

}  // namespace

void paethFilter(std::span<const std::uint8_t> row, std::span<const std::uint8_t> above, std::uint8_t* out) {
  const std::size_t n = row.size();
  const std::uint8_t* cur = row.data();
  const std::uint8_t* up = above.data();
  std::size_t i = 0;
  for (; i < std::min(bpp, n); ++i) out[i] = static_cast<std::uint8_t>(cur[i] - paeth(0, up[i], 0));
#if defined(__GNUC__)
  for (; i + 8 <= n; i += 8) {
    const Lanes8 a = load(cur + i - bpp), b = load(up + i), c = load(up + i - bpp);
    const Lanes8 pa = absolute(b - c), pb = absolute(a - c), pc = absolute(a + b - c - c);
    const Lanes8 takeA = (pa <= pb) & (pa <= pc), takeB = pb <= pc;
    const Lanes8 predicted = (takeA & a) | (~takeA & ((takeB & b) | (~takeB & c)));
    const Bytes8 filtered = __builtin_convertvector(load(cur + i) - predicted, Bytes8);
    std::memcpy(out + i, &filtered, sizeof filtered);
  }
#endif
  for (; i < n; ++i) out[i] = static_cast<std::uint8_t>(cur[i] - paeth(cur[i - bpp], up[i], up[i - bpp]));
}

RgbWriter::RgbWriter(std::uint32_t width, std::uint32_t height, Sink sink,
                     RasterCanvas::PNGCompression compression)
    : rowsLeft_(height), sink_(std::move(sink)), paeth_(compression == RasterCanvas::PNGCompression::fast) {
  const std::size_t stride = std::size_t{width} * bpp;
  previous_.assign(stride, 0);
  current_.assign(stride, 0);
  // A small picture gets buffers of its own size: fresh pages cost more than its whole compression.
  const std::size_t rows = std::clamp(batchBytes / (stride + 1), std::size_t{1}, std::size_t{std::max(height, 1u)});
  filtered_.resize(rows * (stride + 1));
  compressed_.resize(std::min(batchBytes, filtered_.size() + 1024));
  open_ =
      width > 0 && height > 0 &&
      deflateInit2(&stream_, paeth_ ? 1 : 0, Z_DEFLATED, 15, 8, paeth_ ? Z_RLE : Z_DEFAULT_STRATEGY) == Z_OK;
  failed_ = !open_;
  if (failed_) return;
  static constexpr std::uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::uint8_t header[13] = {};
  putBE32(header, width);
  putBE32(header + 4, height);
  header[8] = 8;  // bits per sample
  header[9] = 2;  // truecolour
  failed_ = !sink_(signature) || !chunk("IHDR", header);
}

RgbWriter::~RgbWriter() {
  if (open_) deflateEnd(&stream_);
}

bool RgbWriter::chunk(const char (&type)[5], std::span<const std::uint8_t> data) {
  std::uint8_t head[8];
  putBE32(head, static_cast<std::uint32_t>(data.size()));
  std::memcpy(head + 4, type, 4);
  uLong crc = crc32(0, head + 4, 4);
  // zlib takes a null pointer as a request for the starting value.
  if (!data.empty()) crc = crc32_z(crc, data.data(), data.size());
  std::uint8_t tail[4];
  putBE32(tail, static_cast<std::uint32_t>(crc));
  return sink_(head) && (data.empty() || sink_(data)) && sink_(tail);
}

bool RgbWriter::deflateFiltered(int flush) {
  const std::size_t stride = current_.size() + 1;
  stream_.next_in = filtered_.data();
  stream_.avail_in = static_cast<uInt>(filteredRows_ * stride);
  filteredRows_ = 0;
  for (;;) {
    stream_.next_out = compressed_.data();
    stream_.avail_out = static_cast<uInt>(compressed_.size());
    const int status = deflate(&stream_, flush);
    if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) return false;
    const std::size_t made = compressed_.size() - stream_.avail_out;
    if (made > 0 && !chunk("IDAT", {compressed_.data(), made})) return false;
    if (status == Z_STREAM_END) return true;
    // Room left in the output means zlib took all it could: everything, unless it was to finish.
    if (stream_.avail_out > 0) return flush != Z_FINISH && stream_.avail_in == 0;
  }
}

bool RgbWriter::commitRow() {
  if (failed_ || rowsLeft_ == 0) return false;
  const std::size_t stride = current_.size() + 1;
  std::uint8_t* out = filtered_.data() + filteredRows_ * stride;
  if (paeth_) {
    out[0] = 4;
    paethFilter(current_, previous_, out + 1);
  } else {
    out[0] = 0;
    std::copy(current_.begin(), current_.end(), out + 1);
  }
  ++filteredRows_;
  std::swap(previous_, current_);
  const bool last = --rowsLeft_ == 0;
  if (last || (filteredRows_ + 1) * stride > filtered_.size()) {
    failed_ = !deflateFiltered(last ? Z_FINISH : Z_NO_FLUSH) || (last && !chunk("IEND", {}));
  }
  return !failed_;
}

}  // namespace zorvi::png_writing
