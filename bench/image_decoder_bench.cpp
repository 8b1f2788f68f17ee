// Decoding photos to thumbnail size. The images are made once with Debian's encoders and kept in the
// temporary directory between runs. The large-PNG case reports the decode's peak resident memory.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "support/image_files.hpp"
#include "zorvi/image_decoder.hpp"

namespace {

namespace fs = std::filesystem;
using ByteVector = zorvi::Bytes;

const fs::path& imageDirectory() {
  static const fs::path directory = [] {
    fs::path dir = fs::temp_directory_path() / "zorvi-decode-bench";
    fs::create_directories(dir);
    return dir;
  }();
  return directory;
}

// Makes name with command (run in the image directory) unless an earlier run left it there.
const ByteVector& image(const std::string& name, const std::string& command) {
  static std::map<std::string, ByteVector> loaded;
  if (auto found = loaded.find(name); found != loaded.end()) return found->second;
  const fs::path path = imageDirectory() / name;
  if (!fs::exists(path) && zorvi::testing::shell("cd " + imageDirectory().string() + " && " + command) != 0) {
    static const ByteVector none;
    return none;
  }
  return loaded[name] = zorvi::testing::readFile(path);
}

const ByteVector& photo(const std::string& name) {
  const std::map<std::string, std::string> commands = {
      {"photo4000.jpg", "convert -seed 3 -size 4000x3000 plasma:fractal -blur 0x2 -quality 90 photo4000.jpg"},
      {"photo1600.png", "convert -seed 5 -size 1600x1200 plasma:fractal -blur 0x2 -depth 8 photo1600.png"},
      {"photo1600.jpg", "convert photo1600.png -quality 90 photo1600.jpg"},
      {"photo1600.webp", "cwebp -q 80 photo1600.png -o photo1600.webp"},
      {"photo1600.avif", "avifenc -s 6 photo1600.png photo1600.avif"},
      {"huge.png", "python3 " ZORVI_BENCH_DIR "/make_large_png.py huge.png 20000 20000"},
  };
  if (name != "photo1600.png" && name.rfind("photo1600", 0) == 0)
    image("photo1600.png", commands.at("photo1600.png"));
  return image(name, commands.at(name));
}

void decodeTo(benchmark::State& state, const std::string& name, std::int32_t width, std::int32_t height) {
  const ByteVector& bytes = photo(name);
  if (bytes.empty()) {
    state.SkipWithError(("could not make " + name).c_str());
    return;
  }
  std::int64_t pixels = 0;
  for (auto _ : state) {
    auto raster = zorvi::ImageDecoder::decode(bytes, width, height);
    if (!raster) {
      state.SkipWithError(("could not decode " + name).c_str());
      return;
    }
    pixels = std::int64_t{raster->width} * raster->height;
    benchmark::DoNotOptimize(raster->pixels.data());
  }
  state.counters["out_px"] = static_cast<double>(pixels);
}

// Peak and current resident memory in KiB, from the kernel's own accounting.
std::int64_t statusField(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field + ":", 0) == 0) return std::stoll(line.substr(field.size() + 1));
  }
  return -1;
}

void resetPeakMemory() { std::ofstream("/proc/self/clear_refs") << "5"; }

void BM_Photo4000Jpeg_To256(benchmark::State& s) { decodeTo(s, "photo4000.jpg", 256, 192); }
void BM_Photo4000Jpeg_Full(benchmark::State& s) { decodeTo(s, "photo4000.jpg", 4000, 3000); }
void BM_Photo1600Jpeg_To256(benchmark::State& s) { decodeTo(s, "photo1600.jpg", 256, 192); }
void BM_Photo1600Jpeg_Full(benchmark::State& s) { decodeTo(s, "photo1600.jpg", 1600, 1200); }
void BM_Photo1600Png_To256(benchmark::State& s) { decodeTo(s, "photo1600.png", 256, 192); }
void BM_Photo1600Png_Full(benchmark::State& s) { decodeTo(s, "photo1600.png", 1600, 1200); }
void BM_Photo1600Webp_To256(benchmark::State& s) { decodeTo(s, "photo1600.webp", 256, 192); }
void BM_Photo1600Webp_Full(benchmark::State& s) { decodeTo(s, "photo1600.webp", 1600, 1200); }
void BM_Photo1600Avif_To256(benchmark::State& s) { decodeTo(s, "photo1600.avif", 256, 192); }
void BM_Photo1600Avif_Full(benchmark::State& s) { decodeTo(s, "photo1600.avif", 1600, 1200); }

// A 20,000 × 20,000 PNG (1.6 GB as ARGB) decoded for a 256-pixel thumbnail. peak_decode_MiB is the
// resident-memory high-water mark during the decode minus what was resident before it, input included.
void BM_Png20000_To256(benchmark::State& state) {
  const ByteVector& bytes = photo("huge.png");
  if (bytes.empty()) {
    state.SkipWithError("could not make huge.png");
    return;
  }
  std::int64_t before = 0, peak = 0;
  for (auto _ : state) {
    before = statusField("VmRSS");
    resetPeakMemory();
    auto raster = zorvi::ImageDecoder::decode(bytes, 256, 256);
    peak = statusField("VmHWM");
    if (!raster) {
      state.SkipWithError("could not decode huge.png");
      return;
    }
    benchmark::DoNotOptimize(raster->pixels.data());
  }
  state.counters["input_MiB"] = static_cast<double>(bytes.size()) / (1 << 20);
  state.counters["rss_before_MiB"] = static_cast<double>(before) / 1024;
  state.counters["peak_decode_MiB"] = static_cast<double>(peak - before) / 1024;
}

}  // namespace

BENCHMARK(BM_Photo4000Jpeg_To256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo4000Jpeg_Full)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Jpeg_To256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Jpeg_Full)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Png_To256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Png_Full)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Webp_To256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Webp_Full)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Avif_To256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Photo1600Avif_Full)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Png20000_To256)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_MAIN();
