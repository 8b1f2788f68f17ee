// `zorvi thumbnail` as a user or a file manager runs it: exit status, the one stderr line, the file.
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/board_files.hpp"
#include "support/image_files.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

const auto contents = testing::readText;

// `zorvi thumbnail ARGS`: its exit status and stderr.
std::pair<int, std::string> runZorvi(const std::vector<std::string>& args) {
  std::string line = "thumbnail";
  for (const auto& arg : args) line += " " + testing::quoted(arg);
  const testing::CommandRun run = testing::runZorvi(line);
  return {run.status, run.err};
}

class ThumbnailCommand : public ::testing::Test {
 protected:
  const testing::TemporaryFolder work;
  const fs::path dir = work.path;
  const std::string out = (dir / "out.png").string();

  // A board of one titled shape, width × height world units; no items when width is 0.
  std::string board(const std::string& name, double width, double height) {
    BoardBundle bundle;
    bundle.manifest.board.canvas.backgroundColor = "#336699";
    if (width > 0)
      bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", "#000", 3, "Title", {}},
                                         Frame{0, 0, width, height}, 0, false, std::nullopt);
    BoardArchive::write(bundle, dir / name);
    return (dir / name).string();
  }
};

TEST_F(ThumbnailCommand, WritesAPictureWhoseLongerSideIsSizeTimesScale) {
  const std::string wide = board("wide.zorvi", 400, 100);
  const std::tuple<std::vector<std::string>, std::uint32_t, std::uint32_t> rows[] = {
      {{}, 256, 64},
      {{"--size=64"}, 64, 16},
      {{"--uncompressed", "--size", "64"}, 64, 16},
      {{"--scale", "1.5", "--size", "100"}, 150, 38},  // 37.5 rounds away from zero
  };
  for (const auto& [options, width, height] : rows) {
    SCOPED_TRACE(::testing::PrintToString(options));
    std::vector<std::string> args{wide, out};
    args.insert(args.end(), options.begin(), options.end());
    EXPECT_EQ(runZorvi(args), std::pair(0, std::string()));
    EXPECT_EQ(testing::pngSize(testing::readFile(out)), std::pair(width, height));
  }
  EXPECT_EQ(work.names(), (std::vector<std::string>{"out.png", "wide.zorvi"}));
}

TEST_F(ThumbnailCommand, FailsWithOneLineAndKeepsAnEarlierPicture) {
  const std::string text = (dir / "text.zorvi").string();
  std::ofstream(text) << "not a zip";
  const std::string empty = board("empty.zorvi", 0, 0), square = board("square.zorvi", 50, 50);
  const std::string unwritable = (dir / "no/such/out.png").string();
  std::ofstream(out) << "earlier";
  const std::tuple<const char*, std::vector<std::string>, int, std::string> rows[] = {
      // name, arguments, exit status, the start of the one stderr line
      {"not a board", {text, out}, 1, "zorvi: " + text + ": archiveCorrupt: "},
      {"empty board", {empty, out}, 3, "zorvi: " + empty + ": nothing to draw\n"},
      {"no output named", {square}, 2, "zorvi thumbnail: "},
      {"negative size", {square, out, "--size", "-1"}, 2, "zorvi thumbnail: "},
      {"unknown option", {square, out, "--fast"}, 2, "zorvi thumbnail: "},
      {"unwritable folder", {square, unwritable}, 1, "zorvi: " + unwritable + ": "},
  };
  for (const auto& [name, args, status, line] : rows) {
    SCOPED_TRACE(name);
    const auto [actualStatus, stderrText] = runZorvi(args);
    EXPECT_EQ(actualStatus, status);
    EXPECT_EQ(stderrText.substr(0, line.size()), line);
    EXPECT_EQ(std::count(stderrText.begin(), stderrText.end(), '\n'), 1) << stderrText;
  }
  EXPECT_EQ(contents(out), "earlier");
  EXPECT_EQ(work.names(), (std::vector<std::string>{"empty.zorvi", "out.png", "square.zorvi", "text.zorvi"}));
}

TEST_F(ThumbnailCommand, ItsOwnLimitsEndWithExitFour) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the memory cap is off under AddressSanitizer";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  GTEST_SKIP() << "the memory cap is off under AddressSanitizer";
#endif
#endif
  const std::string square = board("square.zorvi", 400, 300);
  // A gibibyte of zeros, deflated to a megabyte, beside a manifest naming it.
  Manifest manifest;
  manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", "#000", 3, {}, {}}, Frame{0, 0, 40, 30}, 0, false,
                              std::nullopt);
  const std::string json = ManifestCoder::encode(manifest);
  testing::ZipEntry image{"images/huge.png", {}, 8};
  image.zeros = std::uint64_t{1} << 30;
  const Bytes zip = testing::buildZip({{"manifest.json", testing::toBytes(json), 8}, image}).bytes;
  const std::string huge = (dir / "huge.zorvi").string();
  std::ofstream(huge, std::ios::binary).write(reinterpret_cast<const char*>(zip.data()), static_cast<std::streamsize>(zip.size()));
  const std::tuple<const char*, std::vector<std::string>, std::string> rows[] = {
      {"a 1 GiB image entry", {huge, out}, "zorvi: " + huge + ": memory limit reached\n"},
      {"a picture larger than memory", {square, out, "--size", "32767"},
       "zorvi: " + square + ": memory limit reached: the picture would be 32767 × 24575 pixels\n"},
      {"a picture wider than a bitmap", {square, out, "--size", "20000", "--scale", "2"},
       "zorvi: " + square + ": size limit reached: the picture would be 40000 × 30000 pixels\n"},
  };
  for (const auto& [name, args, line] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(runZorvi(args), std::pair(4, line));
  }
  EXPECT_EQ(work.names(), (std::vector<std::string>{"huge.zorvi", "square.zorvi"}));
}

// Pixels of a PNG that are darker than mid-grey: text drawn in black on white.
std::int64_t darkPixels(const std::string& png) {
  const auto raster = ImageDecoder::decode(std::span(reinterpret_cast<const std::uint8_t*>(png.data()), png.size()),
                                           1 << 14, 1 << 14);
  if (!raster) return -1;
  return std::count_if(raster->pixels.begin(), raster->pixels.end(),
                       [](std::uint32_t argb) { return (argb >> 8 & 0xFF) < 128; });
}

TEST_F(ThumbnailCommand, SetsTextHoweverItIsStarted) {
  BoardBundle bundle;
  bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
  bundle.manifest.items.emplace_back(Uuid{}, TextContent{"Harbour Light", "#000000", 40}, Frame{0, 0, 300, 60}, 0,
                                     false, std::nullopt);
  const std::string textBoard = (dir / "text.zorvi").string();
  BoardArchive::write(bundle, textBoard);
  // A working folder holding a lib/ tree of its own, where a lookup relative to it would land.
  const fs::path elsewhere = dir / "elsewhere" / "bin";
  fs::create_directories(elsewhere / "zorvi");
  fs::create_directories(elsewhere.parent_path() / "lib/zorvi");
  std::ofstream(elsewhere / "zorvi/zorvi-text.so") << "not a module";
  std::ofstream(elsewhere.parent_path() / "lib/zorvi/zorvi-text.so") << "not a module";
  fs::create_symlink(ZORVI_COMMAND, dir / "zorvi-link");
  const std::pair<const char*, std::string> rows[] = {
      {"by full path", testing::quoted(ZORVI_COMMAND)},
      {"by bare name on PATH", "PATH=" + testing::quoted(fs::path(ZORVI_COMMAND).parent_path()) + ":\"$PATH\" zorvi"},
      {"through a symbolic link", testing::quoted(dir / "zorvi-link")},
  };
  for (const auto& [name, command] : rows) {
    SCOPED_TRACE(name);
    const testing::CommandRun run =
        testing::runShell(command + " thumbnail " + testing::quoted(textBoard) + " " + testing::quoted(out), elsewhere);
    EXPECT_EQ(std::pair(run.status, run.err), std::pair(0, std::string()));
    // The text covers about a tenth of the picture; without it, no pixel is dark.
    EXPECT_GT(darkPixels(contents(out)), 256 * 51 / 20);
    fs::remove(out);
  }
}

TEST_F(ThumbnailCommand, WritesIntoAnEmptyFileThatTheFileManagerKeepsOpen) {
  const std::string square = board("square.zorvi", 50, 50);
  const int reader = ::open(out.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ASSERT_GE(reader, 0);
  struct stat before {}, after {};
  ::fstat(reader, &before);
  EXPECT_EQ(runZorvi({square, out}), std::pair(0, std::string()));
  ::stat(out.c_str(), &after);
  std::string seen(4096, '\0');
  seen.resize(static_cast<std::size_t>(std::max<ssize_t>(::pread(reader, seen.data(), seen.size(), 0), 0)));
  ::close(reader);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(seen.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_TRUE(seen == contents(out)) << "the open handle reads other bytes than the file";
}

TEST_F(ThumbnailCommand, SaysWhyImagesAreLeftOutAndStillDrawsTheRest) {
  BoardBundle bundle;
  bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
  const auto image = [&](const std::string& name, double x) {
    bundle.manifest.items.emplace_back(Uuid::generate(), "images/" + name, "thumbnails/" + name,
                                       Frame{x, 0, 100, 100}, 0, PixelSize{100, 100}, ItemSource{},
                                       std::nullopt, std::nullopt, false, std::nullopt);
  };
  image("gone.png", 0);
  image("noise.png", 120);
  image("static.png", 240);
  bundle.images["images/noise.png"] = Bytes{'n', 'o', 'i', 's', 'e'};
  bundle.images["images/static.png"] = Bytes{'s', 't', 'a', 't', 'i', 'c'};
  const std::string mixed = (dir / "mixed.zorvi").string();
  BoardArchive::write(bundle, mixed);
  EXPECT_EQ(runZorvi({mixed, out}),
            std::pair(0, "zorvi: warning: " + mixed + ": 2 images left out (images/noise.png, images/static.png): "
                         "its bytes are not an image that can be decoded\n" +
                         "zorvi: warning: " + mixed + ": image images/gone.png left out: the board holds no entry "
                         "for it\n"));
}

// libjxl writes debug lines on a damaged file; the command's stderr keeps only its own lines, the text
// module's warning among them.
TEST_F(ThumbnailCommand, StderrHoldsOnlyItsOwnLines) {
  // A copy of the command beside a text module that cannot be loaded.
  const fs::path copy = dir / "copy";
  fs::create_directories(copy / "bin");
  fs::create_directories(copy / "lib/zorvi");
  fs::copy_file(ZORVI_COMMAND, copy / "bin/zorvi");
  std::ofstream(copy / "lib/zorvi/zorvi-text.so") << "not a module";
  BoardBundle bundle;
  bundle.manifest.items.emplace_back(Uuid{}, TextContent{"Harbour Light", "#000000", 40}, Frame{0, 0, 300, 60}, 0,
                                     false, std::nullopt);
  bundle.manifest.items.emplace_back(Uuid{}, "images/cut.jxl", "thumbnails/cut.jxl", Frame{0, 80, 100, 100}, 0,
                                     PixelSize{100, 100}, ItemSource{}, std::nullopt, std::nullopt, false,
                                     std::nullopt);
  // The first 20 bytes of a JPEG XL picture.
  bundle.images["images/cut.jxl"] = {0xFF, 0x0A, 0xA8, 0x34, 0xFC, 0x24, 0x54, 0xEE, 0xAD, 0x22,
                                     0x08, 0x00, 0x12, 0x88, 0x02, 0x00, 0x6D, 0x6B, 0xA5, 0xBC};
  const std::string cut = (dir / "cut.zorvi").string();
  BoardArchive::write(bundle, cut);
  const testing::CommandRun run =
      testing::runShell(testing::quoted(copy / "bin/zorvi") + " thumbnail " + testing::quoted(cut) + " " + testing::quoted(out));
  EXPECT_EQ(run.status, 0);
  const std::string warning = "zorvi: warning: text is left out, the text module could not be loaded: ";
  const std::string leftOut =
      "zorvi: warning: " + cut + ": image images/cut.jxl left out: its bytes are not an image that can be decoded\n";
  const std::string& lines = run.err;
  EXPECT_EQ(lines.substr(0, warning.size()), warning) << lines;
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
  EXPECT_TRUE(lines.ends_with(leftOut)) << lines;
  // The exports decode the same picture, and keep their stderr as clean.
  const testing::CommandRun exported =
      testing::runZorvi("export png " + testing::quoted(cut) + " " + testing::quoted(out));
  EXPECT_EQ(exported.status, 0);
  EXPECT_EQ(exported.err, "");
}

TEST_F(ThumbnailCommand, NamesACodecLibraryThatIsNotInstalled) {
  // The example's AVIF image, with libavif hidden behind an empty file as if it were not installed.
  const fs::path library = fs::canonical(ZORVI_LIBAVIF_FILE);
  const std::string hidden = "bwrap --bind / / --dev /dev --proc /proc --ro-bind /dev/null '" + library.string() + "' ";
  if (std::system((hidden + "true 2>/dev/null").c_str()) != 0) GTEST_SKIP() << "bubblewrap cannot run here";
  const std::string example = ZORVI_SOURCE_DIR "/examples/example.zorvi";
  const std::string missing = "its codec library libavif.so";
  const testing::CommandRun drawn = testing::runShell(hidden + "'" ZORVI_COMMAND "' thumbnail '" + example + "' " + testing::quoted(out));
  EXPECT_EQ(drawn.status, 0);
  EXPECT_EQ(drawn.err.substr(0, drawn.err.find(missing) + missing.size()),
            "zorvi: warning: " + example + ": image images/harbour-amber.avif left out: " + missing);
  const testing::CommandRun info = testing::runShell(hidden + "'" ZORVI_COMMAND "' info '" + example + "'");
  EXPECT_EQ(info.status, 0);
  EXPECT_NE(info.out.find("format avif (" + missing), std::string::npos) << info.out;
}

}  // namespace
}  // namespace zorvi
