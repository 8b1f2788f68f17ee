// The floor a board thumbnail is measured against: decoding the board's images alone, each as
// cheaply as its drawn size allows. JPEG goes through libjpeg-turbo's DCT scaling to the smallest
// scale that still covers the frame; PNG, WebP and AVIF are decoded whole, as their libraries
// offer nothing cheaper that keeps every pixel's contribution.
//
//   decode_floor [--benchmark_...] LIST
//
// LIST holds one "PATH WIDTH HEIGHT" line per image (bench/make_bench_boards.py needs ...). Files
// are read into memory before timing, so only decoding is measured.
#include <benchmark/benchmark.h>

#include <avif/avif.h>
#include <spng.h>
#include <turbojpeg.h>
#include <webp/decode.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Job {
  std::string path;
  std::vector<unsigned char> bytes;
  int width = 0, height = 0;  // the size the frame is drawn at
};

bool startsWith(const std::vector<unsigned char>& b, std::initializer_list<unsigned char> sig, std::size_t at = 0) {
  if (b.size() < at + sig.size()) return false;
  std::size_t i = at;
  for (unsigned char c : sig)
    if (b[i++] != c) return false;
  return true;
}

// Returns the decoded pixel count so the work cannot be optimised away; 0 when decoding failed.
std::size_t decodeJpeg(const Job& job, tjhandle tj, std::vector<unsigned char>& out) {
  int w = 0, h = 0, subsampling = 0, colourspace = 0;
  if (tjDecompressHeader3(tj, job.bytes.data(), job.bytes.size(), &w, &h, &subsampling, &colourspace) != 0)
    return 0;
  int count = 0;
  const tjscalingfactor* factors = tjGetScalingFactors(&count);
  // Factors come largest first; keep the last that still covers the frame.
  tjscalingfactor best{1, 1};
  for (int i = 0; i < count; ++i) {
    if (TJSCALED(w, factors[i]) >= job.width && TJSCALED(h, factors[i]) >= job.height) best = factors[i];
  }
  const int sw = TJSCALED(w, best), sh = TJSCALED(h, best);
  out.resize(static_cast<std::size_t>(sw) * static_cast<std::size_t>(sh) * 4);
  if (tjDecompress2(tj, job.bytes.data(), job.bytes.size(), out.data(), sw, 0, sh, TJPF_RGBX, 0) != 0) return 0;
  return static_cast<std::size_t>(sw) * static_cast<std::size_t>(sh);
}

std::size_t decodePng(const Job& job, std::vector<unsigned char>& out) {
  std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> ctx(spng_ctx_new(0), spng_ctx_free);
  std::size_t size = 0;
  if (!ctx || spng_set_png_buffer(ctx.get(), job.bytes.data(), job.bytes.size()) != 0 ||
      spng_decoded_image_size(ctx.get(), SPNG_FMT_RGBA8, &size) != 0)
    return 0;
  out.resize(size);
  if (spng_decode_image(ctx.get(), out.data(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) != 0) return 0;
  return size / 4;
}

std::size_t decodeWebp(const Job& job) {
  int w = 0, h = 0;
  std::uint8_t* pixels = WebPDecodeRGBA(job.bytes.data(), job.bytes.size(), &w, &h);
  if (pixels == nullptr) return 0;
  WebPFree(pixels);
  return static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
}

std::size_t decodeAvif(const Job& job) {
  std::unique_ptr<avifDecoder, decltype(&avifDecoderDestroy)> decoder(avifDecoderCreate(), avifDecoderDestroy);
  if (!decoder || avifDecoderSetIOMemory(decoder.get(), job.bytes.data(), job.bytes.size()) != AVIF_RESULT_OK ||
      avifDecoderParse(decoder.get()) != AVIF_RESULT_OK || avifDecoderNextImage(decoder.get()) != AVIF_RESULT_OK)
    return 0;
  avifRGBImage rgb;
  avifRGBImageSetDefaults(&rgb, decoder->image);
  rgb.format = AVIF_RGB_FORMAT_RGBA;
  rgb.depth = 8;
  avifRGBImageAllocatePixels(&rgb);
  const bool ok = avifImageYUVToRGB(decoder->image, &rgb) == AVIF_RESULT_OK;
  avifRGBImageFreePixels(&rgb);
  return ok ? static_cast<std::size_t>(rgb.width) * rgb.height : 0;
}

std::size_t decode(const Job& job, tjhandle tj, std::vector<unsigned char>& buffer) {
  if (startsWith(job.bytes, {0xFF, 0xD8, 0xFF})) return decodeJpeg(job, tj, buffer);
  if (startsWith(job.bytes, {0x89, 'P', 'N', 'G'})) return decodePng(job, buffer);
  if (startsWith(job.bytes, {'R', 'I', 'F', 'F'}) && startsWith(job.bytes, {'W', 'E', 'B', 'P'}, 8))
    return decodeWebp(job);
  if (startsWith(job.bytes, {'f', 't', 'y', 'p'}, 4)) return decodeAvif(job);
  return 0;
}

std::vector<Job> readList(const char* listPath) {
  std::vector<Job> jobs;
  std::ifstream list(listPath);
  std::string line;
  while (std::getline(list, line)) {
    std::istringstream fields(line);
    Job job;
    if (!(fields >> job.path >> job.width >> job.height)) continue;
    std::ifstream file(job.path, std::ios::binary);
    job.bytes.assign(std::istreambuf_iterator<char>(file), {});
    if (job.bytes.empty()) {
      std::fprintf(stderr, "decode_floor: %s: cannot read\n", job.path.c_str());
      std::exit(1);
    }
    jobs.push_back(std::move(job));
  }
  return jobs;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: decode_floor [--benchmark_...] LIST\n");
    return 2;
  }
  const std::vector<Job> jobs = readList(argv[1]);
  if (jobs.empty()) {
    std::fprintf(stderr, "decode_floor: %s: no images listed\n", argv[1]);
    return 1;
  }
  // A failed decode would make the floor look cheap; check each image once before timing.
  {
    tjhandle tj = tjInitDecompress();
    std::vector<unsigned char> buffer;
    for (const Job& job : jobs) {
      if (decode(job, tj, buffer) == 0) {
        std::fprintf(stderr, "decode_floor: %s: cannot decode\n", job.path.c_str());
        return 1;
      }
    }
    tjDestroy(tj);
  }

  benchmark::RegisterBenchmark("floor", [&jobs](benchmark::State& state) {
    tjhandle tj = tjInitDecompress();
    std::vector<unsigned char> buffer;
    for (auto _ : state) {
      std::size_t pixels = 0;
      for (const Job& job : jobs) {
        pixels += decode(job, tj, buffer);
        // Each image gets its own buffer in a renderer that releases images after drawing.
        std::vector<unsigned char>().swap(buffer);
      }
      benchmark::DoNotOptimize(pixels);
    }
    tjDestroy(tj);
  })->Unit(benchmark::kMillisecond)->UseRealTime();
  // The same decodes shared by every core, each taking the next image: the floor of a renderer that
  // decodes in parallel.
  benchmark::RegisterBenchmark("floor_parallel", [&jobs](benchmark::State& state) {
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    for (auto _ : state) {
      std::atomic<std::size_t> next{0}, pixels{0};
      const auto work = [&] {
        tjhandle tj = tjInitDecompress();
        std::vector<unsigned char> buffer;
        for (std::size_t i; (i = next++) < jobs.size();) {
          pixels += decode(jobs[i], tj, buffer);
          std::vector<unsigned char>().swap(buffer);
        }
        tjDestroy(tj);
      };
      {
        std::vector<std::jthread> others;
        for (unsigned t = 1; t < threads; ++t) others.emplace_back(work);
        work();
      }
      benchmark::DoNotOptimize(pixels.load());
    }
  })->Unit(benchmark::kMillisecond)->UseRealTime();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
