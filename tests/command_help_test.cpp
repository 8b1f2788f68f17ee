// What the command says about itself: its version, each command's options in --help, the manual page
// and the bash completion made from the same texts.
#include <gtest/gtest.h>

#include <regex>

#include "support/command_test.hpp"

namespace zorvi {
namespace {

namespace fs = std::filesystem;

using testing::readText;

const fs::path manualPage = fs::path(ZORVI_BINARY_DIR) / "tools/zorvi/zorvi.1";
const fs::path completion = fs::path(ZORVI_BINARY_DIR) / "tools/zorvi/zorvi.bash-completion";
const std::string quietZorvi = "LSAN_OPTIONS=\"$LSAN_OPTIONS:print_suppressions=0\" " + testing::quoted(ZORVI_COMMAND);

class CommandHelp : public testing::CommandTest {
 protected:
  // Standard output and standard error of a shell line, together, and its exit status.
  std::pair<int, std::string> run(const std::string& line) const {
    const testing::CommandRun done = testing::runShell("(" + line + ") 2>&1", work.path);
    return {done.status, done.out};
  }
};

TEST_F(CommandHelp, VersionAndEveryOptionOfEveryCommand) {
  EXPECT_EQ(run(quietZorvi + " --version"), std::make_pair(0, std::string("zorvi " ZORVI_VERSION "\n")));
  const auto [helpStatus, overview] = run(quietZorvi + " --help");
  EXPECT_EQ(helpStatus, 0);
  EXPECT_TRUE(overview.starts_with("usage: zorvi COMMAND")) << overview;
  const std::string manual = readText(manualPage);
  std::size_t options = 0;
  const std::regex commandLine("\n  ([a-z-]+) +");
  for (std::sregex_iterator it(overview.begin(), overview.end(), commandLine), end; it != end; ++it) {
    const std::string command = (*it)[1];
    SCOPED_TRACE(command);
    const auto [status, help] = run(quietZorvi + " " + command + " --help");
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(help.starts_with("usage: zorvi " + command + " ")) << help;
    EXPECT_NE(manual.find(".SS " + std::regex_replace(command, std::regex("-"), "\\-") + "\n"), std::string::npos);
    // "  --name VALUE" and the sentences below it, up to the next option.
    const std::regex optionEntry("  --([a-z-]+)( [A-Z]+)?\n((      .*\n)+)");
    for (std::sregex_iterator option(help.begin(), help.end(), optionEntry), none; option != none; ++option) {
      const std::string name = (*option)[1], value = (*option)[2], text = (*option)[3];
      SCOPED_TRACE(name);
      ++options;
      if (!value.empty()) {
        EXPECT_NE(text.find("default"), std::string::npos) << text;
      }
      EXPECT_NE(manual.find(".B \\-\\-" + std::regex_replace(name, std::regex("-"), "\\-")), std::string::npos);
      // Documented options are accepted: the failure is about the missing operands, never the option.
      const std::string refused = run(quietZorvi + " " + command + " --" + name + (value.empty() ? "" : " 1")).second;
      EXPECT_EQ(refused.find("unknown option"), std::string::npos) << refused;
    }
  }
  EXPECT_GE(options, 16u);
  EXPECT_EQ(run("man --warnings -l " + testing::quoted(manualPage) + " > /dev/null"), std::make_pair(0, std::string()));
}

TEST_F(CommandHelp, BashCompletionOffersCommandsOptionsValuesAndBoards) {
  testing::writeFile(work.path / "a.zorvi", std::string("PK"));
  testing::writeFile(work.path / "notes.txt", std::string("text"));
  fs::create_directories(work.path / "folder");
  const struct {
    const char* line;  // what is typed before the tab
    const char* offered;
  } rows[] = {
      {"zorvi thu", "thumbnail"},
      {"zorvi --v", "--version"},
      {"zorvi thumbnail --s", "--scale --size"},
      {"zorvi info --", "--help"},
      {"zorvi export --format l", "legal letter"},
      {"zorvi export --orientation ", "landscape portrait"},
      {"zorvi export ", "html pages pdf png"},
      {"zorvi thumbnail --size ", ""},
      {"zorvi info ", "a.zorvi folder"},
      {"zorvi export pages a.zorvi out.html --logo n", "notes.txt"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    const std::string script =
        "source /usr/share/bash-completion/bash_completion; source " + testing::quoted(completion) +
        "; COMP_LINE=\"$1\"; COMP_POINT=${#COMP_LINE}; read -ra COMP_WORDS <<< \"$COMP_LINE\";"
        " [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=(''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zorvi;"
        " printf '%s\\n' \"${COMPREPLY[@]}\" | sort | paste -sd ' '";
    const auto [status, offered] = run("bash -c " + testing::quoted(script) + " _ " + testing::quoted(row.line));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(offered, std::string(row.offered) + "\n");
  }
}

}  // namespace
}  // namespace zorvi
