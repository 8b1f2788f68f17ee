// zorvi: inspect, pack and unpack Zorvi board files.
#include <cstdio>
#include <span>
#include <string>

#include "cli.hpp"
#include "commands.hpp"

namespace zorvi::cli {
namespace {

constexpr Command commands[] = {
    {"info", "summarise a board: name, schema, items, entries, page setup, header", "BOARD", runInfo},
    {"manifest", "print a board's manifest as JSON", "BOARD", runManifest},
    {"pack", "make a board from a folder holding manifest.json, images/ and thumbnails/", "DIR OUT", runPack},
    {"export", "write a board as one HTML page, as printable HTML pages, as a PDF to print, or as one PNG",
     "html|pages|pdf BOARD OUT [--format F] [--orientation O] [--cover] [--branding] [--margin] [--sender TEXT] "
     "[--logo FILE] [--label-client TEXT] [--label-model TEXT] [--label-date TEXT] [--label-location TEXT] | "
     "png BOARD OUT.png [--compact] [--max-edge N]",
     runExport, "format orientation sender logo label-client label-model label-date label-location max-edge",
     exportHelp},
    {"unpack", "write a board's manifest, images and thumbnails into a folder", "BOARD DIR", runUnpack},
    {"thumbnail", "draw a board into a PNG whose longer side is N × S pixels", "BOARD OUT.png [--size N] [--scale S] [--uncompressed]",
     runThumbnail, "size scale"},
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

int dispatch(std::span<char* const> words) {
  if (words.empty()) return printOverview(stderr);
  const std::string_view name = words[0];
  if (name == "--help" || name == "-h" || name == "help") return printOverview(stdout);
  for (const auto& command : commands) {
    if (command.name != name) continue;
    try {
      const Arguments arguments = parseArguments(words.subspan(1), command.spacedValueOptions);
      if (arguments.options.contains("help")) {
        printLine(stdout, usageLine(command) + "\n" + std::string(command.summary) +
                              (command.details ? "\n\n" + command.details() : std::string()));
        return exitSuccess;
      }
      return command.run(arguments);
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
