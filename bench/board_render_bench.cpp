// Costs of drawing boards without decoding: vector items and text at thumbnail sizes, the text
// engine's measuring, and the PNG a thumbnail is written as.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

#include "zorvi/board_renderer.hpp"
#include "zorvi/text_measure.hpp"

namespace {

using namespace zorvi;

Uuid idNumber(std::uint32_t n) {
  Uuid id;
  for (int i = 0; i < 4; ++i)
    id.bytes[static_cast<std::size_t>(12 + i)] = static_cast<std::uint8_t>(n >> (24 - 8 * i));
  return id;
}

// A fixed-seed board of titled shapes, text boxes and dashed drawings of 40 points each.
BoardBundle vectorBoard(std::uint32_t count) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> position(0, 4000), size(60, 600), unit(0, 1);
  BoardBundle bundle;
  bundle.manifest.board.canvas.backgroundColor = "#F5F2EC";
  for (std::uint32_t i = 0; i < count; ++i) {
    const Frame frame{position(random), position(random), size(random), size(random)};
    switch (i % 3) {
      case 0:
        bundle.manifest.items.emplace_back(idNumber(i),
                                           ShapeContent{"#E8DCCA", "#333333", 3, "Section title", 28}, frame,
                                           i, false, std::nullopt);
        break;
      case 1:
        bundle.manifest.items.emplace_back(
            idNumber(i),
            TextContent{"Warm reds against cold harbour blues, amber for accents.", "#222222", 24}, frame, i,
            false, std::nullopt);
        break;
      default: {
        DrawingContent drawing{{}, "#C0392B", 4, DrawingContent::LineStyle::dashed};
        for (int p = 0; p < 40; ++p) drawing.points.push_back({unit(random), unit(random)});
        bundle.manifest.items.emplace_back(idNumber(i), drawing, frame, i, false, std::nullopt);
      }
    }
  }
  return bundle;
}

void BM_RenderVectorBoard(benchmark::State& state) {
  const BoardBundle bundle = vectorBoard(static_cast<std::uint32_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(BoardPreviewRenderer::render(bundle, 256));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RenderVectorBoard)->Arg(12)->Arg(150)->Unit(benchmark::kMillisecond);

void BM_CaptionHeight(benchmark::State& state) {
  const Font caption{FontFace::monospaceItalic, 18};
  for (auto _ : state)
    benchmark::DoNotOptimize(
        TextMeasure::wrappedTextHeight("Harbour at dusk, seen from the old pier", 300, caption, 20.7));
}
BENCHMARK(BM_CaptionHeight)->Unit(benchmark::kMicrosecond);

void BM_EncodePNG(benchmark::State& state) {
  const auto picture = BoardPreviewRenderer::render(vectorBoard(12), static_cast<double>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(RasterCanvas::encodePNG(*picture));
}
BENCHMARK(BM_EncodePNG)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
