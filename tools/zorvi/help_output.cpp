#include "help_output.hpp"

#include <vector>

namespace zorvi::cli {
namespace {

constexpr std::string_view summaryLine = "inspect, pack, unpack, draw and export Zorvi board files";

constexpr std::pair<std::string_view, std::string_view> exitStatuses[] = {
    {"0", "Done."},
    {"1",
     "A board could not be read or written, said in one line on standard error, \"zorvi: PATH: CASE: DETAIL\", "
     "where CASE is manifestMalformed, unsupportedSchemaVersion, archiveCorrupt (also for a missing or "
     "unreadable file) or manifestMissing, or json, zip or filesystem for other failures of writing."},
    {"2",
     "The command line does not fit (an option out of range states its range), or the output would destroy a "
     "board: an input, or an existing board without --force."},
    {"3", "thumbnail: the board has nothing to draw."},
    {"4", "thumbnail: the command's own time or memory limit stopped it (a hostile board)."},
};

// The forms of a command's usage, one per line of the table's text.
std::vector<std::string_view> usageForms(const Command& command) {
  std::vector<std::string_view> forms;
  std::string_view rest = command.usage;
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    forms.push_back(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return forms;
}

// Words joined into lines of at most 100 columns, each line but the first starting with `indent`; the
// first starts with `first`.
std::string wrapped(std::string_view text, std::string_view indent, std::string_view first) {
  constexpr std::size_t width = 100;
  std::string out, line(first);
  while (!text.empty()) {
    const auto space = text.find(' ');
    const auto word = text.substr(0, space);
    text = space == std::string_view::npos ? std::string_view() : text.substr(space + 1);
    const bool lineStarted = out.empty() ? line.size() > first.size() : line.size() > indent.size();
    if (lineStarted && line.size() + 1 + word.size() > width) {
      out += line + "\n";
      line = indent;
    }
    const bool separate = out.empty() ? line.size() > first.size() : line.size() > indent.size();
    if (separate) line += ' ';
    line += word;
  }
  return out + line + "\n";
}

// Appended piece by piece: GCC 12 at -O2 takes "literal" + string for an overlapping copy (-Wrestrict).
std::string optionSynopsis(const OptionHelp& option) {
  std::string synopsis = "--";
  synopsis += option.name;
  if (!option.value.empty()) {
    synopsis += ' ';
    synopsis += option.value;
  }
  return synopsis;
}

// Text as roff reads it: backslashes and hyphens kept literal, no line taken for a request.
std::string roff(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) {
      out += "\\&";
      out += c;
    } else if (text.substr(i).starts_with("×")) {
      out += "\\(mu";
      i += std::string_view("×").size() - 1;
    } else {
      out += c;
    }
  }
  return out;
}

std::string capitalised(std::string_view text) {
  std::string out(text);
  if (!out.empty() && out[0] >= 'a' && out[0] <= 'z') out[0] = static_cast<char>(out[0] - 'a' + 'A');
  return out;
}

// Words after a command that pick its form, as "html pages" for export: first words in lower case.
std::string formWords(const Command& command) {
  std::string words;
  for (const auto form : usageForms(command)) {
    // A form opens with its kind, or with kinds that share it ("pages|pdf").
    const auto word = form.substr(0, form.find(' '));
    bool lower = !word.empty();
    for (const char c : word) lower = lower && ((c >= 'a' && c <= 'z') || c == '-' || c == '|');
    if (!lower) continue;
    for (std::string_view rest = word; !rest.empty();) {
      const auto end = std::min(rest.find('|'), rest.size());
      words += (words.empty() ? "" : " ") + std::string(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return words;
}

}  // namespace

std::string usageLine(const Command& command) {
  return "usage: zorvi " + std::string(command.name) + " " + std::string(usageForms(command).front());
}

std::string overview(std::span<const Command> commands) {
  std::string text = "usage: zorvi COMMAND ARGUMENTS (zorvi COMMAND --help for one command)\n"
                     "       zorvi --version\n\ncommands:\n";
  for (const auto& command : commands) {
    text += "  " + std::string(command.name) + std::string(command.name.size() < 14 ? 14 - command.name.size() : 1, ' ') +
            std::string(command.summary) + "\n";
  }
  return text;
}

std::string commandHelp(const Command& command) {
  std::string text;
  std::string_view lead = "usage: ";
  for (const auto form : usageForms(command)) {
    text += wrapped(form, "         ", std::string(lead) + "zorvi " + std::string(command.name) + " ");
    lead = "       ";
  }
  text += "\n" + wrapped(capitalised(command.summary) + ". " + std::string(command.description), "", "");
  if (!command.options.empty()) text += "\noptions:\n";
  for (const auto& option : command.options) {
    text += "  ";
    text += optionSynopsis(option);
    text += '\n';
    text += wrapped(option.text, "      ", "      ");
  }
  return text;
}

std::string manualPage(std::span<const Command> commands, std::string_view version) {
  std::string page = ".TH ZORVI 1 \"\" \"zorvi " + roff(version) + "\" \"User Commands\"\n";
  page += ".SH NAME\nzorvi \\- " + roff(summaryLine) + "\n";
  page += ".SH SYNOPSIS\n.B zorvi\n.I COMMAND\n.RI [ ARGUMENTS ]\n.br\n.B zorvi \\-\\-help\n.br\n"
          ".B zorvi \\-\\-version\n";
  page += ".SH DESCRIPTION\n" +
          roff("A board (.zorvi) is a ZIP archive holding the document as JSON (manifest.json), the full images "
               "under images/ and reduced copies under thumbnails/. zorvi reads and writes boards from the "
               "shell, and draws their thumbnails for file managers. Every command takes --help; options with "
               "a value may also be written --name=VALUE. No command leaves a half-written output file.") +
          "\n.SH COMMANDS\n";
  for (const auto& command : commands) {
    page += ".SS " + roff(command.name) + "\n";
    for (const auto form : usageForms(command)) {
      page += ".B zorvi " + roff(command.name) + "\n" + roff(form) + "\n.br\n";
    }
    page += ".PP\n" + roff(capitalised(command.summary) + ". " + std::string(command.description)) + "\n";
    for (const auto& option : command.options) {
      page += ".TP\n.B " + roff(optionSynopsis(option)) + "\n" + roff(option.text) + "\n";
    }
  }
  page += ".SH EXIT STATUS\n";
  for (const auto& [status, meaning] : exitStatuses) page += ".TP\n.B " + std::string(status) + "\n" + roff(meaning) + "\n";
  page += ".SH FILES\n.TP\n.I /usr/share/thumbnailers/zorvi.thumbnailer\n" +
          roff("tells file managers to run zorvi thumbnail for boards") +
          "\n.TP\n.I /usr/share/mime/packages/zorvi\\-mime.xml\n" + roff("the board type, application/x-zorvi-board") +
          "\n.SH SEE ALSO\n.BR update\\-mime\\-database (1)\n";
  return page;
}

std::string bashCompletion(std::span<const Command> commands) {
  std::string names = "--help --version";
  std::string optionCases, valueCases, formCases;
  for (const auto& command : commands) {
    const std::string name(command.name);
    names += " " + name;
    std::string options;
    for (const auto& option : command.options) {
      options += optionSynopsis({option.name, "", ""}) + " ";
      if (option.value.empty()) continue;
      const std::string pattern = "        " + name + ":--" + std::string(option.name) + ") ";
      if (!option.choices.empty()) {
        valueCases += pattern + "COMPREPLY=($(compgen -W '" + std::string(option.choices) + "' -- \"$cur\")); return ;;\n";
      } else if (option.kind == ValueKind::file) {
        valueCases += pattern + "_filedir; return ;;\n";
      } else if (option.kind == ValueKind::folder) {
        valueCases += pattern + "_filedir -d; return ;;\n";
      } else {
        valueCases += pattern + "return ;;\n";
      }
    }
    optionCases += "        " + name + ") options='" + options + "--help' ;;\n";
    if (const std::string words = formWords(command); !words.empty()) {
      formCases += "        " + name + ") if ((cword == 2)); then COMPREPLY=($(compgen -W '" + words +
                   "' -- \"$cur\")); return; fi ;;\n";
    }
  }
  return "# bash completion for zorvi(1), made by zorvi --bash-completion\n"
         "_zorvi() {\n"
         "    local cur prev words cword split\n"
         "    _init_completion -s || return\n"
         "    if ((cword == 1)); then\n"
         "        COMPREPLY=($(compgen -W '" + names + "' -- \"$cur\"))\n"
         "        return\n"
         "    fi\n"
         "    local options=\n"
         "    case ${words[1]} in\n" + optionCases + "    esac\n"
         "    case ${words[1]}:$prev in\n" + valueCases + "    esac\n"
         "    $split && return\n"
         "    if [[ $cur == -* ]]; then\n"
         "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
         "        return\n"
         "    fi\n"
         "    case ${words[1]} in\n" + formCases + "    esac\n"
         "    _filedir zorvi\n"
         "}\n"
         "complete -F _zorvi zorvi\n";
}

}  // namespace zorvi::cli
