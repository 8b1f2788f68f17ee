#include "zorvi/image_formats.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "image_formats/iso_bmff.hpp"

namespace zorvi {

void PrintTo(const DetectedFormat& f, std::ostream* os) {
  if (f.acceptedFormat()) *os << "accepted " << rawValue(*f.acceptedFormat());
  *os << (f.kind() == DetectedFormat::Case::unknown ? "unknown" : f.rejectedName());
}

namespace {

using namespace std::string_view_literals;
using ImageFormatDetector::identify;

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

// An ISO base media header: the declared box size, "ftyp", then four-byte groups.
Bytes ftyp(std::uint32_t boxSize, std::initializer_list<std::string_view> groups) {
  std::string text{char(boxSize >> 24), char(boxSize >> 16), char(boxSize >> 8), char(boxSize)};
  text += "ftyp";
  for (std::string_view g : groups) text += g;
  return bytesOf(text);
}

const auto kJpeg = DetectedFormat::accepted(ImageFormat::jpeg),
           kPng = DetectedFormat::accepted(ImageFormat::png),
           kWebp = DetectedFormat::accepted(ImageFormat::webp),
           kAvif = DetectedFormat::accepted(ImageFormat::avif), kUnknown = DetectedFormat::unknown(),
           kGif = DetectedFormat::rejected("GIF"), kTiff = DetectedFormat::rejected("TIFF"),
           kJxl = DetectedFormat::rejected("JPEG XL"), kBmp = DetectedFormat::rejected("BMP"),
           kHeic = DetectedFormat::rejected("HEIC");
constexpr std::string_view k0 = "\0\0\0\0"sv, kPngSignature = "\x89PNG\r\n\x1A\n"sv;

TEST(ImageFormat, NamesAndExtensions) {
  for (ImageFormat format : allImageFormats) {
    SCOPED_TRACE(rawValue(format));
    EXPECT_EQ(parseImageFormat(rawValue(format)), format);
    EXPECT_EQ(imageFormatFromFileExtension(fileExtension(format)), format);
    EXPECT_EQ(mimeType(format), "image/" + std::string(rawValue(format)));
  }
  EXPECT_EQ(parseImageFormat("JPEG"), std::nullopt);
  for (const char* ext : {"jpeg", "JPG", "JpEg"})
    EXPECT_EQ(imageFormatFromFileExtension(ext), ImageFormat::jpeg);
  for (const char* ext : {"", "gif", "jpe", ".png", "png ", "jpegs"}) {
    EXPECT_EQ(imageFormatFromFileExtension(ext), std::nullopt) << ext;
  }
}

TEST(ImageFormatDetector, IdentifiesLeadingBytes) {
  const std::tuple<const char*, Bytes, DetectedFormat> rows[] = {
      {"empty", {}, kUnknown},
      {"complete JPEG start, 3 bytes", bytesOf("\xFF\xD8\xFF"), kUnknown},
      {"JPEG", bytesOf("\xFF\xD8\xFF\xE0"), kJpeg},
      {"PNG signature", bytesOf(kPngSignature), kPng},
      {"PNG signature cut short", bytesOf(kPngSignature.substr(0, 7)), kUnknown},
      {"GIF", bytesOf("GIF89a"), kGif},
      {"WebP", bytesOf("RIFF\x24\0\0\0WEBPVP8 "sv), kWebp},
      {"WAVE", bytesOf("RIFF\x24\0\0\0WAVEfmt "sv), kUnknown},
      {"TIFF little-endian", bytesOf("II*\0"sv), kTiff},
      {"TIFF big-endian", bytesOf("MM\0*"sv), kTiff},
      {"JPEG XL codestream", bytesOf("\xFF\x0A\0\0"sv), kJxl},
      {"JPEG XL container", bytesOf("\0\0\0\x0CJXL \r\n\x87\n"sv), kJxl},
      {"JPEG XL container, last byte wrong", bytesOf("\0\0\0\x0CJXL \r\n\x87\x0B"sv), kUnknown},
      {"BMP", bytesOf("BM\x36\0"sv), kBmp},
      {"ftyp decides over a TIFF start", bytesOf("II*\0ftypisom\0\0\0\0"sv), kUnknown},
      {"ftyp needs 12 bytes", bytesOf("BM\0\0ftypavi"sv), kBmp},
      {"major brand avif", ftyp(0x18, {"avif", k0, "mif1", "miaf"}), kAvif},
      {"avif listed after heic", ftyp(0x1C, {"heic", k0, "mif1", "heic", "avif"}), kAvif},
      {"heic among compatible brands", ftyp(0x18, {"mif1", k0, "heic", "mif1"}), kHeic},
      {"brands are case-sensitive", ftyp(0x18, {"AVIF", k0, "HEIC", "Mif1"}), kUnknown},
      {"MP4", ftyp(0x18, {"isom", "\0\0\x02\0"sv, "isom", "mp41"}), kUnknown},
      {"box ends before the compatible brands", ftyp(0x10, {"isom", k0, "avif"}), kUnknown},
      {"box size 1 reads the major brand only", ftyp(1, {"heic", k0, "avif"}), kHeic},
      {"huge box size is cut at the bytes", ftyp(0xFFFFFFFF, {"isom", k0, "avif"}), kAvif},
      {"minor version read like a brand", ftyp(0x10, {"isom", "avif"}), kAvif},
      {"a byte above 0x7F skips its group", ftyp(0x18, {"isom", k0, "avi\xC3", "heic"}), kHeic},
      {"brand cut by the end of the bytes", ftyp(0x18, {"isom", k0, "avi"}), kUnknown},
  };
  for (const auto& [name, bytes, expected] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(identify(bytes), expected);
    EXPECT_EQ(ImageFormatDetector::detect(bytes), expected.acceptedFormat());
  }
  EXPECT_EQ(ImageFormatDetector::classifyISOBMFF(ftyp(0x18, {"avi"})), kUnknown);
}

// Lays the bytes just before an inaccessible page and returns a span that claims a page more:
// reading past the bytes faults, whatever the build.
std::span<const std::uint8_t> guarded(const Bytes& bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  auto* base = static_cast<std::uint8_t*>(
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  if (base == MAP_FAILED || mprotect(base + page, page, PROT_NONE) != 0) std::abort();
  std::memcpy(base + page - bytes.size(), bytes.data(), bytes.size());
  return {base + page - bytes.size(), bytes.size() + page};
}

TEST(ImageFormatDetector, ReadsOnlyTheFirst16Or64Bytes) {
  EXPECT_EQ(identify(guarded(bytesOf("BM0123456789abcd"))), kBmp);
  const Bytes brands = ftyp(0xFFFF, {"isom", k0, "iso2", "iso3", "iso4", "iso5", "iso6", "iso7", "iso8",
                                     "iso9", "isoa", "isob", "isoc"});
  Bytes lastHeic = brands, lastAvif = brands;
  lastHeic.insert(lastHeic.end(), {'h', 'e', 'i', 'c'});
  lastAvif.insert(lastAvif.end(), {'h', 'e', 'i', 'c', 'a', 'v', 'i', 'f'});
  EXPECT_EQ(identify(guarded(lastHeic)), kHeic);
  EXPECT_EQ(identify(lastAvif), kHeic);  // the brand at 64 is never seen
}

CanvasItem imageItem(std::uint8_t n, std::optional<std::string> image,
                     std::optional<std::string> thumbnail = "t") {
  CanvasItem item(Uuid{{n}}, "", "", {}, 0, {}, {}, {}, {}, false, {});
  item.image = std::move(image), item.thumbnail = std::move(thumbnail);
  return item;
}

TEST(HTMLExporter, FullResolutionImagesPairItemsWithBytesAndType) {
  const Bytes png = bytesOf(kPngSignature), gif = bytesOf("GIF89a"), other = bytesOf("not an image");
  CanvasItem shape(Uuid{{6}}, ShapeContent{}, {}, 0, false, {});
  shape.image = "images/a.png", shape.thumbnail = "t.gif";
  BoardBundle bundle;
  bundle.images = {{"images/a.png", png},   {"images/b.png", gif},    {"images/g.gif", png},
                   {"images/c.bmp", other}, {"images/D.JPEG", other}, {"f.png.avif", {}}};
  bundle.thumbnails = {{"t.gif", gif}};
  const std::tuple<const char*, CanvasItem, std::optional<EmbeddedImage>> rows[] = {
      {"full image", imageItem(1, "images/a.png", "t.gif"), EmbeddedImage{png, "image/png"}},
      {"thumbnail stands in", imageItem(2, "images/none.png", "t.gif"),
       EmbeddedImage{gif, "application/octet-stream"}},
      {"each path in its own map", imageItem(3, "t.gif", "images/a.png"), {}},
      {"no thumbnail field", imageItem(4, "images/a.png", {}), {}},
      {"no image field", imageItem(5, {}, "t.gif"), {}},
      {"not an image item", shape, {}},
      {"GIF under a PNG name", imageItem(7, "images/b.png"), EmbeddedImage{gif, "image/png"}},
      {"bytes decide over the name", imageItem(8, "images/g.gif"), EmbeddedImage{png, "image/png"}},
      {"unknown bytes, BMP name", imageItem(9, "images/c.bmp"),
       EmbeddedImage{other, "application/octet-stream"}},
      {"upper-case extension", imageItem(10, "images/D.JPEG"), EmbeddedImage{other, "image/jpeg"}},
      {"last dot counts", imageItem(12, "f.png.avif"), EmbeddedImage{{}, "image/avif"}},
  };
  for (const auto& row : rows) bundle.manifest.items.push_back(std::get<1>(row));
  const ImageMap images = HTMLExporter::fullResolutionImages(bundle);
  for (const auto& [name, item, expected] : rows) {
    const auto found = images.find(item.id);
    EXPECT_EQ(found == images.end() ? std::nullopt : std::optional(found->second), expected) << name;
  }
  // A later item of the same id replaces the earlier one.
  bundle.manifest.items.push_back(imageItem(1, "images/b.png"));
  EXPECT_EQ(HTMLExporter::fullResolutionImages(bundle).at(Uuid{{1}}), (EmbeddedImage{gif, "image/png"}));
}

}  // namespace
}  // namespace zorvi
