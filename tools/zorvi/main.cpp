// zorvi: inspect, pack and unpack Zorvi board files.
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "cli.hpp"
#include "commands.hpp"

namespace zorvi::cli {
namespace {

constexpr Command commands[] = {
    {"info", "summarise a board: name, schema, items, entries, page setup, header", "BOARD", runInfo},
    {"manifest", "print a board's manifest as JSON", "BOARD", runManifest},
    {"pack", "make a board from a folder holding manifest.json, images/ and thumbnails/", "DIR OUT", runPack},
    {"export", "write a board as one HTML page, or as printable HTML pages",
     "html|pages BOARD OUT.html [--format F] [--orientation O] [--cover] [--branding] [--margin] [--sender TEXT] "
     "[--logo FILE] [--label-client TEXT] [--label-model TEXT] [--label-date TEXT] [--label-location TEXT]",
     runExport, "format orientation sender logo label-client label-model label-date label-location", 2},
    {"unpack", "write a board's manifest, images and thumbnails into a folder", "BOARD DIR", runUnpack},
    {"thumbnail", "draw a board into a PNG whose longer side is N × S pixels", "BOARD OUT.png [--size N] [--scale S] [--uncompressed]",
     runThumbnail, "size scale", 1},
    {"update-check", "compare VERSION with an update feed record (FEED.json - reads stdin)", "VERSION FEED.json",
     runUpdateCheck},
};

void printLine(std::FILE* to, const std::string& line) { std::fputs((line + "\n").c_str(), to); }

std::string usageLine(const Command& command) {
  return "usage: zorvi " + std::string(command.name) + " " + std::string(command.usage);
}

int printOverview(std::FILE* to) {
  std::string text = "usage: zorvi COMMAND ARGUMENTS (zorvi COMMAND --help for one command)\n\ncommands:\n";
  for (const auto& command : commands) {
    text += "  " + std::string(command.name) + std::string(command.name.size() < 14 ? 14 - command.name.size() : 1, ' ') +
            std::string(command.summary) + "\n";
  }
  std::fputs(text.c_str(), to);
  return to == stdout ? exitSuccess : exitUsage;
}

// Every option value joins the operands as a possible input: --logo FILE names one.
void guardOutputOperand(const Command& command, Arguments& arguments) {
  if (arguments.options.contains("out-dir")) return;  // a batch of thumbnails guards each output itself
  const auto index = static_cast<std::size_t>(command.outputOperand);
  const bool forced = arguments.options.erase("force") > 0;
  if (command.outputOperand < 0 || index >= arguments.operands.size()) {
    if (forced) throw UsageError("unknown option --force");
    return;
  }
  std::vector<std::string> inputs;
  for (std::size_t i = 0; i < arguments.operands.size(); ++i) {
    if (i != index) inputs.push_back(arguments.operands[i]);
  }
  for (const auto& [name, value] : arguments.options) inputs.push_back(value);
  guardOutput(arguments.operands[index], inputs, forced);
}

int dispatch(std::span<char* const> words) {
  if (words.empty()) return printOverview(stderr);
  const std::string_view name = words[0];
  if (name == "--help" || name == "-h" || name == "help") return printOverview(stdout);
  for (const auto& command : commands) {
    if (command.name != name) continue;
    try {
      Arguments arguments = parseArguments(words.subspan(1), command.spacedValueOptions);
      if (arguments.options.contains("help")) {
        printLine(stdout, usageLine(command) + "\n" + std::string(command.summary));
        return exitSuccess;
      }
      guardOutputOperand(command, arguments);
      return command.run(arguments);
    } catch (const Refusal& error) {
      printLine(stderr, "zorvi " + std::string(name) + ": " + error.what());
      return exitUsage;
    } catch (const UsageError& error) {
      printLine(stderr, "zorvi " + std::string(name) + ": " + error.what() + "; " + usageLine(command));
      return exitUsage;
    }
  }
  printLine(stderr, "zorvi: unknown command '" + std::string(name) + "'; usage: zorvi COMMAND ARGUMENTS (see zorvi --help)");
  return exitUsage;
}

}  // namespace
}  // namespace zorvi::cli

int main(int argc, char** argv) {
  return zorvi::cli::dispatch(std::span<char* const>(argv, static_cast<std::size_t>(argc)).subspan(1));
}
