// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra: a card in a card reader, from the command line.

#include <fcntl.h>
#include <fmt/core.h>
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>

#include <algorithm>
#include <csignal>
#include <exception>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include "cli/command_words.hpp"
#include "cli/commands/commands.hpp"
#include "cli/exit_status.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/help_format.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/terminal.hpp"
#include "simulator/files.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr std::string_view footer =
    "Numbers are decimal, or hexadecimal with 0x. HEX is bytes of two digits each, with blanks or\n"
    "colons between them or without. Exit status: 0 done, 1 failed, 2 wrong usage,\n"
    "3 no reader or no card.\n"
    "\n"
    "Example, without a reader:\n"
    "  quorra-sim new 4442 card.toml\n"
    "  quorra read --virtual card.toml";

const Card& card_named(const std::string& given) {
  const std::string name = lower_case(given);
  if (const Card* card = find_card(name)) return *card;
  if (name == "cpu") {
    throw CLI::ValidationError("--card",
                               "quorra apdu speaks with processor cards, and needs no --card");
  }
  std::vector<std::string> names;
  for (const Card& card : all_cards()) {
    names.emplace_back(card.name);
  }
  const std::string near = suggestion(name, names);
  throw CLI::ValidationError(
      "--card", fmt::format("'{}' is no kind of card{} {}", given,
                            near.empty() ? "; there are" : near + " There are", card_names()));
}

void set_progress(Settings& settings, const std::string& text) {
  constexpr char name[] = "--progress-fd";
  const int descriptor = parse_number(name, text);
  if (fcntl(descriptor, F_GETFD) < 0) {
    throw CLI::ValidationError(name, fmt::format("{} is no open descriptor", descriptor));
  }
  settings.progress = descriptor;
}

void add_settings(CLI::App& program, Settings& settings) {
  add_file(program, "--device", settings.device, "The serial device at which the reader is")
      ->type_name("DEVICE");
  add_file(program, "--config", settings.configuration,
           "The reader's configuration file; without it, --device and --virtual, the one of "
           "QUORRA_CONFIG, ~/.config/quorra/reader.conf, or /etc/quorra/reader.conf");
  add_number(program, "--speed", settings.speed, "The speed of the line to the reader")
      ->default_str(fmt::format("{}", default_speed));
  add_file(program, "--virtual", settings.image,
           "In place of a reader, a virtual one with this card image in it")
      ->type_name("IMAGE");
  program
      .add_option("--virtual-sam", settings.sams,
                  "In a virtual reader, the SAM N with this card image; any number of times")
      ->type_name("N=IMAGE")
      ->allow_extra_args(false);
  program.add_flag("--quiet", settings.quiet, "Do not show how far a long transfer is");
  program
      .add_option_function<std::string>(
          "--progress-fd", [&settings](const std::string& text) { set_progress(settings, text); },
          "Tell on this descriptor how far a transfer is, in lines of JSON")
      ->type_name("N");
  program.add_flag("--json", settings.json, "Tell results and errors as JSON on standard output");
  program.add_flag("--force", settings.force,
                   "Go on although the card seems to be of another kind than --card says");
  program
      .add_option_function<std::string>(
          "--card", [&settings](const std::string& name) { settings.card = &card_named(name); },
          fmt::format("The kind of card: {}; without it, that of the card image, or what reading "
                      "the card tells",
                      card_names()))
      ->type_name("KIND");
}

// Has the settings know the words of the subcommand that is read.
void name_subcommands(CLI::App& app, Settings& settings, const std::string& words) {
  for (CLI::App* command : app.get_subcommands({})) {
    const std::string name = words + command->get_name();
    command->preparse_callback([&settings, name](std::size_t) { settings.command = name; });
    name_subcommands(*command, settings, name + ' ');
  }
}

// Reads the command line and does what it says.
void run(int argc, char** argv, Settings& settings) {
  CLI::App program("Work with memory cards and processor cards in a card reader.", "quorra");
  program.formatter(std::make_shared<HelpFormat>());
  program.footer(std::string(footer));
  program.set_version_flag("--version", "quorra " QUORRA_VERSION);
  want_subcommand(program);
  program.fallthrough();  // the options below may follow the subcommand, too
  add_settings(program, settings);
  add_info(program, settings);
  add_detect(program, settings);
  add_map(program, settings);
  add_read(program, settings);
  add_write(program, settings);
  add_erase(program, settings);
  add_fill(program, settings);
  add_verify(program, settings);
  add_backup(program, settings);
  add_restore(program, settings);
  add_diff(program, settings);
  add_code(program, settings);
  add_protect(program, settings);
  add_personalise(program, settings);
  add_fuse(program, settings);
  add_units(program, settings);
  add_apdu(program, settings);
  add_atr(program, settings);
  add_memory(program, settings);
  add_security(program, settings);
  add_value(program, settings);
  add_setup(program, settings);
  add_doctor(program, settings);
  add_speed(program, settings);
  add_beep(program, settings);
  add_power(program, settings);
  add_eject(program, settings);
  add_des(program, settings);
  add_tap(program, settings);
  add_trace(program, settings);
  add_help(program, settings);
  name_subcommands(program, settings, "");
  // The shells ask for this.
  if (argc > 1 && std::string_view(argv[1]) == "complete") {
    return print(complete(program, {argv + 2, argv + argc}));
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::Success& request) {  // help or version
    std::ostringstream text;
    program.exit(request, text);
    print(text.str());
  } catch (const CLI::ParseError& error) {
    const std::string what = explain(program, error);
    throw UsageError(
        fmt::format("{}{} quorra --help", what, what.ends_with('?') ? " See" : "; see"));
  }
}

// The same, with its errors told: the exit status.
int run_and_tell(int argc, char** argv) {
  Settings settings;
  // An error in the command line is told as it wants to be told of errors.
  settings.json = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
  try {
    run(argc, argv, settings);
    close_standard_output();
    return exit_success;
  } catch (const std::exception& error) {
    return tell_error(settings, error);
  }
}

int run_and_report(int argc, char** argv) {
  try {
    return run_and_tell(argc, argv);
  } catch (const std::exception& error) {  // that could not be told as it was wanted
    print_error(error.what());
    return exit_failed;
  }
}

}  // namespace
}  // namespace quorra::cli

int main(int argc, char** argv) {
  using namespace quorra::cli;
  quorra::simulator::occupy_standard_streams();
  // Writing to a closed pipe, or more than a file may hold, is an error like any other.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  const int status = run_and_report(argc, argv);
  const int signal = Interruption::taken();
  return signal == 0 ? status : end_by(signal);
}
