#include "zorvi/board_file.hpp"

#include <utility>

#include "archive/archive_reading.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {

struct BoardFile::State {
  archive_reading::OpenArchive archive;
  Manifest manifest;
  std::map<std::string, std::uint64_t> imageSizes, thumbnailSizes;
  std::map<std::string, archive_reading::PlannedEntry, std::less<>> entries;
};

BoardFile BoardFile::open(const std::filesystem::path& path) {
  auto state = std::make_unique<State>();
  state->archive = archive_reading::openFile(path);
  zip_t* zip = state->archive.zip.get();
  std::uint64_t unclaimed = state->archive.length;
  state->manifest = archive_reading::readManifest(zip, unclaimed);
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    const std::string_view name = archive_reading::entryName(zip, index);
    auto* sizes = name.starts_with(BoardArchive::imagesPrefix)       ? &state->imageSizes
                  : name.starts_with(BoardArchive::thumbnailsPrefix) ? &state->thumbnailSizes
                                                                     : nullptr;
    if (!sizes || archive_reading::kindOf(zip, index, name) != archive_reading::EntryKind::file) continue;
    const archive_reading::PlannedEntry entry = archive_reading::plan(zip, index, unclaimed);
    // Of two entries with one path, the later in the directory wins, as in a bundle.
    (*sizes)[std::string(name)] = entry.declared;
    state->entries[std::string(name)] = entry;
  }
  return BoardFile(std::move(state));
}

BoardFile::BoardFile(std::unique_ptr<State> state) : state_(std::move(state)) {}
BoardFile::BoardFile(BoardFile&&) noexcept = default;
BoardFile& BoardFile::operator=(BoardFile&&) noexcept = default;
BoardFile::~BoardFile() = default;

const Manifest& BoardFile::manifest() const { return state_->manifest; }
const std::map<std::string, std::uint64_t>& BoardFile::imageSizes() const { return state_->imageSizes; }
const std::map<std::string, std::uint64_t>& BoardFile::thumbnailSizes() const { return state_->thumbnailSizes; }

bool BoardFile::read(std::string_view path, const ChunkSink& sink) const {
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return false;
  archive_reading::streamEntry(state_->archive.zip.get(), found->second, sink);
  return true;
}

std::optional<Bytes> BoardFile::bytes(std::string_view path) const {
  Bytes bytes;
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return std::nullopt;
  bytes.reserve(found->second.declared);
  archive_reading::streamEntry(state_->archive.zip.get(), found->second,
                               [&](std::span<const std::uint8_t> chunk) { bytes.insert(bytes.end(), chunk.begin(), chunk.end()); });
  return bytes;
}

std::optional<Bytes> BoardFile::head(std::string_view path, std::size_t count) const {
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return std::nullopt;
  return archive_reading::readHead(state_->archive.zip.get(), found->second, count);
}

}  // namespace zorvi
