// Reading and writing the manifest of a large board, in bytes of JSON per second, each next to its floor:
// decoding next to parsing the same text into simdjson's DOM and walking it, and opening the board (what
// `zorvi info` spends its time on) next to inflating the manifest with libdeflate and parsing it so.
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <unistd.h>

#include <simdjson.h>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "manifest/manifest_reading.hpp"
#include "support/sample_manifest.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/manifest_coding.hpp"

namespace {

namespace fs = std::filesystem;

// The manifest a 10,000-item board carries; the thumbnailer reads one on every request.
const std::string& largeManifest() {
  static const std::string json = zorvi::ManifestCoder::encode(zorvi::testing::sampleManifest(1, 10'000));
  return json;
}

// A board holding only that manifest, deflated as boards keep it; written to ZORVI_BENCH_MANIFEST_BOARD and
// kept there when that is set (bench/manifest_info.sh times `zorvi info` on it).
const fs::path& largeBoard() {
  static const fs::path path = [] {
    const char* given = std::getenv("ZORVI_BENCH_MANIFEST_BOARD");
    const fs::path made =
        given && *given
            ? fs::path(given)
            : fs::temp_directory_path() / ("zorvi-manifest-bench-" + std::to_string(::getpid()) + ".zorvi");
    zorvi::BoardBundle bundle;
    bundle.manifest = zorvi::ManifestCoder::decode(largeManifest());
    zorvi::BoardArchive::write(bundle, made);
    if (!given || !*given) std::atexit([] { fs::remove(largeBoard()); });
    return made;
  }();
  return path;
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

// The same text followed by padding, as a board's manifest is inflated: nothing is copied.
void BM_DecodePaddedLargeManifest(benchmark::State& state) {
  const std::string& text = largeManifest();
  const std::string json = text + std::string(zorvi::manifest_reading::padding, ' ');
  for (auto _ : state) {
    zorvi::Manifest manifest =
        zorvi::manifest_reading::decodePadded(std::string_view(json).substr(0, text.size()));
    benchmark::DoNotOptimize(manifest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_DecodePaddedLargeManifest)->Unit(benchmark::kMillisecond);

// Visits every value once, as a decoder must.
std::size_t walk(simdjson::dom::element element) {
  switch (element.type()) {
    case simdjson::dom::element_type::ARRAY: {
      std::size_t count = 1;
      const simdjson::dom::array array = element.get_array().value_unsafe();
      for (simdjson::dom::element child : array) count += walk(child);
      return count;
    }
    case simdjson::dom::element_type::OBJECT: {
      std::size_t count = 1;
      const simdjson::dom::object object = element.get_object().value_unsafe();
      for (simdjson::dom::key_value_pair field : object) count += field.key.size() + walk(field.value);
      return count;
    }
    case simdjson::dom::element_type::STRING:
      return element.get_string().value_unsafe().size();
    default:
      return 1;
  }
}

// The floor of decoding: simdjson's DOM of the text, walked once.
void BM_SimdjsonDomWalkFloor(benchmark::State& state) {
  const simdjson::padded_string json(largeManifest());
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(json).get(root)) return state.SkipWithError("simdjson refused the manifest");
    benchmark::DoNotOptimize(walk(root));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}
BENCHMARK(BM_SimdjsonDomWalkFloor)->Unit(benchmark::kMillisecond);

// The floor for text with no room behind it, as `ManifestCoder::decode` receives it: simdjson copies
// such text into padded memory before its DOM parses it.
void BM_SimdjsonDomWalkUnpaddedFloor(benchmark::State& state) {
  const std::string& json = largeManifest();
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(json.data(), json.size(), true).get(root))
      return state.SkipWithError("simdjson refused the manifest");
    benchmark::DoNotOptimize(walk(root));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}
BENCHMARK(BM_SimdjsonDomWalkUnpaddedFloor)->Unit(benchmark::kMillisecond);

// What `zorvi info` does before it prints: the board opened, its manifest inflated, checked and decoded.
void BM_OpenLargeBoard(benchmark::State& state) {
  const fs::path& path = largeBoard();
  for (auto _ : state) benchmark::DoNotOptimize(zorvi::BoardFile::open(path).manifest().items.size());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * largeManifest().size()));
}
BENCHMARK(BM_OpenLargeBoard)->Unit(benchmark::kMillisecond);

// The floor of opening: the deflated manifest inflated by libdeflate into a buffer of its known size and
// parsed into simdjson's DOM.
void BM_InflateAndParseFloor(benchmark::State& state) {
  const zorvi::Bytes json = zorvi::testing::toBytes(largeManifest());
  const zorvi::Bytes deflated = zorvi::testing::rawDeflate(json);
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  simdjson::dom::parser parser;
  for (auto _ : state) {
    std::unique_ptr<char[]> text(new char[json.size() + simdjson::SIMDJSON_PADDING]);
    if (libdeflate_deflate_decompress(decompressor, deflated.data(), deflated.size(), text.get(), json.size(),
                                      nullptr) != LIBDEFLATE_SUCCESS)
      return state.SkipWithError("libdeflate refused the manifest");
    simdjson::dom::element root;
    if (parser.parse(text.get(), json.size(), false).get(root))
      return state.SkipWithError("simdjson refused it");
    benchmark::DoNotOptimize(root);
  }
  libdeflate_free_decompressor(decompressor);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * json.size()));
}
BENCHMARK(BM_InflateAndParseFloor)->Unit(benchmark::kMillisecond);

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
