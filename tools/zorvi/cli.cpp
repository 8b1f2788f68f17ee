#include "cli.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>

#include "zorvi/board_archive.hpp"
#include "zorvi/manifest_coding.hpp"

namespace zorvi::cli {

void Arguments::expect(std::size_t count, std::initializer_list<std::string_view> known) const {
  for (const auto& [name, value] : options) {
    bool listed = false;
    for (auto option : known) listed = listed || option == name;
    if (!listed) throw UsageError("unknown option --" + name);
  }
  if (operands.size() != count)
    throw UsageError("expected " + decimal(count) + (count == 1 ? " operand" : " operands"));
}

namespace {

bool takesSpacedValue(std::string_view name, std::string_view spacedValueOptions) {
  while (!spacedValueOptions.empty()) {
    const auto end = std::min(spacedValueOptions.find(' '), spacedValueOptions.size());
    if (spacedValueOptions.substr(0, end) == name) return true;
    spacedValueOptions.remove_prefix(std::min(end + 1, spacedValueOptions.size()));
  }
  return false;
}

}  // namespace

Arguments parseArguments(std::span<char* const> words, std::string_view spacedValueOptions) {
  Arguments arguments;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (optionsEnded || !word.starts_with("-") || word == "-") {
      arguments.operands.emplace_back(word);
    } else if (word == "--") {
      optionsEnded = true;
    } else if (word.starts_with("--")) {
      const auto equals = word.find('=');
      const auto name =
          word.substr(2, equals == std::string_view::npos ? std::string_view::npos : equals - 2);
      if (equals == std::string_view::npos && takesSpacedValue(name, spacedValueOptions)) {
        if (i + 1 == words.size()) throw UsageError("--" + std::string(name) + " needs a value");
        arguments.options[std::string(name)] = words[++i];
        continue;
      }
      arguments.options[std::string(name)] =
          equals == std::string_view::npos ? "" : std::string(word.substr(equals + 1));
    } else if (word == "-h") {
      arguments.options["help"] = "";
    } else if (word.starts_with("-j")) {
      if (word == "-j" && i + 1 == words.size()) throw UsageError("-j needs a value");
      arguments.options["jobs"] = word == "-j" ? words[++i] : word.substr(2);
    } else {
      throw UsageError("unknown option " + std::string(word));
    }
  }
  return arguments;
}

namespace {

std::string numberText(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return std::string(digits, end);
}

}  // namespace

double numberOption(const Arguments& arguments, std::string_view name, double fallback, double least,
                    double most, bool whole) {
  const auto found = arguments.options.find(name);
  if (found == arguments.options.end()) return fallback;
  const std::string& text = found->second;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool ok = error == std::errc() && end == text.data() + text.size() && value >= least &&
                  value <= most && (!whole || value == std::floor(value));
  if (!ok) {
    throw UsageError("--" + std::string(name) + " takes " + (whole ? "a whole number" : "a number") +
                     " from " + numberText(least) + " to " + numberText(most) + ", not '" + text + "'");
  }
  return value;
}

namespace {

std::string errorLine(const std::filesystem::path& path, std::string_view kind, std::string_view detail) {
  std::string line = "zorvi: " + path.string() + ": " + std::string(kind) + ": ";
  for (const char c : detail) line += c == '\n' || c == '\r' ? ' ' : c;
  return line + '\n';
}

}  // namespace

int fail(const std::filesystem::path& path, std::string_view kind, std::string_view detail) {
  const std::string line = errorLine(path, kind, detail);
  std::fwrite(line.data(), 1, line.size(), stderr);
  return exitFailure;
}

namespace {

// A board that could not be opened is archiveCorrupt whatever the reason; when the reason is the file
// itself, the line says so in words rather than as a bare system message.
std::string openFailureDetail(const std::filesystem::path& path, const std::string& underlying) {
  struct stat status {};
  int code = 0;
  if (::stat(path.c_str(), &status) != 0) {
    code = errno;
  } else if (S_ISDIR(status.st_mode)) {
    code = EISDIR;
  } else if (::access(path.c_str(), R_OK) != 0) {
    code = errno;
  }
  if (code == 0 || underlying != std::strerror(code)) return underlying;
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return "no such file";
    case EISDIR:
      return "a folder, not a board file";
    default:
      return "cannot read the file (" + underlying + ")";
  }
}

std::string boardErrorDetail(const std::filesystem::path& path, const BoardArchiveError& error) {
  switch (error.kind()) {
    case BoardArchiveError::Case::unsupportedSchemaVersion:
      return "found " + decimal(error.found()) + ", supported " + decimal(error.supported());
    case BoardArchiveError::Case::manifestMissing:
      return "no manifest.json entry";
    case BoardArchiveError::Case::archiveCorrupt:
      return openFailureDetail(path, error.underlying());
    default:
      return error.underlying();
  }
}

}  // namespace

std::string failureLine(const std::filesystem::path& path, const std::function<void()>& body) {
  try {
    body();
    return {};
  } catch (const BoardArchiveError& error) {
    return errorLine(path, error.caseName(), boardErrorDetail(path, error));
  } catch (const ManifestEncodingError& error) {
    return errorLine(path, "json", error.what());
  } catch (const ZipError& error) {
    return errorLine(path, "zip", error.what());
  } catch (const std::filesystem::filesystem_error& error) {
    const auto& where = error.path1();
    const bool elsewhere = !where.empty() && where != path;
    return errorLine(path, "filesystem", (elsewhere ? where.string() + ": " : "") + error.code().message());
  } catch (const std::system_error& error) {
    return errorLine(path, "filesystem", error.code().message());
  } catch (const std::bad_alloc&) {
    return errorLine(path, "memory", "out of memory");
  }
}

int reportingFailures(const std::filesystem::path& path, const std::function<void()>& body) {
  const std::string line = failureLine(path, body);
  if (line.empty()) return exitSuccess;
  std::fwrite(line.data(), 1, line.size(), stderr);
  return exitFailure;
}

bool looksLikeBoard(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  char start[4] = {};
  const bool zip = ::read(fd, start, sizeof start) == sizeof start &&
                   (std::memcmp(start, "PK\x03\x04", 4) == 0 || std::memcmp(start, "PK\x05\x06", 4) == 0);
  ::close(fd);
  return zip;
}

void guardOutput(const std::filesystem::path& output, std::span<const std::string> inputs, bool forced) {
  for (const auto& input : inputs) {
    std::error_code error;
    if (std::filesystem::equivalent(output, input, error)) {
      throw Refusal(output.string() + " is also an input; name another output file");
    }
  }
  if (!forced && looksLikeBoard(output)) {
    throw Refusal(output.string() + " is a board file (a ZIP archive) and is not replaced without --force");
  }
}

bool printOut(std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

std::vector<std::uint8_t> readWholeFile(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    throw std::filesystem::filesystem_error("cannot read", path,
                                            std::error_code(errno, std::generic_category()));
  std::vector<std::uint8_t> bytes;
  std::uint8_t chunk[65536];
  for (;;) {
    const ssize_t got = ::read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const std::error_code error(errno, std::generic_category());
      ::close(fd);
      throw std::filesystem::filesystem_error("cannot read", path, error);
    }
    if (got == 0) break;
    bytes.insert(bytes.end(), chunk, chunk + got);
  }
  ::close(fd);
  return bytes;
}

}  // namespace zorvi::cli
