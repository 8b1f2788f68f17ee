#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.hpp"
#include "zorvi/update_check.hpp"

namespace zorvi::cli {
namespace {

// The whole feed from a file, or from standard input for "-" so a script can pipe a download in.
// Absent when it cannot be read; errno then says why.
std::optional<std::string> readFeed(const std::string& path) {
  std::FILE* file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (!file) return std::nullopt;
  std::string text;
  char buffer[16384];
  std::size_t count = 0;
  while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, count);
  const bool failed = std::ferror(file) != 0;
  const int error = errno;
  if (file != stdin) std::fclose(file);
  errno = error;
  if (failed) return std::nullopt;
  return text;
}

// The feed's URL comes from outside: control characters are percent-encoded so the answer stays one line.
std::string printable(std::string_view url) {
  std::string text;
  for (const char c : url) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      constexpr char hex[] = "0123456789ABCDEF";
      text += '%';
      text += hex[byte >> 4];
      text += hex[byte & 0xF];
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

int runUpdateCheck(const Arguments& arguments) {
  arguments.expect(2);
  const std::string& installed = arguments.operands[0];
  const std::string& feedPath = arguments.operands[1];

  const auto feed = readFeed(feedPath);
  if (!feed) return fail(feedPath, "filesystem", std::strerror(errno));
  UpdateManifest manifest;
  try {
    manifest = UpdateManifest::decode(*feed);
  } catch (const UpdateManifestDecodingError& error) {
    return fail(feedPath, "json", error.what());
  }

  const UpdateCheck::Result result = UpdateCheck::evaluate(installed, manifest);
  std::string answer;
  switch (result.kind()) {
    case UpdateCheck::Result::Case::updateAvailable:
      answer =
          "update available: " + result.version()->description() + " (" + printable(manifest.url) + ")\n";
      break;
    case UpdateCheck::Result::Case::upToDate:
      answer = "up to date\n";
      break;
    case UpdateCheck::Result::Case::unknown:
      answer = "unknown\n";
      break;
  }
  return printOut(answer) ? exitSuccess : fail("standard output", "filesystem", std::strerror(errno));
}

}  // namespace zorvi::cli
