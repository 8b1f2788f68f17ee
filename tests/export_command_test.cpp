// `zorvi export` as a user runs it: the documents it writes, its one stderr line, and no output
// file (nor a leftover temporary one) when it fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/board_files.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::quoted;
using testing::readText;

const Bytes kPng{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};

class ExportCommand : public ::testing::Test {
 protected:
  // The exit status and stderr of `zorvi export ARGUMENTS`.
  static std::pair<int, std::string> zorvi(const std::string& arguments) {
    const testing::CommandRun run = testing::runZorvi("export " + arguments);
    return {run.status, run.err};
  }
  std::string path(const std::string& name) { return quoted(work.path / name); }

  // b.zorvi: a picture on A4 page (0, 0), a shape on page (1, 1), and a header.
  BoardBundle makeBoard(std::optional<std::string> caption = std::nullopt) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(testing::manifestJson());
    bundle.manifest.board.header = BoardHeader{.title = "Spring", .client = "ACME"};
    Uuid picture, shape;
    picture.bytes[15] = 1;
    shape.bytes[15] = 2;
    bundle.manifest.items = {
        CanvasItem(picture, "images/a.png", "thumbnails/a.png", {10, 20, 300, 200}, 0, {4, 4}, {}, caption,
                   std::nullopt, false, std::nullopt),
        CanvasItem(shape, ShapeContent{"#FF0000", std::nullopt, 3, std::nullopt, std::nullopt},
                   {1000, 1400, 50, 50}, 1, false, std::nullopt)};
    bundle.images = {{"images/a.png", kPng}};
    testing::writeFile(work.path / "b.zorvi", BoardArchive::encode(bundle));
    return bundle;
  }

  testing::TemporaryFolder scratch, work;
};

TEST_F(ExportCommand, WritesTheLibrarysSinglePageDocument) {
  const BoardBundle bundle = makeBoard();
  EXPECT_EQ(zorvi("html " + path("b.zorvi") + " " + path("b.html")), std::make_pair(0, std::string()));
  EXPECT_EQ(readText(work.path / "b.html"), HTMLExporter::exportBoard(bundle, {}));
  EXPECT_EQ(work.names(), (std::vector<std::string>{"b.html", "b.zorvi"}));
}

TEST_F(ExportCommand, MeasuresCaptionsWithTheTextEngine) {
  makeBoard("A caption long enough to wrap onto a second line");
  ASSERT_EQ(zorvi("html " + path("b.zorvi") + " " + path("b.html")).first, 0);
  const std::string html = readText(work.path / "b.html");
  // Whole lines of 18 px × 1.15, at least two: the caption wraps inside its 300-unit width.
  const auto at = html.find("min-height:", html.find(R"(class="item caption")"));
  ASSERT_NE(at, std::string::npos);
  const double lines = std::stod(html.substr(at + 11)) / 20.7;
  EXPECT_GE(lines, 2 - 1e-3);
  EXPECT_NEAR(lines, std::round(lines), 1e-6);
}

TEST_F(ExportCommand, PagesFollowTheOptions) {
  makeBoard();
  testing::writeFile(work.path / "logo.png", kPng);
  const std::pair<std::string, std::vector<std::string>> rows[] = {
      {"", {"@page { size: 594.98pt 841.75pt; margin: 0; }", "width:909px;height:1286px;"}},
      {"--format a3 --orientation=landscape", {"@page { size: 1190.62pt 841.75pt; margin: 0; }"}},
      {"--cover --branding --margin --sender ' Studio ' --label-client Kunde",
       {R"(<div class="cv-title" style="font-size:45.83px;">Spring</div>)",
        R"(<td class="cv-k">Kunde</td><td class="cv-v">ACME</td>)",
        R"(<div class="foot-left">Studio</div><div class="foot-right">1 / 3</div>)", R"(<div class="foot-right">3 / 3</div>)"}},
      {"--branding --logo " + path("logo.png"),
       {R"(<div class="foot-left"><img class="logo" src="data:image/png;base64,iVBORw0KGgoAAAANSUhEUg==" alt=""></div><div class="foot-right">1 / 2</div>)"}},
  };
  for (const auto& [options, pieces] : rows) {
    SCOPED_TRACE(options);
    EXPECT_EQ(zorvi("pages " + path("b.zorvi") + " " + path("p.html") + " " + options), std::make_pair(0, std::string()));
    const std::string html = readText(work.path / "p.html");
    for (const auto& piece : pieces) EXPECT_NE(html.find(piece), std::string::npos) << piece;
  }
}

TEST_F(ExportCommand, FailuresPrintOneLineAndKeepTheOldOutput) {
  makeBoard();
  testing::writeFile(work.path / "gif.png", std::string("GIF89a\x01\x00\x01\x00", 10));
  testing::writeFile(work.path / "text.png", std::string("just text"));
  BoardBundle empty;
  empty.manifest = ManifestCoder::decode(testing::manifestJson());
  testing::writeFile(work.path / "empty.zorvi", BoardArchive::encode(empty));
  const std::string pages = "pages " + path("b.zorvi") + " " + path("out.html");
  const std::string out = " " + path("out.html");
  const auto at = [&](const std::string& name) { return "zorvi: " + (work.path / name).string() + ": "; };
  const std::tuple<std::string, int, std::string> rows[] = {  // arguments, status, start of the line
      {"html " + path("missing.zorvi") + " " + path("out.html"), 1, at("missing.zorvi") + "archiveCorrupt: "},
      {pages + " --logo=" + path("gif.png"), 1, at("gif.png") + "logo: GIF is not accepted"},
      {pages + " --logo=" + path("text.png"), 1, at("text.png") + "logo: not an image"},
      {pages + " --logo=" + path("none.png"), 1, at("none.png") + "filesystem: "},
      {"html " + path("b.zorvi") + " " + path("no/such/dir/out.html"), 1, at("no/such/dir/out.html") + "filesystem: "},
      {"svg " + path("b.zorvi") + " " + path("out.html"), 2, "zorvi export: "},
      {"html " + path("b.zorvi"), 2, "zorvi export: "},
      {"html " + path("b.zorvi") + " " + path("out.html") + " --cover", 2, "zorvi export: unknown option --cover"},
      {pages + " --format b5 --logo=" + path("gif.png"), 2, "zorvi export: --format"},
      {pages + " --orientation=up", 2, "zorvi export: --orientation"},
      {"pdf " + path("missing.zorvi") + out, 1, at("missing.zorvi") + "archiveCorrupt: "},
      {"png " + path("missing.zorvi") + out, 1, at("missing.zorvi") + "archiveCorrupt: "},
      {"pdf " + path("b.zorvi") + " " + path("no/dir/out"), 1, at("no/dir/out") + "filesystem: "},
      {"png " + path("b.zorvi") + " " + path("no/dir/out"), 1, at("no/dir/out") + "filesystem: "},
      {"pdf " + path("empty.zorvi") + out, 1, at("out.html") + "pdf: the board has nothing to draw"},
      {"png " + path("empty.zorvi") + out, 1, at("out.html") + "png: the board has nothing to draw"},
      {"pdf " + path("b.zorvi") + out + " --format b5", 2, "zorvi export: --format"},
      {"pdf " + path("b.zorvi") + out + " --compact", 2, "zorvi export: unknown option --compact"},
      {"png " + path("b.zorvi") + out + " --cover", 2, "zorvi export: unknown option --cover"},
      {"png " + path("b.zorvi") + out + " --max-edge 40000", 2, "zorvi export: --max-edge"},
      {"png " + path("b.zorvi") + out + " --max-edge=12px", 2, "zorvi export: --max-edge"},
      {"png " + path("b.zorvi"), 2, "zorvi export: "},
  };
  for (const auto& [arguments, status, err] : rows) {
    SCOPED_TRACE(arguments);
    testing::writeFile(work.path / "out.html", std::string("old"));
    const auto [gotStatus, gotErr] = zorvi(arguments);
    EXPECT_EQ(gotStatus, status);
    EXPECT_TRUE(gotErr.starts_with(err)) << gotErr;
    EXPECT_EQ(std::count(gotErr.begin(), gotErr.end(), '\n'), 1) << gotErr;
    EXPECT_EQ(readText(work.path / "out.html"), "old");
    EXPECT_EQ(work.names(), (std::vector<std::string>{"b.zorvi", "empty.zorvi", "gif.png", "out.html", "text.png"}));
  }
}

// Pictures go from the board to the output piece by piece, and info reads sizes from the directory: a
// board holding a picture larger than the memory allowed still exports and describes itself.
TEST_F(ExportCommand, BoundedMemoryForAnyPicture) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer reserves more address space than the cap";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
  GTEST_SKIP() << "AddressSanitizer reserves more address space than the cap";
#endif
#endif
  BoardBundle bundle = makeBoard();
  bundle.images.clear();
  testing::ZipEntry picture{.name = "images/a.png", .method = 8};
  picture.zeros = std::uint64_t{256} << 20;
  testing::writeFile(work.path / "big.zorvi",
                     testing::buildZip({{.name = "manifest.json",
                                         .data = testing::toBytes(ManifestCoder::encode(bundle.manifest)),
                                         .method = 8},
                                        picture})
                         .bytes);
  const std::string capped = "ulimit -v 200000 && " + quoted(ZORVI_COMMAND) + " ";
  const fs::path out = scratch.path / "out";
  EXPECT_EQ(testing::shell(capped + "info " + path("big.zorvi") + " > " + quoted(out)), 0);
  EXPECT_NE(readText(out).find("images/a.png  268435456 bytes"), std::string::npos) << readText(out);
  EXPECT_EQ(testing::shell(capped + "export html " + path("big.zorvi") + " " + path("big.html")), 0);
  // The document differs from the small board's only in the picture's data.
  const std::string expected = HTMLExporter::exportBoard(makeBoard(), {});
  const std::string small = "data:image/png;base64," + std::string("iVBORw0KGgoAAAANSUhEUg==");
  const std::size_t at = expected.find(small);
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(fs::file_size(work.path / "big.html"),
            expected.size() - small.size() + std::string("data:image/png;base64,").size() + (std::size_t{256} << 20) / 3 * 4 + 4);
}

TEST_F(ExportCommand, ADamagedPictureIsTheBoardsFailure) {
  BoardBundle bundle = makeBoard();
  testing::BuiltZip built = testing::buildZip(
      {{.name = "manifest.json", .data = testing::toBytes(ManifestCoder::encode(bundle.manifest)), .method = 8},
       {.name = "images/a.png", .data = kPng}});
  built.bytes[built.dataOffsets[1] + 3] ^= 0x01;
  testing::writeFile(work.path / "b.zorvi", built.bytes);
  for (const char* kind : {"html", "pages"}) {
    SCOPED_TRACE(kind);
    const auto [status, err] = zorvi(std::string(kind) + " " + path("b.zorvi") + " " + path("out.html"));
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(err.starts_with("zorvi: " + (work.path / "b.zorvi").string() + ": archiveCorrupt: ")) << err;
    EXPECT_EQ(work.names(), std::vector<std::string>{"b.zorvi"});
  }
}

}  // namespace
}  // namespace zorvi
