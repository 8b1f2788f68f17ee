// Export of a board file holding 100 MB of pictures against its floor: reading the same file and
// base64-encoding its pictures alone. Both as a bundle in memory, and streamed as `zorvi export html`
// does: the document written as it grows and each picture read from its entry, next to reading the
// entries, encoding and writing them.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "export/html_text.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/html_exporter.hpp"

namespace zorvi {
namespace {

constexpr std::size_t kImages = 50;
constexpr std::size_t kImageBytes = 2 * 1024 * 1024;

// Random bytes behind a PNG signature: incompressible like real pictures, recognised by their start.
const BoardBundle& bigBoard() {
  static const BoardBundle bundle = [] {
    BoardBundle b;
    b.manifest.board.name = "Benchmark";
    b.manifest.board.canvas.backgroundColor = "#FFFFFF";
    std::mt19937_64 random(42);
    for (std::size_t i = 0; i < kImages; ++i) {
      Uuid id;
      id.bytes[15] = static_cast<std::uint8_t>(i);
      const std::string name = id.string() + ".png";
      Bytes data(kImageBytes);
      for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
      const Bytes signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
      std::copy(signature.begin(), signature.end(), data.begin());
      b.images["images/" + name] = data;
      b.thumbnails["thumbnails/" + name] = Bytes(signature);
      const double x = static_cast<double>(i % 10) * 220, y = static_cast<double>(i / 10) * 180;
      b.manifest.items.emplace_back(id, "images/" + name, "thumbnails/" + name, Frame{x, y, 200, 150},
                                    static_cast<std::int64_t>(i), PixelSize{4000, 3000}, ItemSource{},
                                    "Picture " + std::to_string(i), std::nullopt, false, std::nullopt);
    }
    return b;
  }();
  return bundle;
}

// The board written once to a file that lives as long as the program.
const std::filesystem::path& boardFile() {
  static const struct File {
    std::filesystem::path path = std::filesystem::temp_directory_path() /
                                 ("zorvi-html-bench-" + std::to_string(::getpid()) + ".zorvi");
    File() { BoardArchive::write(bigBoard(), path); }
    ~File() { std::filesystem::remove(path); }
  } file;
  return file.path;
}

void BM_ExportBoard(benchmark::State& state) {
  const auto& path = boardFile();
  for (auto _ : state) {
    const BoardBundle bundle = BoardArchive::read(path);
    std::string html = HTMLExporter::exportBoard(bundle, {});
    benchmark::DoNotOptimize(html.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImages * kImageBytes));
}
BENCHMARK(BM_ExportBoard)->Unit(benchmark::kMillisecond);

void BM_ReadAndEncodeFloor(benchmark::State& state) {
  const auto& path = boardFile();
  for (auto _ : state) {
    const BoardBundle bundle = BoardArchive::read(path);
    for (const auto& [name, bytes] : bundle.images) {
      std::string encoded;
      encoded.reserve(html::base64Length(bytes.size()));
      html::appendBase64(encoded, bytes);
      benchmark::DoNotOptimize(encoded.data());
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImages * kImageBytes));
}
BENCHMARK(BM_ReadAndEncodeFloor)->Unit(benchmark::kMillisecond);

// Where streamed output goes: a sink that costs a write call per piece, as a file would.
struct NullOutput {
  std::FILE* file = std::fopen("/dev/null", "wb");
  ~NullOutput() { std::fclose(file); }
  void write(std::string_view piece) const { std::fwrite(piece.data(), 1, piece.size(), file); }
};

void BM_StreamExportFile(benchmark::State& state) {
  const auto& path = boardFile();
  const NullOutput out;
  for (auto _ : state) {
    const BoardFile file = BoardFile::open(path);
    const auto entries =
        HTMLExporter::pictureEntries(file.manifest(), [&](const std::string& entry, bool thumbnail) {
          return (thumbnail ? file.thumbnailSizes() : file.imageSizes()).contains(entry);
        });
    const HTMLExporter::PictureLookup pictures =
        [&](const CanvasItem& item) -> std::optional<HTMLExporter::PictureStream> {
      const auto found = entries.find(item.id);
      if (found == entries.end()) return std::nullopt;
      const std::string& entry = found->second;
      const Bytes head = file.head(entry, 4096).value_or(Bytes{});
      return HTMLExporter::PictureStream{std::string(HTMLExporter::mimeTypeOf(head, entry)),
                                         file.imageSizes().at(entry),
                                         [&](const HTMLExporter::ByteSink& sink) { file.read(entry, sink); }};
    };
    HTMLExporter::writeBoard(file.manifest(), pictures, {},
                             [&](std::string_view piece) { out.write(piece); });
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImages * kImageBytes));
}
BENCHMARK(BM_StreamExportFile)->Unit(benchmark::kMillisecond);

// The floor of streaming: each picture's entry read in chunks, encoded and written.
void BM_StreamFloor(benchmark::State& state) {
  const auto& path = boardFile();
  const NullOutput out;
  for (auto _ : state) {
    const BoardFile file = BoardFile::open(path);
    std::string encoded;
    for (const auto& [entry, size] : file.imageSizes()) {
      file.read(entry, [&](std::span<const std::uint8_t> chunk) {
        encoded.clear();
        html::appendBase64(encoded, chunk);
        out.write(encoded);
      });
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImages * kImageBytes));
}
BENCHMARK(BM_StreamFloor)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zorvi

BENCHMARK_MAIN();
