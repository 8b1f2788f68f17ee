// The bundled example board: it must stay readable by the library and keep the properties the
// README promises and the desktop tests probe (one image per accepted format, each with its own
// dominant colour in the middle).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "zorvi/board_archive.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/image_formats.hpp"

namespace zorvi {
namespace {

BoardBundle example() { return BoardArchive::read(std::string(ZORVI_SOURCE_DIR) + "/examples/example.zorvi"); }

const CanvasItem* itemWithImage(const Manifest& manifest, const std::string& path) {
  for (const CanvasItem& item : manifest.items)
    if (item.image == path) return &item;
  return nullptr;
}

TEST(ExampleBoard, HoldsEveryKindOfContent) {
  const BoardBundle bundle = example();
  const Manifest& manifest = bundle.manifest;
  EXPECT_EQ(manifest.schemaVersion, Manifest::currentSchemaVersion);
  ASSERT_TRUE(manifest.board.header.has_value());
  EXPECT_TRUE(manifest.board.header->hasContent());
  EXPECT_TRUE(manifest.board.pageSetup.has_value());

  bool filledTitledShape = false, outlineTitledShape = false, solid = false, dashed = false, text = false,
       caption = false;
  for (const CanvasItem& item : manifest.items) {
    if (item.shape && item.shape->hasTitle()) {
      filledTitledShape |= item.shape->fillColor.has_value();
      outlineTitledShape |= !item.shape->fillColor && item.shape->strokeColor && item.shape->strokeWidth > 0;
    }
    if (item.drawing && item.drawing->points.size() >= 2) {
      solid |= item.drawing->style == DrawingContent::LineStyle::solid;
      dashed |= item.drawing->style == DrawingContent::LineStyle::dashed;
    }
    text |= item.text && !item.text->content.empty();
    caption |= item.type == CanvasItem::Type::image && item.caption && !item.caption->empty();
  }
  EXPECT_TRUE(filledTitledShape);
  EXPECT_TRUE(outlineTitledShape);
  EXPECT_TRUE(solid);
  EXPECT_TRUE(dashed);
  EXPECT_TRUE(text);
  EXPECT_TRUE(caption);
}

TEST(ExampleBoard, ImagesAndThumbnailsCoverEveryAcceptedFormat) {
  const BoardBundle bundle = example();
  std::set<ImageFormat> formats;
  for (const CanvasItem& item : bundle.manifest.items) {
    if (item.type != CanvasItem::Type::image) continue;
    SCOPED_TRACE(item.image.value_or("(no image)"));
    ASSERT_TRUE(item.image && item.thumbnail);
    ASSERT_EQ(bundle.images.count(*item.image), 1u);
    ASSERT_EQ(bundle.thumbnails.count(*item.thumbnail), 1u);
    const auto format = ImageFormatDetector::detect(bundle.images.at(*item.image));
    ASSERT_TRUE(format.has_value());
    EXPECT_EQ(ImageFormatDetector::detect(bundle.thumbnails.at(*item.thumbnail)), format);
    formats.insert(*format);
  }
  EXPECT_EQ(formats, (std::set<ImageFormat>{ImageFormat::jpeg, ImageFormat::png, ImageFormat::webp, ImageFormat::avif}));
  EXPECT_EQ(HTMLExporter::fullResolutionImages(bundle).size(), 4u);
}

TEST(ExampleBoard, EachImageShowsItsDominantColourInTheMiddle) {
  const BoardBundle bundle = example();
  struct Row {
    const char* image;
    std::uint32_t rgb;
  };
  const Row rows[] = {
      {"images/harbour-dusk.jpg", 0xE63946},
      {"images/harbour-blue.png", 0x1D4ED8},
      {"images/harbour-green.webp", 0x2A9D55},
      {"images/harbour-amber.avif", 0xF4B400},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.image);
    const CanvasItem* item = itemWithImage(bundle.manifest, row.image);
    ASSERT_NE(item, nullptr);
    // Decoded at its frame's size, reduced as the renderer would have it.
    const auto raster = ImageDecoder::decode(bundle.images.at(row.image), static_cast<std::int32_t>(item->frame.width),
                                             static_cast<std::int32_t>(item->frame.height));
    ASSERT_TRUE(raster.has_value());
    const std::uint32_t pixel =
        raster->pixels[static_cast<std::size_t>(raster->height / 2) * static_cast<std::size_t>(raster->width) +
                       static_cast<std::size_t>(raster->width / 2)];
    EXPECT_EQ(pixel >> 24, 0xFFu);
    for (int shift : {16, 8, 0}) {
      const int got = static_cast<int>((pixel >> shift) & 0xFF), want = static_cast<int>((row.rgb >> shift) & 0xFF);
      EXPECT_LE(std::abs(got - want), 6) << "channel at bit " << shift << ": " << got << " against " << want;
    }
  }
}

TEST(ExampleBoard, ContentSpansTheDocumentedExtent) {
  const BoardBundle bundle = example();
  const BoardLayout layout(bundle.manifest.items, CaptionHeights{});
  EXPECT_EQ(layout.width, 1400);
  EXPECT_EQ(layout.height, 800);
}

}  // namespace
}  // namespace zorvi
