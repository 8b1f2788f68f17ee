// The floor of `zorvi info BOARD` as a process of its own: the board mapped, its manifest entry found in
// the central directory, inflated by libdeflate into a buffer of its recorded size and parsed into
// simdjson's DOM. Exits 0 when all of that works; bench/manifest_info.sh times it beside zorvi info.
#include <fcntl.h>
#include <libdeflate.h>
#include <simdjson.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

std::uint32_t read16(const std::uint8_t* p) { return p[0] | p[1] << 8; }
std::uint32_t read32(const std::uint8_t* p) { return read16(p) | read16(p + 2) << 16; }

int fail(const char* what) {
  std::fprintf(stderr, "manifest_floor: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return fail("usage: manifest_floor BOARD");
  const int fd = ::open(argv[1], O_RDONLY | O_CLOEXEC);
  struct stat info {};
  if (fd < 0 || ::fstat(fd, &info) != 0 || info.st_size < 22) return fail("cannot open the board");
  const auto size = static_cast<std::size_t>(info.st_size);
  const auto* zip = static_cast<const std::uint8_t*>(::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0));
  if (zip == MAP_FAILED) return fail("cannot map the board");
  std::size_t end = size - 22;
  while (end > 0 && read32(zip + end) != 0x06054b50) --end;
  const std::uint8_t* record = zip + read32(zip + end + 16);
  for (std::uint32_t i = 0, count = read16(zip + end + 10); i < count; ++i) {
    const std::uint32_t nameLength = read16(record + 28);
    if (std::string_view(reinterpret_cast<const char*>(record) + 46, nameLength) == "manifest.json") {
      const std::uint8_t* header = zip + read32(record + 42);
      const std::uint8_t* data = header + 30 + read16(header + 26) + read16(header + 28);
      const std::size_t length = read32(record + 24);
      std::unique_ptr<char[]> json(new char[length + simdjson::SIMDJSON_PADDING]);
      libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
      if (libdeflate_deflate_decompress(decompressor, data, read32(record + 20), json.get(), length,
                                        nullptr) != LIBDEFLATE_SUCCESS)
        return fail("cannot inflate the manifest");
      libdeflate_free_decompressor(decompressor);
      simdjson::dom::parser parser;
      simdjson::dom::element root;
      if (parser.parse(json.get(), length, false).get(root) != simdjson::SUCCESS)
        return fail("cannot parse it");
      return 0;
    }
    record += 46 + nameLength + read16(record + 30) + read16(record + 32);
  }
  return fail("no manifest.json entry");
}
