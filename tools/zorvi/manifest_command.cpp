#include <cerrno>
#include <cstring>

#include "commands.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::cli {

int runManifest(const Arguments& arguments) {
  arguments.expect(1);
  const std::filesystem::path board = arguments.operands[0];
  std::string json;
  if (const int status = reportingFailures(board, [&] { json = ManifestCoder::encode(BoardArchive::read(board).manifest); });
      status != exitSuccess) {
    return status;
  }
  if (!json.empty() && json.back() != '\n') json += '\n';
  return printOut(json) ? exitSuccess : fail("standard output", "filesystem", std::strerror(errno));
}

}  // namespace zorvi::cli
