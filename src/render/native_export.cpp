#include "zorvi/native_export.hpp"

#include <algorithm>
#include <cmath>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

#include "render/cairo/cairo_context.hpp"
#include "render/cairo/cairo_shapes.hpp"
#include "render/image_prefetch.hpp"
#include "render/jpeg_encoder.hpp"
#include "render/png_writer.hpp"
#include "render/text/text_engine.hpp"
#include "unicode/unicode.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/page_layout.hpp"

namespace zorvi {
namespace {

constexpr double pointsPerUnit = PageScale::pointsPerWorldUnit;

bool drawableRect(const Rect& r) {
  return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) && std::isfinite(r.height) &&
         r.width > 0 && r.height > 0;
}

// A JPEG that a PDF can carry as it is: baseline, extended or progressive, 8 bits, grey or RGB. Others
// (CMYK, 12-bit, lossless, arithmetic coding) are decoded and stored as pixels.
bool portableJPEG(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0xD8) return false;
  std::size_t at = 2;
  while (at + 4 <= bytes.size()) {
    if (bytes[at] != 0xFF) return false;
    const std::uint8_t marker = bytes[at + 1];
    if (marker == 0xFF) {  // fill byte
      ++at;
      continue;
    }
    const std::size_t length = static_cast<std::size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    if (length < 2 || at + 2 + length > bytes.size()) return false;
    if (marker == 0xC0 || marker == 0xC1 || marker == 0xC2) {
      if (length < 8) return false;
      const std::uint8_t precision = bytes[at + 4];
      const std::size_t height = static_cast<std::size_t>(bytes[at + 5]) << 8 | bytes[at + 6];
      const std::size_t width = static_cast<std::size_t>(bytes[at + 7]) << 8 | bytes[at + 8];
      const std::uint8_t components = bytes[at + 9];
      return precision == 8 && width > 0 && height > 0 && (components == 1 || components == 3);
    }
    if ((marker >= 0xC3 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) ||
        marker == 0xD9 || marker == 0xDA)
      return false;
    at += 2 + length;
  }
  return false;
}

struct DocumentCloser {
  void operator()(text::Document* document) const { document->destroy(); }
};

// Quality of the JPEGs that stand in for pictures a PDF can't carry as they are.
constexpr int standInQuality = 92;

bool opaque(const Raster& raster) {
  return std::all_of(raster.pixels.begin(), raster.pixels.end(), [](std::uint32_t p) { return p >> 24 == 0xFF; });
}

// JPEGs made for pictures of other formats, by picture; they live as long as the document that holds them.
using StandIns = std::map<std::uint64_t, Bytes>;

constexpr std::int32_t wholePicture = std::numeric_limits<std::int32_t>::max();

// Decoding is most of an export's time: the pictures planned are decoded on the other cores, a few
// ahead, in the order planned; one asked for at another size, or never planned, is decoded on the spot.
class Pictures {
 public:
  void plan(const Uuid& item, std::span<const std::uint8_t> bytes, std::int32_t width, std::int32_t height) {
    if (itemOfBytes_.try_emplace(bytes.data(), item).second) jobs_.push_back({item, bytes, width, height});
  }
  void start() {
    prefetch_.emplace(std::move(jobs_), render::prefetchThreads());
  }
  std::optional<Raster> decode(std::span<const std::uint8_t> bytes, std::int32_t width, std::int32_t height) {
    const auto item = itemOfBytes_.find(bytes.data());
    if (item == itemOfBytes_.end() || !prefetch_) return ImageDecoder::decode(bytes, width, height);
    return prefetch_->take(item->second, bytes, width, height);
  }

 private:
  std::vector<render::ImagePrefetch::Job> jobs_;
  std::map<const std::uint8_t*, Uuid> itemOfBytes_;
  std::optional<render::ImagePrefetch> prefetch_;
};

// One sheet of the document as the board renderer sees it: drawing goes to the document's context,
// pictures go in as their files where the format allows, else decoded whole.
class SheetContext final : public DrawingContext {
 public:
  SheetContext(text::Document& document, DrawingContext& sheet, StandIns& standIns, Pictures& pictures)
      : document_(document), sheet_(sheet), standIns_(standIns), pictures_(pictures) {}

  void fillRect(const Rect& rect, const Color& color) override { sheet_.fillRect(rect, color); }
  void strokeRect(const Rect& rect, const Color& color, double width) override {
    sheet_.strokeRect(rect, color, width);
  }
  void strokePolyline(std::span<const Point> points, const Stroke& stroke) override {
    sheet_.strokePolyline(points, stroke);
  }
  void save() override { sheet_.save(); }
  void restore() override { sheet_.restore(); }
  void scale(double sx, double sy) override { sheet_.scale(sx, sy); }
  Point pixelsPerUnit() const override { return sheet_.pixelsPerUnit(); }
  void drawImage(const Raster& raster, const Rect& rect) override { sheet_.drawImage(raster, rect); }
  bool drawEncodedImage(std::span<const std::uint8_t> bytes, const Rect& rect) override {
    // The bytes lie in the bundle for the whole export, so where they lie names the picture.
    const auto key = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(bytes.data()));
    if (portableJPEG(bytes)) {
      if (drawableRect(rect)) document_.drawJPEG(bytes, key, rect);
      return true;
    }
    if (const auto standIn = standIns_.find(key); standIn != standIns_.end()) {
      if (drawableRect(rect)) document_.drawJPEG(standIn->second, key, rect);
      return true;
    }
    const std::optional<Raster> raster = pictures_.decode(bytes, wholePicture, wholePicture);
    if (!raster) return false;
    // A PDF stores other pictures' pixels deflated, many times the size of a WebP or AVIF file. An opaque
    // picture that was lossy already, or whose own file is larger than a fine JPEG of it (a photograph
    // kept as PNG), goes in as that JPEG; graphics and transparent pictures keep every pixel.
    if (opaque(*raster)) {
      const auto format = ImageFormatDetector::identify(bytes).acceptedFormat();
      const bool lossy = format == ImageFormat::webp || format == ImageFormat::avif;
      if (std::optional<Bytes> jpeg = JPEGEncoder::encode(*raster, standInQuality);
          jpeg && (lossy || jpeg->size() < bytes.size())) {
        const Bytes& kept = standIns_.emplace(key, std::move(*jpeg)).first->second;
        if (drawableRect(rect)) document_.drawJPEG(kept, key, rect);
        return true;
      }
    }
    document_.drawRaster(*raster, key, rect);
    return true;
  }
  void drawTextBox(std::string_view text, const Font& font, const Color& color, TextAlignment alignment,
                   const Rect& box) override {
    sheet_.drawTextBox(text, font, color, alignment, box);
  }
  void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                    std::optional<double> truncateWidth) override {
    sheet_.drawTextLine(text, font, color, origin, truncateWidth);
  }
  const TextMeasurer& measurer() const override { return sheet_.measurer(); }

 private:
  text::Document& document_;
  DrawingContext& sheet_;
  StandIns& standIns_;
  Pictures& pictures_;
};

// What every sheet of one export shares. Lengths are points, measured from the sheet's top-left corner
// with y down, as the page chrome gives them; `at` turns them into the sheet's y-up space.
struct Sheets {
  text::Document& document;
  StandIns& standIns;
  Pictures& pictures;
  const BoardBundle& bundle;
  const ImageViewMap& images;
  const CaptionHeights& captionHeights;
  const PageExportChrome& chrome;
  double widthPt = 0, heightPt = 0;
  std::optional<Color> paper;
  Color ink;
  std::int64_t total = 0;

  Rect at(double x, double top, double width, double height) const {
    return {x, heightPt - top - height, width, height};
  }

  SheetContext begin() {
    DrawingContext& sheet = document.beginSheet(widthPt, heightPt);
    SheetContext context(document, sheet, standIns, pictures);
    if (paper) context.fillRect({0, 0, widthPt, heightPt}, *paper);
    return context;
  }

  void footer(SheetContext& context, std::int64_t number) const {
    if (!chrome.branding) return;
    const Frame band = PageChromeLayout::footerFrame(widthPt, heightPt, chrome);
    const double pad = PageChromeLayout::footerPaddingPt;
    const Font font{FontFace::sans, PageChromeLayout::footerFontPt};
    const TextMeasurer& measurer = context.measurer();
    const double middle = band.y + band.height / 2;
    double left = band.x + pad;
    const double right = band.x + band.width - pad;

    const std::string pageText = std::to_string(number) + " / " + std::to_string(total);
    const double pageWidth = measurer.lineWidth(pageText, font);
    const auto baseline = [&](std::string_view text) {
      const double lineHeight = measurer.wrappedHeight(text, font, std::numeric_limits<double>::max());
      return heightPt - (middle - lineHeight / 2 + measurer.ascent(text, font));
    };
    context.drawTextLine(pageText, font, ink, {right - pageWidth, baseline(pageText)}, std::nullopt);

    // The paged HTML export's gap between the logo and the sender: 8 CSS pixels, one world unit each.
    const double gap = 8 * pointsPerUnit;
    if (chrome.logo) {
      const double height = PageChromeLayout::logoMaxHeightPt;
      // Decoded whole for its aspect ratio; a logo is small, and a large one is reduced to 16 MP.
      const std::optional<Raster> logo = ImageDecoder::decode(chrome.logo->data, std::numeric_limits<std::int32_t>::max(),
                                                              std::numeric_limits<std::int32_t>::max());
      if (logo && logo->height > 0 && right - pageWidth - gap - left > 0) {
        // A logo wider than the footer leaves room for the page number.
        const double width = std::min(height * logo->width / logo->height, right - pageWidth - gap - left);
        const Rect rect = at(left, middle - height / 2, width, height);
        if (!context.drawEncodedImage(chrome.logo->data, rect)) context.drawImage(*logo, rect);
        left += width + gap;
      }
    }
    const std::string_view sender = unicode::trimWhitespaceAndNewlines(chrome.senderText);
    const double room = right - pageWidth - gap - left;
    if (!sender.empty() && room > 0) {
      std::optional<double> truncate;
      if (measurer.lineWidth(sender, font) > room) truncate = room;
      context.drawTextLine(sender, font, ink, {left, baseline(sender)}, truncate);
    }
  }

  void cover(SheetContext& context, const BoardHeader& header) const {
    const Frame frame = PageChromeLayout::contentFrame(widthPt, heightPt, chrome);
    if (!(frame.width > 0)) return;
    const TextMeasurer& measurer = context.measurer();
    const double gap = PageChromeLayout::coverLineGapPt;
    double top = frame.y;
    const auto box = [&](std::string_view text, const Font& font, const Color& color, double x, double width) {
      const double height = std::ceil(measurer.wrappedHeight(text, font, width));
      context.drawTextBox(text, font, color, TextAlignment::left, at(x, top, width, height));
      return height;
    };
    // The rules are one CSS pixel, at the same opacity as the labels.
    const Color faint{ink.red, ink.green, ink.blue, 0.6};
    const auto rule = [&] {
      top += gap;
      context.fillRect(at(frame.x, top, frame.width, pointsPerUnit), faint);
      top += pointsPerUnit;
    };
    const std::string noText;
    const std::string_view title = unicode::trimWhitespaceAndNewlines(header.title ? *header.title : noText);
    if (!title.empty()) {
      top += box(title, {FontFace::sansSemibold, PageChromeLayout::coverTitlePt}, ink, frame.x, frame.width);
      rule();
    }
    const std::vector<CoverMetaLabels::Row> rows = chrome.metaLabels.rows(header);
    if (!rows.empty()) {
      const Font font{FontFace::sans, PageChromeLayout::coverMetaPt};
      double labelWidth = 0;
      for (const auto& row : rows) labelWidth = std::max(labelWidth, measurer.lineWidth(row.label, font));
      labelWidth = std::min(labelWidth + 14 * pointsPerUnit, frame.width / 2);
      top += gap;
      for (const auto& row : rows) {
        const double valueWidth = frame.width - labelWidth;
        const double labelHeight = std::ceil(measurer.wrappedHeight(row.label, font, labelWidth));
        context.drawTextBox(row.label, font, faint, TextAlignment::left, at(frame.x, top, labelWidth, labelHeight));
        const double valueHeight = valueWidth > 0 ? box(row.value, font, ink, frame.x + labelWidth, valueWidth) : 0;
        top += std::max(labelHeight, valueHeight);
      }
      rule();
    }
    const std::string_view notes = unicode::trimWhitespaceAndNewlines(header.notes ? *header.notes : noText);
    if (!notes.empty()) {
      top += gap;
      box(notes, {FontFace::sans, PageChromeLayout::coverNotesPt}, ink, frame.x, frame.width);
    }
  }

  // The tile fitted into the content frame and centred when the chrome is active, else at one world
  // unit to pointsPerWorldUnit points from the sheet's top-left corner. Nothing clips at the tile.
  void board(SheetContext& context, const Frame& tile) const {
    const BoardLayout layout(bundle.manifest.items, captionHeights, tile);
    double scale = pointsPerUnit, left = 0, top = 0;
    if (chrome.isActive()) {
      const Frame content = PageChromeLayout::contentFrame(widthPt, heightPt, chrome);
      scale = tile.width > 0 && tile.height > 0 ? std::min(content.width / tile.width, content.height / tile.height)
                                                : pointsPerUnit;
      left = content.x + (content.width - tile.width * scale) / 2;
      top = content.y + (content.height - tile.height * scale) / 2;
    }
    context.save();
    document.translate(left, heightPt - top - layout.height * scale);
    context.scale(scale, scale);
    BoardCGRenderer::draw(layout, context, images, bundle.manifest.board.canvas.backgroundColor);
    context.restore();
  }
};

// Rows of the whole picture from `first` up to (not including) `last`, counted from the top.
struct Rows {
  double first = 0, last = 0;
};

// One band of the whole-board picture: drawing goes to the band's bitmap, text and pictures that miss
// the band are skipped, and each picture is decoded once for all the bands it covers.
class BandContext final : public DrawingContext {
 public:
  // Decoded pictures by where their bytes lie and the rectangle they fill.
  using Key = std::tuple<const std::uint8_t*, double, double, double, double>;
  struct Decoded {
    std::optional<Raster> raster;
    double lastRow = 0;
  };
  using Cache = std::map<Key, Decoded>;

  BandContext(DrawingContext& band, Cache& cache, Pictures& pictures, Rows rows, double pictureHeight, double scale)
      : band_(band), cache_(cache), pictures_(pictures), rows_(rows), pictureHeight_(pictureHeight), scale_(scale) {}

  void fillRect(const Rect& rect, const Color& color) override { band_.fillRect(rect, color); }
  void strokeRect(const Rect& rect, const Color& color, double width) override { band_.strokeRect(rect, color, width); }
  void strokePolyline(std::span<const Point> points, const Stroke& stroke) override {
    band_.strokePolyline(points, stroke);
  }
  void save() override { band_.save(); }
  void restore() override { band_.restore(); }
  void scale(double sx, double sy) override { band_.scale(sx, sy); }
  Point pixelsPerUnit() const override { return band_.pixelsPerUnit(); }
  void drawImage(const Raster& raster, const Rect& rect) override { band_.drawImage(raster, rect); }
  bool drawEncodedImage(std::span<const std::uint8_t> bytes, const Rect& rect) override {
    const Rows covered = rowsOf(rect.y, rect.maxY(), 0);
    if (!meets(covered)) return true;
    auto [entry, added] = cache_.try_emplace(Key{bytes.data(), rect.x, rect.y, rect.width, rect.height});
    if (added) {
      const Point ppu = band_.pixelsPerUnit();
      entry->second.raster =
          pictures_.decode(bytes, render::targetPixels(rect.width * ppu.x), render::targetPixels(rect.height * ppu.y));
      entry->second.lastRow = covered.last;
    }
    if (!entry->second.raster) return false;
    band_.drawImage(*entry->second.raster, rect);
    return true;
  }
  void drawTextBox(std::string_view text, const Font& font, const Color& color, TextAlignment alignment,
                   const Rect& box) override {
    if (meets(rowsOf(box.y, box.maxY(), font.size))) band_.drawTextBox(text, font, color, alignment, box);
  }
  void drawTextLine(std::string_view text, const Font& font, const Color& color, const Point& origin,
                    std::optional<double> truncateWidth) override {
    if (meets(rowsOf(origin.y, origin.y, 2 * font.size))) band_.drawTextLine(text, font, color, origin, truncateWidth);
  }
  const TextMeasurer& measurer() const override { return band_.measurer(); }
  bool drawsPixels() const override { return band_.drawsPixels(); }

  // Lets go of the pictures that lie wholly above row.
  static void releaseAbove(Cache& cache, double row) {
    std::erase_if(cache, [&](const auto& entry) { return entry.second.lastRow <= row; });
  }

 private:
  // The rows a span of y-up layout units covers, widened by margin units for glyphs that stand out.
  Rows rowsOf(double bottom, double top, double margin) const {
    return {pictureHeight_ - (top + margin) * scale_, pictureHeight_ - (bottom - margin) * scale_};
  }
  bool meets(const Rows& rows) const { return !(rows.last <= rows_.first || rows.first >= rows_.last); }

  DrawingContext& band_;
  Cache& cache_;
  Pictures& pictures_;
  Rows rows_;
  double pictureHeight_, scale_;
};

bool coverWanted(const BoardBundle& bundle, const PageExportChrome& chrome) {
  const auto& header = bundle.manifest.board.header;
  return chrome.includeCover && header && header->hasContent();
}

}  // namespace

namespace PDFExport {

std::optional<NativeExportError> write(const BoardBundle& bundle, const ImageViewMap& images,
                                       std::span<const PageExportPlan::Page> pages,
                                       const CaptionHeights& captionHeights, const PageExportChrome& chrome,
                                       const ByteSink& sink) {
  if (pages.empty() || !(pages.front().worldRect.width > 0) || !(pages.front().worldRect.height > 0))
    return NativeExportError::nothingToDraw;
  const text::Engine* engine = text::engine();
  if (engine == nullptr) return NativeExportError::textUnavailable;

  struct Writer {
    const ByteSink& sink;
    bool refused = false;
  } writer{sink};
  const text::WriteBytes write = [](void* closure, const unsigned char* data, unsigned int length) {
    auto& to = *static_cast<Writer*>(closure);
    if (!to.refused && !to.sink(std::span<const std::uint8_t>(data, length))) to.refused = true;
    return !to.refused;
  };
  StandIns standIns;  // outlives the document, which reads them when it is finished
  const std::unique_ptr<text::Document, DocumentCloser> document(
      engine->openPDF(write, &writer, bundle.manifest.board.name));
  if (!document) return NativeExportError::drawingFailed;

  const std::string_view background = bundle.manifest.board.canvas.backgroundColor;
  const bool withCover = coverWanted(bundle, chrome);
  // Pictures a PDF can't carry as their files are decoded ahead, sheet by sheet in drawing order.
  Pictures pictures;
  for (const PageExportPlan::Page& page : pages) {
    const Frame tile{page.worldRect.x, page.worldRect.y, pages.front().worldRect.width,
                     pages.front().worldRect.height};
    for (const auto& placed : BoardLayout(bundle.manifest.items, captionHeights, tile).items) {
      if (placed.item.type != CanvasItem::Type::image) continue;
      const auto found = images.find(placed.item.id);
      if (found != images.end() && !portableJPEG(found->second.data))
        pictures.plan(placed.item.id, found->second.data, wholePicture, wholePicture);
    }
  }
  pictures.start();
  Sheets sheets{*document, standIns, pictures, bundle, images, captionHeights, chrome};
  sheets.widthPt = pages.front().worldRect.width * pointsPerUnit;
  sheets.heightPt = pages.front().worldRect.height * pointsPerUnit;
  sheets.paper = BoardCGRenderer::cgColor(HTMLExporter::sanitizedColor(background));
  sheets.ink = BoardCGRenderer::cgColor(HTMLExporter::contrastColor(background)).value_or(Color{});
  sheets.total = static_cast<std::int64_t>(pages.size()) + (withCover ? 1 : 0);

  std::int64_t number = 1;
  if (withCover) {
    SheetContext context = sheets.begin();
    sheets.cover(context, *bundle.manifest.board.header);
    sheets.footer(context, number++);
  }
  for (const PageExportPlan::Page& page : pages) {
    const Frame tile{page.worldRect.x, page.worldRect.y, pages.front().worldRect.width,
                     pages.front().worldRect.height};
    SheetContext context = sheets.begin();
    sheets.board(context, tile);
    sheets.footer(context, number++);
  }
  const bool finished = document->finish();
  if (writer.refused) return NativeExportError::sinkRefused;
  if (!finished) return NativeExportError::drawingFailed;
  return std::nullopt;
}

}  // namespace PDFExport

namespace PNGExport {
namespace {

constexpr double largestEdge = 32767;
// Rows per band: about 4 MiB of pixels. The last band's compression overlaps no drawing, so smaller
// bands end sooner (16 MiB took a tenth longer); the widest picture still gets 32 rows a band.
constexpr std::size_t bandBytes = std::size_t{4} << 20;

}  // namespace

std::optional<PixelSize> pixelSize(const BoardLayout& layout, const Options& options, NativeExportError* error) {
  const auto failed = [&](NativeExportError why) -> std::optional<PixelSize> {
    if (error != nullptr) *error = why;
    return std::nullopt;
  };
  if (!(options.maxEdge >= 1 && options.maxEdge <= largestEdge)) return failed(NativeExportError::tooLarge);
  if (!(layout.width > 0) || !(layout.height > 0) || !std::isfinite(layout.width) || !std::isfinite(layout.height))
    return failed(NativeExportError::nothingToDraw);
  const double scale = options.scale == Scale::full ? RasterScale::full(layout, options.maxEdge)
                                                    : RasterScale::compact(layout, options.maxEdge);
  // The scale brings the longer side to maxEdge exactly; rounding must not make that one pixel more.
  const auto side = [&](double length) { return std::max(1.0, std::ceil(length * scale - 1e-6)); };
  const double width = side(layout.width), height = side(layout.height);
  if (!(width <= largestEdge && height <= largestEdge)) return failed(NativeExportError::tooLarge);
  return PixelSize{static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), scale};
}

std::optional<NativeExportError> write(const BoardBundle& bundle, const ImageViewMap& images,
                                       const CaptionHeights& captionHeights, const Options& options,
                                       const ByteSink& sink) {
  const BoardLayout layout(bundle.manifest.items, captionHeights);
  NativeExportError why{};
  const std::optional<PixelSize> size = pixelSize(layout, options, &why);
  if (!size) return why;

  bool refused = false;
  png_writing::RgbWriter png(static_cast<std::uint32_t>(size->width), static_cast<std::uint32_t>(size->height),
                             [&](std::span<const std::uint8_t> bytes) {
                               try {
                                 refused = refused || !sink(bytes);
                               } catch (...) {
                                 refused = true;
                               }
                               return !refused;
                             });
  const auto stopped = [&] { return refused ? NativeExportError::sinkRefused : NativeExportError::drawingFailed; };

  const auto width = static_cast<std::size_t>(size->width);
  const auto height = static_cast<std::size_t>(size->height);
  const std::size_t bandRows = std::clamp<std::size_t>(bandBytes / (width * 4), 1, height);
  // Two bands: one is encoded on another core while the next is drawn, as encoding costs about as much
  // as drawing.
  using SurfaceOwner = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
  std::vector<SurfaceOwner> surfaces;
  for (int n = 0; n < 2; ++n) {
    surfaces.emplace_back(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size->width, static_cast<int>(bandRows)),
                          cairo_surface_destroy);
    if (cairo_surface_status(surfaces.back().get()) != CAIRO_STATUS_SUCCESS) return NativeExportError::drawingFailed;
  }
  const bool overlap = std::thread::hardware_concurrency() > 1;

  const auto encode = [&](cairo_surface_t* surface, std::size_t rows) {
    cairo_surface_flush(surface);
    const unsigned char* pixels = cairo_image_surface_get_data(surface);
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
    for (std::size_t y = 0; y < rows; ++y) {
      cairo_shapes::opaqueRow(reinterpret_cast<const std::uint32_t*>(pixels + y * stride), width, png.row().data());
      if (!png.commitRow()) return false;
    }
    return true;
  };
  std::future<bool> encoding;
  const auto encoded = [&] { return !encoding.valid() || encoding.get(); };

  // Pictures decode on the other cores in the order the bands ask for them, a few ahead.
  std::vector<const BoardLayout::PlacedItem*> planned;
  for (const auto& placed : layout.items)
    if (placed.item.type == CanvasItem::Type::image && images.contains(placed.item.id)) planned.push_back(&placed);
  const auto firstBand = [&](const BoardLayout::PlacedItem* placed) {
    return static_cast<std::size_t>(std::clamp(placed->frame.y * size->scale, 0.0, static_cast<double>(height))) /
           bandRows;
  };
  std::stable_sort(planned.begin(), planned.end(),
                   [&](const BoardLayout::PlacedItem* a, const BoardLayout::PlacedItem* b) { return firstBand(a) < firstBand(b); });
  Pictures pictures;
  for (const BoardLayout::PlacedItem* placed : planned)
    pictures.plan(placed->item.id, images.at(placed->item.id).data, render::targetPixels(placed->frame.width * size->scale),
                  render::targetPixels(placed->frame.height * size->scale));
  pictures.start();

  BandContext::Cache decoded;
  const std::string_view background = bundle.manifest.board.canvas.backgroundColor;
  for (std::size_t first = 0, index = 0; first < height; first += bandRows, ++index) {
    const std::size_t rows = std::min(bandRows, height - first);
    cairo_surface_t* surface = surfaces[index % 2].get();
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_translate(cr, 0, -static_cast<double>(first));
    {
      CairoContext picture(cr, static_cast<double>(height));
      BandContext band(picture, decoded, pictures, {static_cast<double>(first), static_cast<double>(first + rows)},
                       static_cast<double>(height), size->scale);
      band.scale(size->scale, size->scale);
      BoardCGRenderer::draw(layout, band, images, background);
    }
    const bool drawn = cairo_status(cr) == CAIRO_STATUS_SUCCESS;
    cairo_destroy(cr);
    if (!encoded()) return stopped();
    if (!drawn) return NativeExportError::drawingFailed;
    BandContext::releaseAbove(decoded, static_cast<double>(first + rows));
    if (overlap) {
      try {
        encoding = std::async(std::launch::async, encode, surface, rows);
        continue;
      } catch (const std::system_error&) {  // no thread to be had: encode here
      }
    }
    if (!encode(surface, rows)) return stopped();
  }
  if (!encoded()) return stopped();
  return std::nullopt;
}

}  // namespace PNGExport
}  // namespace zorvi
