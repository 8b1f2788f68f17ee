// zorvi thumbnail --out-dir DIR [--size N] [--scale S] [-j N] BOARD...: many boards in one process, one
// thread per core, each picture named after its board. Starting a process per board pays the program's
// start-up and the font setup once per board.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "commands.hpp"
#include "output_file.hpp"
#include "zorvi/thumbnail_provider.hpp"

namespace zorvi::cli {
namespace {

namespace fs = std::filesystem;

struct Job {
  fs::path board, output;
  std::string failure;  // the error line, empty when the picture was written
};

struct Settings {
  double size = 256, scale = 1;
  RasterCanvas::PNGCompression compression = RasterCanvas::PNGCompression::fast;
};

// The single-board road: read, render, encode, write. Throws what reading and writing throw.
void drawOne(Job& job, const Settings& settings) {
  std::optional<ThumbnailReply> reply;
  std::optional<BoardArchiveError> error;
  ThumbnailProvider().provideThumbnail({job.board, {settings.size, settings.size}, settings.scale, {}},
                                       [&](std::optional<ThumbnailReply> r, std::optional<BoardArchiveError> e) {
                                         reply = std::move(r);
                                         error = std::move(e);
                                       });
  if (error) throw *error;
  if (!reply) {
    job.failure = "zorvi: " + job.board.string() + ": nothing to draw\n";
    return;
  }
  const auto picture = RasterCanvas::render(
      static_cast<std::int32_t>(std::lround(reply->contextSize.width * settings.scale)),
      static_cast<std::int32_t>(std::lround(reply->contextSize.height * settings.scale)),
      [&](DrawingContext& context) {
        context.scale(settings.scale, settings.scale);
        reply->drawingBlock(context);
      });
  const std::vector<std::uint8_t> png =
      picture ? RasterCanvas::encodePNG(*picture, settings.compression) : std::vector<std::uint8_t>{};
  if (png.empty()) throw std::bad_alloc();
  writeFileAtomically(job.output, png, Flush::none);
}

// On a terminal one line redrawn in place; otherwise a line per finished board, for logs.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total), terminal_(::isatty(STDERR_FILENO) == 1) {}
  void finished(const Job& job) {
    const std::lock_guard lock(mutex_);
    ++done_;
    failed_ += job.failure.empty() ? 0 : 1;
    std::string line;
    if (terminal_) {
      constexpr std::size_t width = 30;
      const std::size_t filled = done_ * width / total_;
      line = "\r[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " + decimal(done_) + "/" +
             decimal(total_) + (failed_ > 0 ? ", " + decimal(failed_) + " failed" : "") + (done_ == total_ ? "\n" : "");
    } else {
      line = decimal(done_) + "/" + decimal(total_) + " " + (job.failure.empty() ? "ok " : "failed ") +
             job.board.string() + "\n";
    }
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
  }

 private:
  std::mutex mutex_;
  std::size_t total_, done_ = 0, failed_ = 0;
  bool terminal_;
};

}  // namespace

int runThumbnailBatch(const Arguments& arguments) {
  for (const auto& [name, value] : arguments.options) {
    if (name != "out-dir" && name != "size" && name != "scale" && name != "uncompressed" && name != "jobs" &&
        name != "force") {
      throw UsageError("unknown option --" + name);
    }
  }
  if (!arguments.options.contains("out-dir")) throw UsageError("--jobs goes with --out-dir DIR");
  if (arguments.operands.empty()) throw UsageError("expected at least one board");
  Settings settings;
  settings.size = numberOption(arguments, "size", 256, 1, 32767, true);
  settings.scale = numberOption(arguments, "scale", 1, 0.1, 16, false);
  if (arguments.options.contains("uncompressed")) settings.compression = RasterCanvas::PNGCompression::none;
  const double cores = std::max(1u, std::thread::hardware_concurrency());
  const auto threads = static_cast<std::size_t>(numberOption(arguments, "jobs", cores, 1, 256, true));
  const fs::path folder = arguments.options.find("out-dir")->second;
  if (folder.empty()) throw UsageError("--out-dir needs a folder");

  std::vector<Job> jobs;
  std::set<fs::path> outputs;
  for (const auto& board : arguments.operands) {
    Job job{board, folder / fs::path(board).filename().replace_extension(".png"), {}};
    if (!outputs.insert(job.output).second) {
      throw Refusal("two boards would both write " + job.output.string() + "; thumbnail them into separate folders");
    }
    guardOutput(job.output, arguments.operands, arguments.options.contains("force"));
    jobs.push_back(std::move(job));
  }
  if (const int status = reportingFailures(folder, [&] { fs::create_directories(folder); }); status != exitSuccess) {
    return status;
  }

  Progress progress(jobs.size());
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t i; (i = next++) < jobs.size();) {
      Job& job = jobs[i];
      const std::string failure = failureLine(job.board, [&] { drawOne(job, settings); });
      if (!failure.empty()) job.failure = failure;
      progress.finished(job);
    }
  };
  std::vector<std::jthread> workers;
  for (std::size_t i = 1; i < std::min(threads, jobs.size()); ++i) workers.emplace_back(work);
  work();
  for (auto& worker : workers) worker.join();

  std::string summary;
  std::size_t failed = 0;
  for (const Job& job : jobs) {
    if (job.failure.empty()) continue;
    ++failed;
    summary += job.failure;
  }
  if (failed == 0) return exitSuccess;
  summary.insert(0, "zorvi: " + decimal(failed) + " of " + decimal(jobs.size()) + " boards failed:\n");
  std::fwrite(summary.data(), 1, summary.size(), stderr);
  return exitFailure;
}

}  // namespace zorvi::cli
