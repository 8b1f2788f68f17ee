// The texts made from the command table: `zorvi --help`, `zorvi COMMAND --help`, the manual page and
// the bash completion, so that all of them say the same.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli.hpp"

namespace zorvi::cli {

// "usage: zorvi NAME FORM" with the command's first usage form: for the one line of a usage error.
std::string usageLine(const Command& command);

// The list of commands, for `zorvi --help`.
std::string overview(std::span<const Command> commands);

// Every usage form, the summary and description, and each option with its whole text, wrapped for a terminal.
std::string commandHelp(const Command& command);

// The manual page zorvi(1) in roff.
std::string manualPage(std::span<const Command> commands, std::string_view version);

// A bash completion script: commands, each command's options, fixed option values, and board files.
std::string bashCompletion(std::span<const Command> commands);

}  // namespace zorvi::cli
