// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What holds for every command of the program quorra, at readers on pseudo-terminals: its help
// fits, colours are for terminals, it ends with whoever reads its output, and tells by its exit
// status what is missing.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

// What a command cannot do without.
enum class Needs { nothing, reader, card };

struct Command {
  const char* words;
  Needs needs;
  // The card that it works with.
  const char* kind;
  // Options with which it has something to do. FOLDER is a folder with the files that it takes.
  Arguments options;
  bool has_colours = false;
};

std::ostream& operator<<(std::ostream& stream, const Command& command) {
  return stream << command.words;
}

const Command commands[] = {
    {"info", Needs::reader, "4442", {}},
    {"detect", Needs::card, "4442", {}},
    {"map", Needs::card, "102", {}, true},
    {"read", Needs::card, "4442", {"--count", "32"}, true},
    {"write", Needs::card, "24c16", {"--address", "0", "00"}},
    {"erase", Needs::card, "24c01a", {"--yes", "24c01a"}},
    {"fill", Needs::card, "24c01a", {"--byte", "00", "--yes", "24c01a"}},
    {"verify", Needs::card, "24c01a", {"--address", "0", "FF"}},
    {"backup", Needs::card, "24c01a", {"FOLDER/new.json"}},
    {"restore", Needs::card, "24c01a", {"FOLDER/backup.json", "--yes", "24c01a"}},
    {"diff", Needs::card, "24c01a", {"FOLDER/other.bin"}, true},
    {"code present", Needs::card, "4442", {"FFFFFF"}},
    {"code change", Needs::card, "4442", {"--code", "FFFFFF", "123456"}},
    {"code counter", Needs::card, "4442", {}},
    {"protect", Needs::card, "4442", {"--address", "8", "--code", "FFFFFF", "--yes", "4442"}},
    {"personalise", Needs::card, "102", {"--card", "102", "--code", "FFFF", "--yes", "102"}},
    {"fuse imitate", Needs::card, "102", {}},
    {"fuse release", Needs::card, "102", {}},
    {"units show", Needs::card, "4406", {}},
    {"units spend", Needs::card, "4406", {"1", "--yes", "4406"}},
    {"units carry", Needs::card, "4406", {"8", "--yes", "4406"}},
    {"apdu", Needs::card, "cpu", {"0084000008"}},
    {"atr", Needs::card, "cpu", {}},
    {"memory read", Needs::reader, "4442", {"--count", "16"}},
    {"memory write", Needs::reader, "4442", {"--address", "0", "00"}},
    {"security show", Needs::reader, "4442", {}},
    {"security compare", Needs::reader, "4442", {"FFFFFF"}},
    {"security set", Needs::reader, "4442", {"--code", "FFFFFF", "--yes", "123456"}},
    {"security mode", Needs::reader, "4442", {"off"}},
    {"value show", Needs::reader, "4442", {}},
    {"value set", Needs::reader, "4442", {"5"}},
    {"value add", Needs::reader, "4442", {"5"}},
    {"value subtract", Needs::reader, "4442", {"0"}},
    {"setup", Needs::reader, "4442", {"--try", "--output", "FOLDER/new.conf"}},
    {"doctor", Needs::card, "4442", {}, true},
    {"speed show", Needs::reader, "4442", {}},
    {"speed find", Needs::reader, "4442", {}},
    {"speed set", Needs::reader, "4442", {"9600", "--yes"}},
    {"beep", Needs::reader, "4442", {"1"}},
    {"power", Needs::card, "4442", {"on"}},
    {"eject", Needs::reader, "4442", {}},
    {"des encrypt", Needs::nothing, nullptr, {"--key-file", "FOLDER/key.txt", "00"}},
    {"des decrypt", Needs::nothing, nullptr, {"--key-file", "FOLDER/key.txt", "85E813540F0AB405"}},
    {"tap", Needs::nothing, nullptr, {}},
    {"trace", Needs::nothing, nullptr, {}},
    {"shell", Needs::nothing, nullptr, {}},
    {"batch", Needs::nothing, nullptr, {}},
    {"kinds", Needs::nothing, nullptr, {}},
    {"run", Needs::reader, "4442", {"FOLDER/commands.txt"}},
    {"help", Needs::nothing, nullptr, {"read"}},
};

Arguments words_of(const std::string& text) {
  std::istringstream stream(text);
  Arguments words;
  for (std::string word; stream >> word;)
    words.push_back(word);
  return words;
}

// The words of all commands that have no further words behind them, as the program tells them.
std::set<std::string> commands_below(const std::string& words) {
  std::istringstream help(
      run_quorra(Arguments{"help"} + words_of(words),
                 {.input = {}, .streams = {}, .environment = {{"COLUMNS", "1000"}}})
          .output);
  std::set<std::string> found;
  bool is_list = false;
  for (std::string line; std::getline(help, line);) {
    if (line.empty()) {
      is_list = false;
    } else if (is_list) {
      const std::string name = words_of(line).front();
      found.merge(commands_below(words.empty() ? name : words + ' ' + name));
    } else {
      is_list = line == "Subcommands:";
    }
  }
  if (found.empty()) found.insert(words);
  return found;
}

// Runs the program on a terminal of so many columns, and returns what is to be seen there.
std::string on_terminal(const Arguments& arguments, int columns,
                        const std::optional<std::string>& no_colour) {
  const Terminal terminal;
  const winsize size = {24, static_cast<unsigned short>(columns), 0, 0};
  EXPECT_EQ(ioctl(terminal.line(), TIOCSWINSZ, &size), 0);
  std::string shown;
  std::atomic<bool> has_ended = false;
  std::thread reader([&] {
    while (!has_ended) {
      shown += terminal.read_all();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  run_quorra(arguments,
             {.input = {},
              .streams = {{STDOUT_FILENO, terminal.line()}, {STDERR_FILENO, terminal.line()}},
              .environment = {{"NO_COLOR", no_colour}, {"COLUMNS", std::nullopt}}});
  has_ended = true;
  reader.join();
  constexpr std::string_view end = "\x04";
  EXPECT_EQ(write(terminal.line(), end.data(), end.size()), 1);
  shown += terminal.read_until(end);
  shown.pop_back();
  return shown;
}

// A reader on a pseudo-terminal, with a new card in it or without.
class RunningReader {
 public:
  explicit RunningReader(const char* kind) {
    Arguments program = {QUORRA_SIM_PROGRAM, "--config", configuration()};
    if (kind != nullptr) {
      const std::string image = folder_ / "card.toml";
      EXPECT_EQ(run({QUORRA_SIM_PROGRAM, "new", kind, image}).status, 0);
      if (kind == std::string("4406")) {
        // Its units count only then.
        EXPECT_EQ(run_quorra({"personalise", "--virtual", image, "--code", "FFFFFF", "--yes", kind})
                      .status,
                  0);
      }
      program = program + Arguments{"--card", image};
    }
    simulator_ = std::make_unique<Process>(program);
    EXPECT_EQ(simulator_->read_line(), configuration());
  }

  std::string configuration() const { return folder_ / "reader.conf"; }
  std::string device() const {
    const std::string text = content_of(configuration());
    const std::size_t begin = text.find("P=") + 2;
    return text.substr(begin, text.find('\n', begin) - begin);
  }

 private:
  TemporaryDirectory folder_;
  std::unique_ptr<Process> simulator_;
};

class EveryCommand : public CommandLine {
 protected:
  EveryCommand() {
    write_file(folder / "key.txt", "133457799BBCDFF1\n");
    write_file(folder / "commands.txt", "value show\n");
    write_file(folder / "other.bin", std::string(16, '\0'));
    const std::string image = folder / "saved.toml";
    run({QUORRA_SIM_PROGRAM, "new", "24c01a", image, "--data", "3:55"});
    run_quorra({"backup", "--virtual", image, folder / "backup.json"});
  }

  // The command, at the reader at this device, which its configuration file names.
  Arguments line(const Command& command, const std::string& device,
                 const std::string& configuration) const {
    Arguments arguments = words_of(command.words);
    for (std::string option : command.options) {
      if (option.starts_with("FOLDER")) option.replace(0, 7, folder / "");
      arguments.push_back(option);
    }
    if (command.needs == Needs::nothing) return arguments;
    // It writes a configuration file.
    const bool names_device = command.words == std::string("setup");
    return arguments +
           (names_device ? Arguments{"--device", device} : Arguments{"--config", configuration});
  }

  Arguments at_reader(const Command& command, const RunningReader& reader) const {
    std::filesystem::remove(folder / "new.conf");
    return line(command, reader.device(), reader.configuration());
  }
};

class EachCommand : public EveryCommand, public ::testing::WithParamInterface<Command> {};

std::string without(const std::string& name, std::string text) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name)) {
    text.erase(at, name.size());
  }
  return text;
}

TEST_F(EveryCommand, IsAmongThese) {
  std::set<std::string> words;
  for (const Command& command : commands)
    words.insert(command.words);
  EXPECT_EQ(words, commands_below(""));
}

void expect_help_to_fit(const std::string& command) {
  SCOPED_TRACE(command);
  for (const int columns : {40, 80}) {
    const std::string help =
        on_terminal(Arguments{"help"} + words_of(command), columns, std::nullopt);
    EXPECT_NE(help.find("Usage: quorra "), std::string::npos);
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
      const Arguments words = words_of(line);
      // What cannot be broken is one word, and a backslash behind it if more follows.
      const bool is_word = words.size() == 1 || (words.size() == 2 && words.back() == "\\");
      if (is_word) continue;
      EXPECT_LE(line.size(), static_cast<std::size_t>(columns)) << line;
    }
  }
}

TEST_P(EachCommand, HelpFitsTheTerminal) { expect_help_to_fit(GetParam().words); }

TEST_F(EveryCommand, HelpOfGroupsFitsTheTerminal) {
  std::set<std::string> groups = {""};
  for (const Command& command : commands) {
    const Arguments words = words_of(command.words);
    if (words.size() > 1) groups.insert(words.front());
  }
  for (const std::string& group : groups)
    expect_help_to_fit(group);
}

TEST_P(EachCommand, RefusesAnOptionThatItDoesNotHave) {
  const Outcome outcome = run_quorra(words_of(GetParam().words) + Arguments{"--no-such-option"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.find("quorra: "), 0U);
  EXPECT_NE(outcome.errors.find("--no-such-option"), std::string::npos);
}

TEST_P(EachCommand, HasColoursOnATerminalOnly) {
  const Command& command = GetParam();
  if (command.kind == nullptr) return;
  const auto has_escapes = [](const std::string& text) {
    return text.find('\x1B') != std::string::npos;
  };
  const RunningReader plain(command.kind);
  EXPECT_FALSE(has_escapes(on_terminal(at_reader(command, plain), 80, "1")));
  const RunningReader piped(command.kind);
  const Outcome outcome = run_quorra(at_reader(command, piped));
  EXPECT_FALSE(has_escapes(outcome.output + outcome.errors));
  const RunningReader coloured(command.kind);
  EXPECT_EQ(has_escapes(on_terminal(at_reader(command, coloured), 80, std::nullopt)),
            command.has_colours);
}

TEST_P(EachCommand, EndsWithWhoeverReadsItsOutput) {
  const Command& command = GetParam();
  if (command.kind == nullptr) return;
  const RunningReader first(command.kind);
  const Outcome usual = run_quorra(at_reader(command, first));
  std::array<int, 2> pipe_ends{};
  ASSERT_EQ(pipe2(pipe_ends.data(), O_CLOEXEC), 0);
  close(pipe_ends[0]);
  const RunningReader second(command.kind);
  const Outcome unread =
      run_quorra(at_reader(command, second),
                 {.input = {}, .streams = {{STDOUT_FILENO, pipe_ends[1]}}, .environment = {}});
  close(pipe_ends[1]);
  EXPECT_EQ(without(second.device(), unread.errors), without(first.device(), usual.errors));
  if (usual.output.empty() || usual.status != 0) {
    EXPECT_EQ(unread.status, usual.status);
  } else {
    EXPECT_EQ(unread.signal, SIGPIPE);
  }
}

TEST_P(EachCommand, TellsThatThereIsNoCard) {
  const Command& command = GetParam();
  if (command.needs != Needs::card) return;
  const RunningReader reader(nullptr);
  const Outcome outcome = run_quorra(at_reader(command, reader));
  EXPECT_EQ(outcome.status, 3) << outcome.output << outcome.errors;
}

TEST_P(EachCommand, IsEndedByASignal) {
  const Command& command = GetParam();
  if (command.needs == Needs::nothing) return;
  const Terminal silent;
  const std::string configuration = folder / "silent.conf";
  write_file(configuration, "P=" + silent.device() + "\n");
  Process program(Arguments{QUORRA_PROGRAM} + line(command, silent.device(), configuration));
  silent.read(1);
  program.signal(SIGINT);
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.signal, SIGINT) << outcome.status;
  EXPECT_EQ(outcome.output, "");
  EXPECT_NE(outcome.errors.find("interrupted\n"), std::string::npos) << outcome.errors;
}

// All at the same time: some wait for half a minute until they are sure.
TEST_F(EveryCommand, TellsThatNobodyAnswers) {
  struct Waiting {
    const Command* command = nullptr;
    Terminal terminal;
    std::unique_ptr<Process> program;
  };
  std::vector<std::unique_ptr<Waiting>> all;
  for (const Command& command : commands) {
    if (command.needs == Needs::nothing) continue;
    all.push_back(std::make_unique<Waiting>());
    Waiting& waiting = *all.back();
    waiting.command = &command;
    const std::string configuration = folder / (std::to_string(all.size()) + ".conf");
    write_file(configuration, "P=" + waiting.terminal.device() + "\n");
    waiting.program = std::make_unique<Process>(
        Arguments{QUORRA_PROGRAM} + line(command, waiting.terminal.device(), configuration));
  }
  ASSERT_FALSE(all.empty());
  for (const auto& waiting : all) {
    const Outcome outcome = waiting->program->wait();
    EXPECT_EQ(outcome.status, 3) << waiting->command->words << outcome.output << outcome.errors;
  }
}

INSTANTIATE_TEST_SUITE_P(Command, EachCommand, ::testing::ValuesIn(commands),
                         [](const auto& command) {
                           std::string name = command.param.words;
                           std::ranges::replace(name, ' ', '_');
                           return name;
                         });

}  // namespace
}  // namespace quorra::testing
