// The bundled example board: it must stay readable by the library and keep the properties the
// README promises and the desktop tests probe (one image per accepted format, each with its own
// dominant colour in the middle).
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "zorvi/board_archive.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi {
namespace {

TEST(ExampleBoard, HoldsEveryKindOfContentAtTheDocumentedExtent) {
  const Manifest manifest = BoardArchive::read(std::string(ZORVI_SOURCE_DIR) + "/examples/example.zorvi").manifest;
  EXPECT_EQ(manifest.schemaVersion, Manifest::currentSchemaVersion);
  EXPECT_TRUE(manifest.board.header && manifest.board.header->hasContent());
  EXPECT_TRUE(manifest.board.pageSetup);
  std::set<std::string> kinds;
  for (const CanvasItem& item : manifest.items) {
    if (item.shape && item.shape->hasTitle() && item.shape->fillColor) kinds.insert("filled titled shape");
    if (item.shape && item.shape->hasTitle() && !item.shape->fillColor && item.shape->strokeColor &&
        item.shape->strokeWidth > 0)
      kinds.insert("outlined titled shape");
    if (item.drawing && item.drawing->points.size() >= 2)
      kinds.insert(item.drawing->style == DrawingContent::LineStyle::solid ? "solid line" : "dashed line");
    if (item.text && !item.text->content.empty()) kinds.insert("text");
    if (item.type == CanvasItem::Type::image && item.caption && !item.caption->empty()) kinds.insert("caption");
  }
  EXPECT_EQ(kinds, (std::set<std::string>{"filled titled shape", "outlined titled shape", "solid line",
                                          "dashed line", "text", "caption"}));
  const BoardLayout layout(manifest.items, CaptionHeights{});
  EXPECT_EQ(std::pair(layout.width, layout.height), std::pair(1400.0, 800.0));
}

// Each image in its own accepted format, its thumbnail in the same one, and a dominant colour in the
// middle once decoded at its frame's size, as the renderer has it.
TEST(ExampleBoard, EachImageHasItsFormatAndDominantColour) {
  const BoardBundle bundle = BoardArchive::read(std::string(ZORVI_SOURCE_DIR) + "/examples/example.zorvi");
  const std::map<std::string, std::pair<ImageFormat, std::uint32_t>> expected{
      {"images/harbour-dusk.jpg", {ImageFormat::jpeg, 0xE63946}},
      {"images/harbour-blue.png", {ImageFormat::png, 0x1D4ED8}},
      {"images/harbour-green.webp", {ImageFormat::webp, 0x2A9D55}},
      {"images/harbour-amber.avif", {ImageFormat::avif, 0xF4B400}}};
  std::set<std::string> seen;
  for (const CanvasItem& item : bundle.manifest.items) {
    if (item.type != CanvasItem::Type::image) continue;
    SCOPED_TRACE(item.image.value_or("(no image)"));
    ASSERT_TRUE(item.image && item.thumbnail && expected.count(*item.image));
    seen.insert(*item.image);
    const auto [format, rgb] = expected.at(*item.image);
    EXPECT_EQ(ImageFormatDetector::detect(bundle.images.at(*item.image)), format);
    EXPECT_EQ(ImageFormatDetector::detect(bundle.thumbnails.at(*item.thumbnail)), format);
    const auto raster = ImageDecoder::decode(bundle.images.at(*item.image), static_cast<std::int32_t>(item.frame.width),
                                             static_cast<std::int32_t>(item.frame.height));
    ASSERT_TRUE(raster);
    const std::uint32_t pixel = raster->pixels[static_cast<std::size_t>(raster->height / 2 * raster->width + raster->width / 2)];
    EXPECT_EQ(pixel >> 24, 0xFFu);
    for (int shift : {16, 8, 0})
      EXPECT_LE(std::abs(static_cast<int>((pixel >> shift) & 0xFF) - static_cast<int>((rgb >> shift) & 0xFF)), 6)
          << "channel at bit " << shift;
  }
  EXPECT_EQ(seen.size(), expected.size());
  EXPECT_EQ(HTMLExporter::fullResolutionImages(bundle).size(), 4u);
}

}  // namespace
}  // namespace zorvi
