#include "decode_pool.hpp"

#include <algorithm>

namespace zorvi::view {

DecodePool::DecodePool(unsigned threads, Done done) : done_(std::move(done)) {
  for (unsigned i = 0; i < std::max(threads, 1u); ++i)
    workers_.emplace_back([this](std::stop_token stop) { work(stop); });
}

DecodePool::~DecodePool() {
  for (auto& worker : workers_) worker.request_stop();
  wake_.notify_all();
  workers_.clear();  // joins
}

void DecodePool::request(const DecodeRequest& request, std::span<const std::uint8_t> bytes,
                         std::shared_ptr<const void> owner, std::uint64_t tag) {
  {
    std::lock_guard lock(mutex_);
    std::erase_if(queue_, [&](const Job& job) { return job.request.item == request.item; });
    queue_.push_front({request, bytes, std::move(owner), tag});
  }
  wake_.notify_one();
}

void DecodePool::cancelQueued() {
  std::lock_guard lock(mutex_);
  queue_.clear();
}

void DecodePool::work(std::stop_token stop) {
  while (true) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      if (!wake_.wait(lock, stop, [&] { return !queue_.empty(); })) return;
      job = std::move(queue_.front());
      queue_.pop_front();
    }
    auto raster = ImageDecoder::decode(job.bytes, job.request.width, job.request.height);
    done_(job.request, job.tag, raster ? std::make_shared<const Raster>(std::move(*raster)) : nullptr);
  }
}

}  // namespace zorvi::view
