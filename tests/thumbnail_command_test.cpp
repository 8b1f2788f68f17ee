// `zorvi thumbnail` as a user or a file manager runs it: exit status, the one stderr line, the file; and
// many boards in one run with --out-dir.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/command_test.hpp"
#include "support/html_golden.hpp"
#include "support/image_files.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::quoted;
using testing::readText;

class ThumbnailCommand : public testing::CommandTest {
 protected:
  // A board of one titled shape, width × height world units; no items when width is 0.
  void board(const std::string& name, double width, double height) {
    BoardBundle bundle;
    bundle.manifest.board.canvas.backgroundColor = "#336699";
    if (width > 0)
      bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", "#000", 3, "Title", {}},
                                         Frame{0, 0, width, height}, 0, false, std::nullopt);
    BoardArchive::write(bundle, at(name));
  }
  // A board of the given items and images, one text item first.
  void writeBoard(const std::string& name, std::vector<CanvasItem> items, std::map<std::string, Bytes> images) {
    BoardBundle bundle;
    bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
    bundle.manifest.items = {CanvasItem(Uuid{}, TextContent{"Harbour Light", "#000000", 40}, Frame{0, 0, 300, 60}, 0,
                                        false, std::nullopt)};
    bundle.manifest.items.insert(bundle.manifest.items.end(), items.begin(), items.end());
    bundle.images = std::move(images);
    BoardArchive::write(bundle, at(name));
  }
};

CanvasItem image(const std::string& name, double x) {
  return CanvasItem(Uuid::generate(), "images/" + name, "thumbnails/" + name, Frame{x, 80, 100, 100}, 0,
                    PixelSize{100, 100}, ItemSource{}, std::nullopt, std::nullopt, false, std::nullopt);
}

// Pixels of a PNG that are darker than mid-grey: text drawn in black on white.
std::int64_t darkPixels(const std::string& png) {
  const auto raster =
      ImageDecoder::decode(std::span(reinterpret_cast<const std::uint8_t*>(png.data()), png.size()), 1 << 14, 1 << 14);
  if (!raster) return -1;
  return std::count_if(raster->pixels.begin(), raster->pixels.end(),
                       [](std::uint32_t argb) { return (argb >> 8 & 0xFF) < 128; });
}

TEST_F(ThumbnailCommand, WritesAPictureWhoseLongerSideIsSizeTimesScale) {
  board("wide.zorvi", 400, 100);
  const std::tuple<const char*, std::uint32_t, std::uint32_t> rows[] = {
      {"", 256, 64},
      {"--size=64", 64, 16},
      {"--uncompressed --size 64", 64, 16},
      {"--scale 1.5 --size 100", 150, 38},  // 37.5 rounds away from zero
  };
  for (const auto& [options, width, height] : rows) {
    SCOPED_TRACE(options);
    const testing::CommandRun run = zorvi(std::string("thumbnail wide.zorvi out.png ") + options);
    EXPECT_EQ(std::pair(run.status, run.err), std::pair(0, std::string()));
    EXPECT_EQ(testing::pngSize(testing::readFile(at("out.png"))), std::pair(width, height));
  }
  EXPECT_EQ(work.names(), (std::vector<std::string>{"out.png", "wide.zorvi"}));
}

TEST_F(ThumbnailCommand, FailuresPrintOneLineAndWriteNothing) {
  testing::writeFile(at("text.zorvi"), std::string("not a zip"));
  board("empty.zorvi", 0, 0);
  board("square.zorvi", 400, 300);
  copyExample("one.zorvi");
  copyExample("sub/one.zorvi");
  copyExample("board.png");
  copyExample("sub/one.png");
  // A gibibyte of zeros, deflated to a megabyte, beside a manifest naming it.
  Manifest manifest;
  manifest.items.emplace_back(Uuid{}, ShapeContent{"#FF0000", "#000", 3, {}, {}}, Frame{0, 0, 40, 30}, 0, false,
                              std::nullopt);
  testing::ZipEntry huge{"images/huge.png", {}, 8};
  huge.zeros = std::uint64_t{1} << 30;
  testing::writeFile(at("huge.zorvi"),
                     testing::buildZip({{"manifest.json", testing::toBytes(ManifestCoder::encode(manifest)), 8}, huge}).bytes);
  testing::writeFile(at("out.png"), std::string("earlier"));
  const std::vector<std::string> names = work.names();
  const auto runLeavingEverything = [&](const std::string& arguments) {
    SCOPED_TRACE(arguments);
    const testing::CommandRun run = zorvi("thumbnail " + arguments);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(readText(at("out.png")), "earlier");
    EXPECT_EQ(readText(at("sub/one.png")), readText(at("one.zorvi")));
    EXPECT_EQ(work.names(), names);
    return "exit " + std::to_string(run.status) + ": " + run.err;
  };
  // Each run's exit status and its one stderr line, whole in tests/golden/thumbnail_failures.txt.
  std::string transcript;
  for (const char* arguments :
       {"text.zorvi out.png", "empty.zorvi out.png", "square.zorvi", "square.zorvi out.png --size -1",
        "square.zorvi out.png --fast", "square.zorvi no/such/out.png", "--out-dir pictures one.zorvi sub/one.zorvi",
        "--out-dir . board.png", "--out-dir sub one.zorvi", "--out-dir pictures -j 0 one.zorvi",
        "--out-dir pictures --size 0 one.zorvi", "--out-dir pictures", "--out-dir pictures --format a4 one.zorvi"})
    transcript += "$ zorvi thumbnail " + std::string(arguments) + "\n" + runLeavingEverything(arguments);
  testing::expectMatchesGolden("thumbnail_failures", transcript, "txt");
  // Stopped by the memory cap, which is off under AddressSanitizer: uncapped, such a run may well succeed
  // and write the picture the checks above find absent.
  if (ZORVI_UNDER_ASAN) return;
  EXPECT_EQ(runLeavingEverything("huge.zorvi out.png"), "exit 4: zorvi: huge.zorvi: memory limit reached\n");
  EXPECT_EQ(runLeavingEverything("square.zorvi out.png --size 32767"),
            "exit 4: zorvi: square.zorvi: memory limit reached: the picture would be 32767 × 24575 pixels\n");
  EXPECT_EQ(runLeavingEverything("square.zorvi out.png --size 20000 --scale 2"),
            "exit 4: zorvi: square.zorvi: size limit reached: the picture would be 40000 × 30000 pixels\n");
}

TEST_F(ThumbnailCommand, ManyBoardsDrawWhatSingleRunsDrawAndSumUpTheFailures) {
  for (const char* name : {"one.zorvi", "two.zorvi", "sub/three.zorvi"}) copyExample(name);
  testing::writeFile(at("broken.zorvi"), std::string("not a zip"));
  const testing::CommandRun run =
      zorvi("thumbnail --out-dir pictures --size 96 -j 3 one.zorvi broken.zorvi two.zorvi absent.zorvi sub/three.zorvi");
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.err.ends_with("zorvi: 2 of 5 boards failed:\n"
                                "zorvi: broken.zorvi: archiveCorrupt: Not a zip archive\n"
                                "zorvi: absent.zorvi: archiveCorrupt: no such file\n"))
      << run.err;
  for (const char* board : {"one.zorvi", "broken.zorvi", "two.zorvi", "absent.zorvi", "sub/three.zorvi"}) {
    EXPECT_NE(run.err.find(std::string(board) + "\n"), std::string::npos) << board;  // a progress line each
  }
  EXPECT_EQ(zorvi("thumbnail one.zorvi single.png --size 96").status, 0);
  const std::string single = readText(at("single.png"));
  ASSERT_TRUE(single.starts_with("\x89PNG"));
  for (const char* picture : {"one.png", "two.png", "three.png"}) EXPECT_EQ(readText(at("pictures") / picture), single);
  EXPECT_EQ(std::distance(fs::directory_iterator(at("pictures")), fs::directory_iterator()), 3);
}

TEST_F(ThumbnailCommand, SetsTextHoweverItIsStarted) {
  writeBoard("text.zorvi", {}, {});
  // A working folder holding a lib/ tree of its own, where a lookup relative to it would land.
  for (const char* module : {"elsewhere/bin/zorvi/zorvi-text.so", "elsewhere/lib/zorvi/zorvi-text.so"})
    testing::writeFile(at(module), std::string("not a module"));
  fs::create_symlink(ZORVI_COMMAND, at("zorvi-link"));
  const std::pair<const char*, std::string> rows[] = {
      {"by full path", quoted(ZORVI_COMMAND)},
      {"by bare name on PATH", "PATH=" + quoted(fs::path(ZORVI_COMMAND).parent_path()) + ":\"$PATH\" zorvi"},
      {"through a symbolic link", quoted(at("zorvi-link"))},
  };
  for (const auto& [name, command] : rows) {
    SCOPED_TRACE(name);
    const testing::CommandRun run = testing::runShell(
        command + " thumbnail " + quoted(at("text.zorvi")) + " " + quoted(at("out.png")), at("elsewhere/bin"));
    EXPECT_EQ(std::pair(run.status, run.err), std::pair(0, std::string()));
    // The text covers about a tenth of the picture; without it, no pixel is dark.
    EXPECT_GT(darkPixels(readText(at("out.png"))), 256 * 51 / 20);
    fs::remove(at("out.png"));
  }
}

TEST_F(ThumbnailCommand, WritesIntoAnEmptyFileThatTheFileManagerKeepsOpen) {
  board("square.zorvi", 50, 50);
  const int reader = ::open(at("out.png").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ASSERT_GE(reader, 0);
  struct stat before {}, after {};
  ::fstat(reader, &before);
  EXPECT_EQ(zorvi("thumbnail square.zorvi out.png").status, 0);
  ::stat(at("out.png").c_str(), &after);
  std::string seen(4096, '\0');
  seen.resize(static_cast<std::size_t>(std::max<ssize_t>(::pread(reader, seen.data(), seen.size(), 0), 0)));
  ::close(reader);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(seen.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_TRUE(seen == readText(at("out.png"))) << "the open handle reads other bytes than the file";
}

// Images left out are named, the rest drawn. libjxl writes debug lines on a damaged file; the command's
// stderr keeps only its own lines, the text module's warning among them.
TEST_F(ThumbnailCommand, SaysWhyImagesAreLeftOutAndNothingElse) {
  writeBoard("mixed.zorvi", {image("gone.png", 0), image("noise.png", 120), image("static.png", 240)},
             {{"images/noise.png", Bytes{'n', 'o', 'i', 's', 'e'}}, {"images/static.png", Bytes{'s', 't', 'a', 't'}}});
  const std::string noDecode = "its bytes are not an image that can be decoded\n";
  EXPECT_EQ(zorvi("thumbnail mixed.zorvi out.png"),
            (testing::CommandRun{0, "", "zorvi: warning: mixed.zorvi: 2 images left out (images/noise.png, images/static.png): " + noDecode +
                "zorvi: warning: mixed.zorvi: image images/gone.png left out: the board holds no entry for it\n"}));

  // The first 20 bytes of a JPEG XL picture, drawn by a copy of the command whose text module cannot load.
  writeBoard("cut.zorvi", {image("cut.jxl", 0)},
             {{"images/cut.jxl", {0xFF, 0x0A, 0xA8, 0x34, 0xFC, 0x24, 0x54, 0xEE, 0xAD, 0x22, 0x08, 0x00, 0x12, 0x88,
                                  0x02, 0x00, 0x6D, 0x6B, 0xA5, 0xBC}}});
  fs::create_directories(at("copy/bin"));
  fs::copy_file(ZORVI_COMMAND, at("copy/bin/zorvi"));
  testing::writeFile(at("copy/lib/zorvi/zorvi-text.so"), std::string("not a module"));
  const testing::CommandRun run = testing::runShell("../copy/bin/zorvi thumbnail ../cut.zorvi out.png", at("copy"));
  EXPECT_EQ(run.status, 0);
  const std::string warning = "zorvi: warning: text is left out, the text module could not be loaded: ";
  EXPECT_TRUE(run.err.starts_with(warning)) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 2) << run.err;
  EXPECT_TRUE(run.err.ends_with("zorvi: warning: ../cut.zorvi: image images/cut.jxl left out: " + noDecode)) << run.err;
  // The exports decode the same picture, and keep their stderr as clean.
  EXPECT_EQ(zorvi("export png cut.zorvi out.png"), (testing::CommandRun{0, "", ""}));
}

TEST_F(ThumbnailCommand, NamesACodecLibraryThatIsNotInstalled) {
  // The example's AVIF image, with libavif hidden behind an empty file as if it were not installed.
  const std::string hidden = "bwrap --bind / / --dev /dev --proc /proc --ro-bind /dev/null " +
                             quoted(fs::canonical(ZORVI_LIBAVIF_FILE)) + " " + quoted(ZORVI_COMMAND) + " ";
  if (testing::shell(hidden + "--version >/dev/null 2>&1") != 0) GTEST_SKIP() << "bubblewrap cannot run here";
  copyExample("example.zorvi");
  const std::string missing = "its codec library libavif.so";
  const testing::CommandRun drawn = testing::runShell(hidden + "thumbnail example.zorvi out.png", work.path);
  EXPECT_EQ(drawn.status, 0);
  EXPECT_EQ(drawn.err.substr(0, drawn.err.find(missing) + missing.size()),
            "zorvi: warning: example.zorvi: image images/harbour-amber.avif left out: " + missing);
  const testing::CommandRun info = testing::runShell(hidden + "info example.zorvi", work.path);
  EXPECT_EQ(info.status, 0);
  EXPECT_NE(info.out.find("format avif (" + missing), std::string::npos) << info.out;
}

}  // namespace
}  // namespace zorvi
