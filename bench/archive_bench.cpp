// Reading a board dominated by stored images, reported as bytes of image data per second: into a bundle
// (extraction, CRC-32 and the copy), entry by entry where the bytes lie (CRC-32 only), and the floor of
// the latter, mapping the file and running the CRC-32 over it.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libdeflate.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"

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

// Every image's bytes, checked, without a copy: what a reader that only looks at them pays.
void viewFromFile(benchmark::State& state) {
  const fs::path& path = boardFile();
  std::int64_t bytes = 0;
  for (auto _ : state) {
    const zorvi::BoardFile file = zorvi::BoardFile::open(path);
    bytes = 0;
    for (const auto& [key, size] : file.imageSizes()) {
      const auto view = file.view(key);
      benchmark::DoNotOptimize(view->data());
      bytes += static_cast<std::int64_t>(view->size());
    }
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

// The floor of viewFromFile: the file mapped and its CRC-32 run over all of it.
void mappedCrcFloor(benchmark::State& state) {
  const fs::path& path = boardFile();
  std::int64_t bytes = 0;
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0) return state.SkipWithError("cannot open the board");
    const auto size = static_cast<std::size_t>(info.st_size);
    void* start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    ::close(fd);
    if (start == MAP_FAILED) return state.SkipWithError("cannot map the board");
#ifdef MADV_POPULATE_READ
    ::madvise(start, size, MADV_POPULATE_READ);
#endif
    benchmark::DoNotOptimize(libdeflate_crc32(0, start, size));
    ::munmap(start, size);
    bytes = static_cast<std::int64_t>(size);
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
BENCHMARK(viewFromFile)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(mappedCrcFloor)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(encodeBoard)->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace

BENCHMARK_MAIN();
