// Costs of laying out large boards, sniffing image bytes and building the image map.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "zorvi/board_layout.hpp"
#include "zorvi/canvas_contrast.hpp"
#include "zorvi/image_formats.hpp"

namespace {

using namespace zorvi;

Uuid idNumber(std::uint32_t n) {
  Uuid id;
  for (int i = 0; i < 4; ++i)
    id.bytes[static_cast<std::size_t>(12 + i)] = static_cast<std::uint8_t>(n >> (24 - 8 * i));
  return id;
}

// A fixed-seed board of captioned images and drawings scattered over a 20,000-unit square.
std::vector<CanvasItem> board(std::size_t count, CaptionHeights& heights) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> position(-10000, 10000), size(10, 400);
  std::uniform_int_distribution<std::int64_t> z(0, 50);
  std::vector<CanvasItem> items;
  for (std::uint32_t i = 0; i < count; ++i) {
    const Frame frame{position(random), position(random), size(random), size(random)};
    if (i % 4 == 3) {
      items.emplace_back(idNumber(i), DrawingContent{{{0, 0}, {1, 1}}, "#000000", 3, {}}, frame, z(random),
                         false, std::nullopt);
    } else {
      items.emplace_back(idNumber(i), "images/" + std::to_string(i) + ".png",
                         "thumbnails/" + std::to_string(i) + ".png", frame, z(random), PixelSize{},
                         ItemSource{}, "caption", std::nullopt, false, std::nullopt);
      heights[idNumber(i)] = 22;
    }
  }
  return items;
}

void WholeBoard(benchmark::State& state) {
  CaptionHeights heights;
  const auto items = board(static_cast<std::size_t>(state.range(0)), heights);
  for (auto _ : state) benchmark::DoNotOptimize(BoardLayout(items, heights));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(WholeBoard)->Arg(100)->Arg(10000);

// One A4-sized page out of a large board: most items are tested and dropped.
void OnePage(benchmark::State& state) {
  CaptionHeights heights;
  const auto items = board(static_cast<std::size_t>(state.range(0)), heights);
  for (auto _ : state) benchmark::DoNotOptimize(BoardLayout(items, heights, {0, 0, 909, 1286}));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(OnePage)->Arg(10000);

void Identify(benchmark::State& state) {
  // An AVIF header that lists its brand last, the longest path through the detector.
  Bytes bytes = {0, 0, 0, 0x40, 'f', 't', 'y', 'p'};
  for (int i = 0; i < 13; ++i) bytes.insert(bytes.end(), {'i', 's', 'o', static_cast<std::uint8_t>('a' + i)});
  bytes.insert(bytes.end(), {'a', 'v', 'i', 'f'});
  bytes.resize(1 << 20);
  for (auto _ : state) benchmark::DoNotOptimize(ImageFormatDetector::identify(bytes));
}
BENCHMARK(Identify);

void Luminance(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(CanvasContrast::luminance(" #7F7F7F\n"));
}
BENCHMARK(Luminance);

// 1,000 image items of 200 KB each: the map copies every byte once.
void FullResolutionImages(benchmark::State& state) {
  BoardBundle bundle;
  CaptionHeights unused;
  bundle.manifest.items = board(1000, unused);
  for (const CanvasItem& item : bundle.manifest.items) {
    if (item.image) bundle.images[*item.image] = Bytes(200'000, 0xFF);
  }
  for (auto _ : state) benchmark::DoNotOptimize(HTMLExporter::fullResolutionImages(bundle));
  state.SetBytesProcessed(state.iterations() * 750 * 200'000);
}
BENCHMARK(FullResolutionImages)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
