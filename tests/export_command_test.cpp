// `zorvi export` as a user runs it: the documents it writes, its one stderr line, and no output
// file (nor a leftover temporary one) when it fails.
#include <gtest/gtest.h>

#include <cmath>

#include "support/command_test.hpp"
#include "support/html_golden.hpp"
#include "support/items.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::readText;
using testing::writeFile;

const Bytes kPng{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};

class ExportCommand : public testing::CommandTest {
 protected:
  // b.zorvi: a picture on A4 page (0, 0), a shape on page (1, 1), and a header.
  BoardBundle makeBoard(std::optional<std::string> caption = std::nullopt) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(testing::manifestJson());
    bundle.manifest.board.header = BoardHeader{.title = "Spring", .client = "ACME"};
    bundle.manifest.items = {
        CanvasItem(testing::idNumber(1), "images/a.png", "thumbnails/a.png", {10, 20, 300, 200}, 0, {4, 4},
                   {}, caption, std::nullopt, false, std::nullopt),
        testing::contentItem(2, ShapeContent{"#FF0000", std::nullopt, 3, std::nullopt, std::nullopt},
                             {1000, 1400, 50, 50}, 1)};
    bundle.images = {{"images/a.png", kPng}};
    writeFile(at("b.zorvi"), BoardArchive::encode(bundle));
    return bundle;
  }
  // A board whose picture is the given ZIP entry.
  void boardWithPicture(const std::string& name, const testing::ZipEntry& picture, std::size_t damagedByte = 0) {
    const std::string manifest = ManifestCoder::encode(makeBoard().manifest);
    testing::BuiltZip built = testing::buildZip({{.name = "manifest.json", .data = testing::toBytes(manifest), .method = 8}, picture});
    if (damagedByte) built.bytes[built.dataOffsets[1] + damagedByte] ^= 0x01;
    writeFile(at(name), built.bytes);
  }
};

TEST_F(ExportCommand, WritesTheLibrarysSinglePageDocument) {
  const BoardBundle bundle = makeBoard();
  EXPECT_EQ(zorvi("export html b.zorvi b.html"), (testing::CommandRun{0, "", ""}));
  EXPECT_EQ(readText(at("b.html")), HTMLExporter::exportBoard(bundle, {}));
  EXPECT_EQ(work.names(), (std::vector<std::string>{"b.html", "b.zorvi"}));
}

TEST_F(ExportCommand, MeasuresCaptionsWithTheTextEngine) {
  makeBoard("A caption long enough to wrap onto a second line");
  ASSERT_EQ(zorvi("export html b.zorvi b.html").status, 0);
  const std::string html = readText(at("b.html"));
  // Whole lines of 18 px × 1.15, at least two: the caption wraps inside its 300-unit width.
  const auto height = html.find("min-height:", html.find(R"(class="item caption")"));
  ASSERT_NE(height, std::string::npos);
  const double lines = std::stod(html.substr(height + 11)) / 20.7;
  EXPECT_GE(lines, 2 - 1e-3);
  EXPECT_NEAR(lines, std::round(lines), 1e-6);
}

// Each document whole in tests/golden/pages_NAME.html: paper, cover and labels, footers, sender and logo.
TEST_F(ExportCommand, PagesFollowTheOptions) {
  makeBoard();
  writeFile(at("logo.png"), kPng);
  const std::pair<const char*, const char*> rows[] = {
      {"default", ""},
      {"a3_landscape", "--format a3 --orientation=landscape"},
      {"cover_branding_margin", "--cover --branding --margin --sender ' Studio ' --label-client Kunde"},
      {"logo", "--branding --logo logo.png"},
  };
  for (const auto& [name, options] : rows) {
    SCOPED_TRACE(options);
    EXPECT_EQ(zorvi(std::string("export pages b.zorvi p.html ") + options), (testing::CommandRun{0, "", ""}));
    testing::expectMatchesGolden(std::string("pages_") + name, readText(at("p.html")));
  }
}

TEST_F(ExportCommand, FailuresPrintOneLineAndKeepTheOldOutput) {
  makeBoard();
  writeFile(at("gif.png"), std::string("GIF89a\x01\x00\x01\x00", 10));
  writeFile(at("text.png"), std::string("just text"));
  BoardBundle empty;
  empty.manifest = ManifestCoder::decode(testing::manifestJson());
  writeFile(at("empty.zorvi"), BoardArchive::encode(empty));
  boardWithPicture("damaged.zorvi", {.name = "images/a.png", .data = kPng}, 3);
  writeFile(at("out.html"), std::string("old"));
  const std::vector<std::string> names = work.names();
  const char* const runs[] = {
      "html missing.zorvi out.html", "html damaged.zorvi out.html",  // a damaged picture fails the board
      "pages damaged.zorvi out.html", "pages b.zorvi out.html --logo=gif.png", "pages b.zorvi out.html --logo=text.png",
      "pages b.zorvi out.html --logo=none.png", "html b.zorvi no/such/dir/out.html", "pdf missing.zorvi out.html",
      "png missing.zorvi out.html", "pdf b.zorvi no/dir/out", "png b.zorvi no/dir/out", "pdf empty.zorvi out.html",
      "png empty.zorvi out.html", "svg b.zorvi out.html", "html b.zorvi", "html b.zorvi out.html --cover",
      "pages b.zorvi out.html --format b5 --logo=gif.png", "pages b.zorvi out.html --orientation=up",
      "pdf b.zorvi out.html --format b5", "pdf b.zorvi out.html --compact", "png b.zorvi out.html --cover",
      "png b.zorvi out.html --max-edge 40000", "png b.zorvi out.html --max-edge=12px", "png b.zorvi",
  };
  // Each run's exit status and its one stderr line, whole in tests/golden/export_failures.txt.
  std::string transcript;
  for (const char* arguments : runs) {
    SCOPED_TRACE(arguments);
    const testing::CommandRun run = zorvi(std::string("export ") + arguments);
    transcript += "$ zorvi export " + std::string(arguments) + "\nexit " + std::to_string(run.status) + ": " + run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(readText(at("out.html")), "old");
    EXPECT_EQ(work.names(), names);
  }
  testing::expectMatchesGolden("export_failures", transcript, "txt");
}

// Pictures go from the board to the output piece by piece, and info reads sizes from the directory: a
// board holding a picture larger than the memory allowed still exports and describes itself.
TEST_F(ExportCommand, BoundedMemoryForAnyPicture) {
  if (ZORVI_UNDER_ASAN) GTEST_SKIP() << "the memory caps are off under AddressSanitizer";
  testing::ZipEntry picture{.name = "images/a.png", .method = 8};
  picture.zeros = std::uint64_t{256} << 20;
  boardWithPicture("big.zorvi", picture);
  const std::string capped = "ulimit -v 200000 && " + testing::quoted(ZORVI_COMMAND) + " ";
  const testing::CommandRun info = testing::runShell(capped + "info big.zorvi", work.path);
  EXPECT_EQ(info.status, 0);
  EXPECT_NE(info.out.find("images/a.png  268435456 bytes"), std::string::npos) << info.out;
  EXPECT_EQ(testing::runShell(capped + "export html big.zorvi big.html", work.path).status, 0);
  // The document differs from the small board's only in the picture's data.
  const std::string expected = HTMLExporter::exportBoard(makeBoard(), {});
  const std::string small = "data:image/png;base64," + std::string("iVBORw0KGgoAAAANSUhEUg==");
  ASSERT_NE(expected.find(small), std::string::npos);
  EXPECT_EQ(fs::file_size(at("big.html")),
            expected.size() - small.size() + std::string("data:image/png;base64,").size() + (std::size_t{256} << 20) / 3 * 4 + 4);
}

}  // namespace
}  // namespace zorvi
