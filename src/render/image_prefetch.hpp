// Decoding a drawing's pictures ahead of it on other cores, so the draw loop only waits for pixels.
#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <unordered_map>
#include <vector>

#include "zorvi/document.hpp"
#include "zorvi/image_decoder.hpp"

namespace zorvi::render {

// The pixel count a drawn length covers, for asking the decoder for no more than that.
std::int32_t targetPixels(double length);

// Decoders for a drawing that waits while they decode: one per core, at most four; none on one core,
// where the drawing decodes as it goes.
unsigned prefetchThreads();

class ImagePrefetch {
 public:
  // One picture as the drawing will ask for it, in drawing order.
  struct Job {
    Uuid item;
    std::span<const std::uint8_t> bytes;
    std::int32_t width = 0, height = 0;
  };

  // Decodes jobs on `threads` threads, at most threads + 1 pictures ahead of the one being drawn, so
  // memory stays a few pictures however large the board. No threads: take() decodes each itself.
  ImagePrefetch(std::vector<Job> jobs, unsigned threads);
  ~ImagePrefetch();
  ImagePrefetch(const ImagePrefetch&) = delete;
  ImagePrefetch& operator=(const ImagePrefetch&) = delete;

  // The picture of item at width × height, exactly as ImageDecoder::decode(bytes, width, height)
  // gives it: decoded ahead when planned so, else here.
  std::optional<Raster> take(const Uuid& item, std::span<const std::uint8_t> bytes, std::int32_t width,
                             std::int32_t height);

 private:
  enum class State { waiting, decoding, done, taken };
  void work(std::stop_token stop);

  std::vector<Job> jobs_;
  std::vector<State> states_;
  std::vector<std::optional<Raster>> results_;
  std::unordered_map<Uuid, std::size_t> index_;
  std::size_t window_;
  std::size_t reached_ = 0;  // jobs before this may be decoded; the drawing has asked up to here
  std::size_t next_ = 0;     // the next job a worker starts
  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::vector<std::jthread> workers_;
};

}  // namespace zorvi::render
