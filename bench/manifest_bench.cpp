// Reading and writing the manifest of a large board, in bytes of JSON per second.
#include <benchmark/benchmark.h>

#include <string>

#include "support/sample_manifest.hpp"
#include "zorvi/manifest_coding.hpp"

namespace {

// The manifest a 10,000-item board carries; the thumbnailer reads one on every request.
const std::string& largeManifest() {
  static const std::string json = zorvi::ManifestCoder::encode(zorvi::testing::sampleManifest(1, 10'000));
  return json;
}

void BM_DecodeLargeManifest(benchmark::State& state) {
  const std::string& json = largeManifest();
  for (auto _ : state) {
    zorvi::Manifest manifest = zorvi::ManifestCoder::decode(json);
    benchmark::DoNotOptimize(manifest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
  state.counters["json_bytes"] = static_cast<double>(json.size());
}
BENCHMARK(BM_DecodeLargeManifest)->Unit(benchmark::kMillisecond);

void BM_EncodeLargeManifest(benchmark::State& state) {
  const zorvi::Manifest manifest = zorvi::ManifestCoder::decode(largeManifest());
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string json = zorvi::ManifestCoder::encode(manifest);
    bytes = json.size();
    benchmark::DoNotOptimize(json);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_EncodeLargeManifest)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
