#include <algorithm>
#include <array>
#include <string_view>

#include "image_formats/iso_bmff.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi::ImageFormatDetector {
namespace {

using Signature = std::span<const std::uint8_t>;

constexpr std::uint8_t kJpegStart[] = {0xFF, 0xD8, 0xFF};
constexpr std::uint8_t kPngSignature[] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A};
constexpr std::uint8_t kGifStart[] = {'G', 'I', 'F', '8'};
constexpr std::uint8_t kRiff[] = {'R', 'I', 'F', 'F'};
constexpr std::uint8_t kWebp[] = {'W', 'E', 'B', 'P'};
constexpr std::uint8_t kFtyp[] = {'f', 't', 'y', 'p'};
constexpr std::uint8_t kTiffLittleEndian[] = {0x49, 0x49, 0x2A, 0x00};
constexpr std::uint8_t kTiffBigEndian[] = {0x4D, 0x4D, 0x00, 0x2A};
constexpr std::uint8_t kJpegXlCodestream[] = {0xFF, 0x0A};
constexpr std::uint8_t kJpegXlContainer[] = {0x00, 0x00, 0x00, 0x0C, 0x4A, 0x58,
                                             0x4C, 0x20, 0x0D, 0x0A, 0x87, 0x0A};
constexpr std::uint8_t kBmp[] = {'B', 'M'};

constexpr std::string_view kAvifBrands[] = {"avif", "avis"};
constexpr std::string_view kHeifBrands[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"};

constexpr std::size_t kHeaderLimit = 16;
constexpr std::size_t kBrandLimit = 64;

// A signature longer than the bytes never matches.
bool hasAt(std::span<const std::uint8_t> bytes, std::size_t offset, Signature signature) {
  return bytes.size() >= offset + signature.size() &&
         std::equal(signature.begin(), signature.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

bool isHorizontalSpace(char c) { return c == ' ' || c == '\t'; }

std::string_view trimHorizontalSpace(std::string_view text) {
  while (!text.empty() && isHorizontalSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isHorizontalSpace(text.back())) text.remove_suffix(1);
  return text;
}

template <std::size_t N>
bool isOneOf(std::string_view brand, const std::string_view (&set)[N]) {
  return std::find(std::begin(set), std::end(set), brand) != std::end(set);
}

}  // namespace

DetectedFormat classifyISOBMFF(std::span<const std::uint8_t> bytes) {
  const auto b = bytes.first(std::min(bytes.size(), kBrandLimit));
  if (b.size() < 12) return DetectedFormat::unknown();
  const std::uint32_t boxSize =
      std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 8 | std::uint32_t{b[3]};
  // A size of 0 (to the end of file), 1 (a 64-bit size follows) or any other size too small for a
  // brand still lets the major brand be read.
  const std::size_t limit = std::max<std::size_t>(12, std::min<std::size_t>(boxSize, b.size()));

  // The major brand, the minor version (read like a brand) and the compatible brands: at most 14.
  std::array<std::string_view, (kBrandLimit - 8) / 4> candidates;
  std::size_t count = 0;
  for (std::size_t offset = 8; offset + 4 <= limit && offset + 4 <= b.size(); offset += 4) {
    const auto group = b.subspan(offset, 4);
    if (std::any_of(group.begin(), group.end(), [](std::uint8_t byte) { return byte >= 0x80; })) continue;
    candidates[count++] = trimHorizontalSpace({reinterpret_cast<const char*>(group.data()), group.size()});
  }
  const auto found = std::span(candidates).first(count);
  // AVIF wins over HEIF whatever the order: AVIF files routinely list "mif1" too.
  if (std::any_of(found.begin(), found.end(), [](std::string_view c) { return isOneOf(c, kAvifBrands); })) {
    return DetectedFormat::accepted(ImageFormat::avif);
  }
  if (std::any_of(found.begin(), found.end(), [](std::string_view c) { return isOneOf(c, kHeifBrands); })) {
    return DetectedFormat::rejected("HEIC");
  }
  return DetectedFormat::unknown();
}

DetectedFormat identify(std::span<const std::uint8_t> bytes) {
  const auto h = bytes.first(std::min(bytes.size(), kHeaderLimit));
  if (h.size() < 4) return DetectedFormat::unknown();
  if (hasAt(h, 0, kJpegStart)) return DetectedFormat::accepted(ImageFormat::jpeg);
  if (hasAt(h, 0, kPngSignature)) return DetectedFormat::accepted(ImageFormat::png);
  if (hasAt(h, 0, kGifStart)) return DetectedFormat::rejected("GIF");
  if (h.size() >= 12) {
    if (hasAt(h, 0, kRiff) && hasAt(h, 8, kWebp)) return DetectedFormat::accepted(ImageFormat::webp);
    // An ISO base media file is judged by its brands alone, even when they name nothing known.
    if (hasAt(h, 4, kFtyp)) return classifyISOBMFF(bytes);
  }
  if (hasAt(h, 0, kTiffLittleEndian) || hasAt(h, 0, kTiffBigEndian)) return DetectedFormat::rejected("TIFF");
  if (hasAt(h, 0, kJpegXlCodestream) || hasAt(h, 0, kJpegXlContainer))
    return DetectedFormat::rejected("JPEG XL");
  if (hasAt(h, 0, kBmp)) return DetectedFormat::rejected("BMP");
  return DetectedFormat::unknown();
}

std::optional<ImageFormat> detect(std::span<const std::uint8_t> bytes) {
  return identify(bytes).acceptedFormat();
}

}  // namespace zorvi::ImageFormatDetector
