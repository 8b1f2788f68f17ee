#include "isolated_render.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "zorvi/thumbnail_provider.hpp"

namespace zorvi::kde {
namespace {

// The thumbnail command's own limits: CPU time is what a hostile board burns, the looser wall-clock cap
// catches a child that waits instead, and memory is capped above what the worker already maps.
constexpr rlim_t cpuSeconds = 5;
constexpr int wallMilliseconds = 20'000;
constexpr rlim_t addressSpaceBytes = rlim_t{1} << 30;
// File managers ask for 512 pixels at most, twice that on HiDPI screens.
constexpr std::int32_t largestSide = 4096;

struct SharedPicture {
  std::int32_t width = 0, height = 0;
  std::uint32_t pixels[1];
};

rlim_t mappedBytes() {
  unsigned long pages = 0;
  if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(statm, "%lu", &pages) != 1) pages = 0;
    std::fclose(statm);
  }
  return static_cast<rlim_t>(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

// Runs in the child: draws into the shared mapping, and says by its exit status whether it did.
[[noreturn]] void drawInChild(const std::filesystem::path& board, std::int32_t side, SharedPicture* shared) {
  const rlimit cpu{cpuSeconds, cpuSeconds + 2};
  ::setrlimit(RLIMIT_CPU, &cpu);
  const rlim_t memory = mappedBytes() + addressSpaceBytes;
  const rlimit space{memory, memory};
  ::setrlimit(RLIMIT_AS, &space);
  bool drawn = false;
  try {
    ThumbnailProvider().provideThumbnail(
        {board, {static_cast<double>(side), static_cast<double>(side)}, 1},
        [&](std::optional<ThumbnailReply> reply, std::optional<BoardArchiveError>) {
          if (!reply) return;
          const auto width = static_cast<std::int32_t>(std::lround(reply->contextSize.width));
          const auto height = static_cast<std::int32_t>(std::lround(reply->contextSize.height));
          if (width < 1 || height < 1 || width > side || height > side) return;
          const auto picture = RasterCanvas::render(width, height, [&](DrawingContext& context) {
            reply->drawingBlock(context);
          });
          if (!picture) return;
          std::memcpy(shared->pixels, picture->pixels.data(), picture->pixels.size() * sizeof(std::uint32_t));
          shared->width = width;
          shared->height = height;
          drawn = true;
        });
  } catch (...) {
    drawn = false;  // out of memory under the cap, most likely
  }
  // _exit: the worker's own exit handlers (Qt's among them) belong to the parent.
  ::_exit(drawn ? 0 : 1);
}

// Waits for the child for at most the wall-clock cap, then ends it; true when it drew.
bool awaitChild(pid_t child) {
  const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
  if (pidfd >= 0) {
    pollfd waiting{pidfd, POLLIN, 0};
    int ready = 0;
    do {
      ready = ::poll(&waiting, 1, wallMilliseconds);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) ::kill(child, SIGKILL);
    ::close(pidfd);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::optional<Raster> renderIsolated(const std::filesystem::path& board, std::int32_t longerSide) {
  const std::int32_t side = std::clamp(longerSide, 1, largestSide);
  const std::size_t bytes = sizeof(SharedPicture) + static_cast<std::size_t>(side) * side * sizeof(std::uint32_t);
  void* mapping = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) return std::nullopt;
  auto* shared = new (mapping) SharedPicture{};
  std::optional<Raster> picture;
  const pid_t child = ::fork();
  if (child == 0) drawInChild(board, side, shared);
  if (child > 0 && awaitChild(child) && shared->width > 0 && shared->height > 0) {
    const std::size_t count = static_cast<std::size_t>(shared->width) * static_cast<std::size_t>(shared->height);
    picture = Raster{shared->width, shared->height, std::vector<std::uint32_t>(shared->pixels, shared->pixels + count)};
  }
  ::munmap(mapping, bytes);
  return picture;
}

}  // namespace zorvi::kde
