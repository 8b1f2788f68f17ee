#include "render/png_writer.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

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

std::vector<std::uint8_t> write(std::uint32_t width, std::uint32_t height, const std::vector<std::uint8_t>& rgb,
                                std::size_t acceptedCalls = SIZE_MAX) {
  std::vector<std::uint8_t> png;
  std::size_t calls = 0;
  RgbWriter writer(width, height, [&](std::span<const std::uint8_t> bytes) {
    if (++calls > acceptedCalls) return false;
    png.insert(png.end(), bytes.begin(), bytes.end());
    return true;
  });
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
  for (const auto& [width, height] : sizes) {
    SCOPED_TRACE(testing::Message() << width << "x" << height);
    std::vector<std::uint8_t> rgb(std::size_t{width} * height * 3);
    for (std::size_t i = 0; i < rgb.size(); ++i)
      rgb[i] = static_cast<std::uint8_t>(i % 97 < 40 ? random() : i / (width * 3));
    const std::vector<std::uint8_t> png = write(width, height, rgb);
    const std::optional<Raster> decoded =
        ImageDecoder::decode(png, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
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
  for (const std::size_t accepted : {0, 1, 4}) {
    SCOPED_TRACE(accepted);
    EXPECT_TRUE(write(700, 300, rgb, accepted).empty());
  }
}

}  // namespace
}  // namespace zorvi::png_writing
