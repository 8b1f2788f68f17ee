// Entries read where they lie in the file give the bytes, and the errors, that reading them through
// the ZIP library gives: whole boards, entry by entry, viewed in place or copied.
#include <gtest/gtest.h>

#include <functional>

#include "support/board_files.hpp"
#include "support/sample_manifest.hpp"
#include "support/zip_builder.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_file.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi {
namespace {

using testing::buildZip;
using testing::toBytes;
using testing::ZipEntry;
using Entries = std::map<std::string, Bytes>;

Bytes pattern(std::size_t size, std::uint32_t seed) {
  Bytes bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);
  return bytes;
}

ZipEntry entry(std::string name, Bytes data, std::uint16_t method = 0) {
  return {.name = std::move(name), .data = std::move(data), .method = method};
}

// A manifest past the size read in one piece elsewhere, deflated as boards keep it.
const std::string& largeManifest() {
  static const std::string json = ManifestCoder::encode(testing::sampleManifest(3, 3000));
  return json;
}

ZipEntry manifest(bool large = false) {
  return entry("manifest.json", toBytes(large ? largeManifest() : testing::manifestJson(8)), 8);
}

std::vector<std::uint8_t> asVector(const std::optional<std::span<const std::uint8_t>>& view) {
  return view ? Bytes(view->begin(), view->end()) : Bytes{toBytes("no entry")};
}

TEST(StoredEntries, ReadTheSameBytesEveryWay) {
  const std::pair<const char*, std::vector<ZipEntry>> boards[] = {
      {"stored, across chunks and pages",
       {manifest(), entry("images/empty.png", {}), entry("images/one.png", toBytes("1")),
        entry("images/large.jpg", pattern(700 * 1024 + 3, 1)), entry("thumbnails/t.png", pattern(5000, 2))}},
      {"deflated, small and past a one-piece inflate",
       {manifest(true), entry("images/a.png", pattern(3000, 3), 8),
        entry("images/b.bin", Bytes(5 << 20, 7), 8), entry("thumbnails/a.png", toBytes("thumb"), 8)}},
      {"ZIP64 records, data descriptors, a later entry of one path",
       {manifest(),
        {.name = "images/z.png", .data = pattern(4096, 4), .zip64 = true},
        {.name = "images/d.png", .data = pattern(999, 5), .method = 8, .dataDescriptor = true},
        entry("images/twice.png", toBytes("first")),
        entry("images/twice.png", toBytes("second"))}},
  };
  for (const auto& [name, entries] : boards) {
    SCOPED_TRACE(name);
    Entries expected;
    for (const ZipEntry& e : entries)
      if (e.name != "manifest.json") expected[e.name] = e.data;
    const Bytes zip = buildZip(entries).bytes;
    testing::TemporaryFolder folder;
    const auto path = folder.path / "board.zorvi";
    testing::writeFile(path, zip);

    const Manifest expectedManifest =
        ManifestCoder::decode(std::string(entries.front().data.begin(), entries.front().data.end()));
    for (const BoardBundle& bundle : {BoardArchive::read(path), BoardArchive::read(zip)}) {
      EXPECT_EQ(bundle.manifest, expectedManifest);
      Entries all = bundle.images;
      all.insert(bundle.thumbnails.begin(), bundle.thumbnails.end());
      EXPECT_EQ(all, expected);
    }
    const BoardFile opened = BoardFile::open(path), checked = BoardFile::openChecked(path);
    EXPECT_EQ(checked.manifest(), expectedManifest);
    for (const auto& [key, bytes] : expected) {
      SCOPED_TRACE(key);
      EXPECT_EQ(asVector(opened.view(key)), bytes);
      opened.release(key);
      EXPECT_EQ(asVector(opened.view(key)), bytes) << "after release";
      EXPECT_EQ(asVector(checked.view(key)), bytes);
      EXPECT_EQ(opened.bytes(key), bytes);
      Bytes chunked;
      opened.read(key, [&](std::span<const std::uint8_t> chunk) {
        chunked.insert(chunked.end(), chunk.begin(), chunk.end());
      });
      EXPECT_EQ(chunked, bytes);
    }
    EXPECT_FALSE(opened.view("images/absent.png"));
  }
}

// Byte offset of an entry's local header, from where its data starts.
std::size_t headerOf(const testing::BuiltZip& zip, std::size_t index, const std::string& name) {
  return zip.dataOffsets[index] - 30 - name.size();
}

TEST(StoredEntries, DamageFailsAsBefore) {
  const std::vector<ZipEntry> entries{manifest(true), entry("images/a.jpg", pattern(700 * 1024, 8)),
                                      entry("images/b.png", toBytes("small and stored")),
                                      entry("thumbnails/c.png", pattern(2000, 9), 8)};
  using Damage = std::function<void(testing::BuiltZip&)>;
  const auto flip = [](std::size_t index, std::size_t at) {
    return [=](testing::BuiltZip& zip) { zip.bytes[zip.dataOffsets[index] + at] ^= 0x20; };
  };
  const std::tuple<const char*, Damage, const char*, const char*> rows[] = {
      // name, damage, entry the damage is in, libzip's words for it
      {"first byte of a stored image", flip(1, 0), "images/a.jpg", "CRC error"},
      {"last byte of a stored image", flip(1, 700 * 1024 - 1), "images/a.jpg", "CRC error"},
      {"small stored image", flip(2, 5), "images/b.png", "CRC error"},
      {"deflated thumbnail", flip(3, 40), "thumbnails/c.png", "CRC error"},
      {"deflated manifest", flip(0, 5000), nullptr, "CRC error"},
      {"stored image's header claims a longer name, its data runs on",
       [](testing::BuiltZip& zip) { zip.bytes[headerOf(zip, 2, "images/b.png") + 26] += 4; }, "images/b.png",
       "CRC error"},
      {"last entry's header pushes its data past the end",
       [](testing::BuiltZip& zip) { zip.bytes[headerOf(zip, 3, "thumbnails/c.png") + 29] = 0xFF; },
       "thumbnails/c.png", "Invalid argument"},
  };
  for (const auto& [name, damage, damagedEntry, libzipWords] : rows) {
    SCOPED_TRACE(name);
    const char* const damaged = damagedEntry;  // lambdas capture variables, not bindings
    const std::string words = libzipWords;
    testing::BuiltZip zip = buildZip(entries);
    damage(zip);
    testing::TemporaryFolder folder;
    const auto path = folder.path / "board.zorvi";
    testing::writeFile(path, zip.bytes);
    const auto expectFailure = [&](const char* how, const std::function<void()>& reading) {
      try {
        reading();
        ADD_FAILURE() << how << " succeeded";
      } catch (const BoardArchiveError& error) {
        EXPECT_EQ(error.kind(), BoardArchiveError::Case::archiveCorrupt) << how;
        EXPECT_EQ(error.underlying(), words) << how;
      }
    };
    expectFailure("read from the file", [&] { BoardArchive::read(path); });
    expectFailure("read from memory", [&] { BoardArchive::read(zip.bytes); });
    expectFailure("opened checked", [&] { BoardFile::openChecked(path); });
    if (!damaged) continue;
    const BoardFile file = BoardFile::open(path);
    expectFailure("viewed", [&] { file.view(damaged); });
    expectFailure("copied", [&] { file.bytes(damaged); });
    expectFailure("streamed", [&] { file.read(damaged, [](std::span<const std::uint8_t>) {}); });
  }
}

}  // namespace
}  // namespace zorvi
