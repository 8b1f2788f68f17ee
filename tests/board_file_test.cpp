#include "zorvi/board_file.hpp"

#include <gtest/gtest.h>

#include <random>

#include "support/board_files.hpp"
#include "support/sample_manifest.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

using testing::buildZip;
using testing::toBytes;
using testing::ZipEntry;

// Sizes come from the directory at once; bytes, whole, in chunks or only their start, on request.
TEST(BoardFile, GivesSizesAtOnceAndBytesOnRequest) {
  Bytes noise(700 * 1024);  // more than two chunks
  std::mt19937 random(7);
  for (auto& byte : noise) byte = static_cast<std::uint8_t>(random());
  const testing::BuiltZip built = buildZip({
      {.name = "manifest.json", .data = toBytes(testing::manifestJson(8)), .method = 8},
      {.name = "images/noise.bin", .data = noise, .method = 8},
      {.name = "images/a.png", .data = toBytes("first")},
      {.name = "images/a.png", .data = toBytes("second, later in the directory")},
      {.name = "thumbnails/empty.png", .data = {}},
      {.name = "notes.txt", .data = toBytes("ignored")},
  });
  testing::TemporaryFolder folder;
  testing::writeFile(folder.path / "b.zorvi", built.bytes);
  const BoardFile file = BoardFile::open(folder.path / "b.zorvi");

  EXPECT_EQ(file.manifest().board.name, ManifestCoder::decode(testing::manifestJson(8)).board.name);
  EXPECT_EQ(file.imageSizes(),
            (std::map<std::string, std::uint64_t>{{"images/a.png", 30}, {"images/noise.bin", noise.size()}}));
  EXPECT_EQ(file.thumbnailSizes(), (std::map<std::string, std::uint64_t>{{"thumbnails/empty.png", 0}}));
  const std::pair<const char*, Bytes> entries[] = {
      {"images/noise.bin", noise}, {"images/a.png", toBytes("second, later in the directory")},
      {"thumbnails/empty.png", {}}};
  for (const auto& [path, expected] : entries) {
    SCOPED_TRACE(path);
    Bytes chunked;
    std::size_t largest = 0;
    EXPECT_TRUE(file.read(path, [&](std::span<const std::uint8_t> chunk) {
      chunked.insert(chunked.end(), chunk.begin(), chunk.end());
      largest = std::max(largest, chunk.size());
    }));
    EXPECT_EQ(chunked, expected);
    EXPECT_LE(largest, 256u * 1024);
    EXPECT_EQ(file.bytes(path), expected);
    EXPECT_EQ(file.head(path, 4), Bytes(expected.begin(), expected.begin() + std::min<std::ptrdiff_t>(4, expected.size())));
  }
  for (const char* absent : {"notes.txt", "images/none.png", "images/"}) {
    EXPECT_FALSE(file.read(absent, [](std::span<const std::uint8_t>) {}));
    EXPECT_EQ(file.bytes(absent), std::nullopt);
  }
}

}  // namespace
}  // namespace zorvi
