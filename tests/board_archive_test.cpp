#include "zorvi/board_archive.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/board_files.hpp"
#include "support/sample_manifest.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;
using testing::buildZip;
using testing::manifestJson;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;
using testing::toBytes;
using testing::ZipEntry;
using Case = BoardArchiveError::Case;

ZipEntry manifestEntry(std::int64_t schemaVersion = 8) {
  return {.name = "manifest.json", .data = toBytes(manifestJson(schemaVersion)), .method = 8};
}

ZipEntry file(std::string name, std::string_view content, std::uint16_t method = 0) {
  return {.name = std::move(name), .data = toBytes(content), .method = method};
}

BoardArchiveError::Case readFailure(const Bytes& bytes) {
  try {
    BoardArchive::read(bytes);
  } catch (const BoardArchiveError& error) {
    return error.kind();
  }
  ADD_FAILURE() << "read succeeded";
  return Case::manifestMissing;
}

TEST(BoardArchive, CollectsFileEntriesByPrefix) {
  struct Row {
    const char* name;
    std::vector<ZipEntry> entries;
    std::map<std::string, Bytes> images;
    std::map<std::string, Bytes> thumbnails;
  };
  ZipEntry directory{.name = "images/", .externalAttributes = 040755u << 16};
  ZipEntry unixDirectoryWithoutSlash{.name = "images/folder", .externalAttributes = 040755u << 16};
  ZipEntry symlink = file("images/link.png", "../../etc/passwd");
  symlink.externalAttributes = 0120777u << 16;
  ZipEntry dosFile = file("images/dos.png", "D");
  dosFile.host = 0;
  dosFile.externalAttributes = 0x20;
  ZipEntry described = file("images/dd.png", "descriptor", 8);
  described.dataDescriptor = true;
  ZipEntry big = file("thumbnails/64.png", "sixty-four");
  big.zip64 = true;
  ZipEntry bigDescribed = file("images/64dd.png", "both", 8);
  bigDescribed.zip64 = true;
  bigDescribed.dataDescriptor = true;

  const std::vector<Row> rows = {
      {"manifest only", {manifestEntry()}, {}, {}},
      {"nested and zero-length",
       {manifestEntry(), directory, file("images/sub/a.png", "A"), file("thumbnails/t.png", "")},
       {{"images/sub/a.png", toBytes("A")}},
       {{"thumbnails/t.png", {}}}},
      {"look-alike paths ignored",
       {manifestEntry(), file("notes.txt", "n"), file("Thumbnails/a.png", "x"), file("./images/x.png", "x"),
        file("images", "x"), file("/images/x.png", "x"), file("board/manifest.json", "{}")},
       {},
       {}},
      {"later duplicate wins", {manifestEntry(), file("images/a.png", "old"), file("images/a.png", "new")},
       {{"images/a.png", toBytes("new")}}, {}},
      {"hostile names kept verbatim",
       {manifestEntry(), file("images/../../evil.png", "e"), file("images//etc/x", "x")},
       {{"images/../../evil.png", toBytes("e")}, {"images//etc/x", toBytes("x")}},
       {}},
      {"symlinks and directories skipped", {manifestEntry(), symlink, unixDirectoryWithoutSlash}, {}, {}},
      {"non-Unix host", {manifestEntry(), dosFile}, {{"images/dos.png", toBytes("D")}}, {}},
      {"deflated image with data descriptor", {manifestEntry(), described}, {{"images/dd.png", toBytes("descriptor")}},
       {}},
      {"zip64", {manifestEntry(), big, bigDescribed}, {{"images/64dd.png", toBytes("both")}},
       {{"thumbnails/64.png", toBytes("sixty-four")}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      const BoardBundle bundle = BoardArchive::read(buildZip(row.entries).bytes);
      EXPECT_EQ(bundle.images, row.images);
      EXPECT_EQ(bundle.thumbnails, row.thumbnails);
      EXPECT_EQ(bundle.manifest.board.name, "Spring");
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  }
}

TEST(BoardArchive, AcceptsEverySchemaUpToTheCurrentOne) {
  for (const std::int64_t version : std::vector<std::int64_t>{8, 7, 0, -1, std::numeric_limits<std::int64_t>::min()}) {
    SCOPED_TRACE(version);
    EXPECT_EQ(BoardArchive::read(buildZip({manifestEntry(version)}).bytes).manifest.schemaVersion, version);
  }
}

TEST(BoardArchive, ReportsEachFailureAsItsCase) {
  struct Row {
    const char* name;
    Bytes bytes;
    Case expected;
  };
  const Bytes valid = buildZip({manifestEntry(), file("images/a.png", "image bytes")}).bytes;
  auto flipped = [](testing::BuiltZip built, std::size_t entry) {
    built.bytes[built.dataOffsets[entry] + 1] ^= 0x40;
    return built.bytes;
  };
  auto withEntry = [](ZipEntry entry) { return buildZip({manifestEntry(), std::move(entry)}).bytes; };
  auto sized = [](std::string name, std::uint16_t method, std::uint64_t declared) {
    ZipEntry entry = file(std::move(name), "twelve bytes", method);
    entry.declaredSize = declared;
    entry.zip64 = declared >= 0xFFFFFFFF;  // only ZIP64 records hold such sizes
    return entry;
  };
  ZipEntry encrypted = file("images/secret.png", "plain");
  encrypted.flags = 1;
  ZipEntry badCrc = file("images/a.png", "image bytes");
  badCrc.crc = 0xDEADBEEF;
  ZipEntry badManifestCrc = manifestEntry();
  badManifestCrc.crc = 1;
  ZipEntry bzip2 = file("images/a.png", "BZh91AY&SY");
  bzip2.method = 12;

  const std::vector<Row> rows = {
      {"empty", {}, Case::archiveCorrupt},
      {"garbage", toBytes("this is not a zip archive at all, not even close......"), Case::archiveCorrupt},
      {"end record only", Bytes{0x50, 0x4b, 0x05, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
       Case::manifestMissing},
      {"cut in half", Bytes(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(valid.size() / 2)),
       Case::archiveCorrupt},
      {"no manifest", buildZip({file("images/a.png", "A")}).bytes, Case::manifestMissing},
      {"manifest in a folder", buildZip({file("board/manifest.json", manifestJson(8))}).bytes,
       Case::manifestMissing},
      {"manifest with other case", buildZip({file("Manifest.json", manifestJson(8))}).bytes, Case::manifestMissing},
      {"empty object", buildZip({file("manifest.json", "{}")}).bytes, Case::manifestMalformed},
      {"not JSON", buildZip({file("manifest.json", "PK\x03\x04 nope")}).bytes, Case::manifestMalformed},
      {"schema 9", buildZip({manifestEntry(9)}).bytes, Case::unsupportedSchemaVersion},
      {"flipped byte in stored image", flipped(buildZip({manifestEntry(), file("images/a.png", "image bytes")}), 1),
       Case::archiveCorrupt},
      {"flipped byte in deflated manifest", flipped(buildZip({manifestEntry()}), 0), Case::archiveCorrupt},
      {"image CRC mismatch", withEntry(badCrc), Case::archiveCorrupt},
      {"manifest CRC mismatch", buildZip({badManifestCrc}).bytes, Case::archiveCorrupt},
      {"stored size smaller than data", withEntry(sized("images/a.png", 0, 5)), Case::archiveCorrupt},
      {"stored size larger than data", withEntry(sized("images/a.png", 0, 20)), Case::archiveCorrupt},
      {"deflated size smaller than data", withEntry(sized("images/a.png", 8, 5)), Case::archiveCorrupt},
      {"deflated size larger than data", withEntry(sized("images/a.png", 8, 13)), Case::archiveCorrupt},
      {"deflated size beyond any ratio", withEntry(sized("thumbnails/a.png", 8, std::uint64_t{1} << 40)),
       Case::archiveCorrupt},
      {"size beyond 64 bits of memory", withEntry(sized("thumbnails/a.png", 0, ~std::uint64_t{0})),
       Case::archiveCorrupt},
      {"entries sharing one deflate stream", buildZip([] {
         std::vector<ZipEntry> entries = {manifestEntry(), file("images/0", std::string(100000, 'z'), 8)};
         for (std::size_t i = 1; i < 200; ++i) {
           entries.push_back({.name = "images/" + std::to_string(i), .sharesDataOf = 1});
         }
         return entries;
       }()).bytes,
       Case::archiveCorrupt},
      {"encrypted", withEntry(encrypted), Case::archiveCorrupt},
      {"bzip2", withEntry(bzip2), Case::archiveCorrupt},
      {"lzma", withEntry({.name = "images/a.png", .data = toBytes("x"), .method = 14}), Case::archiveCorrupt},
      {"deflate64", withEntry({.name = "thumbnails/a.png", .data = toBytes("x"), .method = 9}), Case::archiveCorrupt},
      {"zstd", withEntry({.name = "images/a.png", .data = toBytes("x"), .method = 93}), Case::archiveCorrupt},
      // The checks run in a fixed order: the first failing one is reported.
      {"bad image and schema 9", buildZip({manifestEntry(9), badCrc}).bytes, Case::unsupportedSchemaVersion},
      {"bad image and bad manifest", buildZip({file("manifest.json", "{}"), badCrc}).bytes, Case::manifestMalformed},
      {"bad image and no manifest", buildZip({badCrc}).bytes, Case::manifestMissing},
      {"damaged manifest and schema 9", flipped(buildZip({manifestEntry(9)}), 0), Case::archiveCorrupt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(readFailure(row.bytes), row.expected);
  }
}

TEST(BoardArchive, ErrorsCarryTheirPayload) {
  try {
    BoardArchive::read(buildZip({manifestEntry(9)}).bytes);
    ADD_FAILURE() << "read succeeded";
  } catch (const BoardArchiveError& error) {
    EXPECT_EQ(error, BoardArchiveError::unsupportedSchemaVersion(9, 8));
  }
  try {
    BoardArchive::read(toBytes("garbage"));
    ADD_FAILURE() << "read succeeded";
  } catch (const BoardArchiveError& error) {
    EXPECT_FALSE(error.underlying().empty());
  }
}

TEST(BoardArchive, EveryProperPrefixFailsCleanly) {
  const Bytes valid =
      buildZip({manifestEntry(), file("images/a.png", std::string(300, 'a')), file("thumbnails/a.png", "t", 8)}).bytes;
  ASSERT_NO_THROW(BoardArchive::read(valid));
  for (std::size_t length = 0; length < valid.size(); ++length) {
    SCOPED_TRACE(length);
    EXPECT_THROW(BoardArchive::read(std::span(valid.data(), length)), BoardArchiveError);
  }
}

BoardBundle sampleBundle() {
  BoardBundle bundle;
  bundle.manifest.board.name = "Sample";
  bundle.manifest.board.canvas.backgroundColor = "#FFFFFF";
  bundle.images = {{"images/b.png", toBytes("bbb")}, {"images/a.png", toBytes("aaa")},
                   {"images/B.png", toBytes("BBB")}, {"images/b10.png", {}}, {"images/b2.png", toBytes("2")}};
  bundle.thumbnails = {{"thumbnails/a.png", toBytes("t")}};
  return bundle;
}

TEST(BoardArchive, ReadsFilesLikeBytes) {
  TemporaryFolder folder;
  const Bytes bytes = buildZip({manifestEntry(), file("images/a.png", "A"), file("thumbnails/a.png", "T", 8)}).bytes;
  writeFile(folder.path / "board.zorvi", bytes);
  EXPECT_EQ(BoardArchive::read(folder.path / "board.zorvi"), BoardArchive::read(bytes));

  struct Row {
    const char* name;
    fs::path path;
  };
  writeFile(folder.path / "empty.zorvi", Bytes{});
  const std::vector<Row> rows = {{"missing", folder.path / "absent.zorvi"},
                                 {"folder", folder.path},
                                 {"device", "/dev/null"},
                                 {"empty", folder.path / "empty.zorvi"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      BoardArchive::read(row.path);
      ADD_FAILURE() << "read succeeded";
    } catch (const BoardArchiveError& error) {
      EXPECT_EQ(error.kind(), Case::archiveCorrupt);
      EXPECT_FALSE(error.underlying().empty());
    }
  }
}

struct ListedEntry {
  std::string name;
  std::int32_t method;
  bool operator==(const ListedEntry&) const = default;
};

std::vector<ListedEntry> listEntries(const Bytes& bytes) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  zip_t* zip = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &error);
  zip_error_fini(&error);
  if (zip == nullptr) {
    zip_source_free(source);
    ADD_FAILURE() << "libzip cannot open the archive";
    return {};
  }
  std::vector<ListedEntry> entries;
  for (zip_int64_t i = 0; i < zip_get_num_entries(zip, 0); ++i) {
    zip_stat_t stat;
    zip_stat_index(zip, static_cast<zip_uint64_t>(i), 0, &stat);
    entries.push_back({stat.name, stat.comp_method});
  }
  zip_discard(zip);
  return entries;
}

TEST(BoardArchive, EncodesEntriesInFixedOrder) {
  const BoardBundle bundle = sampleBundle();
  const Bytes bytes = BoardArchive::encode(bundle);
  const std::vector<ListedEntry> expected = {
      {"manifest.json", ZIP_CM_DEFLATE}, {"images/B.png", ZIP_CM_STORE},   {"images/a.png", ZIP_CM_STORE},
      {"images/b.png", ZIP_CM_STORE},    {"images/b10.png", ZIP_CM_STORE}, {"images/b2.png", ZIP_CM_STORE},
      {"thumbnails/a.png", ZIP_CM_STORE}};
  EXPECT_EQ(listEntries(bytes), expected);
  EXPECT_EQ(BoardArchive::read(bytes), bundle);

  BoardBundle bare;
  EXPECT_EQ(listEntries(BoardArchive::encode(bare)), (std::vector<ListedEntry>{{"manifest.json", ZIP_CM_DEFLATE}}));
}

TEST(BoardArchive, RefusesToEncodeNonFiniteNumbers) {
  BoardBundle bundle = sampleBundle();
  bundle.manifest.items.emplace_back(Uuid{}, ShapeContent{}, Frame{std::nan(""), 0, 1, 1}, 0, false, std::nullopt);
  EXPECT_THROW(BoardArchive::encode(bundle), ManifestEncodingError);
}

// A generated manifest with random keys (nested, non-ASCII, empty content) and byte contents.
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
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const BoardBundle bundle = randomBundle(seed);
    const Bytes bytes = BoardArchive::encode(bundle);
    ASSERT_EQ(BoardArchive::read(bytes), bundle);
    EXPECT_EQ(BoardArchive::encode(bundle).size(), bytes.size());
  }
}

TEST(BoardArchive, WriteCreatesAndReplacesLeavingNoTemporaryFile) {
  TemporaryFolder folder;
  const fs::path board = folder.path / "Summer.zorvi";
  const BoardBundle first = randomBundle(1);
  BoardArchive::write(first, board);
  EXPECT_EQ(BoardArchive::read(board), first);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"Summer.zorvi"});

  ASSERT_EQ(::chmod(board.c_str(), 0600), 0);
  const BoardBundle second = randomBundle(2);
  BoardArchive::write(second, board);
  EXPECT_EQ(BoardArchive::read(board), second);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"Summer.zorvi"});
  struct stat info {};
  ASSERT_EQ(::stat(board.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u) << "a private board stays private";
}

TEST(BoardArchive, FailedWriteLeavesTheBoardAsItWas) {
  TemporaryFolder folder;
  const fs::path board = folder.path / "Summer.zorvi";
  const BoardBundle original = randomBundle(3);
  BoardArchive::write(original, board);
  const Bytes before = readFile(board);

  BoardBundle broken = randomBundle(4);
  broken.manifest.items.emplace_back(Uuid{}, ShapeContent{}, Frame{0, std::numeric_limits<double>::infinity(), 1, 1},
                                     0, false, std::nullopt);
  EXPECT_THROW(BoardArchive::write(broken, board), ManifestEncodingError);
  EXPECT_EQ(readFile(board), before);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"Summer.zorvi"});

  fs::create_directory(folder.path / "folder.zorvi");
  EXPECT_THROW(BoardArchive::write(original, folder.path / "folder.zorvi"), fs::filesystem_error);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"Summer.zorvi", "folder.zorvi"}));

  try {
    BoardArchive::write(original, folder.path / "absent" / "board.zorvi");
    ADD_FAILURE() << "write succeeded";
  } catch (const BoardArchiveError& error) {
    EXPECT_EQ(error.kind(), Case::archiveCorrupt);
  }
}

}  // namespace
}  // namespace zorvi
