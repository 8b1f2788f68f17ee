#include <system_error>

#include "commands.hpp"
#include "output_file.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::cli {
namespace {

namespace fs = std::filesystem;

// The same rules as reading a board's manifest entry, and the same errors.
Manifest readManifest(const fs::path& folder) {
  if (!fs::is_directory(folder)) {
    throw fs::filesystem_error("not a folder", folder, std::make_error_code(std::errc::not_a_directory));
  }
  const fs::path file = folder / BoardArchive::manifestPath;
  if (!fs::exists(file)) throw BoardArchiveError::manifestMissing();
  return BoardArchive::decodeManifest(readWholeFile(file));
}

// Every regular file below folder/prefix, nested folders included, keyed "prefix/relative/path".
std::map<std::string, Bytes> collect(const fs::path& folder, std::string_view prefix) {
  std::map<std::string, Bytes> entries;
  const fs::path root = folder / prefix.substr(0, prefix.size() - 1);
  if (!fs::exists(root)) return entries;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file()) continue;
    entries[std::string(prefix) + entry.path().lexically_relative(root).generic_string()] = readWholeFile(entry.path());
  }
  return entries;
}

}  // namespace

int runPack(const Arguments& arguments) {
  arguments.expect(2);
  const fs::path folder = arguments.operands[0];
  const fs::path board = arguments.operands[1];
  BoardBundle bundle;
  if (const int status = reportingFailures(folder, [&] {
        bundle.manifest = readManifest(folder);
        bundle.images = collect(folder, BoardArchive::imagesPrefix);
        bundle.thumbnails = collect(folder, BoardArchive::thumbnailsPrefix);
      });
      status != exitSuccess) {
    return status;
  }
  return reportingFailures(board, [&] {
    // pack replaces boards by design, but not one the user made read-only, and keeps its permissions.
    refuseReadOnly(board);
    std::error_code missing;
    const auto permissions = fs::status(board, missing).permissions();
    const bool existed = !missing && fs::is_regular_file(board, missing);
    BoardArchive::write(bundle, board);
    if (existed) fs::permissions(board, permissions);
  });
}

}  // namespace zorvi::cli
