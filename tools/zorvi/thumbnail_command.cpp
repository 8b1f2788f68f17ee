// zorvi thumbnail BOARD OUT.png [--size N] [--scale S] [--uncompressed]: the board as an opaque PNG whose
// longer side is N × S pixels, for file managers (through the .thumbnailer entry) and for scripts. File
// managers decode the picture at once and cache their own copy, so their entry asks for no compression.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.hpp"
#include "output_file.hpp"
#include "own_lines.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/thumbnail_provider.hpp"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZORVI_UNDER_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ZORVI_UNDER_ASAN 1
#endif

namespace zorvi::cli {
namespace {

#ifdef ZORVI_UNDER_ASAN
constexpr bool underAddressSanitizer = true;
#else
constexpr bool underAddressSanitizer = false;
#endif

enum : int { exitNothingToDraw = 3, exitLimitReached = 4 };

// CPU time is what a hostile board burns; the wall-clock cap, looser so a busy machine does not cut
// short an honest board, catches a process that waits instead.
constexpr rlim_t cpuSeconds = 5;
constexpr unsigned wallSeconds = 20;
constexpr rlim_t addressSpaceBytes = rlim_t{1} << 30;

// Filled before the limits are armed, so the signal handler only writes and exits.
char limitLine[1024];
std::size_t limitLineLength = 0;

void onLimit(int) {
  if (write(ownLinesFd(), limitLine, limitLineLength) < 0) _exit(exitLimitReached);
  _exit(exitLimitReached);
}


// A file manager sets no limits on a thumbnailer: a hostile board must end here, within seconds. The
// output only appears at the very end (see HoldLimitSignals), so a run cut short leaves no file.
void capTimeAndMemory(const std::filesystem::path& board) {
  const std::string line = "zorvi: " + board.string() + ": time limit reached\n";
  limitLineLength = std::min(line.size(), sizeof limitLine);
  std::memcpy(limitLine, line.data(), limitLineLength);
  struct sigaction action {};
  action.sa_handler = onLimit;
  sigaction(SIGALRM, &action, nullptr);
  sigaction(SIGXCPU, &action, nullptr);
  alarm(wallSeconds);
  const rlimit cpu{cpuSeconds, cpuSeconds + 2};
  setrlimit(RLIMIT_CPU, &cpu);
  // AddressSanitizer reserves terabytes of address space for its shadow memory; such builds run uncapped.
  if (!underAddressSanitizer) {
    const rlimit memory{addressSpaceBytes, addressSpaceBytes};
    setrlimit(RLIMIT_AS, &memory);
  }
}

// Holds the limit signals while the output is written, so no limit can cut a file in half.
class HoldLimitSignals {
 public:
  HoldLimitSignals() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGALRM);
    sigaddset(&held, SIGXCPU);
    sigprocmask(SIG_BLOCK, &held, &previous_);
  }
  ~HoldLimitSignals() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
  HoldLimitSignals(const HoldLimitSignals&) = delete;
  HoldLimitSignals& operator=(const HoldLimitSignals&) = delete;

 private:
  sigset_t previous_;
};

// GNOME runs thumbnailers where /etc/fonts is missing, and fontconfig would then set all text in
// whatever font sorts first. Our own fonts.conf lies in the prefix's share/zorvi, beside bin/.
void useBundledFontsWhenTheSystemsAreMissing() {
  if (std::getenv("FONTCONFIG_FILE") != nullptr || access("/etc/fonts/fonts.conf", R_OK) == 0) return;
  std::error_code error;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path candidates[] = {
      error ? std::filesystem::path() : exe.parent_path().parent_path() / "share/zorvi/fonts.conf",
      std::filesystem::path(ZORVI_INSTALL_DATADIR) / "zorvi/fonts.conf",
  };
  for (const auto& candidate : candidates) {
    if (!candidate.empty() && access(candidate.c_str(), R_OK) == 0) {
      setenv("FONTCONFIG_FILE", candidate.c_str(), 1);
      return;
    }
  }
}

// One line per cause, so a person learns why a picture lacks an image without a line per item.
void warnAboutLeftOutImages(const std::filesystem::path& board, const std::vector<SkippedImage>& skipped) {
  std::map<std::string, std::vector<std::string>> byCause;
  for (const SkippedImage& image : skipped) {
    std::string cause;
    switch (image.reason) {
      case SkippedImage::Reason::missingEntry:
        cause = "the board holds no entry for it";
        break;
      case SkippedImage::Reason::undecodable:
        cause = "its bytes are not an image that can be decoded";
        break;
      case SkippedImage::Reason::codecMissing:
        cause = "its codec library " + image.library + " is not installed";
        break;
    }
    byCause[cause].push_back(image.image.empty() ? image.item.string() : image.image);
  }
  for (const auto& [cause, images] : byCause) {
    std::string line = "zorvi: warning: " + board.string() + ": " +
                       (images.size() == 1 ? "image " + images[0] + " left out: "
                                           : std::to_string(images.size()) + " images left out (" + images[0] +
                                                 (images.size() > 2 ? ", …" : ", " + images[1]) + "): ") +
                       cause + "\n";
    if (write(ownLinesFd(), line.data(), line.size()) < 0) return;
  }
}

int report(const std::filesystem::path& path, std::string_view what, int status) {
  const std::string line = "zorvi: " + path.string() + ": " + std::string(what) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  return status;
}

// The provider answers nothing both for a board with nothing on it and for a picture the limits could
// not hold; the manifest alone tells them apart, and is read again only on this rare path.
int reportNoPicture(const std::filesystem::path& board, double maxPixel) {
  std::optional<BoardPreviewRenderer::PixelBudget> budget;
  try {
    const BoardLayout layout(BoardFile::open(board).manifest().items, CaptionHeights{});
    budget = BoardPreviewRenderer::pixelBudget(layout.width, layout.height, maxPixel);
  } catch (const BoardArchiveError&) {
    // Read a moment ago; if it changed since, there is nothing more to say about it.
  }
  if (!budget) return report(board, "nothing to draw", exitNothingToDraw);
  // Above 32,767 pixels a side no bitmap can be made; below, memory ran out.
  const bool tooWide = std::max(budget->width, budget->height) > 32767;
  return report(board,
                std::string(tooWide ? "size" : "memory") + " limit reached: the picture would be " +
                    std::to_string(budget->width) + " × " + std::to_string(budget->height) + " pixels",
                exitLimitReached);
}

}  // namespace

int runThumbnail(const Arguments& arguments) {
  if (arguments.options.contains("out-dir") || arguments.options.contains("jobs")) return runThumbnailBatch(arguments);
  arguments.expect(2, {"size", "scale", "uncompressed"});
  const double size = numberOption(arguments, "size", 256, 1, 32767, true);
  const double scale = numberOption(arguments, "scale", 1, 0.1, 16, false);
  const std::filesystem::path board = arguments.operands[0];
  const std::filesystem::path output = arguments.operands[1];
  const auto compression = arguments.options.contains("uncompressed") ? RasterCanvas::PNGCompression::none
                                                                       : RasterCanvas::PNGCompression::fast;
  useBundledFontsWhenTheSystemsAreMissing();
  capTimeAndMemory(board);
  try {
    std::optional<ThumbnailReply> reply;
    std::optional<BoardArchiveError> error;
    std::vector<SkippedImage> skipped;
    {
      const KeepOwnLines ownLinesOnly;
      ThumbnailProvider().provideThumbnail(
          {board, {size, size}, scale, [&](const SkippedImage& image) { skipped.push_back(image); }},
          [&](std::optional<ThumbnailReply> r, std::optional<BoardArchiveError> e) {
            reply = std::move(r);
            error = std::move(e);
          });
    }
    if (error) return reportingFailures(board, [&] { throw *error; });
    warnAboutLeftOutImages(board, skipped);
    if (!reply) return reportNoPicture(board, size * scale);
    // The reply's size is in points; the surface has the picture's own pixel size.
    const auto picture =
        RasterCanvas::render(static_cast<std::int32_t>(std::lround(reply->contextSize.width * scale)),
                             static_cast<std::int32_t>(std::lround(reply->contextSize.height * scale)),
                             [&](DrawingContext& context) {
                               context.scale(scale, scale);
                               reply->drawingBlock(context);
                             });
    const std::vector<std::uint8_t> png =
        picture ? RasterCanvas::encodePNG(*picture, compression) : std::vector<std::uint8_t>{};
    if (png.empty()) return report(board, "memory limit reached", exitLimitReached);
    const HoldLimitSignals hold;
    // A thumbnail is a cache entry, made by the hundred when a folder opens: the rename keeps it whole
    // for its reader, and one lost to a power cut is simply made again. A disk flush each is not worth it.
    return reportingFailures(output, [&] {
      if (!writeIntoEmptyFile(output, png)) writeFileAtomically(output, png, Flush::none);
    });
  } catch (const std::bad_alloc&) {
    return report(board, "memory limit reached", exitLimitReached);
  }
}

}  // namespace zorvi::cli
