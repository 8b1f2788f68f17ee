// The viewer's drawing, without a display: one frame of a large board in a 3840 × 2160 window with every
// picture already decoded (panning and zooming draw nothing else), and what happens between starting
// on a board and its first picture (reading, previews, the first frame).
//
//   view_bench LARGE.zorvi TYPICAL.zorvi [benchmark flags]      (boards from make_bench_boards.py)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "board_view.hpp"

namespace {

using namespace zorvi;
using namespace zorvi::view;

std::string largeBoard, typicalBoard;

// Decodes every picture a frame asks for, as the worker threads would.
void warm(const OpenBoard& board, const ViewState& state, ImageCache& cache, std::vector<std::uint32_t>& pixels,
          std::int32_t width, std::int32_t height) {
  for (int round = 0; round < 4; ++round) {
    const auto requests = drawFrame(board, state, 1, cache, pixels, width, height, width);
    if (requests.empty()) return;
    for (const auto& request : requests)
      if (auto raster = ImageDecoder::decode(board.full.at(request.item).data, request.width, request.height))
        cache.insert(request.item, {request.edge, std::make_shared<const Raster>(std::move(*raster))});
  }
}

void frame(benchmark::State& state, double zoomFactor) {
  const OpenBoard board = openBoard(largeBoard);
  constexpr std::int32_t width = 3840, height = 2160;
  ViewState view{*BoardFit::transform(board.contentFrames, {width, height}, fitPadding), {width, height}, false, false};
  view.transform = view.transform.zoomedBy(zoomFactor, {width / 2.0, height / 2.0});
  ImageCache cache(std::size_t{1} << 30);
  std::vector<std::uint32_t> pixels(std::size_t{width} * height);
  warm(board, view, cache, pixels, width, height);
  double dx = 1;
  for (auto _ : state) {
    view.transform = view.transform.panned({dx, 0});  // a pan by a pixel each frame, back and forth
    dx = -dx;
    benchmark::DoNotOptimize(drawFrame(board, view, 1, cache, pixels, width, height, width));
  }
}

void BM_FrameFitted(benchmark::State& state) { frame(state, 1); }

// Panning as the window does it: the frame drawn with a margin is moved, and the window's pixels are
// copied out of it (what handing them to the toolkit costs), until the pan leaves the margin.
void BM_FramePanned(benchmark::State& state) {
  const OpenBoard board = openBoard(largeBoard);
  constexpr std::int32_t width = 3840, height = 2160;
  ViewState view{*BoardFit::transform(board.contentFrames, {width, height}, fitPadding), {width, height}, false, false};
  ImageCache cache(std::size_t{1} << 30);
  std::vector<std::uint32_t> pixels(std::size_t{width} * height), window(std::size_t{width} * height);
  warm(board, view, cache, pixels, width, height);
  ViewFrame frame;
  double step = 8;
  for (auto _ : state) {
    view.transform = view.transform.panned({step, 0});  // sweeps right and left across twice the margin
    if (std::abs(view.transform.offset.x) > 2 * ViewFrame::margin) step = -step;
    frame.update(board, view, 1, cache);
    for (std::int32_t row = 0; row < height; ++row)
      std::copy_n(frame.pixels().data() + std::size_t(row + frame.windowY()) * frame.width() + frame.windowX(),
                  width, window.data() + std::size_t(row) * width);
    benchmark::DoNotOptimize(window.data());
  }
  state.counters["draws"] = static_cast<double>(frame.draws()) / static_cast<double>(state.iterations());
}
void BM_FrameZoomedIn(benchmark::State& state) { frame(state, 3); }

// A wheel or pinch zoom as the window draws it: each step a rough frame of the window alone, steps
// in and out by a wheel notch about the centre.
void BM_FrameZoomStep(benchmark::State& state) {
  const OpenBoard board = openBoard(largeBoard);
  constexpr std::int32_t width = 3840, height = 2160;
  constexpr double notch = 1.1;
  ViewState view{*BoardFit::transform(board.contentFrames, {width, height}, fitPadding), {width, height}, false, false};
  view.transform = view.transform.zoomedBy(3, {width / 2.0, height / 2.0});
  ImageCache cache(std::size_t{1} << 30);
  std::vector<std::uint32_t> pixels(std::size_t{width} * height);
  ViewState zoomed = view;
  zoomed.transform = view.transform.zoomedBy(notch, {width / 2.0, height / 2.0});
  warm(board, view, cache, pixels, width, height);
  warm(board, zoomed, cache, pixels, width, height);
  ViewFrame frame;
  frame.update(board, view, 1, cache);
  bool in = true;
  for (auto _ : state) {
    frame.update(board, in ? zoomed : view, 1, cache, true);
    in = !in;
    benchmark::DoNotOptimize(frame.pixels().data());
  }
  state.counters["rough"] = frame.rough() ? 1 : 0;
}

void BM_FirstPicture(benchmark::State& state) {
  constexpr std::int32_t width = 1024, height = 720;
  std::vector<std::uint32_t> pixels(std::size_t{width} * height);
  for (auto _ : state) {
    const OpenBoard board = openBoard(typicalBoard);
    ImageCache cache(std::size_t{512} << 20);
    decodePreviews(board, cache, std::max(1u, std::thread::hardware_concurrency()));
    const ViewState view{openingTransform(board.bundle->manifest.board.canvas.lastViewport, board.contentFrames,
                                          {width, height}),
                         {width, height}, false, false};
    benchmark::DoNotOptimize(drawFrame(board, view, 1, cache, pixels, width, height, width));
  }
}

BENCHMARK(BM_FrameFitted)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_FramePanned)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_FrameZoomedIn)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_FrameZoomStep)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_FirstPicture)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 3) {
    std::fprintf(stderr, "usage: view_bench LARGE.zorvi TYPICAL.zorvi [benchmark flags]\n");
    return 2;
  }
  largeBoard = argv[1];
  typicalBoard = argv[2];
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
