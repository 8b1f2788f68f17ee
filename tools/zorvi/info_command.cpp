#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "commands.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/image_decoder.hpp"
#include "zorvi/image_formats.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::cli {
namespace {

std::string bytesText(std::uint64_t count) { return decimal(count) + (count == 1 ? " byte" : " bytes"); }

std::string itemCounts(const std::vector<CanvasItem>& items) {
  constexpr std::array types{CanvasItem::Type::image, CanvasItem::Type::text, CanvasItem::Type::shape,
                             CanvasItem::Type::drawing};
  std::string text = "items: " + decimal(items.size());
  std::string separator = " (";
  for (const auto type : types) {
    std::size_t count = 0;
    for (const auto& item : items) count += item.type == type ? 1 : 0;
    text += separator + std::string(rawValue(type)) + " " + decimal(count);
    separator = ", ";
  }
  return text + ")\n";
}

// How a user reads a verdict: "jpeg", "GIF (not accepted)", "unknown".
std::string formatName(const DetectedFormat& format) {
  if (const auto accepted = format.acceptedFormat()) return std::string(rawValue(*accepted));
  if (format.kind() == DetectedFormat::Case::rejected) return format.rejectedName() + " (not accepted)";
  return "unknown";
}

// Enough of an entry's start for every format's signature.
constexpr std::size_t headLength = 4096;

// One line per image item, saying at once why its picture would not show: the detected format of its
// full image, and which of its two entries the board lacks (an absent field counts as missing).
std::string imageItemLine(const CanvasItem& item, const BoardFile& file) {
  std::string line = "  " + item.id.string();
  line += "  image " + item.image.value_or("(none)");
  line += "  thumbnail " + item.thumbnail.value_or("(none)");
  const bool noImage = !item.image || !file.imageSizes().contains(*item.image);
  const bool noThumbnail = !item.thumbnail || !file.thumbnailSizes().contains(*item.thumbnail);
  if (!noImage) {
    // Only the start of the entry is read: the format shows there, and the whole may be gigabytes.
    const Bytes head = file.head(*item.image, headLength).value_or(Bytes{});
    line += "  format " + formatName(ImageFormatDetector::identify(head));
    if (const auto library = ImageDecoder::missingCodecLibrary(head))
      line += " (its codec library " + *library + " is not installed)";
  }
  if (noImage || noThumbnail) {
    line += "  missing: ";
    line += noImage && noThumbnail ? "image, thumbnail" : noImage ? "image" : "thumbnail";
  }
  return line + "\n";
}

// Sizes as the archive's directory records them; no entry is inflated to learn its size.
std::string entryList(std::string_view title, const std::map<std::string, std::uint64_t>& entries) {
  std::uint64_t total = 0;
  for (const auto& [key, size] : entries) total += size;
  std::string text = std::string(title) + ": " + decimal(entries.size()) +
                     (entries.size() == 1 ? " entry, " : " entries, ") + bytesText(total) + "\n";
  for (const auto& [key, size] : entries) text += "  " + key + "  " + bytesText(size) + "\n";
  return text;
}

std::string headerFields(const std::optional<BoardHeader>& header) {
  if (!header) return "header: none\n";
  const std::pair<const char*, const std::optional<std::string>*> fields[] = {
      {"title", &header->title},       {"client", &header->client},     {"model", &header->model},
      {"date", &header->date},         {"location", &header->location}, {"notes", &header->notes}};
  std::string names;
  for (const auto& [name, value] : fields) {
    if (value->has_value()) names += (names.empty() ? "" : ", ") + std::string(name);
  }
  return "header: " + (names.empty() ? std::string("present, no fields") : names) + "\n";
}

std::string summary(const BoardFile& file) {
  const Manifest& manifest = file.manifest();
  const Board& board = manifest.board;
  std::string text = "name: " + board.name + "\n";
  text += "schema version: " + decimal(manifest.schemaVersion) + "\n";
  text += "created: " + ManifestCoder::formatDate(board.createdAt) + "\n";
  text += "modified: " + ManifestCoder::formatDate(board.modifiedAt) + "\n";
  text += itemCounts(manifest.items);
  std::string imageItems;
  for (const auto& item : manifest.items) {
    if (item.type == CanvasItem::Type::image) imageItems += imageItemLine(item, file);
  }
  if (!imageItems.empty()) text += "image items:\n" + imageItems;
  text += entryList("images", file.imageSizes());
  text += entryList("thumbnails", file.thumbnailSizes());
  if (board.pageSetup) {
    text += "page setup: " + std::string(rawValue(board.pageSetup->format)) + " " +
            std::string(rawValue(board.pageSetup->orientation)) + "\n";
  } else {
    text += "page setup: none (exports use a4 portrait)\n";
  }
  return text + headerFields(board.header);
}

}  // namespace

int runInfo(const Arguments& arguments) {
  arguments.expect(1);
  const std::filesystem::path board = arguments.operands[0];
  std::string text;
  if (const int status = reportingFailures(board, [&] { text = summary(BoardFile::open(board)); });
      status != exitSuccess) {
    return status;
  }
  return printOut(text) ? exitSuccess : fail("standard output", "filesystem", std::strerror(errno));
}

}  // namespace zorvi::cli
