#include "zorvi/image_formats.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "image_formats/iso_bmff.hpp"

namespace zorvi {

void PrintTo(const DetectedFormat& f, std::ostream* os) {
  switch (f.kind()) {
    case DetectedFormat::Case::accepted:
      *os << "accepted(" << rawValue(*f.acceptedFormat()) << ')';
      break;
    case DetectedFormat::Case::rejected:
      *os << "rejected(" << f.rejectedName() << ')';
      break;
    case DetectedFormat::Case::unknown:
      *os << "unknown";
      break;
  }
}

namespace {

using namespace std::string_view_literals;
using ImageFormatDetector::identify;

Bytes bytesOf(std::initializer_list<int> values) { return Bytes(values.begin(), values.end()); }

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An ISO base media header: declared box size, "ftyp", then the given four-byte groups.
Bytes ftyp(std::uint32_t boxSize, std::initializer_list<std::string_view> groups) {
  Bytes b = {std::uint8_t(boxSize >> 24),
             std::uint8_t(boxSize >> 16),
             std::uint8_t(boxSize >> 8),
             std::uint8_t(boxSize),
             'f',
             't',
             'y',
             'p'};
  for (std::string_view g : groups) b.insert(b.end(), g.begin(), g.end());
  return b;
}

const DetectedFormat kJpeg = DetectedFormat::accepted(ImageFormat::jpeg);
const DetectedFormat kPng = DetectedFormat::accepted(ImageFormat::png);
const DetectedFormat kWebp = DetectedFormat::accepted(ImageFormat::webp);
const DetectedFormat kAvif = DetectedFormat::accepted(ImageFormat::avif);
const DetectedFormat kUnknown = DetectedFormat::unknown();
const DetectedFormat kHeic = DetectedFormat::rejected("HEIC");

const Bytes kPngSignature = bytesOf({0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A});
const std::string_view kZero4("\0\0\0\0", 4);

TEST(ImageFormat, NamesAndExtensions) {
  for (ImageFormat format : allImageFormats) {
    SCOPED_TRACE(rawValue(format));
    EXPECT_EQ(parseImageFormat(rawValue(format)), format);
    EXPECT_EQ(imageFormatFromFileExtension(fileExtension(format)), format);
    EXPECT_EQ(mimeType(format), "image/" + std::string(rawValue(format)));
  }
  EXPECT_EQ(fileExtension(ImageFormat::jpeg), "jpg");
  struct Row {
    const char* extension;
    std::optional<ImageFormat> format;
  };
  const Row rows[] = {{"jpeg", ImageFormat::jpeg}, {"JPG", ImageFormat::jpeg},  {"JpEg", ImageFormat::jpeg},
                      {"PNG", ImageFormat::png},   {"WebP", ImageFormat::webp}, {"AVIF", ImageFormat::avif},
                      {"", std::nullopt},          {"gif", std::nullopt},       {"jpe", std::nullopt},
                      {".png", std::nullopt},      {"png ", std::nullopt},      {"pngs", std::nullopt},
                      {"jpegs", std::nullopt},     {"heic", std::nullopt}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.extension);
    EXPECT_EQ(imageFormatFromFileExtension(row.extension), row.format);
  }
  for (const char* raw : {"JPEG", "jpg", "Png", "", "image/png"}) {
    SCOPED_TRACE(raw);
    EXPECT_EQ(parseImageFormat(raw), std::nullopt);
  }
}

TEST(ImageFormatDetector, IdentifiesLeadingBytes) {
  struct Row {
    const char* name;
    Bytes bytes;
    DetectedFormat expected;
  };
  const Row rows[] = {
      {"empty", {}, kUnknown},
      {"complete JPEG start, too short", bytesOf({0xFF, 0xD8, 0xFF}), kUnknown},
      {"JPEG", bytesOf({0xFF, 0xD8, 0xFF, 0xE0, 0x00}), kJpeg},
      {"PNG signature alone", kPngSignature, kPng},
      {"PNG signature cut short", Bytes(kPngSignature.begin(), kPngSignature.end() - 1), kUnknown},
      {"GIF89a", bytesOf("GIF89a\x01\x00"), DetectedFormat::rejected("GIF")},
      {"GIF8 alone", bytesOf("GIF8"), DetectedFormat::rejected("GIF")},
      {"WebP", bytesOf("RIFF\x24\0\0\0WEBPVP8 "sv), kWebp},
      {"WebP cut before its last letter", bytesOf("RIFF\x24\0\0\0WEB"sv), kUnknown},
      {"RIFF WAVE", bytesOf("RIFF\x24\0\0\0WAVEfmt "sv), kUnknown},
      {"TIFF little-endian", bytesOf({0x49, 0x49, 0x2A, 0x00}), DetectedFormat::rejected("TIFF")},
      {"TIFF big-endian", bytesOf({0x4D, 0x4D, 0x00, 0x2A, 0x00}), DetectedFormat::rejected("TIFF")},
      {"TIFF wrong order", bytesOf({0x49, 0x49, 0x00, 0x2A}), kUnknown},
      {"JPEG XL codestream", bytesOf({0xFF, 0x0A, 0x00, 0x00}), DetectedFormat::rejected("JPEG XL")},
      {"JPEG XL codestream, 3 bytes", bytesOf({0xFF, 0x0A, 0x00}), kUnknown},
      {"JPEG XL container", bytesOf({0, 0, 0, 0x0C, 'J', 'X', 'L', ' ', 0x0D, 0x0A, 0x87, 0x0A}),
       DetectedFormat::rejected("JPEG XL")},
      {"JPEG XL container, last byte wrong",
       bytesOf({0, 0, 0, 0x0C, 'J', 'X', 'L', ' ', 0x0D, 0x0A, 0x87, 0x0B}), kUnknown},
      {"BMP", bytesOf("BM\x36\0"sv), DetectedFormat::rejected("BMP")},
      {"BMP, 2 bytes", bytesOf("BM"), kUnknown},
      {"text", bytesOf("hello, world"), kUnknown},
      {"ftyp decides even over a TIFF start", bytesOf("II*\0ftypisom\0\0\0\0"sv), kUnknown},
      {"ftyp decides even over a BMP start", bytesOf("BM\0\0ftypisom"sv), kUnknown},
      {"ftyp needs 12 bytes", bytesOf("BM\0\0ftypavi"sv), DetectedFormat::rejected("BMP")},
      {"RIFF checked before ftyp", bytesOf("RIFFftypWEBPavif"), kWebp},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(identify(row.bytes), row.expected);
    EXPECT_EQ(ImageFormatDetector::detect(row.bytes), row.expected.acceptedFormat());
  }
}

TEST(ImageFormatDetector, WalksIsoBaseMediaBrands) {
  struct Row {
    const char* name;
    Bytes bytes;
    DetectedFormat expected;
  };
  const Row rows[] = {
      {"major brand avif", ftyp(0x18, {"avif", kZero4, "mif1", "miaf"}), kAvif},
      {"major brand avis", ftyp(0x14, {"avis", kZero4, "msf1"}), kAvif},
      {"avif among compatible brands", ftyp(0x18, {"mif1", kZero4, "avif", "mif1"}), kAvif},
      {"AVIF wins over an earlier HEIF brand", ftyp(0x1C, {"heic", kZero4, "mif1", "heic", "avif"}), kAvif},
      {"heic among compatible brands", ftyp(0x18, {"mif1", kZero4, "heic", "mif1"}), kHeic},
      {"brands are case-sensitive", ftyp(0x18, {"AVIF", kZero4, "HEIC", "Mif1"}), kUnknown},
      {"MP4", ftyp(0x18, {"isom", "\0\0\x02\0"sv, "isom", "mp41"}), kUnknown},
      {"QuickTime", ftyp(0x14, {"qt  ", kZero4, "qt  "}), kUnknown},
      {"box ends before the compatible brands", ftyp(0x10, {"isom", kZero4, "avif"}), kUnknown},
      {"box size 0 reads the major brand only", ftyp(0, {"isom", kZero4, "avif"}), kUnknown},
      {"box size 1 reads the major brand only", ftyp(1, {"heic", kZero4, "avif"}), kHeic},
      {"huge box size is cut at the bytes", ftyp(0xFFFFFFFF, {"isom", kZero4, "avif"}), kAvif},
      {"minor version read like a brand", ftyp(0x10, {"isom", "avif"}), kAvif},
      {"a brand split over two groups", ftyp(0x18, {"isom", kZero4, " avi", "f\t  "}), kUnknown},
      {"high byte skips a group", ftyp(0x18, {"isom", kZero4, "avi\xC3", "heic"}), kHeic},
      {"brand cut off by the end of the bytes", concat({ftyp(0x18, {"isom", kZero4}), bytesOf("avi")}),
       kUnknown},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(identify(row.bytes), row.expected);
    EXPECT_EQ(ImageFormatDetector::classifyISOBMFF(row.bytes), row.expected);
  }
  for (std::string_view brand : {"avif", "avis"}) {
    SCOPED_TRACE(brand);
    EXPECT_EQ(identify(ftyp(0x14, {"isom", kZero4, brand})), kAvif);
  }
  for (std::string_view brand : {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"}) {
    SCOPED_TRACE(brand);
    EXPECT_EQ(identify(ftyp(0x14, {"isom", kZero4, brand})), kHeic);
  }
  EXPECT_EQ(ImageFormatDetector::classifyISOBMFF(bytesOf("\0\0\0\x18"
                                                         "ftypavi"sv)),
            kUnknown);
}

// Bytes placed just before an inaccessible page: reading past them faults, whatever the build.
class GuardedBytes {
 public:
  explicit GuardedBytes(const Bytes& bytes) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    void* mapped = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) std::abort();
    base_ = static_cast<std::uint8_t*>(mapped);
    mprotect(base_ + page_, page_, PROT_NONE);
    start_ = base_ + page_ - bytes.size();
    std::memcpy(start_, bytes.data(), bytes.size());
  }
  ~GuardedBytes() { munmap(base_, 2 * page_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  // The readable bytes followed by `unreadable` more that the span claims but that must never be read.
  std::span<const std::uint8_t> claiming(std::size_t unreadable) const {
    return {start_, static_cast<std::size_t>(base_ + page_ - start_) + unreadable};
  }

 private:
  std::size_t page_;
  std::uint8_t* base_ = nullptr;
  std::uint8_t* start_ = nullptr;
};

TEST(ImageFormatDetector, ReadsNoMoreThanTheLeadingBytes) {
  struct Row {
    const char* name;
    Bytes readable;
    DetectedFormat expected;
  };
  const Row rows[] = {
      {"16 bytes of text", bytesOf("0123456789abcdef"), kUnknown},
      {"16 bytes of BMP", bytesOf("BM0123456789abcd"), DetectedFormat::rejected("BMP")},
      {"64 bytes of brands, the last one HEIC",
       ftyp(0xFFFF, {"isom", kZero4, "iso2", "iso3", "iso4", "iso5", "iso6", "iso7", "iso8", "iso9", "isoa",
                     "isob", "isoc", "heic"}),
       kHeic},
      {"64 bytes of unknown brands",
       ftyp(0x40, {"isom", kZero4, "iso2", "iso3", "iso4", "iso5", "iso6", "iso7", "iso8", "iso9", "isoa",
                   "isob", "isoc", "isod"}),
       kUnknown},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const GuardedBytes guarded(row.readable);
    EXPECT_EQ(identify(guarded.claiming(4096)), row.expected);
  }
  // A brand beyond 64 bytes is never seen.
  Bytes longBox = ftyp(0x50, {"isom", kZero4, "iso2", "iso3", "iso4", "iso5", "iso6", "iso7", "iso8", "iso9",
                              "isoa", "isob", "isoc", "isod", "avif"});
  EXPECT_EQ(identify(longBox), kUnknown);
}

// Runs a shell command quietly; true on exit status 0.
bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

TEST(ImageFormatDetector, RecognisesFilesFromRealEncoders) {
  char pattern[] = "/tmp/zorvi-formats-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::filesystem::path dir = pattern;
  const std::string source = (dir / "source.png").string();
  ASSERT_TRUE(run("convert -size 16x12 gradient:red-blue '" + source + "'"))
      << "ImageMagick convert is missing";

  struct Row {
    const char* file;
    const char* command;  // %s stands for the source PNG, %o for the output
    DetectedFormat expected;
  };
  const Row rows[] = {
      {"a.jpg", "convert %s %o", kJpeg},
      {"a.png", "convert %s PNG24:%o", kPng},
      {"a.gif", "convert %s %o", DetectedFormat::rejected("GIF")},
      {"b.gif", "convert %s GIF87:%o", DetectedFormat::rejected("GIF")},
      {"a.tiff", "convert %s -define tiff:endian=lsb %o", DetectedFormat::rejected("TIFF")},
      {"b.tiff", "convert %s -define tiff:endian=msb %o", DetectedFormat::rejected("TIFF")},
      {"a.bmp", "convert %s %o", DetectedFormat::rejected("BMP")},
      {"b.bmp", "convert %s BMP2:%o", DetectedFormat::rejected("BMP")},
      {"a.webp", "cwebp -quiet %s -o %o", kWebp},
      {"b.webp", "cwebp -quiet -lossless %s -o %o", kWebp},
      {"a.avif", "avifenc %s %o", kAvif},
      {"a.heic", "heif-enc %s -o %o", kHeic},
      {"a.jxl", "cjxl %s %o", DetectedFormat::rejected("JPEG XL")},
      {"b.jxl", "cjxl --container=1 %s %o", DetectedFormat::rejected("JPEG XL")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    std::string command = row.command;
    const std::string output = (dir / row.file).string();
    command.replace(command.find("%s"), 2, "'" + source + "'");
    command.replace(command.find("%o"), 2, "'" + output + "'");
    ASSERT_TRUE(run(command)) << command;
    EXPECT_EQ(identify(readFile(output)), row.expected);
  }
  std::filesystem::remove_all(dir);
}

Uuid idNumber(std::uint8_t n) {
  Uuid id;
  id.bytes[15] = n;
  return id;
}

CanvasItem imageItem(std::uint8_t n, std::string image, std::string thumbnail) {
  return CanvasItem(idNumber(n), std::move(image), std::move(thumbnail), {0, 0, 10, 10}, 0, {}, {},
                    std::nullopt, std::nullopt, false, std::nullopt);
}

TEST(HTMLExporter, FullResolutionImagesPairItemsWithBytesAndType) {
  const Bytes png = kPngSignature, gif = bytesOf("GIF89a"), other = bytesOf("not an image");
  struct Row {
    const char* name;
    CanvasItem item;
    std::map<std::string, Bytes> images, thumbnails;
    std::optional<EmbeddedImage> expected;
  };
  CanvasItem noThumbnail = imageItem(1, "images/a.png", "");
  noThumbnail.thumbnail.reset();
  CanvasItem noImage = imageItem(1, "", "thumbnails/a.png");
  noImage.image.reset();
  CanvasItem shape(idNumber(1), ShapeContent{}, {}, 0, false, std::nullopt);
  shape.image = "images/a.png", shape.thumbnail = "thumbnails/a.png";
  const Row rows[] = {
      {"full image",
       imageItem(1, "images/a.png", "thumbnails/a.png"),
       {{"images/a.png", png}},
       {{"thumbnails/a.png", gif}},
       EmbeddedImage{png, "image/png"}},
      {"thumbnail stands in",
       imageItem(1, "images/a.png", "thumbnails/a.gif"),
       {},
       {{"thumbnails/a.gif", gif}},
       EmbeddedImage{gif, "application/octet-stream"}},
      {"neither entry",
       imageItem(1, "images/a.png", "thumbnails/a.png"),
       {{"images/b.png", png}},
       {},
       std::nullopt},
      {"thumbnail field absent", noThumbnail, {{"images/a.png", png}}, {}, std::nullopt},
      {"image field absent", noImage, {}, {{"thumbnails/a.png", png}}, std::nullopt},
      {"not an image item", shape, {{"images/a.png", png}}, {}, std::nullopt},
      {"paths are looked up in their own map",
       imageItem(1, "thumbnails/a.png", "images/a.png"),
       {{"images/a.png", png}},
       {{"thumbnails/a.png", gif}},
       std::nullopt},
      {"bytes decide over the name",
       imageItem(1, "images/a.gif", "t"),
       {{"images/a.gif", png}},
       {},
       EmbeddedImage{png, "image/png"}},
      {"GIF under a PNG name",
       imageItem(1, "images/a.png", "t"),
       {{"images/a.png", gif}},
       {},
       EmbeddedImage{gif, "image/png"}},
      {"unknown bytes, unknown extension",
       imageItem(1, "images/a.bmp", "t"),
       {{"images/a.bmp", other}},
       {},
       EmbeddedImage{other, "application/octet-stream"}},
      {"upper-case extension",
       imageItem(1, "images/A.JPEG", "t"),
       {{"images/A.JPEG", other}},
       {},
       EmbeddedImage{other, "image/jpeg"}},
      {"no extension",
       imageItem(1, "images/photo", "t"),
       {{"images/photo", other}},
       {},
       EmbeddedImage{other, "application/octet-stream"}},
      {"dot only in a folder name",
       imageItem(1, "images/x.webp/photo", "t"),
       {{"images/x.webp/photo", other}},
       {},
       EmbeddedImage{other, "application/octet-stream"}},
      {"last dot counts",
       imageItem(1, "images/a.png.webp", "t"),
       {{"images/a.png.webp", other}},
       {},
       EmbeddedImage{other, "image/webp"}},
      {"empty bytes",
       imageItem(1, "images/a.avif", "t"),
       {{"images/a.avif", {}}},
       {},
       EmbeddedImage{{}, "image/avif"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    BoardBundle bundle;
    bundle.manifest.items = {row.item};
    bundle.images = row.images;
    bundle.thumbnails = row.thumbnails;
    const ImageMap images = HTMLExporter::fullResolutionImages(bundle);
    ASSERT_EQ(images.size(), row.expected ? 1u : 0u);
    if (row.expected) {
      EXPECT_EQ(images.at(idNumber(1)), *row.expected);
    }
  }
}

TEST(HTMLExporter, LaterItemWithTheSameIdReplacesEarlierOne) {
  BoardBundle bundle;
  bundle.images = {{"images/a.png", kPngSignature}, {"images/b.jpg", bytesOf({0xFF, 0xD8, 0xFF, 0xDB})}};
  bundle.manifest.items = {imageItem(1, "images/a.png", "t"), imageItem(2, "images/a.png", "t"),
                           imageItem(1, "images/b.jpg", "t"), imageItem(3, "images/missing.png", "t")};
  const ImageMap images = HTMLExporter::fullResolutionImages(bundle);
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images.at(idNumber(1)).mime, "image/jpeg");
  EXPECT_EQ(images.at(idNumber(2)).mime, "image/png");
}

}  // namespace
}  // namespace zorvi
