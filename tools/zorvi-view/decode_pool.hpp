// Worker threads that decode pictures at the size they are shown, newest request first.
#pragma once
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "board_view.hpp"

namespace zorvi::view {

class DecodePool {
 public:
  // Called on a worker thread with the request and its picture (nothing when it can't be decoded).
  using Done = std::function<void(const DecodeRequest&, std::uint64_t tag, std::shared_ptr<const Raster>)>;

  DecodePool(unsigned threads, Done done);
  ~DecodePool();
  DecodePool(const DecodePool&) = delete;
  DecodePool& operator=(const DecodePool&) = delete;

  // Queues a request for bytes that owner keeps alive; tag comes back with the picture. A queued
  // request for the same item is replaced, since the view has moved on.
  void request(const DecodeRequest& request, std::span<const std::uint8_t> bytes, std::shared_ptr<const void> owner,
               std::uint64_t tag);
  // Forgets every queued request (a new board, say); decodes under way still report.
  void cancelQueued();

 private:
  struct Job {
    DecodeRequest request;
    std::span<const std::uint8_t> bytes;
    std::shared_ptr<const void> owner;
    std::uint64_t tag = 0;
  };
  void work(std::stop_token stop);

  Done done_;
  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::deque<Job> queue_;
  std::vector<std::jthread> workers_;
};

}  // namespace zorvi::view
