#include <stdexcept>
#include <string>

#include "commands.hpp"
#include "export_options.hpp"
#include "output_file.hpp"
#include "own_lines.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/native_export.hpp"
#include "zorvi/text_measure.hpp"

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
  options.maxEdge = numberOption(arguments, "max-edge", options.maxEdge, 1, 32767, true);
  return options;
}

}  // namespace

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
  const CaptionHeights heights = TextMeasure::captionHeights(bundle.manifest.items);
  const ImageViewMap images = HTMLExporter::fullResolutionImageViews(bundle);
  try {
    return reportingFailures(out, [&] {
      writeFileAtomically(out, [&](OutputSink& sink) {
        const ByteSink toFile = [&](std::span<const std::uint8_t> bytes) { return sink.write(bytes); };
        std::optional<NativeExportError> error;
        const KeepOwnLines ownLinesOnly;  // the codecs draw pictures here too
        if (pdf) {
          PageExportChrome chrome = chromeFrom(arguments);
          chrome.logo = logo;
          error = PDFExport::write(bundle, images, planPages(bundle.manifest, arguments, heights), heights, chrome, toFile);
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
