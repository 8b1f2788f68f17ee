#include "commands.hpp"
#include "export_options.hpp"
#include "output_file.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_layout.hpp"
#include "zorvi/html_exporter.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/page_export_plan.hpp"
#include "zorvi/text_measure.hpp"

namespace zorvi::cli {

namespace fs = std::filesystem;

namespace {

std::string option(const Arguments& arguments, std::string_view name, std::string fallback = {}) {
  const auto found = arguments.options.find(name);
  return found == arguments.options.end() ? fallback : found->second;
}

}  // namespace

PageSetup pageSetup(const Arguments& arguments, const Board& board) {
  PageSetup setup = board.pageSetup.value_or(PageSetup::defaultSetup());
  if (const auto format = arguments.options.find("format"); format != arguments.options.end()) {
    const auto parsed = parsePageFormat(format->second);
    if (!parsed) throw UsageError("--format must be one of a5, a4, a3, letter, legal, screen16x9");
    setup.format = *parsed;
  }
  if (const auto orientation = arguments.options.find("orientation"); orientation != arguments.options.end()) {
    const auto parsed = parsePageOrientation(orientation->second);
    if (!parsed) throw UsageError("--orientation must be portrait or landscape");
    setup.orientation = *parsed;
  }
  return setup;
}

PageExportChrome chromeFrom(const Arguments& arguments) {
  PageExportChrome chrome;
  chrome.includeCover = arguments.options.contains("cover");
  chrome.branding = arguments.options.contains("branding");
  chrome.margin = arguments.options.contains("margin");
  chrome.senderText = option(arguments, "sender");
  chrome.metaLabels = {option(arguments, "label-client", "Client"), option(arguments, "label-model", "Model"),
                       option(arguments, "label-date", "Date"), option(arguments, "label-location", "Location")};
  return chrome;
}

std::vector<PageExportPlan::Page> planPages(const BoardBundle& bundle, const Arguments& arguments,
                                           const CaptionHeights& heights) {
  std::vector<Frame> frames;
  frames.reserve(bundle.manifest.items.size());
  for (const CanvasItem& item : bundle.manifest.items) frames.push_back(BoardLayout::contentFrame(item, heights));
  return PageExportPlan::pages(pageSetup(arguments, bundle.manifest.board), frames);
}

int readLogo(const Arguments& arguments, std::optional<EmbeddedImage>& logo) {
  if (const auto path = arguments.options.find("logo"); path != arguments.options.end()) {
    Bytes bytes;
    if (const int status = reportingFailures(path->second, [&] { bytes = readWholeFile(path->second); });
        status != exitSuccess) {
      return status;
    }
    const DetectedFormat format = ImageFormatDetector::identify(bytes);
    if (const auto accepted = format.acceptedFormat()) {
      logo = EmbeddedImage{std::move(bytes), std::string(mimeType(*accepted))};
    } else {
      const std::string what = format.kind() == DetectedFormat::Case::rejected
                                   ? format.rejectedName() + " is not accepted"
                                   : std::string("not an image");
      return fail(path->second, "logo", what + "; use JPEG, PNG, WebP or AVIF");
    }
  }
  return exitSuccess;
}

namespace {

std::string pagedDocument(const BoardBundle& bundle, const Arguments& arguments,
                          const std::optional<EmbeddedImage>& logo) {
  const CaptionHeights heights = TextMeasure::captionHeights(bundle.manifest.items);
  const auto pages = planPages(bundle, arguments, heights);
  PageExportChrome chrome = chromeFrom(arguments);
  chrome.logo = logo;
  return HTMLExporter::exportPaged(bundle, HTMLExporter::fullResolutionImages(bundle), pages, heights, chrome);
}

}  // namespace

int runExport(const Arguments& arguments) {
  if (!arguments.operands.empty() && (arguments.operands[0] == "pdf" || arguments.operands[0] == "png")) {
    return runNativeExport(arguments);
  }
  const bool paged = !arguments.operands.empty() && arguments.operands[0] == "pages";
  if (!paged && (arguments.operands.empty() || arguments.operands[0] != "html")) {
    throw UsageError("the first operand must be html or pages");
  }
  if (paged) {
    arguments.expect(3, {"format", "orientation", "cover", "branding", "margin", "sender", "logo", "label-client",
                         "label-model", "label-date", "label-location"});
  } else {
    arguments.expect(3);
  }
  const fs::path board = arguments.operands[1];
  const fs::path out = arguments.operands[2];
  if (paged) pageSetup(arguments, Board{});  // refuse a bad --format before any work

  std::optional<EmbeddedImage> logo;
  if (const int status = readLogo(arguments, logo); status != exitSuccess) return status;

  BoardBundle bundle;
  if (const int status = reportingFailures(board, [&] { bundle = BoardArchive::read(board); }); status != exitSuccess) {
    return status;
  }
  return reportingFailures(out, [&] {
    const std::string html = paged ? pagedDocument(bundle, arguments, logo)
                                   : HTMLExporter::exportBoard(bundle, TextMeasure::captionHeights(bundle.manifest.items));
    writeFileAtomically(out, html);
  });
}

}  // namespace zorvi::cli
