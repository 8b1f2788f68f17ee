// The native exports of a board file against their floors: the PDF against reading the board and writing
// its images' bytes to a file, the PNG against decoding the images alone (decode_floor, run by
// bench/native_export_bench.sh). Each run writes to a file, as the command does.
//
//   native_export_bench [--benchmark_...] BOARD [PNG_EDGE]
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/native_export.hpp"
#include "zorvi/page_export_plan.hpp"

namespace zorvi {
namespace {

std::filesystem::path boardPath;
double pngEdge = 4096;

// A file that takes bytes the way the command's output does, removed when done.
class OutputFile {
 public:
  OutputFile()
      : path_(std::filesystem::temp_directory_path() / ("zorvi-native-bench-" + std::to_string(::getpid()))),
        fd_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {}
  ~OutputFile() {
    ::close(fd_);
    std::filesystem::remove(path_);
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  bool write(std::span<const std::uint8_t> bytes) {
    written_ += bytes.size();
    return ::write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  std::size_t written() const { return written_; }

 private:
  std::filesystem::path path_;
  int fd_;
  std::size_t written_ = 0;
};

std::size_t imageBytes(const ImageViewMap& images) {
  std::size_t total = 0;
  for (const auto& [id, image] : images) total += image.data.size();
  return total;
}

void BM_PDFExport(benchmark::State& state) {
  std::size_t pdfBytes = 0, pictures = 0;
  for (auto _ : state) {
    const BoardBundle bundle = BoardArchive::read(boardPath);
    std::vector<Frame> frames;
    for (const CanvasItem& item : bundle.manifest.items) frames.push_back(BoardLayout::contentFrame(item, {}));
    const auto pages =
        PageExportPlan::pages(bundle.manifest.board.pageSetup.value_or(PageSetup::defaultSetup()), frames);
    const ImageViewMap images = HTMLExporter::fullResolutionImageViews(bundle);
    OutputFile out;
    if (PDFExport::write(bundle, images, pages, {}, {}, [&](auto bytes) { return out.write(bytes); })) {
      state.SkipWithError("the PDF export failed");
      break;
    }
    pdfBytes = out.written();
    pictures = imageBytes(images);
  }
  state.counters["pdf_bytes"] = static_cast<double>(pdfBytes);
  state.counters["image_bytes"] = static_cast<double>(pictures);
  state.counters["pdf_per_image_byte"] = pictures > 0 ? static_cast<double>(pdfBytes) / static_cast<double>(pictures) : 0;
}
BENCHMARK(BM_PDFExport)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadAndWriteImagesFloor(benchmark::State& state) {
  for (auto _ : state) {
    const BoardBundle bundle = BoardArchive::read(boardPath);
    OutputFile out;
    for (const auto& [id, image] : HTMLExporter::fullResolutionImageViews(bundle)) out.write(image.data);
  }
}
BENCHMARK(BM_ReadAndWriteImagesFloor)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PNGExport(benchmark::State& state) {
  std::size_t pngBytes = 0;
  for (auto _ : state) {
    const BoardBundle bundle = BoardArchive::read(boardPath);
    OutputFile out;
    if (PNGExport::write(bundle, HTMLExporter::fullResolutionImageViews(bundle), {}, {PNGExport::Scale::full, pngEdge},
                         [&](auto bytes) { return out.write(bytes); })) {
      state.SkipWithError("the PNG export failed");
      break;
    }
    pngBytes = out.written();
  }
  state.counters["png_bytes"] = static_cast<double>(pngBytes);
}
BENCHMARK(BM_PNGExport)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace zorvi

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc < 2) {
    std::fprintf(stderr, "usage: native_export_bench [--benchmark_...] BOARD [PNG_EDGE]\n");
    return 2;
  }
  zorvi::boardPath = argv[1];
  if (argc > 2) zorvi::pngEdge = std::stod(argv[2]);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
