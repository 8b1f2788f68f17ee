// Reading a board dominated by stored images: the cost is extraction, CRC-32 and the copy into the
// bundle, reported as bytes of image data per second.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "zorvi/board_archive.hpp"

namespace {

namespace fs = std::filesystem;
using zorvi::BoardArchive::read;

constexpr std::size_t imageCount = 50;
constexpr std::size_t imageSize = 2 * 1024 * 1024;

zorvi::BoardBundle heavyBundle() {
  zorvi::BoardBundle bundle;
  bundle.manifest.board.name = "Heavy";
  std::uint64_t state = 88172645463325252u;
  for (std::size_t i = 0; i < imageCount; ++i) {
    zorvi::Bytes image(imageSize);
    for (auto& byte : image) {
      state ^= state << 13;
      state ^= state >> 7;
      state ^= state << 17;
      byte = static_cast<std::uint8_t>(state);
    }
    bundle.images["images/" + std::to_string(i) + ".jpg"] = std::move(image);
  }
  return bundle;
}

// ZORVI_BENCH_BOARD names a board to read instead of the generated one.
const fs::path& boardFile() {
  static const fs::path path = [] {
    if (const char* given = std::getenv("ZORVI_BENCH_BOARD"); given && *given) return fs::path(given);
    const fs::path made = fs::temp_directory_path() / ("zorvi-bench-" + std::to_string(::getpid()) + ".zorvi");
    zorvi::BoardArchive::write(heavyBundle(), made);
    std::atexit([] { fs::remove(boardFile()); });
    return made;
  }();
  return path;
}

std::int64_t imageBytes(const zorvi::BoardBundle& bundle) {
  std::int64_t total = 0;
  for (const auto& [key, bytes] : bundle.images) total += static_cast<std::int64_t>(bytes.size());
  return total;
}

void readFromFile(benchmark::State& state) {
  const fs::path& path = boardFile();
  std::int64_t bytes = 0;
  for (auto _ : state) {
    auto bundle = read(path);
    bytes = imageBytes(bundle);
    benchmark::DoNotOptimize(bundle);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void readFromMemory(benchmark::State& state) {
  std::ifstream in(boardFile(), std::ios::binary);
  const zorvi::Bytes board{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::int64_t bytes = 0;
  for (auto _ : state) {
    auto bundle = read(board);
    bytes = imageBytes(bundle);
    benchmark::DoNotOptimize(bundle);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void encodeBoard(benchmark::State& state) {
  const zorvi::BoardBundle bundle = read(boardFile());
  for (auto _ : state) benchmark::DoNotOptimize(zorvi::BoardArchive::encode(bundle));
  state.SetBytesProcessed(state.iterations() * imageBytes(bundle));
}

BENCHMARK(readFromFile)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(readFromMemory)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(encodeBoard)->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace

BENCHMARK_MAIN();
