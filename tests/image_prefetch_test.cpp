#include "render/image_prefetch.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/image_files.hpp"
#include "support/items.hpp"

namespace zorvi::render {
namespace {

// A picture of side × side pixels whose colour tells which one it is.
Bytes picture(std::uint32_t side, std::uint8_t shade) {
  Bytes rgba;
  for (std::uint32_t i = 0; i < side * side; ++i) rgba.insert(rgba.end(), {shade, std::uint8_t(255 - shade), 40, 255});
  return testing::rgbaPng(side, side, rgba);
}

constexpr auto id = &testing::idNumber;

// However the drawing asks (in plan order, skipping some, for sizes or items not planned, for one item
// twice) every picture is the one ImageDecoder gives for the same request.
TEST(ImagePrefetch, GivesWhatTheDecoderGivesHoweverItIsAsked) {
  std::vector<Bytes> files;
  for (std::uint8_t n = 0; n < 8; ++n) files.push_back(picture(16 + n, std::uint8_t(n * 30)));
  const auto plan = [&] {
    std::vector<ImagePrefetch::Job> jobs;
    for (std::uint8_t n = 0; n < 8; ++n) jobs.push_back({id(n), files[n], 8, 8});
    return jobs;
  };
  struct Ask {
    std::uint8_t item, file;
    std::int32_t width;
  };
  const std::vector<std::pair<const char*, std::vector<Ask>>> orders = {
      {"in order", {{0, 0, 8}, {1, 1, 8}, {2, 2, 8}, {3, 3, 8}, {4, 4, 8}, {5, 5, 8}, {6, 6, 8}, {7, 7, 8}}},
      {"skipping", {{0, 0, 8}, {5, 5, 8}, {7, 7, 8}}},
      {"another size", {{0, 0, 4}, {1, 1, 8}}},
      {"another item", {{9, 3, 8}, {1, 1, 8}}},
      {"other bytes for a planned item", {{2, 6, 8}, {3, 3, 8}}},
      {"twice", {{1, 1, 8}, {1, 1, 8}, {2, 2, 8}}},
      {"backwards", {{7, 7, 8}, {3, 3, 8}, {0, 0, 8}}},
  };
  for (const unsigned threads : {0u, 1u, 3u}) {
    for (const auto& [name, asks] : orders) {
      ImagePrefetch prefetch(plan(), threads);
      for (const auto& ask : asks) {
        const auto got = prefetch.take(id(ask.item), files[ask.file], ask.width, ask.width);
        ASSERT_TRUE(got) << name;
        EXPECT_EQ(*got, *ImageDecoder::decode(files[ask.file], ask.width, ask.width))
            << name << ", " << threads << " threads, item " << int(ask.item);
      }
    }
  }
}

TEST(ImagePrefetch, TargetsCoverTheDrawnLength) {
  const std::pair<double, std::int32_t> cases[] = {{0.2, 1}, {1, 1}, {1.01, 2}, {255.5, 256}, {-3, 1}, {1e12, 2147483647}};
  for (const auto& [length, pixels] : cases) EXPECT_EQ(targetPixels(length), pixels) << length;
  EXPECT_EQ(targetPixels(std::nan("")), 1);
}

}  // namespace
}  // namespace zorvi::render
