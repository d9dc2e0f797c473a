// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the program quorra says about itself: help, suggestions, completion in shells.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {
namespace {

Outcome at_width(const Arguments& arguments, const std::string& columns) {
  return run_quorra(arguments, {.input = {}, .streams = {}, .environment = {{"COLUMNS", columns}}});
}

std::set<std::string> lines_of(const std::string& text) {
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.insert(line);
  return lines;
}

// ---- Help

TEST_F(CommandLine, HelpTellsAboutACommand) {
  const Outcome all = run_quorra({"help"});
  EXPECT_EQ(all.output, run_quorra({"--help"}).output);
  EXPECT_EQ(run_quorra({"help", "read"}).output, run_quorra({"read", "--help"}).output);
  EXPECT_EQ(run_quorra({"help", "speed", "set"}).output,
            run_quorra({"speed", "set", "--help"}).output);
  EXPECT_NE(run_quorra({"help", "speed", "set"}).output.find("Usage: quorra speed set "),
            std::string::npos);
  EXPECT_EQ(run_quorra({"help", "help"}).status, 0);
  expect_error(run_quorra({"help", "sped"}), 2,
               "quorra: sped: there is no such command; did you mean 'speed'?\n");
  expect_error(run_quorra({"help", "speed", "fly"}), 2,
               "quorra: speed fly: there is no such command\n");
}

TEST_F(CommandLine, HelpFitsTheTerminal) {
  for (const Arguments& command :
       {Arguments{"help"}, {"help", "read"}, {"help", "speed", "find"}}) {
    for (const std::string columns : {"40", "80", "120"}) {
      std::istringstream lines(at_width(command, columns).output);
      const std::size_t width = std::stoul(columns);
      std::size_t longest = 0;
      for (std::string line; std::getline(lines, line);)
        longest = std::max(longest, line.size());
      EXPECT_LE(longest, width);
      EXPECT_GT(longest, width - 20);
    }
  }
  // What is no number, or none, does not count.
  for (const std::string columns : {"", "x", "0", "-3"}) {
    EXPECT_EQ(at_width({"help"}, columns).output, at_width({"help"}, "80").output);
  }
}

// ---- Suggestions

TEST_F(CommandLine, MistypedWordsGetTheNearestOne) {
  const auto expect_suggestion = [](const Arguments& arguments, const std::string& words) {
    expect_error(run_quorra(arguments), 2, "quorra: " + words + " See quorra --help\n");
  };
  const std::string unexpected = "The following argument was not expected: ";
  expect_suggestion({"raed"}, unexpected + "raed; did you mean 'read'?");
  expect_suggestion({"raed", "--help"}, unexpected + "raed; did you mean 'read'?");
  expect_suggestion({"verfy"}, unexpected + "verfy; did you mean 'verify'?");
  expect_suggestion({"speed", "fnid"}, unexpected + "fnid; did you mean 'find'?");
  expect_suggestion({"write", "--fil", "00"}, unexpected + "--fil; did you mean '--file'?");
  expect_suggestion({"read", "--adress=3"}, unexpected + "--adress=3; did you mean '--address'?");
  expect_suggestion({"read", "--vitual", "x"},
                    "The following arguments were not expected: --vitual x; did you mean "
                    "'--virtual'?");
  // Nothing is near.
  expect_error(run_quorra({"xyzzy"}), 2, "quorra: " + unexpected + "xyzzy; see quorra --help\n");
  EXPECT_NE(run_quorra({"read", "--card", "24c61"}).errors.find("did you mean '24c16'? There are "),
            std::string::npos);
}

TEST_F(CommandLine, KindsAreNamedInUpperOrLowerCase) {
  const std::string image = new_card("24c16");
  const Arguments read = {"read", "--virtual", image, "--count", "1", "--card"};
  EXPECT_EQ(run_quorra(read + Arguments{"24C16"}).status, 0);
  EXPECT_EQ(run_quorra(read + Arguments{"24c16"}).status, 0);
}

// ---- Completion

// The shells find the program on their path.
class Completion : public CommandLine {
 protected:
  Completion() {
    std::filesystem::create_directories(folder / "bin");
    std::filesystem::create_symlink(QUORRA_PROGRAM, folder / "bin/quorra");
    write_file(folder / "image.toml", "");
  }

  std::set<std::string> in_shell(const std::string& shell, const std::string& script) {
    const std::string path = (folder / "bin") + ":/usr/bin:/bin";
    const Outcome outcome =
        run({shell, "-c", "cd " + (folder / "") + "; " + script},
            {.input = {}, .streams = {}, .environment = {{"HOME", folder / ""}, {"PATH", path}}});
    EXPECT_EQ(outcome.errors, "");
    return lines_of(outcome.output);
  }

  // What bash makes of these words, of which the last one is completed.
  std::set<std::string> in_bash(const std::string& words) {
    return in_shell("/bin/bash", ". " QUORRA_COMPLETION "/quorra.bash; COMP_WORDS=(quorra " +
                                     words +
                                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quorra quorra; "
                                     "printf '%s\\n' \"${COMPREPLY[@]}\"");
  }

  std::set<std::string> in_fish(const std::string& line) {
    return in_shell("/usr/bin/fish",
                    "source " QUORRA_COMPLETION "/quorra.fish; complete -C '" + line + "'");
  }
};

TEST_F(Completion, BashOffersWhatMayBeTyped) {
  EXPECT_EQ(in_bash("rea"), (std::set<std::string>{"read"}));
  EXPECT_EQ(in_bash("speed ''"), (std::set<std::string>{"find", "set", "show"}));
  EXPECT_EQ(in_bash("help spe"), (std::set<std::string>{"speed"}));
  EXPECT_EQ(in_bash("read --addr"), (std::set<std::string>{"--address"}));
  EXPECT_EQ(in_bash("read --virt"), (std::set<std::string>{"--virtual", "--virtual-sam"}));
  const std::set<std::string> kinds = {"24c01a", "24c02", "24c04", "24c08"};
  EXPECT_EQ(in_bash("read --card 24c0"), kinds);
  EXPECT_EQ(in_bash("read --card = 24c0"), kinds);
  EXPECT_EQ(in_bash("power o"), (std::set<std::string>{"off", "on"}));
  EXPECT_EQ(in_bash("read --format ''"), (std::set<std::string>{"ihex", "json", "raw", "srec"}));
  EXPECT_EQ(in_bash("read --virtual im"), (std::set<std::string>{"image.toml"}));
}

TEST_F(Completion, FishOffersWhatMayBeTyped) {
  EXPECT_EQ(in_fish("quorra rea"), (std::set<std::string>{"read\tShow or save the card's memory"}));
  EXPECT_EQ(in_fish("quorra read --card 24c0").size(), 4U);
  EXPECT_EQ(in_fish("quorra read --virtual im"), (std::set<std::string>{"image.toml"}));
}

// The functions of zsh that show candidates work only at its prompt; here they are told to print.
TEST_F(Completion, ZshOffersWhatMayBeTyped) {
  const auto in_zsh = [this](const std::string& words) {
    return in_shell(
        "/usr/bin/zsh",
        "fpath=(" QUORRA_COMPLETION
        " $fpath); autoload -U _quorra; "
        "_describe() { print -l -- ${(P)2} }; _files() { print files }; words=(quorra " +
            words + "); CURRENT=$#words; _quorra");
  };
  EXPECT_EQ(in_zsh("rea"), (std::set<std::string>{"read:Show or save the card's memory"}));
  EXPECT_EQ(in_zsh("read --card 24c0").size(), 4U);
  EXPECT_EQ(in_zsh("read --virtual im"), (std::set<std::string>{"files"}));
}

// What the shells are told: a word and its meaning in each line, or that files are meant.
TEST_F(Completion, ProgramKnowsWhatEachPlaceTakes) {
  const auto told = [](const Arguments& words) {
    const Outcome outcome = run_quorra(Arguments{"complete"} + words);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
    return outcome.output;
  };
  EXPECT_EQ(told({}), "");
  EXPECT_EQ(told({"batch", ""}), ":files\n");
  EXPECT_EQ(told({"diff", "one.hex", ""}), ":files\n");
  EXPECT_EQ(told({"read", "--address", ""}), "");
  EXPECT_EQ(told({"power", "o"}), "on\t\noff\t\n");
  EXPECT_EQ(told({"read", "--card=93c4"}),
            "--card=93c46a\tkind of card\n--card=93c46\tkind of card\n");
  EXPECT_EQ(told({"read", "--virtual", "card.toml", "--no-reg"}), "");
  EXPECT_EQ(told({"--h"}), "--help\tPrint this help message and exit\n");
  // Devices come first, and other files may be devices, too.
  EXPECT_TRUE(told({"tap", ""}).ends_with(":files\n"));
  // What nobody knows takes nothing.
  EXPECT_EQ(told({"read", "--nothing=x"}), "");
  EXPECT_NE(told({"--nothing", "rea"}).find("read\t"), std::string::npos);
}

}  // namespace
}  // namespace quorra::testing
