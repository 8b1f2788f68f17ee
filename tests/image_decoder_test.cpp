#include "zorvi/image_decoder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "decode/reduction.hpp"
#include "support/image_files.hpp"
#include "support/test_images.hpp"

namespace zorvi {
namespace {

// Quadrants of the 64 × 48 test picture, as ARGB words: red, green / blue, white.
constexpr std::uint32_t red = 0xFFFF0000, green = 0xFF00FF00, blue = 0xFF0000FF, white = 0xFFFFFFFF;
constexpr std::uint32_t black = 0xFF000000, grey80 = 0xFF808080, grey40 = 0xFF404040;
// Straight #FF000080 premultiplied: 128 × 255 / 255 for red, alpha 128.
constexpr std::uint32_t halfRed = 0x80800000;

struct Quadrants {
  std::uint32_t topLeft, topRight, bottomLeft, bottomRight;
};
constexpr Quadrants colourQuadrants{red, green, blue, white};
constexpr Quadrants greyQuadrants{black, white, grey80, grey40};
constexpr Quadrants alphaQuadrants{halfRed, 0, halfRed, 0};

using testing::channelDistance;
using testing::pixelAt;

constexpr auto decode = &ImageDecoder::decode;

// Every test file, made from two pictures by the encoders a Debian desktop ships.
class ImageDecoderFiles : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const std::vector<std::pair<std::string, std::string>> commands = {
        {"q.png",
         "convert -size 64x48 xc:white +antialias -fill '#FF0000' -draw 'rectangle 0,0 31,23' -fill "
         "'#00FF00' -draw 'rectangle 32,0 63,23' -fill '#0000FF' -draw 'rectangle 0,24 31,47' PNG24:q.png"},
        {"g.png",
         "convert -size 64x48 xc:'#404040' +antialias -fill black -draw 'rectangle 0,0 31,23' -fill white "
         "-draw 'rectangle 32,0 63,23' -fill '#808080' -draw 'rectangle 0,24 31,47' -define "
         "png:color-type=0 -depth 8 g.png"},
        {"a.png", "convert -size 64x48 xc:none -fill '#FF000080' -draw 'rectangle 0,0 31,47' PNG32:a.png"},
        {"photo.png", "convert -seed 7 -size 400x300 plasma:fractal photo.png"},
        {"black.png", "convert -size 64x48 xc:black black.png"},
        {"q.jpg", "convert q.png -quality 95 q.jpg"}, {"cmyk.jpg", "convert q.png -quality 95 -colorspace CMYK cmyk.jpg"},
        {"anim.gif", "convert -delay 10 q.png black.png anim.gif"},
        {"anim.webp", "img2webp -lossless q.png black.png -o anim.webp"},
        {"g.jpg", "convert g.png -quality 95 -colorspace Gray g.jpg"}, {"q16.png", "convert q.png -depth 16 PNG48:q16.png"},
        {"g16.png", "convert g.png -depth 16 -define png:color-type=0 g16.png"}, {"qp.png", "convert q.png PNG8:qp.png"},
        {"qi.png", "convert q.png -interlace PNG qi.png"}, {"q.webp", "cwebp -q 95 q.png -o q.webp"},
        {"ql.webp", "cwebp -lossless -exact q.png -o ql.webp"}, {"a.webp", "cwebp -lossless -exact a.png -o a.webp"},
        {"q.avif", "avifenc -s 8 --min 0 --max 8 q.png q.avif"}, {"a.avif", "avifenc -l a.png a.avif"},
        {"q.heic", "heif-enc -q 95 q.png -o q.heic"}, {"q.jxl", "cjxl q.png q.jxl -d 0"}, {"a.jxl", "cjxl a.png a.jxl -d 0"},
        {"q.gif", "convert q.png q.gif"}, {"q.tif", "convert q.png q.tif"}, {"a.tif", "convert a.png a.tif"},
        {"q.bmp", "convert q.png BMP3:q.bmp"}, {"photo.jpg", "convert photo.png photo.jpg"},
        {"photo-progressive.jpg", "convert photo.png -interlace JPEG photo-progressive.jpg"},
        {"photo-interlaced.png", "convert photo.png -interlace PNG photo-interlaced.png"},
        {"photo.webp", "cwebp -q 80 photo.png -o photo.webp"}, {"photo.avif", "avifenc -s 8 photo.png photo.avif"},
        {"photo-420.avif", "avifenc -s 8 -d 8 -y 420 photo.png photo-420.avif"},
        {"photo-alpha.png",
         "convert photo.png \\( -size 400x300 gradient: \\) -alpha off -compose copy_opacity -composite "
         "PNG32:photo-alpha.png"},
        {"photo-alpha-420.avif", "avifenc -s 8 -d 10 -y 420 photo-alpha.png photo-alpha-420.avif"},
        {"photo.heic", "heif-enc -q 80 photo.png -o photo.heic"}, {"photo.jxl", "cjxl photo.png photo.jxl"},
        {"photo.gif", "convert photo.png photo.gif"}, {"photo.tif", "convert photo.png -compress lzw photo.tif"},
        {"photo.bmp", "convert photo.png BMP3:photo.bmp"}, {"big.jpg", "convert -size 4000x3000 gradient:red-blue big.jpg"},
    };
    files_ = new std::map<std::string, Bytes>(testing::madeFiles(commands));
  }

  static void TearDownTestSuite() { delete files_; }

  void SetUp() override { ASSERT_FALSE(files_->empty()) << "the encoders could not make the test files"; }

  static const Bytes& file(const std::string& name) { return files_->at(name); }

  static inline std::map<std::string, Bytes>* files_ = nullptr;
};

TEST_F(ImageDecoderFiles, KnownColoursAtKnownPixels) {
  struct Row {
    const char* file;
    Quadrants expected;
    int tolerance;  // per channel; 0 for lossless files
  };
  const Row rows[] = {
      {"q.png", colourQuadrants, 0},    {"q16.png", colourQuadrants, 0},  {"qp.png", colourQuadrants, 0},
      {"qi.png", colourQuadrants, 0},   {"g.png", greyQuadrants, 0},      {"g16.png", greyQuadrants, 0},
      {"a.png", alphaQuadrants, 0},     {"q.jpg", colourQuadrants, 8},    {"g.jpg", greyQuadrants, 4},
      {"q.webp", colourQuadrants, 12},  {"ql.webp", colourQuadrants, 0},  {"a.webp", alphaQuadrants, 1},
      {"q.avif", colourQuadrants, 12},  {"a.avif", alphaQuadrants, 1},    {"q.heic", colourQuadrants, 16},
      {"q.jxl", colourQuadrants, 0},    {"a.jxl", alphaQuadrants, 0},     {"q.gif", colourQuadrants, 0},
      {"cmyk.jpg", colourQuadrants, 8}, {"anim.gif", colourQuadrants, 0}, {"anim.webp", colourQuadrants, 0},
      {"q.tif", colourQuadrants, 0},    {"a.tif", alphaQuadrants, 0},     {"q.bmp", colourQuadrants, 0},
  };
  // At full size, and reduced 4 × 4 so that every codec's own reduction (DCT scaling, WebP's scaler, our
  // boxes) is checked too; no box straddles two quadrants.
  for (const auto& [width, height] : {std::pair{64, 48}, std::pair{16, 12}}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.file) + " at " + std::to_string(width) + "x" + std::to_string(height));
      const auto raster = decode(file(row.file), width, height);
      ASSERT_TRUE(raster);
      ASSERT_EQ(std::tuple(raster->width, raster->height, raster->pixels.size()),
                std::tuple(width, height, static_cast<std::size_t>(width * height)));
      const std::pair<std::pair<int, int>, std::uint32_t> probes[] = {
          {{width / 8, height / 8}, row.expected.topLeft},        {{width * 7 / 8, height / 8}, row.expected.topRight},
          {{width / 8, height * 7 / 8}, row.expected.bottomLeft}, {{width * 7 / 8, height * 7 / 8}, row.expected.bottomRight},
          {{width * 5 / 16, height * 3 / 8}, row.expected.topLeft}, {{width * 11 / 16, height * 5 / 8}, row.expected.bottomRight},
      };
      for (const auto& [at, colour] : probes) {
        const std::uint32_t actual = pixelAt(*raster, at.first, at.second);
        EXPECT_LE(channelDistance(actual, colour), row.tolerance)
            << "at " << at.first << "," << at.second << std::hex << ": got " << actual << ", want " << colour;
      }
    }
  }
}

TEST_F(ImageDecoderFiles, ReducesWhileDecodingButNeverBelowTheTarget) {
  struct Row {
    const char* file;
    std::int32_t targetWidth, targetHeight, width, height;
  };
  const Row rows[] = {
      {"big.jpg", 300, 200, 500, 375},      // 1/8: the smallest eighth covering 300 × 200
      {"big.jpg", 501, 375, 1000, 375},     // 1/8 is one pixel short, 2/8 covers it, rows then halved
      {"big.jpg", 100, 100, 100, 125},      // below 1/8, box factors 5 × 3 take over
      {"big.jpg", 1200, 900, 1500, 1125},   // 3/8
      {"big.jpg", 4000, 3000, 4000, 3000},  // no reduction
      {"photo.jpg", 9000, 9000, 400, 300},  // a small source keeps its size
      {"photo.png", 100, 100, 100, 100},    // box factors 4 × 3
      {"photo.png", 150, 100, 200, 100},    // factors 2 × 3, the widest box that stays above 150
      {"photo.png", 0, -5, 1, 1},           // targets below 1 count as 1
      {"photo-interlaced.png", 100, 100, 100, 100},
      {"photo.webp", 120, 90, 120, 90},  // the WebP scaler goes straight to the target
      {"photo.webp", 800, 90, 400, 90},
      {"photo.avif", 100, 100, 100, 100},  // whole-image codecs are box-reduced after decoding
      {"photo.heic", 130, 100, 134, 100},  {"photo.jxl", 200, 150, 200, 150},   {"photo.gif", 100, 100, 100, 100},
      {"photo.tif", 100, 100, 100, 100},   {"photo.bmp", 100, 100, 100, 100},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.file) + " to " + std::to_string(row.targetWidth) + "x" +
                 std::to_string(row.targetHeight));
    const auto raster = decode(file(row.file), row.targetWidth, row.targetHeight);
    ASSERT_TRUE(raster);
    EXPECT_EQ(std::tuple(raster->width, raster->height, raster->pixels.size()),
              std::tuple(row.width, row.height, static_cast<std::size_t>(row.width) * static_cast<std::size_t>(row.height)));
  }
}

TEST_F(ImageDecoderFiles, InterlacedAndPlainPngReduceToTheSamePixels) {
  for (const auto& size : {std::pair{400, 300}, std::pair{100, 100}, std::pair{37, 11}}) {
    SCOPED_TRACE(std::to_string(size.first) + "x" + std::to_string(size.second));
    const auto plain = decode(file("photo.png"), size.first, size.second);
    const auto interlaced = decode(file("photo-interlaced.png"), size.first, size.second);
    ASSERT_TRUE(plain && interlaced);
    EXPECT_TRUE(*plain == *interlaced);
  }
}

// A reduced AVIF is converted band by band; its pixels must be those of the whole frame, reduced.
TEST_F(ImageDecoderFiles, ReducedAvifMatchesTheWholeFrameReduced) {
  for (const char* name : {"photo.avif", "photo-420.avif", "photo-alpha-420.avif"}) {
    const auto whole = decode(file(name), 400, 300);
    ASSERT_TRUE(whole) << name;
    for (const auto& [width, height] : {std::pair{100, 100}, std::pair{37, 11}, std::pair{400, 3}}) {
      SCOPED_TRACE(std::string(name) + " to " + std::to_string(width) + "x" + std::to_string(height));
      const auto reduced = decode(file(name), width, height);
      const auto expected = decoding::reduceRaster(*whole, {width, height});
      ASSERT_TRUE(reduced && expected);
      EXPECT_TRUE(*reduced == *expected);
    }
  }
}

TEST_F(ImageDecoderFiles, TruncatedFilesGiveNothing) {
  for (const char* name : {"photo.jpg", "photo-progressive.jpg", "photo.png", "photo-interlaced.png", "photo.webp", "photo.avif",
                           "photo.heic", "photo.jxl", "photo.gif", "photo.tif", "photo.bmp"}) {
    const Bytes& whole = file(name);
    for (int tenths = 1; tenths <= 9; ++tenths) {
      SCOPED_TRACE(std::string(name) + " cut at " + std::to_string(tenths) + "/10");
      const Bytes prefix(whole.begin(),
                              whole.begin() + static_cast<std::ptrdiff_t>(whole.size() * tenths / 10));
      EXPECT_FALSE(decode(prefix, 64, 64));
      // Cut short, then closed with an end-of-image marker as a repairing tool writes it.
      if (std::string_view(name).ends_with(".jpg")) {
        Bytes closed = prefix;
        closed.insert(closed.end(), {0xFF, 0xD9});
        EXPECT_FALSE(decode(closed, 64, 64));
      }
    }
  }
}

// Garbage, and doctored headers that must be refused before the decoder allocates what they declare (under
// the sanitizers such an allocation aborts the test).
TEST_F(ImageDecoderFiles, GarbageAndHugeDeclaredSizesGiveNothing) {
  auto patched = [](Bytes bytes, std::size_t at, std::initializer_list<std::uint8_t> values) {
    std::copy(values.begin(), values.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    return bytes;
  };
  // The offset of what in bytes; fails the test when it is missing, so no patch lands out of range.
  auto find = [](const Bytes& bytes, std::string_view what) {
    const Bytes needle(what.begin(), what.end());
    const auto at = std::search(bytes.begin(), bytes.end(), needle.begin(), needle.end());
    EXPECT_NE(at, bytes.end()) << what;
    return at == bytes.end() ? 0 : static_cast<std::size_t>(at - bytes.begin());
  };
  const Bytes& jpeg = file("q.jpg");
  const Bytes& avif = file("q.avif");
  const Bytes& heic = file("q.heic");
  const std::size_t sof = find(jpeg, "\xFF\xC0");
  const std::pair<const char*, Bytes> rows[] = {
      {"PNG 100000 x 100000", testing::rgbaPng(1, 1, {1, 2, 3, 4}, 100000, 100000)},
      {"PNG 2^31-1 x 1", testing::rgbaPng(1, 1, {1, 2, 3, 4}, 0x7FFFFFFF, 1)},
      {"JPEG 65000 x 65000", patched(jpeg, sof + 5, {0xFD, 0xE8, 0xFD, 0xE8})},
      {"AVIF 60000 x 60000", patched(avif, find(avif, "ispe") + 8, {0, 0, 0xEA, 0x60, 0, 0, 0xEA, 0x60})},
      {"HEIC 60000 x 60000", patched(heic, find(heic, "ispe") + 8, {0, 0, 0xEA, 0x60, 0, 0, 0xEA, 0x60})},
      {"GIF 65535 x 65535", patched(file("q.gif"), 6, {0xFF, 0xFF, 0xFF, 0xFF})},
      {"BMP 100000 x -100000", patched(file("q.bmp"), 18, {0xA0, 0x86, 0x01, 0x00, 0x60, 0x79, 0xFE, 0xFF})},
      {"empty", {}},
      {"JPEG start alone", {0xFF, 0xD8, 0xFF}},
      {"JPEG start and junk", {0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3, 4, 5, 6, 7, 8}},
      {"PNG signature alone", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}},
      {"GIF header alone", {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0}},
      {"RIFF WEBP and junk", {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'E', 'B', 'P', 'V', 'P', '8', ' '}},
      {"ftyp avif alone", {0, 0, 0, 0x10, 'f', 't', 'y', 'p', 'a', 'v', 'i', 'f', 0, 0, 0, 0}},
      {"ftyp heic alone", {0, 0, 0, 0x10, 'f', 't', 'y', 'p', 'h', 'e', 'i', 'c', 0, 0, 0, 0}},
      {"TIFF with its directory out of range", {'I', 'I', 0x2A, 0, 0xFF, 0xFF, 0xFF, 0x7F}},
      {"JPEG XL codestream start", {0xFF, 0x0A, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"BMP header alone", {'B', 'M', 0, 0, 0, 0}},
      {"MP4 brand", {0, 0, 0, 0x10, 'f', 't', 'y', 'p', 'i', 's', 'o', 'm', 0, 0, 0, 0}},
      {"text", {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}},
  };
  for (const auto& [name, bytes] : rows) EXPECT_FALSE(decode(bytes, 256, 256)) << name;
}

TEST(ImageDecoder, AveragesPremultipliedPixelsWhenReducing) {
  // Opaque red beside transparent blue: a transparent pixel's colour must not bleed into the average.
  const Bytes rgba = {255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 0, 255, 0, 255,
                     255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 0, 255, 0, 255};
  const auto raster = decode(testing::rgbaPng(4, 2, rgba), 2, 1);
  ASSERT_TRUE(raster);
  ASSERT_EQ(std::pair(raster->width, raster->height), std::pair(2, 1));
  EXPECT_EQ(pixelAt(*raster, 0, 0), 0x80800000u);  // half-covered red
  EXPECT_EQ(pixelAt(*raster, 1, 0), 0xFF008080u);  // blue and green mixed half and half
}

// Whole rows take a faster path than the strided passes of interlaced images; both must average alike.
TEST(ImageDecoder, WholeRowsAndStridedPassesReduceAlike) {
  constexpr std::int32_t width = 37, height = 11;
  std::vector<std::uint8_t> rgba(std::size_t{width} * height * 4);
  std::uint32_t state = 7;
  for (std::size_t i = 0; i < rgba.size(); ++i) {
    state = state * 1664525u + 1013904223u;
    rgba[i] = static_cast<std::uint8_t>(state >> 24);
  }
  for (std::size_t i = 3; i < rgba.size(); i += 12) rgba[i] = 255;  // opaque, transparent and partial alpha
  for (std::size_t i = 7; i < rgba.size(); i += 12) rgba[i] = 0;
  for (const auto alpha : {decoding::BoxReducer::Alpha::straight, decoding::BoxReducer::Alpha::premultiplied}) {
    const auto plan = decoding::planReduction(width, height, {10, 4});
    auto whole = decoding::BoxReducer::make(plan, true);
    auto strided = decoding::BoxReducer::make(plan, false);
    ASSERT_TRUE(whole && strided);
    for (std::int32_t y = 0; y < height; ++y) {
      const std::uint8_t* row = rgba.data() + std::size_t{width} * 4 * static_cast<std::size_t>(y);
      whole->addRgba(y, 0, 1, width, row, alpha);
      strided->addRgba(y, 1, 2, width / 2, row + 4, alpha);
      strided->addRgba(y, 0, 2, (width + 1) / 2, row, alpha);
    }
    EXPECT_TRUE(whole->finish() == strided->finish());
  }
}

TEST(ImageDecoder, PlansTheLargestBoxThatKeepsTheTarget) {
  struct Row {
    std::int32_t sourceWidth, sourceHeight, targetWidth, targetHeight;
    std::int32_t factorX, factorY, width, height;
  };
  const Row rows[] = {
      {4000, 3000, 300, 200, 13, 15, 308, 200},       {640, 480, 640, 480, 1, 1, 640, 480},
      {100, 100, 1000, 1000, 1, 1, 100, 100},         {7, 5, 2, 2, 3, 2, 3, 3},
      {20000, 20000, 20000, 20000, 8, 4, 2500, 5000},  // the raster limit forces boxes
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.sourceWidth) + "x" + std::to_string(row.sourceHeight) + " to " +
                 std::to_string(row.targetWidth) + "x" + std::to_string(row.targetHeight));
    const auto plan =
        decoding::planReduction(row.sourceWidth, row.sourceHeight, {row.targetWidth, row.targetHeight});
    EXPECT_EQ(std::tuple(plan.factorX, plan.factorY, plan.width, plan.height),
              std::tuple(row.factorX, row.factorY, row.width, row.height));
  }
  // A box never sums more pixels than 8-bit channels can add up in 32 bits.
  const auto tiny = decoding::planReduction(1 << 30, 1, {1, 1});
  EXPECT_LE(std::int64_t{tiny.factorX} * tiny.factorY, std::int64_t{1} << 24);
}

TEST_F(ImageDecoderFiles, DecodesConcurrentlyAsItDoesAlone) {
  const char* names[] = {"photo.jpg", "photo.png", "photo.webp", "photo.avif", "photo.heic",
                         "photo.jxl", "photo.gif", "photo.tif",  "photo.bmp"};
  std::vector<std::future<std::optional<Raster>>> running;
  for (int round = 0; round < 2; ++round)
    for (const char* name : names)
      running.push_back(std::async(std::launch::async, [name] { return decode(file(name), 90, 70); }));
  for (std::size_t i = 0; i < running.size(); ++i) {
    const char* name = names[i % std::size(names)];
    SCOPED_TRACE(name);
    const auto concurrent = running[i].get();
    const auto alone = decode(file(name), 90, 70);
    ASSERT_TRUE(alone && concurrent);
    EXPECT_TRUE(*alone == *concurrent);
  }
}

}  // namespace
}  // namespace zorvi
