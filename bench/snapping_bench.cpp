// Snapping runs on every pointer movement of a drag; this measures one call against a busy board.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "zorvi/snapping.hpp"

namespace {

using namespace zorvi;

std::vector<Frame> boardFrames(std::size_t count) {
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> position(-5000, 5000), extent(20, 600);
  std::vector<Frame> frames(count);
  for (Frame& f : frames) f = {position(random), position(random), extent(random), extent(random)};
  return frames;
}

void BM_Snap(benchmark::State& state) {
  const auto others = boardFrames(static_cast<std::size_t>(state.range(0)));
  const std::vector<double> guidesX{0, 1200}, guidesY{0, 800};
  Frame moving{103.3, 47.9, 240, 160};
  for (auto _ : state) {
    // A pointer drifting by a fraction of a unit per event, as in a real drag.
    moving.x += 0.25;
    const SnapResult result = Snapping::snap(moving, others, guidesX, guidesY, 10.0, 1.5, 6);
    benchmark::DoNotOptimize(result);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Snap)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_SnapResize(benchmark::State& state) {
  const auto others = boardFrames(static_cast<std::size_t>(state.range(0)));
  const Frame original{103.3, 47.9, 240, 160};
  Frame proposed = original;
  for (auto _ : state) {
    proposed.width += 0.25;
    proposed.height = proposed.width * 160 / 240;
    const SnapResult result =
        Snapping::snapResize(original, ResizeCorner::bottomRight, proposed, others, {}, {}, 10.0, 1.5, 6, 10);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(BM_SnapResize)->Arg(1000)->Unit(benchmark::kMicrosecond);

void BM_SnapResizeFree(benchmark::State& state) {
  const auto others = boardFrames(static_cast<std::size_t>(state.range(0)));
  const Frame original{103.3, 47.9, 240, 160};
  Frame proposed = original;
  for (auto _ : state) {
    proposed.width += 0.25;
    const SnapResult result = Snapping::snapResizeFree(original, ResizeCorner::bottomRight, proposed, others,
                                                       {}, {}, 10.0, 1.5, 6, 10);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(BM_SnapResizeFree)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
