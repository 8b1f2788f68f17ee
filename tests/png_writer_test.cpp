#include "render/png_writer.hpp"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <random>
#include <regex>

#include "zorvi/image_decoder.hpp"

namespace zorvi::png_writing {
namespace {

std::uint8_t paethReference(int a, int b, int c) {
  const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Rows of every length around the eight-byte steps, with extremes where the 16-bit lanes could overflow.
TEST(PngWriter, PaethFilterMatchesTheFormulaAtEveryLength) {
  std::mt19937 random(7);
  for (std::size_t pixels = 1; pixels <= 13; ++pixels) {
    SCOPED_TRACE(pixels);
    std::vector<std::uint8_t> row(pixels * 3), above(pixels * 3), out(pixels * 3);
    for (int round = 0; round < 50; ++round) {
      for (std::size_t i = 0; i < row.size(); ++i) {
        const bool extreme = random() % 3 == 0;
        row[i] = static_cast<std::uint8_t>(extreme ? (random() % 2) * 255 : random());
        above[i] = static_cast<std::uint8_t>(extreme ? (random() % 2) * 255 : random());
      }
      paethFilter(row, above, out.data());
      for (std::size_t i = 0; i < row.size(); ++i) {
        const int a = i >= 3 ? row[i - 3] : 0, c = i >= 3 ? above[i - 3] : 0;
        ASSERT_EQ(out[i], static_cast<std::uint8_t>(row[i] - paethReference(a, above[i], c))) << "byte " << i;
      }
    }
  }
}

std::uint32_t be32(const std::uint8_t* at) {
  return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
}

// Chunk types in order, each with its CRC checked: decoders differ in which CRCs they look at.
std::string chunkTypes(const std::vector<std::uint8_t>& png) {
  std::string types;
  for (std::size_t at = 8; at + 12 <= png.size();) {
    const std::uint32_t length = be32(&png[at]);
    if (at + 12 + length > png.size()) return types + " overrun";
    const auto crc = static_cast<std::uint32_t>(crc32(0, &png[at + 4], length + 4));
    types += std::string(reinterpret_cast<const char*>(&png[at + 4]), 4) +
             (crc == be32(&png[at + 8 + length]) ? " " : "! ");
    at += 12 + length;
  }
  return types;
}

std::vector<std::uint8_t> write(std::uint32_t width, std::uint32_t height,
                                const std::vector<std::uint8_t>& rgb,
                                RasterCanvas::PNGCompression compression,
                                std::size_t acceptedCalls = SIZE_MAX) {
  std::vector<std::uint8_t> png;
  std::size_t calls = 0;
  RgbWriter writer(
      width, height,
      [&](std::span<const std::uint8_t> bytes) {
        if (++calls > acceptedCalls) return false;
        png.insert(png.end(), bytes.begin(), bytes.end());
        return true;
      },
      compression);
  bool ok = true;
  for (std::uint32_t y = 0; y < height && ok; ++y) {
    std::copy_n(rgb.begin() + y * width * 3, width * 3, writer.row().begin());
    ok = writer.commitRow();
  }
  return ok ? png : std::vector<std::uint8_t>{};
}

// Sizes that end batches mid-way and exactly, and a picture whose deflated data spans several chunks.
TEST(PngWriter, PicturesDecodeToTheirOwnPixels) {
  const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{1, 1}, {5, 3}, {2731, 32}, {700, 300}};
  std::mt19937 random(3);
  for (const auto& [width, height] : sizes)
    for (const auto compression : {RasterCanvas::PNGCompression::fast, RasterCanvas::PNGCompression::none}) {
      SCOPED_TRACE(testing::Message()
                   << width << "x" << height
                   << (compression == RasterCanvas::PNGCompression::none ? " stored" : ""));
      std::vector<std::uint8_t> rgb(std::size_t{width} * height * 3);
      for (std::size_t i = 0; i < rgb.size(); ++i)
        rgb[i] = static_cast<std::uint8_t>(i % 97 < 40 ? random() : i / (width * 3));
      const std::vector<std::uint8_t> png = write(width, height, rgb, compression);
      const std::optional<Raster> decoded =
          ImageDecoder::decode(png, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
      const std::string types = chunkTypes(png);
      EXPECT_TRUE(std::regex_match(types, std::regex("IHDR (IDAT )+IEND "))) << types;
      ASSERT_TRUE(decoded);
      ASSERT_EQ(decoded->width, static_cast<std::int32_t>(width));
      ASSERT_EQ(decoded->height, static_cast<std::int32_t>(height));
      for (std::size_t p = 0; p < decoded->pixels.size(); ++p) {
        const std::uint32_t expected = 0xFF000000u | std::uint32_t{rgb[3 * p]} << 16 |
                                       std::uint32_t{rgb[3 * p + 1]} << 8 | rgb[3 * p + 2];
        ASSERT_EQ(decoded->pixels[p], expected) << "pixel " << p;
      }
    }
}

TEST(PngWriter, ARefusedWriteStopsEveryLaterRow) {
  const std::vector<std::uint8_t> rgb(700 * 300 * 3, 9);
  for (const std::size_t accepted : {0, 1, 4})
    EXPECT_TRUE(write(700, 300, rgb, RasterCanvas::PNGCompression::fast, accepted).empty()) << accepted;
}

}  // namespace
}  // namespace zorvi::png_writing
