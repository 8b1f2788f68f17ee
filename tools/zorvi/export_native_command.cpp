#include <charconv>
#include <stdexcept>
#include <string>

#include "commands.hpp"
#include "export_options.hpp"
#include "output_file.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/native_export.hpp"

namespace zorvi::cli {
namespace {

namespace fs = std::filesystem;

// A native export that stopped for a reason of its own, not the output file's.
class ExportStopped : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string describe(NativeExportError error) {
  switch (error) {
    case NativeExportError::nothingToDraw:
      return "the board has nothing to draw";
    case NativeExportError::tooLarge:
      return "the picture would be larger than 32767 pixels a side";
    case NativeExportError::textUnavailable:
      return "the text module could not be loaded";
    case NativeExportError::drawingFailed:
      return "drawing failed (out of memory?)";
    case NativeExportError::sinkRefused:
      break;
  }
  return "the output could not be written";
}

PNGExport::Options pngOptions(const Arguments& arguments) {
  PNGExport::Options options;
  if (arguments.options.contains("compact")) options.scale = PNGExport::Scale::compact;
  if (const auto given = arguments.options.find("max-edge"); given != arguments.options.end()) {
    const std::string& text = given->second;
    int edge = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), edge);
    if (error != std::errc() || end != text.data() + text.size() || edge < 1 || edge > 32767)
      throw UsageError("--max-edge must be a whole number from 1 to 32767");
    options.maxEdge = edge;
  }
  return options;
}

struct HelpLine {
  std::string_view name;
  std::string_view text;
};

constexpr HelpLine exportKinds[] = {
    {"html", "one self-contained HTML page of the whole board"},
    {"pages", "printable HTML pages: the board cut into pages of its page setup, with an optional cover and footer"},
    {"pdf", "the same pages as a PDF, one sheet per page at the paper's size; use it to print"},
    {"png", "the whole board as one PNG, captions included"},
};

constexpr HelpLine pageOptions[] = {  // pages and pdf
    {"--format F", "paper format: a5, a4, a3, letter, legal or screen16x9 (default: the board's, else a4)"},
    {"--orientation O", "portrait or landscape (default: the board's, else portrait)"},
    {"--cover", "put a cover with the board's header (title, data rows, notes) first, when the header has any"},
    {"--branding", "draw a footer on every page: the logo, the sender text and the page number \"k / T\""},
    {"--margin", "keep a margin of 28 points on every side of every page"},
    {"--sender TEXT", "the text at the left of the footer, after the logo"},
    {"--logo FILE", "the picture at the left of the footer (JPEG, PNG, WebP or AVIF), 22 points high"},
    {"--label-client TEXT", "the cover's label of the client row (default: Client)"},
    {"--label-model TEXT", "the cover's label of the model row (default: Model)"},
    {"--label-date TEXT", "the cover's label of the date row (default: Date)"},
    {"--label-location TEXT", "the cover's label of the location row (default: Location)"},
};

constexpr HelpLine pictureOptions[] = {  // png
    {"--compact", "only fit the board into the size limit, never enlarging it (default: the sharpest picture on "
                  "the board at its own resolution)"},
    {"--max-edge N", "the longest side in pixels, 1 to 32767 (default: 8192)"},
};

void appendLines(std::string& text, std::span<const HelpLine> lines) {
  for (const HelpLine& line : lines) {
    text += "  ";
    text += line.name;
    text += std::string(line.name.size() < 24 ? 24 - line.name.size() : 1, ' ');
    text += line.text;
    text += '\n';
  }
}

}  // namespace

std::string exportHelp() {
  std::string text = "kinds:\n";
  appendLines(text, exportKinds);
  text += "options of pages and pdf:\n";
  appendLines(text, pageOptions);
  text += "options of png:\n";
  appendLines(text, pictureOptions);
  text.pop_back();
  return text;
}

int runNativeExport(const Arguments& arguments) {
  const bool pdf = arguments.operands.at(0) == "pdf";
  std::optional<PNGExport::Options> png;
  if (pdf) {
    arguments.expect(3, {"format", "orientation", "cover", "branding", "margin", "sender", "logo", "label-client",
                         "label-model", "label-date", "label-location"});
    pageSetup(arguments, Board{});  // refuse a bad --format before any work
  } else {
    arguments.expect(3, {"compact", "max-edge"});
    png = pngOptions(arguments);
  }
  const fs::path board = arguments.operands[1];
  const fs::path out = arguments.operands[2];

  std::optional<EmbeddedImage> logo;
  if (pdf) {
    if (const int status = readLogo(arguments, logo); status != exitSuccess) return status;
  }
  BoardBundle bundle;
  if (const int status = reportingFailures(board, [&] { bundle = BoardArchive::read(board); }); status != exitSuccess) {
    return status;
  }
  const CaptionHeights heights = measureCaptions(bundle.manifest.items);
  const ImageViewMap images = HTMLExporter::fullResolutionImageViews(bundle);
  try {
    return reportingFailures(out, [&] {
      writeFileAtomically(out, [&](OutputSink& sink) {
        const ByteSink toFile = [&](std::span<const std::uint8_t> bytes) { return sink.write(bytes); };
        std::optional<NativeExportError> error;
        if (pdf) {
          PageExportChrome chrome = chromeFrom(arguments);
          chrome.logo = logo;
          error = PDFExport::write(bundle, images, planPages(bundle, arguments, heights), heights, chrome, toFile);
        } else {
          error = PNGExport::write(bundle, images, heights, *png, toFile);
        }
        // A refused write is the file's own failure, which writeFileAtomically reports.
        if (error && *error != NativeExportError::sinkRefused) throw ExportStopped(describe(*error));
      });
    });
  } catch (const ExportStopped& stopped) {
    return fail(out, pdf ? "pdf" : "png", stopped.what());
  }
}

}  // namespace zorvi::cli
