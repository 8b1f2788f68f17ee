#include "zorvi/board_archive.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <random>

#include "support/board_files.hpp"
#include "support/sample_manifest.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::buildZip;
using testing::toBytes;
using testing::ZipEntry;
using Case = BoardArchiveError::Case;
using Entries = std::map<std::string, Bytes>;

ZipEntry manifestEntry(std::int64_t schemaVersion = 8) {
  return {.name = "manifest.json", .data = toBytes(testing::manifestJson(schemaVersion)), .method = 8};
}

ZipEntry file(std::string name, std::string_view content, std::uint16_t method = 0) {
  return {.name = std::move(name), .data = toBytes(content), .method = method};
}

// The error a read ends with, or nothing when it succeeds.
template <typename Source>
std::optional<BoardArchiveError> readError(const Source& source) {
  try {
    BoardArchive::read(source);
  } catch (const BoardArchiveError& error) {
    return error;
  }
  return std::nullopt;
}

// One archive holding every kind of entry a reader meets: each is collected under its key or skipped.
TEST(BoardArchive, CollectsFileEntriesByPrefix) {
  const std::uint32_t folder = 040755u << 16, symlink = 0120777u << 16;
  const BoardBundle bundle = BoardArchive::read(
      buildZip({manifestEntry(), {.name = "images/", .externalAttributes = folder}, file("images/sub/a.png", "A"),
                file("thumbnails/t.png", ""), file("Thumbnails/a.png", "x"), file("images", "x"), file("/images/x.png", "x"),
                file("images/a.png", "old"), file("images/a.png", "new"),
                file("images/../../evil.png", "e"),  // kept verbatim: the caller decides where keys may go
                {.name = "images/link.png", .data = toBytes("/etc/passwd"), .externalAttributes = symlink},
                {.name = "images/folder", .externalAttributes = folder},
                {.name = "images/dd.png", .data = toBytes("descriptor"), .method = 8, .dataDescriptor = true},
                {.name = "thumbnails/64.png", .data = toBytes("sixty-four"), .zip64 = true},
                {.name = "images/64dd.png", .data = toBytes("both"), .method = 8, .dataDescriptor = true, .zip64 = true}})
          .bytes);
  EXPECT_EQ(bundle.images, (Entries{{"images/sub/a.png", toBytes("A")}, {"images/a.png", toBytes("new")},
                                    {"images/../../evil.png", toBytes("e")}, {"images/dd.png", toBytes("descriptor")},
                                    {"images/64dd.png", toBytes("both")}}));
  EXPECT_EQ(bundle.thumbnails, (Entries{{"thumbnails/t.png", {}}, {"thumbnails/64.png", toBytes("sixty-four")}}));
  EXPECT_EQ(bundle.manifest.board.name, "Spring");
  for (const std::int64_t version : {8, -1}) {
    EXPECT_EQ(BoardArchive::read(buildZip({manifestEntry(version)}).bytes).manifest.schemaVersion, version);
  }
}

TEST(BoardArchive, ReportsEachFailureAsItsCase) {
  auto flipped = [](std::vector<ZipEntry> entries, std::size_t entry) {
    testing::BuiltZip built = buildZip(entries);
    built.bytes[built.dataOffsets[entry] + 1] ^= 0x40;
    return built.bytes;
  };
  auto withEntry = [](ZipEntry entry) { return buildZip({manifestEntry(), std::move(entry)}).bytes; };
  auto sized = [](std::uint16_t method, std::uint64_t declared) {
    ZipEntry entry = file("images/a.png", "twelve bytes", method);
    entry.declaredSize = declared;
    entry.zip64 = declared >= 0xFFFFFFFF;  // only ZIP64 records hold such sizes
    return entry;
  };
  const ZipEntry image = file("images/a.png", "image bytes");
  std::string squares;  // compresses too little to trip the ratio check, so only the sharing is refused
  for (int i = 0; i < 2000; ++i) squares += std::to_string(i * i);
  std::vector<ZipEntry> sharing = {manifestEntry(), file("images/0", squares, 8)};
  for (std::size_t i = 1; i < 50; ++i)
    sharing.push_back({.name = "images/" + std::to_string(i), .sharesDataOf = 1});
  const Bytes valid = buildZip({manifestEntry(), image}).bytes;
  const std::tuple<const char*, Bytes, Case> rows[] = {
      {"empty", {}, Case::archiveCorrupt},
      {"garbage", toBytes("this is not a zip archive at all, not even close......"), Case::archiveCorrupt},
      {"truncated", Bytes(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(valid.size() / 2)),
       Case::archiveCorrupt},
      {"end record only", Bytes{0x50, 0x4b, 0x05, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
       Case::manifestMissing},
      {"manifest in a folder", buildZip({file("board/manifest.json", testing::manifestJson())}).bytes,
       Case::manifestMissing},
      {"manifest not a board", buildZip({file("manifest.json", "{}")}).bytes, Case::manifestMalformed},
      {"schema 9", buildZip({manifestEntry(9)}).bytes, Case::unsupportedSchemaVersion},
      {"flipped byte in stored image", flipped({manifestEntry(), image}, 1), Case::archiveCorrupt},
      {"flipped byte in deflated manifest", flipped({manifestEntry()}, 0), Case::archiveCorrupt},
      {"stored size smaller than data", withEntry(sized(0, 5)), Case::archiveCorrupt},
      {"stored size larger than data", withEntry(sized(0, 20)), Case::archiveCorrupt},
      {"deflated size smaller than data", withEntry(sized(8, 5)), Case::archiveCorrupt},
      {"deflated size larger than data", withEntry(sized(8, 13)), Case::archiveCorrupt},
      {"deflated size beyond any ratio", withEntry(sized(8, std::uint64_t{1} << 40)), Case::archiveCorrupt},
      {"entries sharing one deflate stream", buildZip(sharing).bytes, Case::archiveCorrupt},
      {"encrypted", withEntry({.name = "images/a.png", .data = toBytes("x"), .flags = 1}), Case::archiveCorrupt},
      {"unsupported method", withEntry({.name = "images/a.png", .data = toBytes("x"), .method = 12}), Case::archiveCorrupt},
      // The checks run in a fixed order: the first failing one is reported.
      {"damaged image and schema 9", flipped({manifestEntry(9), image}, 1), Case::unsupportedSchemaVersion},
      {"damaged image and no manifest", flipped({image}, 0), Case::manifestMissing},
      {"damaged manifest and schema 9", flipped({manifestEntry(9)}, 0), Case::archiveCorrupt},
  };
  for (const auto& [name, bytes, expected] : rows) {
    SCOPED_TRACE(name);
    const auto error = readError(bytes);
    ASSERT_TRUE(error) << "read succeeded";
    EXPECT_EQ(error->kind(), expected) << error->underlying();
    EXPECT_TRUE(expected != Case::archiveCorrupt || !error->underlying().empty());
  }
}

// Past a few megabytes two threads extract, each on its own handle; the result and the error reported
// must be those of reading entry after entry.
TEST(BoardArchive, LargeBoardsReadAsEntryAfterEntry) {
  std::vector<ZipEntry> entries{manifestEntry()};
  Entries expected;
  for (int i = 0; i < 40; ++i) {
    const std::string name = "images/" + std::to_string(i);
    entries.push_back(file(name, std::string(256 * 1024, static_cast<char>('a' + i % 26)), i % 3 == 0 ? 8 : 0));
    expected[name] = entries.back().data;
  }
  entries.push_back(file("images/3", "the later of two wins"));
  expected["images/3"] = toBytes("the later of two wins");
  const testing::BuiltZip built = buildZip(entries);
  EXPECT_EQ(BoardArchive::read(built.bytes).images, expected);
  testing::TemporaryFolder folder;
  testing::writeFile(folder.path / "large.zorvi", built.bytes);
  EXPECT_EQ(BoardArchive::read(folder.path / "large.zorvi").images, expected);

  const auto underlying = [&](std::size_t damaged, std::size_t encrypted) {
    std::vector<ZipEntry> bad = entries;
    bad[encrypted].flags = 1;
    testing::BuiltZip zip = buildZip(bad);
    zip.bytes[zip.dataOffsets[damaged] + 7] ^= 0x40;  // entries 6, 33 and 36 are stored: a CRC error
    const auto error = readError(zip.bytes);
    return error ? error->underlying() : "read succeeded";
  };
  const std::string crc = underlying(6, 35), encryption = underlying(35, 6);
  EXPECT_NE(crc, encryption);
  EXPECT_EQ(underlying(6, 7), crc);  // the damaged entry comes first in both
  EXPECT_EQ(underlying(33, 35), crc);
  EXPECT_EQ(underlying(36, 35), encryption);
}

TEST(BoardArchive, EveryProperPrefixFailsCleanly) {
  const Bytes valid =
      buildZip({manifestEntry(), file("images/a.png", std::string(300, 'a')), file("thumbnails/a.png", "t", 8)}).bytes;
  ASSERT_NO_THROW(BoardArchive::read(valid));
  for (std::size_t length = 0; length < valid.size(); ++length)
    EXPECT_THROW(BoardArchive::read(std::span(valid.data(), length)), BoardArchiveError) << length;
}

// A generated board: random keys (nested, non-ASCII), empty and large contents, older schemas.
BoardBundle randomBundle(std::uint32_t seed) {
  std::mt19937 random(seed);
  auto pick = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  BoardBundle bundle;
  bundle.manifest = testing::sampleManifest(seed, seed % 25);
  bundle.manifest.schemaVersion = 8 - pick(10);
  const char* const folders[] = {"images/", "images/sub/", "thumbnails/", "thumbnails/\xE2\x98\x83/"};
  for (int i = 0, count = pick(12); i < count; ++i) {
    const std::string key = folders[pick(4)] + std::to_string(random()) + (pick(2) ? ".png" : "");
    Bytes content(static_cast<std::size_t>(pick(3) == 0 ? 0 : pick(70000)));
    for (auto& byte : content) byte = static_cast<std::uint8_t>(random());
    (key.starts_with("images/") ? bundle.images : bundle.thumbnails)[key] = std::move(content);
  }
  return bundle;
}

TEST(BoardArchive, ReadsBackWhatItEncodes) {
  for (std::uint32_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const BoardBundle bundle = randomBundle(seed);
    const Bytes bytes = BoardArchive::encode(bundle);
    ASSERT_EQ(BoardArchive::read(bytes), bundle);
    EXPECT_EQ(BoardArchive::encode(bundle).size(), bytes.size());
  }
}

TEST(BoardArchive, WriteReplacesWholeOrNotAtAll) {
  testing::TemporaryFolder folder;
  const fs::path board = folder.path / "Summer.zorvi";
  BoardArchive::write(randomBundle(1), board);
  ASSERT_EQ(::chmod(board.c_str(), 0600), 0);
  const BoardBundle second = randomBundle(2);
  BoardArchive::write(second, board);
  EXPECT_EQ(BoardArchive::read(board), second);
  struct stat info {};
  ASSERT_EQ(::stat(board.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u) << "a private board stays private";

  const Bytes before = testing::readFile(board);
  BoardBundle broken = second;
  broken.manifest.items.emplace_back(Uuid{}, ShapeContent{}, Frame{0, std::nan(""), 1, 1}, 0, false, std::nullopt);
  EXPECT_THROW(BoardArchive::write(broken, board), ManifestEncodingError);
  EXPECT_EQ(testing::readFile(board), before);
  fs::create_directory(folder.path / "folder.zorvi");
  EXPECT_THROW(BoardArchive::write(second, folder.path / "folder.zorvi"), fs::filesystem_error);
  EXPECT_THROW(BoardArchive::write(second, folder.path / "absent" / "board.zorvi"), BoardArchiveError);
  // A device is never renamed over; a link keeps leading to the board it names.
  ASSERT_EQ(::mkfifo((folder.path / "pipe.zorvi").c_str(), 0600), 0);
  EXPECT_THROW(BoardArchive::write(second, folder.path / "pipe.zorvi"), fs::filesystem_error);
  EXPECT_TRUE(fs::is_fifo(folder.path / "pipe.zorvi"));
  fs::create_symlink(board, folder.path / "link.zorvi");
  BoardArchive::write(randomBundle(3), folder.path / "link.zorvi");
  EXPECT_TRUE(fs::is_symlink(folder.path / "link.zorvi"));
  EXPECT_EQ(BoardArchive::read(board), randomBundle(3));
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"Summer.zorvi", "folder.zorvi", "link.zorvi", "pipe.zorvi"}))
      << "no temporary file is left";
}

}  // namespace
}  // namespace zorvi
