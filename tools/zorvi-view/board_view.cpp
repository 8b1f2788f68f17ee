#include "board_view.hpp"

#include <algorithm>
#include <cmath>
#include <atomic>
#include <mutex>
#include <thread>

#include "output_file.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/page_export_plan.hpp"
#include "zorvi/text_measure.hpp"

namespace zorvi::view {
namespace {

// The reduced copies, where a board has them, give the first picture at once.
ImageViewMap reducedViews(const BoardBundle& bundle, const ImageViewMap& full) {
  ImageViewMap reduced;
  for (const CanvasItem& item : bundle.manifest.items) {
    if (item.type != CanvasItem::Type::image || !item.thumbnail) continue;
    if (const auto small = bundle.thumbnails.find(*item.thumbnail); small != bundle.thumbnails.end())
      reduced.insert_or_assign(item.id, EmbeddedImageView{small->second, {}});
    else if (const auto it = full.find(item.id); it != full.end())
      reduced.insert_or_assign(item.id, it->second);
  }
  return reduced;
}

}  // namespace

OpenBoard openBoard(const std::filesystem::path& path) {
  OpenBoard board;
  board.bundle = std::make_shared<const BoardBundle>(BoardArchive::read(path));
  const auto& items = board.bundle->manifest.items;
  board.captions = TextMeasure::captionHeights(items);
  for (const CanvasItem& item : items) board.contentFrames.push_back(BoardLayout::contentFrame(item, board.captions));
  board.full = HTMLExporter::fullResolutionImageViews(*board.bundle);
  board.reduced = reducedViews(*board.bundle, board.full);
  for (const CanvasItem& item : items)
    if (item.type == CanvasItem::Type::image && !board.full.contains(item.id))
      board.missing.push_back({item.id, item.image.value_or(""), SkippedImage::Reason::missingEntry, {}});
  return board;
}

void decodePreviews(const OpenBoard& board, ImageCache& cache, unsigned threads) {
  // Large enough to look sharp at the fitted size of a typical board, small enough to be quick.
  constexpr std::int32_t previewEdge = 512;
  std::vector<std::pair<Uuid, EmbeddedImageView>> work(board.reduced.begin(), board.reduced.end());
  std::vector<std::shared_ptr<const Raster>> decoded(work.size());
  std::atomic<std::size_t> next{0};
  const auto run = [&] {
    for (std::size_t i; (i = next++) < work.size();)
      if (auto raster = ImageDecoder::decode(work[i].second.data, previewEdge, previewEdge))
        decoded[i] = std::make_shared<const Raster>(std::move(*raster));
  };
  {
    std::vector<std::jthread> helpers;
    for (unsigned i = 1; i < std::min<std::size_t>(threads, work.size()); ++i) helpers.emplace_back(run);
    run();
  }
  for (std::size_t i = 0; i < work.size(); ++i)
    if (decoded[i]) cache.insertPreview(work[i].first, std::move(decoded[i]));
}

namespace {

// Rows first to last of a frame: the same view seen through a window that starts at row first.
void drawRows(const OpenBoard& board, const ViewState& state, double deviceScale, const ImageProvider& provider,
              std::span<std::uint32_t> pixels, std::int32_t width, std::int32_t first, std::int32_t last,
              std::int32_t strideInPixels, RasterCanvas::Resampling resampling) {
  const double top = first / deviceScale;
  const ViewState rows{state.transform.panned({0, -top}), {state.window.width, (last - first) / deviceScale},
                       false, false};
  const BoardLayout layout(board.bundle->manifest.items, board.captions, visibleWorld(rows));
  const double scale = state.transform.zoom * deviceScale;
  const std::string& background = board.bundle->manifest.board.canvas.backgroundColor;
  const auto height = last - first;
  RasterCanvas::drawInto(
      pixels.subspan(static_cast<std::size_t>(first) * static_cast<std::size_t>(strideInPixels)), width, height,
      strideInPixels,
      [&](DrawingContext& context) {
        // White under the board, as on paper, when its own background can't be read.
        if (!BoardCGRenderer::cgColor(background))
          context.fillRect({0, 0, static_cast<double>(width), static_cast<double>(height)}, {1, 1, 1, 1});
        context.scale(scale, scale);
        BoardCGRenderer::draw(layout, context, provider, background);
      },
      resampling);
}

}  // namespace

std::vector<DecodeRequest> drawFrame(const OpenBoard& board, const ViewState& state, double deviceScale,
                                     ImageCache& cache, std::span<std::uint32_t> pixels, std::int32_t width,
                                     std::int32_t height, std::int32_t strideInPixels,
                                     RasterCanvas::Resampling resampling) {
  std::vector<DecodeRequest> requests;
  std::mutex lock;  // the cache and the requests, for the parts drawn at once
  const ImageProvider provider = [&](const CanvasItem& item, std::int32_t w,
                                     std::int32_t h) -> std::shared_ptr<const Raster> {
    const std::int32_t longer = std::max(w, h);
    const std::int64_t edge = decodeEdge(longer);
    const std::scoped_lock held(lock);
    if (board.full.contains(item.id) && cache.wants(item.id, edge) &&
        std::none_of(requests.begin(), requests.end(), [&](const DecodeRequest& r) { return r.item == item.id; })) {
      const double grow = static_cast<double>(edge) / longer;
      requests.push_back({item.id, edge, std::max(1, static_cast<std::int32_t>(w * grow)),
                          std::max(1, static_cast<std::int32_t>(h * grow))});
    }
    return cache.find(item.id);
  };
  // Resampling a screenful of pictures takes one core longer than a frame lasts: the frame is drawn in
  // horizontal parts, one per core.
  constexpr std::int32_t rowsPerPart = 64;
  const auto parts = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(std::min<std::int64_t>(std::thread::hardware_concurrency(), 4), 1,
                               std::max<std::int64_t>(height / rowsPerPart, 1)));
  const auto rowOf = [&](std::int32_t part) {
    return static_cast<std::int32_t>(static_cast<std::int64_t>(height) * part / parts);
  };
  {
    std::vector<std::jthread> others;
    for (std::int32_t part = 1; part < parts; ++part)
      others.emplace_back([&, part] {
        drawRows(board, state, deviceScale, provider, pixels, width, rowOf(part), rowOf(part + 1), strideInPixels,
                 resampling);
      });
    drawRows(board, state, deviceScale, provider, pixels, width, 0, rowOf(1), strideInPixels, resampling);
  }
  return requests;
}

std::vector<DecodeRequest> ViewFrame::update(const OpenBoard& board, const ViewState& state, double deviceScale,
                                             ImageCache& cache, bool zooming) {
  const bool sameView = drawn_ && drawn_->window == state.window && drawn_->deviceScale == deviceScale;
  if (sameView && drawn_->transform.zoom == state.transform.zoom && !drawn_->rough) {
    const auto x = static_cast<std::int32_t>(
        std::lround(margin - (state.transform.offset.x - drawn_->transform.offset.x) * deviceScale));
    const auto y = static_cast<std::int32_t>(
        std::lround(margin - (state.transform.offset.y - drawn_->transform.offset.y) * deviceScale));
    if (x >= 0 && y >= 0 && x <= 2 * margin && y <= 2 * margin) {
      windowX_ = x, windowY_ = y;
      return {};
    }
  }
  if (zooming && sameView && drawn_->rough && drawn_->transform == state.transform) return {};
  // While zooming the next step redraws it all anyway: no margin, and the quickest resampling.
  const bool rough = zooming && sameView && (drawn_->rough || drawn_->transform.zoom != state.transform.zoom);
  const std::int32_t pad = rough ? 0 : margin;
  width_ = static_cast<std::int32_t>(std::ceil(state.window.width * deviceScale)) + 2 * pad;
  height_ = static_cast<std::int32_t>(std::ceil(state.window.height * deviceScale)) + 2 * pad;
  pixels_.resize(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_));
  // The same view, seen through a window grown by the margin on every side.
  const double grow = pad / deviceScale;
  const ViewState wide{state.transform.panned({grow, grow}),
                       {state.window.width + 2 * grow, state.window.height + 2 * grow}, false, false};
  drawn_ = Drawn{state.transform, state.window, deviceScale, rough};
  windowX_ = windowY_ = pad;
  ++draws_;
  return drawFrame(board, wide, deviceScale, cache, pixels_, width_, height_, width_,
                   rough ? RasterCanvas::Resampling::nearest : RasterCanvas::Resampling::fast);
}

std::optional<std::string> exportBoard(const OpenBoard& board, ExportKind kind, const std::filesystem::path& path) {
  const BoardBundle& bundle = *board.bundle;
  std::optional<NativeExportError> stopped;
  try {
    if (kind == ExportKind::html) {
      cli::writeFileAtomically(path, HTMLExporter::exportBoard(bundle, board.captions));
      return std::nullopt;
    }
    cli::writeFileAtomically(path, [&](cli::OutputSink& sink) {
      const ByteSink toFile = [&](std::span<const std::uint8_t> bytes) { return sink.write(bytes); };
      if (kind == ExportKind::pdf) {
        const auto setup = bundle.manifest.board.pageSetup.value_or(PageSetup::defaultSetup());
        stopped = PDFExport::write(bundle, board.full, PageExportPlan::pages(setup, board.contentFrames),
                                   board.captions, PageExportChrome{}, toFile);
      } else {
        stopped = PNGExport::write(bundle, board.full, board.captions, {}, toFile);
      }
      // Thrown so that nothing half-written replaces the file; a refused write reports itself.
      if (stopped && *stopped != NativeExportError::sinkRefused) throw std::runtime_error("export stopped");
    });
  } catch (const std::exception& error) {
    if (!stopped || *stopped == NativeExportError::sinkRefused) return path.string() + ": " + error.what();
  }
  if (!stopped) return std::nullopt;
  switch (*stopped) {
    case NativeExportError::nothingToDraw: return "the board has nothing to export";
    case NativeExportError::tooLarge: return "the picture would be larger than 32767 pixels";
    case NativeExportError::textUnavailable: return "the text module could not be loaded";
    case NativeExportError::drawingFailed: return "drawing failed (out of memory?)";
    case NativeExportError::sinkRefused: break;
  }
  return path.string() + ": the file could not be written";
}

}  // namespace zorvi::view
