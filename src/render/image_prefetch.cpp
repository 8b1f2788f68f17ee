#include "render/image_prefetch.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zorvi::render {

std::int32_t targetPixels(double length) {
  const double pixels = std::ceil(length);
  if (!(pixels >= 1)) return 1;
  return pixels >= std::numeric_limits<std::int32_t>::max() ? std::numeric_limits<std::int32_t>::max()
                                                            : static_cast<std::int32_t>(pixels);
}

unsigned prefetchThreads() {
  const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  return cores > 1 ? std::min(cores, 4u) : 0u;
}

ImagePrefetch::ImagePrefetch(std::vector<Job> jobs, unsigned threads)
    : jobs_(std::move(jobs)), states_(jobs_.size(), State::waiting), results_(jobs_.size()), window_(threads + 1) {
  for (std::size_t i = 0; i < jobs_.size(); ++i) index_.try_emplace(jobs_[i].item, i);
  if (jobs_.size() < 2) threads = 0;  // one picture gains nothing from a thread
  for (unsigned i = 0; i < threads; ++i) workers_.emplace_back([this](std::stop_token stop) { work(stop); });
}

ImagePrefetch::~ImagePrefetch() {
  for (auto& worker : workers_) worker.request_stop();
  changed_.notify_all();
}

void ImagePrefetch::work(std::stop_token stop) {
  std::unique_lock lock(mutex_);
  while (true) {
    if (!changed_.wait(lock, stop, [&] { return next_ < jobs_.size() && next_ < reached_ + window_; })) return;
    const std::size_t i = next_++;
    if (states_[i] != State::waiting) continue;
    states_[i] = State::decoding;
    const Job& job = jobs_[i];
    lock.unlock();
    std::optional<Raster> raster = ImageDecoder::decode(job.bytes, job.width, job.height);
    lock.lock();
    results_[i] = std::move(raster);
    states_[i] = State::done;
    changed_.notify_all();
  }
}

std::optional<Raster> ImagePrefetch::take(const Uuid& item, std::span<const std::uint8_t> bytes, std::int32_t width,
                                          std::int32_t height) {
  const auto found = index_.find(item);
  if (!workers_.empty() && found != index_.end()) {
    const std::size_t i = found->second;
    const Job& job = jobs_[i];
    if (job.width == width && job.height == height && job.bytes.data() == bytes.data() &&
        job.bytes.size() == bytes.size()) {
      std::unique_lock lock(mutex_);
      if (i + 1 > reached_) {
        reached_ = i + 1;
        changed_.notify_all();
      }
      // Asking for it let the workers start it, if they had not.
      changed_.wait(lock, [&] { return states_[i] == State::done || states_[i] == State::taken; });
      if (states_[i] == State::done) {
        states_[i] = State::taken;
        return std::move(results_[i]);
      }
    }
  }
  return ImageDecoder::decode(bytes, width, height);
}

}  // namespace zorvi::render
