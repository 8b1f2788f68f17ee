#include "zorvi/board_file.hpp"

#include <mutex>
#include <set>
#include <utility>

#include "archive/archive_reading.hpp"
#include "zorvi/board_archive.hpp"

namespace zorvi {

struct BoardFile::State {
  archive_reading::OpenArchive archive;
  Manifest manifest;
  std::map<std::string, std::uint64_t> imageSizes, thumbnailSizes;
  struct Entry {
    archive_reading::PlannedEntry planned;
    bool checkedInPlace = false;  // its bytes where they lie matched their CRC-32 once
  };
  std::map<std::string, Entry, std::less<>> entries;
  // The bytes view() gave of entries that are not stored in place.
  std::map<std::string, Bytes, std::less<>> held;

  void add(const std::string& name, bool image, const archive_reading::PlannedEntry& entry, bool checked) {
    // Of two entries with one path, the later in the directory wins, as in a bundle.
    (image ? imageSizes : thumbnailSizes)[name] = entry.declared;
    entries[name] = {entry, checked};
  }
};

BoardFile BoardFile::open(const std::filesystem::path& path) {
  auto state = std::make_unique<State>();
  state->archive = archive_reading::openFile(path);
  zip_t* zip = state->archive.zip.get();
  std::uint64_t unclaimed = state->archive.length;
  state->manifest = archive_reading::readManifest(state->archive, unclaimed);
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    const std::string_view name = archive_reading::entryName(zip, index);
    auto* sizes = name.starts_with(BoardArchive::imagesPrefix)       ? &state->imageSizes
                  : name.starts_with(BoardArchive::thumbnailsPrefix) ? &state->thumbnailSizes
                                                                     : nullptr;
    if (!sizes || archive_reading::kindOf(zip, index, name) != archive_reading::EntryKind::file) continue;
    state->add(std::string(name), sizes == &state->imageSizes, archive_reading::plan(state->archive, index, unclaimed),
               false);
  }
  return BoardFile(std::move(state));
}

BoardFile BoardFile::openChecked(const std::filesystem::path& path) {
  auto state = std::make_unique<State>();
  state->archive = archive_reading::openFile(path);
  std::uint64_t unclaimed = state->archive.length;
  state->manifest = archive_reading::readManifest(state->archive, unclaimed);
  std::mutex marking;
  std::set<std::size_t> inPlace;
  const auto entries = archive_reading::forEachEntry(
      state->archive, unclaimed, [&](zip_t* zip, std::size_t i, const archive_reading::NamedEntry& entry) {
        if (const auto bytes = archive_reading::checkedInPlace(entry.entry)) {
          if (entry.entry.mapped) mapped_archive::release(*bytes);
          const std::lock_guard lock(marking);
          inPlace.insert(i);
        } else {
          // Held for a moment, as reading the whole board holds it: an entry too large for memory fails
          // here as it fails there, with std::bad_alloc.
          archive_reading::extract(zip, entry.entry);
        }
      });
  for (std::size_t i = 0; i < entries.size(); ++i)
    state->add(entries[i].name, entries[i].image, entries[i].entry, inPlace.contains(i));
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
  const archive_reading::PlannedEntry& entry = found->second.planned;
  if (const auto bytes = archive_reading::checkedInPlace(entry)) {
    constexpr std::size_t chunk = 256 * 1024;
    for (std::size_t at = 0; at < bytes->size(); at += chunk) sink(bytes->subspan(at, std::min(chunk, bytes->size() - at)));
    if (entry.mapped) mapped_archive::release(*bytes);
    return true;
  }
  archive_reading::streamEntry(state_->archive.zip.get(), entry, sink);
  return true;
}

std::optional<Bytes> BoardFile::bytes(std::string_view path) const {
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return std::nullopt;
  return archive_reading::extract(state_->archive.zip.get(), found->second.planned);
}

std::optional<Bytes> BoardFile::head(std::string_view path, std::size_t count) const {
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return std::nullopt;
  return archive_reading::readHead(state_->archive.zip.get(), found->second.planned, count);
}

std::optional<std::span<const std::uint8_t>> BoardFile::view(std::string_view path) const {
  const auto found = state_->entries.find(path);
  if (found == state_->entries.end()) return std::nullopt;
  State::Entry& entry = found->second;
  if (entry.checkedInPlace) return entry.planned.data;
  if (const auto bytes = archive_reading::checkedInPlace(entry.planned)) {
    entry.checkedInPlace = true;
    return bytes;
  }
  const auto held = state_->held.find(path);
  if (held != state_->held.end()) return held->second;
  Bytes bytes = archive_reading::extract(state_->archive.zip.get(), entry.planned);
  return state_->held.emplace(found->first, std::move(bytes)).first->second;
}

void BoardFile::release(std::string_view path) const {
  if (const auto held = state_->held.find(path); held != state_->held.end()) {
    state_->held.erase(held);
  } else if (const auto found = state_->entries.find(path); found != state_->entries.end()) {
    if (found->second.planned.mapped) mapped_archive::release(*found->second.planned.data);
  }
}

}  // namespace zorvi
