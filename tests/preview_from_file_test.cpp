// A preview drawn from a board read entry by entry, each picture read as it is decoded and let go once
// drawn, is the preview drawn from the whole board in memory, pixel for pixel and skip for skip.
#include <gtest/gtest.h>

#include "support/board_files.hpp"
#include "support/items.hpp"
#include "support/test_images.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

struct Board {
  BoardBundle bundle;
  bool deflated = false;  // entries deflated, so the file holds no picture where it can be viewed

  // Item n shows `image` (its thumbnail is thumbnails/ plus the same name).
  Board& image(std::uint8_t n, const std::string& image, double x) {
    bundle.manifest.items.emplace_back(testing::idNumber(n), "images/" + image, "thumbnails/" + image,
                                       Frame{x, (n % 3) * 40.0, 90, 60}, n, PixelSize{}, ItemSource{},
                                       std::nullopt, std::nullopt, false, std::nullopt);
    return *this;
  }
  Board& entry(const std::string& path, Bytes bytes) {
    (path.starts_with("images/") ? bundle.images : bundle.thumbnails)[path] = std::move(bytes);
    return *this;
  }
  Bytes archive() const {
    if (!deflated) return BoardArchive::encode(bundle);
    std::vector<testing::ZipEntry> entries{{.name = "manifest.json",
                                            .data = testing::toBytes(ManifestCoder::encode(bundle.manifest)),
                                            .method = 8}};
    for (const auto* map : {&bundle.images, &bundle.thumbnails})
      for (const auto& [path, bytes] : *map) entries.push_back({.name = path, .data = bytes, .method = 8});
    return testing::buildZip(entries).bytes;
  }
};

Bytes picture(std::uint8_t n) {
  return testing::bandedPNG(40 + n, 30, {{n / 20.0, 0.2, 0.5, 1}, {0.9, 1 - n / 20.0, 0.1, 1}, {0, 0, 1, 1}});
}

// Pictures shown twice, a thumbnail standing in, a missing and an undecodable one.
Board mixed() {
  Board board;
  board.bundle.manifest.board.canvas.backgroundColor = "#202020";
  board.image(1, "a.png", 0).image(2, "a.png", 100).image(3, "b.png", 200).image(4, "gone.png", 300);
  board.image(5, "bad.png", 400).image(6, "a.png", 500);
  board.entry("images/a.png", picture(1)).entry("thumbnails/b.png", picture(2));
  board.entry("images/bad.png", testing::toBytes("not a picture"));
  return board;
}

// More pictures than are decoded ahead, so some are let go while others are still to come.
Board many() {
  Board board;
  board.bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
  for (std::uint8_t n = 1; n <= 14; ++n) {
    const std::string name = std::to_string(n % 11) + ".png";  // items 1 and 12, 2 and 13 … share one
    board.image(n, name, n * 95.0).entry("images/" + name, picture(n % 11));
  }
  return board;
}

struct Preview {
  std::optional<Raster> raster;
  std::vector<SkippedImage> skipped;
  bool operator==(const Preview&) const = default;
};

template <typename Source>
Preview preview(const Source& source) {
  Preview result;
  result.raster =
      BoardPreviewRenderer::render(source, 300, [&](const SkippedImage& s) { result.skipped.push_back(s); });
  return result;
}

TEST(PreviewFromFile, DrawsWhatTheWholeBoardDraws) {
  Board deflatedMany = many();
  deflatedMany.deflated = true;
  Board deflatedMixed = mixed();
  deflatedMixed.deflated = true;
  const std::pair<const char*, Board> boards[] = {{"mixed", mixed()},
                                                  {"many", many()},
                                                  {"mixed, deflated", deflatedMixed},
                                                  {"many, deflated", deflatedMany}};
  for (const auto& [name, board] : boards) {
    SCOPED_TRACE(name);
    testing::TemporaryFolder folder;
    const auto path = folder.path / "board.zorvi";
    testing::writeFile(path, board.archive());
    const Preview whole = preview(BoardArchive::read(path));
    ASSERT_TRUE(whole.raster);
    EXPECT_EQ(preview(BoardFile::openChecked(path)), whole);
    EXPECT_EQ(preview(BoardFile::open(path)), whole);
  }
}

}  // namespace
}  // namespace zorvi
