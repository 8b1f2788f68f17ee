// `zorvi export pdf` and `zorvi export png` checked on the files they write, through poppler's tools and
// against the paged HTML export and the board renderer.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "support/command_test.hpp"
#include "support/image_files.hpp"
#include "support/items.hpp"
#include "support/test_images.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/manifest_coding.hpp"
#include "zorvi/native_export.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::readText;

using testing::contentItem;
const auto id = testing::idNumber;

CanvasItem text(std::uint8_t n, std::string content, Frame frame) {
  return contentItem(n, TextContent{std::move(content), "#202020", 24}, frame, n);
}

CanvasItem picture(std::uint8_t n, std::string entry, Frame frame, PixelSize natural = {64, 48},
                   std::optional<std::string> caption = std::nullopt) {
  return CanvasItem(id(n), "images/" + entry, "thumbnails/" + entry, frame, n, natural, {}, std::move(caption),
                    std::nullopt, false, std::nullopt);
}

CanvasItem shape(std::uint8_t n, std::string title, Frame frame) {
  return contentItem(n, ShapeContent{"#C8D8E8", "#203040", 4, std::move(title), std::nullopt}, frame, n);
}

CanvasItem drawing(std::uint8_t n, Frame frame) {
  return contentItem(n, DrawingContent{{{0, 0}, {0.5, 1}, {1, 0.2}}, "#D02030", 6, DrawingContent::LineStyle::dashed},
                     frame, n);
}

// "Page    3 size: 594.98 x 841.75 pts" lines of pdfinfo, as (width, height) per page.
std::vector<std::pair<double, double>> sheetSizes(const std::string& info) {
  std::vector<std::pair<double, double>> sizes;
  const std::regex line(R"(Page +\d+ size: +([0-9.]+) x ([0-9.]+) pts)");
  for (auto it = std::sregex_iterator(info.begin(), info.end(), line); it != std::sregex_iterator(); ++it)
    sizes.emplace_back(std::stod((*it)[1]), std::stod((*it)[2]));
  return sizes;
}

std::string withoutSpaces(std::string text) {
  std::erase_if(text, [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; });
  return text;
}

// The share of pixels where some channel differs by more than tolerance; 1 for pictures of other sizes.
double differingShare(const Raster& a, const Raster& b, int tolerance) {
  if (a.width != b.width || a.height != b.height || a.pixels.size() != b.pixels.size() || a.pixels.empty()) return 1;
  std::size_t differing = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) differing += testing::channelDistance(a.pixels[i], b.pixels[i]) > tolerance;
  return static_cast<double>(differing) / static_cast<double>(a.pixels.size());
}

// A raster composited over white, as the PNG export and pdftoppm give it.
Raster overWhite(Raster raster) {
  for (std::uint32_t& p : raster.pixels) {
    const std::uint32_t white = 255 - (p >> 24);
    p = 0xFF000000u | (((p >> 16) & 0xFF) + white) << 16 | (((p >> 8) & 0xFF) + white) << 8 | ((p & 0xFF) + white);
  }
  return raster;
}

class NativeExport : public testing::CommandTest {
 protected:
  static void SetUpTestSuite() {
    // A photo-like JPEG made by a common encoder, so its markers are those of real files.
    made = new std::map<std::string, Bytes>(testing::madeFiles(
        {{"p.jpg", "convert -seed 3 -size 320x240 plasma:red-blue -quality 85 p.jpg"},
         {"p.webp", "convert p.jpg -resize 80x60! p.png && cwebp -quiet p.png -o p.webp"}}));
    photo = &(*made)["p.jpg"];
    webp = &(*made)["p.webp"];
  }
  static void TearDownTestSuite() { delete made; }
  void SetUp() override { ASSERT_FALSE(photo->empty() || webp->empty()) << "the encoders could not make the test files"; }

  BoardBundle board(std::vector<CanvasItem> items, std::optional<BoardHeader> header = std::nullopt) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(testing::manifestJson());
    bundle.manifest.board.header = std::move(header);
    bundle.manifest.items = std::move(items);
    bundle.images = {{"images/p.jpg", *photo}, {"images/w.webp", *webp},
                     {"images/b.png", testing::bandedPNG(60, 40, {{1, 0.8, 0, 1}, {0, 0.5, 0.2, 1}})}};
    testing::writeFile(at("b.zorvi"), BoardArchive::encode(bundle));
    return bundle;
  }
  // What a tool prints about the files in the work folder.
  std::string output(const std::string& command) { return testing::runShell(command, work.path).out; }

  static inline std::map<std::string, Bytes>* made = nullptr;
  static inline Bytes *photo = nullptr, *webp = nullptr;
};

TEST_F(NativeExport, SheetsMatchThePagedHTMLExport) {
  const BoardHeader header{.title = "Spring", .client = "ACME", .notes = "Bring samples"};
  struct Row {
    std::string name;
    std::vector<CanvasItem> items;
    std::string options;
    std::vector<std::vector<std::string>> sheetTexts;  // what each sheet's text holds, in order
  };
  const Row rows[] = {
      {"one page", {text(1, "Hello page", {100, 100, 400, 100})}, "", {{"Hello page"}}},
      {"reading order across rows",
       {text(1, "second", {1000, 100, 300, 60}), text(2, "third", {100, 1400, 300, 60}), text(3, "first", {100, 100, 300, 60})},
       "", {{"first"}, {"second"}, {"third"}}},
      // Its caption starts left of the page boundary; the picture itself is on both (see the JPEG test).
      {"straddling item", {picture(1, "p.jpg", {850, 100, 200, 150}, {320, 240}, "Dusk")}, "", {{"Dusk"}, {}}},
      {"negative columns", {shape(1, "Left", {-500, 100, 300, 200}), text(2, "Right", {100, 100, 300, 60})}, "",
       {{"Left"}, {"Right"}}},
      {"cover with branding and margins",
       {text(1, "Inside", {100, 100, 300, 60}), drawing(2, {1000, 100, 200, 100})},
       "--cover --branding --margin --sender ' Studio ' --label-client Kunde",
       {{"Spring", "KundeACME", "Bring samples", "Studio", "1/3"}, {"Inside", "Studio", "2/3"}, {"Studio", "3/3"}}},
      {"landscape", {text(1, "Wide", {1200, 100, 300, 60})}, "--format a3 --orientation landscape", {{"Wide"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    board(row.items, header);
    ASSERT_EQ(zorvi("export pages b.zorvi b.html " + row.options), (testing::CommandRun{0, "", ""}));
    ASSERT_EQ(zorvi("export pdf b.zorvi b.pdf " + row.options), (testing::CommandRun{0, "", ""}));

    const std::string html = readText(at("b.html"));
    std::smatch size;
    ASSERT_TRUE(std::regex_search(html, size, std::regex(R"(@page \{ size: ([0-9.]+)pt ([0-9.]+)pt)")));
    std::size_t htmlPages = 0;
    for (auto at = html.find(R"(<div class="page")"); at != std::string::npos; at = html.find(R"(<div class="page")", at + 1))
      ++htmlPages;

    const auto sheets = sheetSizes(output("pdfinfo -f 1 -l 1000 b.pdf"));
    ASSERT_EQ(sheets.size(), htmlPages);
    ASSERT_EQ(sheets.size(), row.sheetTexts.size());
    for (const auto& [width, height] : sheets) {
      EXPECT_NEAR(width, std::stod(size[1]), 0.01);
      EXPECT_NEAR(height, std::stod(size[2]), 0.01);
    }
    for (std::size_t k = 0; k < sheets.size(); ++k) {
      const std::string found = withoutSpaces(output("pdftotext -f " + std::to_string(k + 1) + " -l " + std::to_string(k + 1) + " b.pdf -"));
      for (const std::string& piece : row.sheetTexts[k])
        EXPECT_NE(found.find(withoutSpaces(piece)), std::string::npos) << "sheet " << k + 1 << ": " << piece << " in " << found;
    }
    EXPECT_NE(output("pdfinfo b.pdf").find("Title:           Spring"), std::string::npos);
  }
}

TEST_F(NativeExport, JPEGsAreEmbeddedAsTheirOwnBytesOnce) {
  // The JPEG straddles two pages; the PNG graphic is stored as pixels, the WebP photo as a JPEG.
  board({picture(1, "p.jpg", {850, 100, 200, 150}, {320, 240}), picture(2, "b.png", {100, 400, 60, 40}, {60, 40}),
         picture(3, "w.webp", {100, 500, 80, 60}, {80, 60})});
  ASSERT_EQ(zorvi("export pdf b.zorvi b.pdf").status, 0);

  const std::string list = output("pdfimages -list b.pdf");
  const std::regex row(R"(\n +(\d+) +\d+ +image +(\d+) +(\d+) +\w+ +\d+ +\d+ +(\w+) +\w+ +(\d+))");
  std::map<std::string, std::vector<std::string>> objectsByEncoding;
  for (auto it = std::sregex_iterator(list.begin(), list.end(), row); it != std::sregex_iterator(); ++it) {
    const std::string size = (*it)[2].str() + "x" + (*it)[3].str();
    objectsByEncoding[(*it)[4].str() + " " + size].push_back((*it)[5]);
  }
  ASSERT_EQ(objectsByEncoding["jpeg 320x240"].size(), 2u) << list;
  EXPECT_EQ(objectsByEncoding["jpeg 320x240"][0], objectsByEncoding["jpeg 320x240"][1]) << list;
  EXPECT_EQ(objectsByEncoding["image 60x40"].size(), 1u) << list;
  EXPECT_EQ(objectsByEncoding["jpeg 80x60"].size(), 1u) << list;

  ASSERT_EQ(testing::runShell("pdfimages -j -f 2 -l 2 b.pdf x", work.path).status, 0);
  EXPECT_EQ(readFile(at("x-000.jpg")), *photo);
  // No picture is stored twice: the file is little more than the photo.
  EXPECT_LT(fs::file_size(at("b.pdf")), photo->size() + 40000);
}

TEST_F(NativeExport, ASheetLooksLikeTheRenderersPictureOfItsTile) {
  const BoardBundle bundle = board({shape(1, "Section", {40, 40, 700, 500}), picture(2, "p.jpg", {80, 120, 320, 240}, {320, 240}),
                                    picture(3, "b.png", {440, 120, 240, 160}, {60, 40}), drawing(4, {100, 600, 600, 300}),
                                    text(5, "A text item set in the sheet", {100, 950, 500, 100}),
                                    text(6, "Running past the edge", {800, 1200, 400, 60})});
  ASSERT_EQ(zorvi("export pdf b.zorvi b.pdf").status, 0);
  // One pixel per world unit (110 dots per inch, which pdftoppm would round up to 910 × 1287).
  ASSERT_EQ(testing::runShell("pdftoppm -png -scale-to-x 909 -scale-to-y 1286 -f 1 -l 1 -singlefile b.pdf sheet", work.path).status, 0);
  const Raster sheet = ImageDecoder::decode(readFile(at("sheet.png")), 909, 1286).value_or(Raster{});

  const BoardLayout layout(bundle.manifest.items, {}, Frame{0, 0, 909, 1286});
  const auto reference = RasterCanvas::render(909, 1286, [&](DrawingContext& context) {
    context.fillRect({0, 0, 909, 1286}, {1, 1, 1, 1});
    BoardCGRenderer::draw(layout, context, HTMLExporter::fullResolutionImages(bundle),
                          bundle.manifest.board.canvas.backgroundColor);
  });
  ASSERT_TRUE(reference);
  // Text and edges are smoothed by two different rasterisers; everything else must agree.
  EXPECT_LT(differingShare(sheet, overWhite(*reference), 40), 0.01);
  // A sheet without its JPEG would differ over the whole picture.
  EXPECT_GT(differingShare(sheet, overWhite(*RasterCanvas::render(909, 1286, [&](DrawingContext& context) {
              context.fillRect({0, 0, 909, 1286}, {1, 1, 1, 1});
              BoardCGRenderer::draw(layout, context, ImageMap{}, bundle.manifest.board.canvas.backgroundColor);
            })), 40), 0.05);
}

TEST(PNGExport, SizeFollowsTheScaleRuleAndTheLimit) {
  CanvasItem photo = picture(1, "p.jpg", {0, 0, 1000, 500}, {3000, 1000});
  const BoardLayout layout(std::vector<CanvasItem>{photo}, {});
  using Scale = PNGExport::Scale;
  struct Row {
    PNGExport::Options options;
    std::optional<PNGExport::PixelSize> size;
    std::optional<NativeExportError> error;
  };
  const Row rows[] = {
      {{Scale::full, 8192}, PNGExport::PixelSize{3000, 1500, 3}, std::nullopt},
      {{Scale::full, 2000}, PNGExport::PixelSize{2000, 1000, 2}, std::nullopt},
      {{Scale::compact, 8192}, PNGExport::PixelSize{1000, 500, 1}, std::nullopt},
      {{Scale::compact, 333}, PNGExport::PixelSize{333, 167, 0.333}, std::nullopt},
      {{Scale::full, 32767}, PNGExport::PixelSize{3000, 1500, 3}, std::nullopt},
      {{Scale::full, 32768}, std::nullopt, NativeExportError::tooLarge},
      {{Scale::full, 0}, std::nullopt, NativeExportError::tooLarge},
      {{Scale::full, std::nan("")}, std::nullopt, NativeExportError::tooLarge},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.options.maxEdge);
    NativeExportError error{};
    EXPECT_EQ(PNGExport::pixelSize(layout, row.options, &error), row.size);
    if (row.error) {
      EXPECT_EQ(error, *row.error);
    }
  }
  NativeExportError error{};
  EXPECT_FALSE(PNGExport::pixelSize(BoardLayout(std::vector<CanvasItem>{}, {}), {}, &error));
  EXPECT_EQ(error, NativeExportError::nothingToDraw);
}

TEST_F(NativeExport, PNGBandsMakeTheSamePictureAsOneBitmap) {
  // 4 pixels a unit: 2000 × 8000 pixels, several bands, with text, a picture and a drawing across their seams.
  std::vector<CanvasItem> items{picture(1, "p.jpg", {0, 0, 500, 1400}, {2000, 5600}, "Under the photo")};
  for (std::uint8_t n = 0; n < 8; ++n)
    items.push_back(text(static_cast<std::uint8_t>(2 + n), "Line across a seam " + std::to_string(n),
                         {20, 1500 + 62.5 * n, 460, 40}));
  items.push_back(drawing(10, {0, 1000, 500, 1000}));
  const BoardBundle bundle = board(items);
  CaptionHeights heights{{id(1), 30}};
  const ImageViewMap images = HTMLExporter::fullResolutionImageViews(bundle);

  Bytes png;
  ASSERT_EQ(PNGExport::write(bundle, images, heights, {}, [&](std::span<const std::uint8_t> bytes) {
              png.insert(png.end(), bytes.begin(), bytes.end());
              return true;
            }),
            std::nullopt);
  const auto banded = ImageDecoder::decode(png, 1 << 20, 1 << 20);
  ASSERT_TRUE(banded);
  const BoardLayout layout(bundle.manifest.items, heights);
  ASSERT_EQ(banded->width, static_cast<std::int32_t>(std::ceil(layout.width * 4 - 1e-6)));
  ASSERT_EQ(banded->height, static_cast<std::int32_t>(std::ceil(layout.height * 4 - 1e-6)));
  const auto whole = RasterCanvas::render(banded->width, banded->height, [&](DrawingContext& context) {
    context.fillRect({0, 0, static_cast<double>(banded->width), static_cast<double>(banded->height)}, {1, 1, 1, 1});
    context.scale(4, 4);
    BoardCGRenderer::draw(layout, context, images, bundle.manifest.board.canvas.backgroundColor);
  });
  ASSERT_TRUE(whole);
  EXPECT_LT(differingShare(*banded, overWhite(*whole), 2), 1e-4);

  // A sink that stops takes the export down with it.
  EXPECT_EQ(PNGExport::write(bundle, images, heights, {}, [](std::span<const std::uint8_t>) { return false; }),
            NativeExportError::sinkRefused);
}

TEST_F(NativeExport, PNGCommandWritesTheScaledBoard) {
  board({picture(1, "b.png", {0, 0, 1000, 500}, {3000, 1000})});
  const std::pair<std::string, std::pair<std::uint32_t, std::uint32_t>> rows[] = {
      {"", {3000, 1500}}, {"--max-edge 1200", {1200, 600}}, {"--compact", {1000, 500}}, {"--compact --max-edge=100", {100, 50}}};
  for (const auto& [options, size] : rows) {
    SCOPED_TRACE(options);
    ASSERT_EQ(zorvi("export png b.zorvi o.png " + options), (testing::CommandRun{0, "", ""}));
    EXPECT_EQ(testing::pngSize(readFile(at("o.png"))), size);
  }
}

}  // namespace
}  // namespace zorvi
