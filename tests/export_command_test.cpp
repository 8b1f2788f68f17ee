// `zorvi export` as a user runs it: the documents it writes, its one stderr line, and no output
// file (nor a leftover temporary one) when it fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/board_files.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::quoted;
using testing::readText;

const Bytes kPng{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};

struct Outcome {
  int status;
  std::string err;
};

class ExportCommand : public ::testing::Test {
 protected:
  Outcome zorvi(const std::string& arguments) {
    const fs::path err = scratch.path / "stderr";
    const int status = testing::shell(quoted(fs::path(ZORVI_BINARY_DIR) / "tools/zorvi/zorvi") + " " + arguments +
                                      " > /dev/null 2> " + quoted(err));
    return {status, readText(err)};
  }
  fs::path at(const std::string& name) { return work.path / name; }
  std::string path(const std::string& name) { return quoted(at(name)); }

  // A board with a picture on A4 page (0, 0) and a shape on page (1, 1), and a header.
  BoardBundle makeBoard(const std::string& name, bool caption = false) {
    BoardBundle bundle;
    bundle.manifest = ManifestCoder::decode(testing::manifestJson());
    bundle.manifest.board.header = BoardHeader{.title = "Spring", .client = "ACME"};
    Uuid picture, shape;
    picture.bytes[15] = 1;
    shape.bytes[15] = 2;
    bundle.manifest.items = {
        CanvasItem(picture, "images/a.png", "thumbnails/a.png", {10, 20, 300, 200}, 0, {4, 4}, {},
                   caption ? std::optional<std::string>("A caption long enough to wrap onto a second line") : std::nullopt,
                   std::nullopt, false, std::nullopt),
        CanvasItem(shape, ShapeContent{"#FF0000", std::nullopt, 3, std::nullopt, std::nullopt}, {1000, 1400, 50, 50}, 1,
                   false, std::nullopt)};
    bundle.images = {{"images/a.png", kPng}};
    testing::writeFile(at(name), BoardArchive::encode(bundle));
    return bundle;
  }

  testing::TemporaryFolder scratch;
  testing::TemporaryFolder work;
};

TEST_F(ExportCommand, WritesTheLibrarysSinglePageDocument) {
  const BoardBundle bundle = makeBoard("b.zorvi");
  const Outcome run = zorvi("export html " + path("b.zorvi") + " " + path("b.html"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(readText(at("b.html")), HTMLExporter::exportBoard(bundle, {}));
  EXPECT_EQ(work.names(), (std::vector<std::string>{"b.html", "b.zorvi"}));
}

TEST_F(ExportCommand, MeasuresCaptionsWithTheTextEngine) {
  makeBoard("b.zorvi", true);
  ASSERT_EQ(zorvi("export html " + path("b.zorvi") + " " + path("b.html")).status, 0);
  const std::string html = readText(at("b.html"));
  // Two or more lines at 18 px × 1.15 each: the caption wraps inside its 300-unit width.
  const auto at = html.find("min-height:", html.find(R"(class="item caption")"));
  ASSERT_NE(at, std::string::npos);
  const double height = std::stod(html.substr(at + 11));
  EXPECT_GE(height, 2 * 20.7 - 0.01);
  EXPECT_NEAR(height / 20.7, std::round(height / 20.7), 1e-6);
}

TEST_F(ExportCommand, PagesFollowTheOptions) {
  makeBoard("b.zorvi");
  fs::path logo = at("logo.png");
  testing::writeFile(logo, kPng);
  struct Row {
    std::string options;
    std::vector<std::string> pieces;
  };
  const std::vector<Row> rows = {
      {"", {"@page { size: 594.98pt 841.75pt; margin: 0; }", "width:909px;height:1286px;"}},
      {"--format a3 --orientation=landscape", {"@page { size: 1190.62pt 841.75pt; margin: 0; }"}},
      {"--cover --branding --margin --sender ' Studio ' --label-client Kunde",
       {R"(<div class="cv-title" style="font-size:45.83px;">Spring</div>)",
        R"(<td class="cv-k">Kunde</td><td class="cv-v">ACME</td>)",
        R"(<div class="foot-left">Studio</div><div class="foot-right">1 / 3</div>)",
        R"(<div class="foot-right">3 / 3</div>)"}},
      {"--branding --logo " + quoted(logo),
       {R"(<div class="foot-left"><img class="logo" src="data:image/png;base64,iVBORw0KGgoAAAANSUhEUg==" alt=""></div><div class="foot-right">1 / 2</div>)"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    const Outcome run = zorvi("export pages " + path("b.zorvi") + " " + path("p.html") + " " + row.options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    const std::string html = readText(at("p.html"));
    for (const auto& piece : row.pieces) EXPECT_NE(html.find(piece), std::string::npos) << piece;
  }
}

TEST_F(ExportCommand, FailuresPrintOneLineAndKeepTheOldOutput) {
  makeBoard("b.zorvi");
  testing::writeFile(at("gif.png"), std::string("GIF89a\x01\x00\x01\x00", 10));
  testing::writeFile(at("text.png"), std::string("just text"));
  struct Row {
    std::string arguments;
    int status;
    std::string err;  // the start of the single line
  };
  const std::vector<Row> rows = {
      {"html " + path("missing.zorvi") + " " + path("out.html"), 1, "zorvi: " + at("missing.zorvi").string() + ": archiveCorrupt: "},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --logo=" + path("gif.png"), 1,
       "zorvi: " + at("gif.png").string() + ": logo: GIF is not accepted"},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --logo=" + path("text.png"), 1,
       "zorvi: " + at("text.png").string() + ": logo: not an image"},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --logo=" + path("none.png"), 1,
       "zorvi: " + at("none.png").string() + ": filesystem: "},
      {"html " + path("b.zorvi") + " " + path("no/such/dir/out.html"), 1,
       "zorvi: " + at("no/such/dir/out.html").string() + ": filesystem: "},
      {"", 2, "zorvi export: "},
      {"svg " + path("b.zorvi") + " " + path("out.html"), 2, "zorvi export: "},
      {"html " + path("b.zorvi"), 2, "zorvi export: "},
      {"html " + path("b.zorvi") + " " + path("out.html") + " --cover", 2, "zorvi export: unknown option --cover"},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --format b5", 2, "zorvi export: --format"},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --sender", 2, "zorvi export: --sender needs a value"},
      {"pages " + path("b.zorvi") + " " + path("out.html") + " --orientation=up", 2, "zorvi export: --orientation"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    testing::writeFile(at("out.html"), std::string("old"));
    const Outcome run = zorvi("export " + row.arguments);
    EXPECT_EQ(run.status, row.status);
    EXPECT_TRUE(run.err.starts_with(row.err)) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(readText(at("out.html")), "old");
    EXPECT_EQ(work.names(), (std::vector<std::string>{"b.zorvi", "gif.png", "out.html", "text.png"}));
  }
}

}  // namespace
}  // namespace zorvi
