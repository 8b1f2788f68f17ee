// zorvi: inspect, pack, unpack, draw and export Zorvi board files.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "cli.hpp"
#include "commands.hpp"
#include "help_output.hpp"
#include "own_lines.hpp"

namespace zorvi::cli {
namespace {

constexpr std::string_view forceText =
    "Replace the output even when it is a board file (any ZIP archive); without it such a file is refused. "
    "An input is never replaced.";

constexpr OptionHelp thumbnailOptions[] = {
    {"size", "N", "The longer side of the picture in points: a whole number from 1 to 32767; default 256."},
    {"scale", "S",
     "Pixels per point, for high-density screens: a number from 0.1 to 16; default 1. The picture's longer side "
     "is N × S pixels."},
    {"uncompressed", "",
     "Store the pixels without compression, for readers that decode the picture at once and keep their own copy "
     "(file managers); by default they are compressed quickly."},
    {"force", "", forceText},
    {"out-dir", "DIR",
     "Draw every BOARD given into DIR (made when missing), each picture named after its board with the "
     "extension .png, on several threads; a progress bar on a terminal, a line per board otherwise, then one line per "
     "failed board, and exit status 1 when any failed; by default one board is drawn, into OUT.png.",
     ValueKind::folder},
    {"jobs", "N",
     "With --out-dir, how many boards are drawn at once, also written -j N: a whole number from 1 to 256; "
     "default the number of processor cores."},
};

constexpr OptionHelp exportOptions[] = {
    {"format", "F",
     "The paper: a5, a4, a3, letter, legal or screen16x9; default the board's page setup, else a4. Pages and pdf only.",
     ValueKind::text, "a5 a4 a3 letter legal screen16x9"},
    {"orientation", "O", "portrait or landscape; default the board's page setup, else portrait. Pages and pdf only.",
     ValueKind::text, "portrait landscape"},
    {"cover", "",
     "Start with a cover page made from the board's header (title, client, model, date, location, notes) when "
     "it has one; default no cover. Pages and pdf only."},
    {"branding", "",
     "Put a footer on every page: the logo, the sender text and the page number as \"3 / 7\"; default no "
     "footer. Pages and pdf only."},
    {"margin", "", "Leave a white margin of 28 points around every page; default none. Pages and pdf only."},
    {"sender", "TEXT", "The footer's text, after the logo; default none. Pages and pdf only."},
    {"logo", "FILE",
     "The footer's picture: a JPEG, PNG, WebP or AVIF file, recognised by its bytes (anything else is "
     "refused); default none. Pages and pdf only.",
     ValueKind::file},
    {"label-client", "TEXT", "The label of the cover's client row; default \"Client\". Pages and pdf only."},
    {"label-model", "TEXT", "The label of the cover's model row; default \"Model\". Pages and pdf only."},
    {"label-date", "TEXT", "The label of the cover's date row; default \"Date\". Pages and pdf only."},
    {"label-location", "TEXT", "The label of the cover's location row; default \"Location\". Pages and pdf only."},
    {"compact", "",
     "Only fit the board into --max-edge, never enlarging it; by default the picture is as sharp as the board's "
     "most detailed image at its own resolution. Png only."},
    {"max-edge", "N", "The longest side of the picture in pixels: a whole number from 1 to 32767; default 8192. Png only."},
    {"force", "", forceText},
};

constexpr Command commands[] = {
    {.name = "info",
     .summary = "summarise a board: name, schema, items, entries, page setup, header",
     .usage = "BOARD",
     .run = runInfo,
     .description = "Prints the board's name, schema version, dates and item counts by type; each image item with "
                    "its entries, the detected format of its full image and what the board lacks; every image "
                    "and thumbnail entry with its size; the page setup and which header fields are present."},
    {.name = "manifest",
     .summary = "print a board's manifest as JSON",
     .usage = "BOARD",
     .run = runManifest,
     .description = "Prints the manifest as the library writes it: keys sorted, defaults filled in, unknown keys "
                    "gone."},
    {.name = "pack",
     .summary = "make a board from a folder holding manifest.json, images/ and thumbnails/",
     .usage = "DIR OUT",
     .run = runPack,
     .description = "The manifest must pass the same checks as when a board is read; images/ and thumbnails/ may "
                    "hold nested folders. OUT is replaced, even when it is a board, only once the new board is "
                    "complete and on disk, and keeps its permissions; a read-only OUT is refused."},
    {.name = "export",
     .summary = "write a board as one HTML page, as printable HTML pages, as a PDF to print, or as one PNG",
     .usage = "html BOARD OUT.html [--force]\n"
              "pages|pdf BOARD OUT [--format F] [--orientation O] [--cover] [--branding] [--margin] "
              "[--sender TEXT] [--logo FILE] [--label-client TEXT] [--label-model TEXT] [--label-date TEXT] "
              "[--label-location TEXT] [--force]\n"
              "png BOARD OUT.png [--compact] [--max-edge N] [--force]",
     .run = runExport,
     .description = "html writes one self-contained page: pictures as data URIs, drawings as inline SVG. pages "
                    "writes a printable document: the board cut into pages of its paper format, only the pages "
                    "that items reach. pdf writes the same pages as a PDF, one sheet per page at the paper's size, "
                    "with text kept as text and JPEG pictures as they are: use it to print. png writes the whole "
                    "board, captions included, as one opaque PNG.",
     .options = exportOptions,
     .outputOperand = 2},
    {.name = "unpack",
     .summary = "write a board's manifest, images and thumbnails into a folder",
     .usage = "BOARD DIR",
     .run = runUnpack,
     .description = "An entry whose path could lead outside DIR is refused, and then nothing is written."},
    {.name = "thumbnail",
     .summary = "draw a board into a PNG whose longer side is N × S pixels",
     .usage = "BOARD OUT.png [--size N] [--scale S] [--uncompressed] [--force]\n"
              "--out-dir DIR [--size N] [--scale S] [--uncompressed] [-j N] [--force] BOARD...",
     .run = runThumbnail,
     .description = "Draws the canvas, images, text, shapes with their titles and drawings in stacking order "
                    "into an opaque PNG. Exits 3 when the board has nothing to draw, 4 when the command's own "
                    "time or memory limit stops it.",
     .options = thumbnailOptions,
     .outputOperand = 1},
    {.name = "update-check",
     .summary = "compare VERSION with an update feed record (FEED.json - reads stdin)",
     .usage = "VERSION FEED.json",
     .run = runUpdateCheck,
     .description = "Prints \"update available: V (URL)\", \"up to date\" or \"unknown\"."},
};

void printLine(std::FILE* to, const std::string& line) { std::fputs((line + "\n").c_str(), to); }

// Options written "--name value" take the next word as their value.
std::string spacedValueOptions(const Command& command) {
  std::string names;
  for (const auto& option : command.options) {
    if (!option.value.empty()) names += (names.empty() ? "" : " ") + std::string(option.name);
  }
  return names;
}

// Every option value joins the operands as a possible input: --logo FILE names one.
void guardOutputOperand(const Command& command, Arguments& arguments) {
  if (arguments.options.contains("out-dir")) return;  // a batch of thumbnails guards each output itself
  const auto index = static_cast<std::size_t>(command.outputOperand);
  const bool forced = arguments.options.erase("force") > 0;
  if (command.outputOperand < 0 && forced) throw UsageError("unknown option --force");
  if (command.outputOperand < 0 || index >= arguments.operands.size()) return;  // run() names what is missing
  std::vector<std::string> inputs;
  for (std::size_t i = 0; i < arguments.operands.size(); ++i) {
    if (i != index) inputs.push_back(arguments.operands[i]);
  }
  for (const auto& [name, value] : arguments.options) inputs.push_back(value);
  guardOutput(arguments.operands[index], inputs, forced);
}

int dispatch(std::span<char* const> words) {
  if (words.empty()) {
    std::fputs(overview(commands).c_str(), stderr);
    return exitUsage;
  }
  const std::string_view name = words[0];
  if (name == "--help" || name == "-h" || name == "help") return printOut(overview(commands)) ? exitSuccess : exitFailure;
  if (name == "--version") return printOut("zorvi " ZORVI_VERSION "\n") ? exitSuccess : exitFailure;
  // Hidden: the build makes the manual page and the shell completion from the same texts as --help.
  if (name == "--manual-page") return printOut(manualPage(commands, ZORVI_VERSION)) ? exitSuccess : exitFailure;
  if (name == "--bash-completion") return printOut(bashCompletion(commands)) ? exitSuccess : exitFailure;
  for (const auto& command : commands) {
    if (command.name != name) continue;
    try {
      Arguments arguments = parseArguments(words.subspan(1), spacedValueOptions(command));
      if (arguments.options.contains("help")) return printOut(commandHelp(command)) ? exitSuccess : exitFailure;
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

namespace {

// Boards are read where they lie in the mapped file, so another program cutting one short while it is
// read faults the read. That ends the command with one line, as an unreadable board does; outputs only
// appear once complete, so none is left half-written.
void onBoardCutShort(int) {
  constexpr char line[] = "zorvi: a board file was cut short by another program while it was being read\n";
  if (write(zorvi::cli::ownLinesFd(), line, sizeof line - 1) < 0) _exit(1);
  _exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  struct sigaction action {};
  action.sa_handler = onBoardCutShort;
  sigaction(SIGBUS, &action, nullptr);
  return zorvi::cli::dispatch(std::span<char* const>(argv, static_cast<std::size_t>(argc)).subspan(1));
}
