// What the subcommands of `zorvi` share: their table entry, arguments, exit codes and the error line.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zorvi::cli {

enum ExitCode : int { exitSuccess = 0, exitFailure = 1, exitUsage = 2 };

// The arguments after a subcommand's name: options written "--name" or "--name=value", and operands.
// "--" ends the options; "-" alone is an operand; "-j N" and "-jN" are "--jobs N".
struct Arguments {
  std::vector<std::string> operands;
  std::map<std::string, std::string, std::less<>> options;

  // Throws UsageError unless there are exactly `count` operands and every option is one of `known`.
  void expect(std::size_t count, std::initializer_list<std::string_view> known = {}) const;
};

// A command line that does not fit the subcommand; main prints the usage line and exits with 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A command line that would destroy a board; main prints only the reason and exits with 2.
class Refusal : public UsageError {
 public:
  using UsageError::UsageError;
};

// What the shell offers after an option that takes a value.
enum class ValueKind { text, file, folder };

// One option of a subcommand, as `--help`, the manual page and the shell completion show it.
struct OptionHelp {
  std::string_view name;   // without the dashes, as "size"
  std::string_view value;  // the placeholder of its value, as "N"; empty for a switch
  std::string_view text;   // what it does, its default and its range, in sentences
  ValueKind kind = ValueKind::text;
  std::string_view choices = "";  // the accepted words, separated by spaces, when there is a fixed list
};

// One subcommand: adding one is a file with its run function plus an entry in main.cpp's table, whose
// texts are the only source of `--help`, the manual page and the shell completion.
struct Command {
  std::string_view name;
  std::string_view summary;  // one line for `zorvi --help`
  // The operands and options after the name, as in "BOARD OUT [--size N]"; further forms on further lines.
  std::string_view usage;
  int (*run)(const Arguments& arguments);
  std::string_view description = "";  // what it does beyond the summary, in sentences
  std::span<const OptionHelp> options = {};
  // The operand naming the file the command writes, or -1; main guards it (see guardOutput).
  int outputOperand = -1;
};

// Throws Refusal when writing `output` would destroy a board: when it is one of `inputs` (no option
// allows that), or an existing board file, unless `forced`.
void guardOutput(const std::filesystem::path& output, std::span<const std::string> inputs, bool forced);

// True when the file at path starts like a ZIP archive, which every board is.
bool looksLikeBoard(const std::filesystem::path& path);

// The value of option `name`, or `fallback` when it is absent. Throws UsageError, stating the range,
// unless the value is a number from `least` to `most` (a whole one when `whole`).
double numberOption(const Arguments& arguments, std::string_view name, double fallback, double least, double most,
                    bool whole);

// Splits words into options and operands; an option named in spacedValueOptions and written without
// "=" takes the next word as its value.
Arguments parseArguments(std::span<char* const> words, std::string_view spacedValueOptions = "");

// Runs `body`, turning a failure into the single line "zorvi: PATH: CASE: DETAIL" on stderr and exit 1.
// CASE is the board error's case name, or json, zip or filesystem for the other errors of writing.
int reportingFailures(const std::filesystem::path& path, const std::function<void()>& body);

// Runs `body` like reportingFailures, but gives back the line (with its "\n") instead of printing it:
// empty when `body` succeeded.
std::string failureLine(const std::filesystem::path& path, const std::function<void()>& body);

// Prints "zorvi: PATH: CASE: DETAIL" (line breaks in DETAIL become spaces) and returns exitFailure.
int fail(const std::filesystem::path& path, std::string_view kind, std::string_view detail);

// The decimal digits of an integer, independent of the locale.
template <std::integral T>
std::string decimal(T value) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return std::string(digits, end);
}

// Writes all of `text` to standard output; false when it could not (a closed pipe, a full disk).
bool printOut(std::string_view text);

// The whole file's bytes; throws std::filesystem::filesystem_error when it can't be read.
std::vector<std::uint8_t> readWholeFile(const std::filesystem::path& path);

}  // namespace zorvi::cli
