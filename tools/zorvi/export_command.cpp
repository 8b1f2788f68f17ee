#include "commands.hpp"
#include "export_options.hpp"
#include "output_file.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"
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

std::vector<PageExportPlan::Page> planPages(const Manifest& manifest, const Arguments& arguments,
                                           const CaptionHeights& heights) {
  std::vector<Frame> frames;
  frames.reserve(manifest.items.size());
  for (const CanvasItem& item : manifest.items) frames.push_back(BoardLayout::contentFrame(item, heights));
  return PageExportPlan::pages(pageSetup(arguments, manifest.board), frames);
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

void writePagedDocument(const Manifest& manifest, const HTMLExporter::PictureLookup& pictures,
                        const Arguments& arguments, const std::optional<EmbeddedImage>& logo,
                        const HTMLExporter::TextSink& out) {
  const CaptionHeights heights = TextMeasure::captionHeights(manifest.items);
  PageExportChrome chrome = chromeFrom(arguments);
  chrome.logo = logo;
  HTMLExporter::writePaged(manifest, pictures, planPages(manifest, arguments, heights), heights, chrome, out);
}

// The pictures HTMLExporter::fullResolutionImages would choose, read from the board file as the
// document reaches them: no picture is ever held whole.
class FilePictures {
 public:
  explicit FilePictures(const BoardFile& file)
      : file_(file),
        entries_(HTMLExporter::pictureEntries(file.manifest(), [&](const std::string& path, bool thumbnail) {
          return (thumbnail ? file.thumbnailSizes() : file.imageSizes()).contains(path);
        })) {}

  std::optional<HTMLExporter::PictureStream> operator()(const CanvasItem& item) const {
    const auto found = entries_.find(item.id);
    if (found == entries_.end()) return std::nullopt;
    const std::string& path = found->second;
    const auto& sizes = path.starts_with(BoardArchive::imagesPrefix) ? file_.imageSizes() : file_.thumbnailSizes();
    const Bytes head = file_.head(path, 4096).value_or(Bytes{});
    return HTMLExporter::PictureStream{std::string(HTMLExporter::mimeTypeOf(head, path)), sizes.at(path),
                                       [this, &path](const HTMLExporter::ByteSink& sink) { file_.read(path, sink); }};
  }

 private:
  const BoardFile& file_;
  std::unordered_map<Uuid, std::string> entries_;
};

// A damaged picture found while the document is written: reported against the board, not the output.
struct DamagedBoard {
  BoardArchiveError error;
};

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

  // The board is read as the document is written, and the document goes to the output as it grows:
  // memory does not grow with the pictures.
  std::optional<BoardFile> file;
  if (const int status = reportingFailures(board, [&] { file.emplace(BoardFile::open(board)); });
      status != exitSuccess) {
    return status;
  }
  const Manifest& manifest = file->manifest();
  const FilePictures files(*file);
  const HTMLExporter::PictureLookup pictures = std::cref(files);
  try {
    return reportingFailures(out, [&] {
      writeFileAtomically(out, [&](OutputSink& sink) {
        const HTMLExporter::TextSink text = [&](std::string_view piece) { sink.write(piece); };
        try {
          if (paged) {
            writePagedDocument(manifest, pictures, arguments, logo, text);
          } else {
            HTMLExporter::writeBoard(manifest, pictures, TextMeasure::captionHeights(manifest.items), text);
          }
        } catch (const BoardArchiveError& error) {
          throw DamagedBoard{error};
        }
      });
    });
  } catch (const DamagedBoard& damaged) {
    return reportingFailures(board, [&] { throw damaged.error; });
  }
}

}  // namespace zorvi::cli
