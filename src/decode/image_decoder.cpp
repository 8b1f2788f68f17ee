#include "zorvi/image_decoder.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "decode/codecs.hpp"

namespace zorvi {
namespace {

enum class Codec { none, jpeg, png, webp, avif, heif, jxl, gif, tiff, bmp };

bool startsWith(std::span<const std::uint8_t> bytes, std::string_view signature, std::size_t at = 0) {
  return bytes.size() >= at + signature.size() &&
         std::memcmp(bytes.data() + at, signature.data(), signature.size()) == 0;
}

// The brands of an ISO media file's leading ftyp box decide between AVIF and the rest of HEIF.
Codec isoMediaCodec(std::span<const std::uint8_t> bytes) {
  const std::size_t available = std::min<std::size_t>(bytes.size(), 64);
  const std::size_t declared = std::size_t{bytes[0]} << 24 | std::size_t{bytes[1]} << 16 |
                               std::size_t{bytes[2]} << 8 | bytes[3];
  const std::size_t limit = std::max<std::size_t>(12, std::min(declared, available));
  bool heif = false;
  for (std::size_t at = 8; at + 4 <= limit && at + 4 <= available; at += 4) {
    const std::string_view brand(reinterpret_cast<const char*>(bytes.data() + at), 4);
    if (brand == "avif" || brand == "avis") return Codec::avif;
    constexpr std::array<std::string_view, 8> heifBrands = {"heic", "heix", "heim", "heis",
                                                            "hevc", "hevx", "mif1", "msf1"};
    heif = heif || std::find(heifBrands.begin(), heifBrands.end(), brand) != heifBrands.end();
  }
  return heif ? Codec::heif : Codec::none;
}

Codec codecFor(std::span<const std::uint8_t> bytes) {
  using namespace std::string_view_literals;
  if (bytes.size() < 4) return Codec::none;
  if (startsWith(bytes, "\xFF\xD8\xFF"sv)) return Codec::jpeg;
  if (startsWith(bytes, "\x89PNG\r\n\x1A\n"sv)) return Codec::png;
  if (startsWith(bytes, "GIF8"sv)) return Codec::gif;
  if (bytes.size() >= 12) {
    if (startsWith(bytes, "RIFF"sv) && startsWith(bytes, "WEBP"sv, 8)) return Codec::webp;
    if (startsWith(bytes, "ftyp"sv, 4)) return isoMediaCodec(bytes);
  }
  if (startsWith(bytes, "II\x2A\x00"sv) || startsWith(bytes, "MM\x00\x2A"sv)) return Codec::tiff;
  if (startsWith(bytes, "\xFF\x0A"sv) || startsWith(bytes, "\x00\x00\x00\x0CJXL \r\n\x87\n"sv)) return Codec::jxl;
  if (startsWith(bytes, "BM"sv)) return Codec::bmp;
  return Codec::none;
}

}  // namespace

std::optional<Raster> ImageDecoder::decode(std::span<const std::uint8_t> bytes, std::int32_t targetWidth,
                                           std::int32_t targetHeight) {
  using namespace decoding;
  const Target target{std::max(targetWidth, 1), std::max(targetHeight, 1)};
  switch (codecFor(bytes)) {
    case Codec::jpeg: return decodeJpeg(bytes, target);
    case Codec::png: return decodePng(bytes, target);
    case Codec::webp: return decodeWebp(bytes, target);
    case Codec::avif: return decodeAvif(bytes, target);
    case Codec::heif: return decodeHeif(bytes, target);
    case Codec::jxl: return decodeJxl(bytes, target);
    case Codec::gif: return decodeWithPixbuf(bytes, PixbufFormat::gif, target);
    case Codec::tiff: return decodeWithPixbuf(bytes, PixbufFormat::tiff, target);
    case Codec::bmp: return decodeWithPixbuf(bytes, PixbufFormat::bmp, target);
    case Codec::none: return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace zorvi
