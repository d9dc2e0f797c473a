// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/program.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>

#include <memory>
#include <sstream>
#include <string_view>

#include "cli/command_words.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/secret.hpp"
#include "cli/terminal/help_format.hpp"
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
  add_file(program, "--waves", settings.waves,
           "With a virtual reader, record what happens at the contacts of the card into this file "
           "(VCD)");
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

struct Command {
  std::string_view name;
  void (*add)(CLI::App&, const Settings&);
};

constexpr Command commands[] = {
    {"info", add_info},       {"detect", add_detect},
    {"kinds", add_kinds},     {"map", add_map},
    {"read", add_read},       {"write", add_write},
    {"erase", add_erase},     {"fill", add_fill},
    {"verify", add_verify},   {"backup", add_backup},
    {"restore", add_restore}, {"diff", add_diff},
    {"batch", add_batch},     {"code", add_code},
    {"protect", add_protect}, {"personalise", add_personalise},
    {"fuse", add_fuse},       {"units", add_units},
    {"apdu", add_apdu},       {"atr", add_atr},
    {"memory", add_memory},   {"security", add_security},
    {"value", add_value},     {"setup", add_setup},
    {"doctor", add_doctor},   {"speed", add_speed},
    {"beep", add_beep},       {"power", add_power},
    {"eject", add_eject},     {"des", add_des},
    {"run", add_run},         {"shell", add_shell},
    {"tap", add_tap},         {"trace", add_trace},
    {"help", add_help},
};

constexpr std::string_view version = "--version";

// They tell about all commands.
constexpr std::string_view help_words[] = {"-h", "--help", "help", "complete"};

bool is_among(std::span<const std::string> words, std::string_view word) {
  return std::ranges::find(words, word) != words.end();
}

// Has the settings know the words of the subcommand that is read.
void name_subcommands(CLI::App& app, Settings& settings, const std::string& words) {
  for (CLI::App* command : app.get_subcommands({})) {
    const std::string name = words + command->get_name();
    command->preparse_callback([&settings, name](std::size_t) { settings.command = name; });
    name_subcommands(*command, settings, name + ' ');
  }
}

// Throws CLI::ValidationError if a command that was read wants another word.
void expect_all_words(const CLI::App& app) {
  expect_subcommand(app);
  for (const CLI::App* command : app.get_subcommands(&CLI::App::parsed)) {
    expect_all_words(*command);
  }
}

bool any_secret_in(const CLI::App& app) {
  return std::ranges::any_of(app.get_options(), is_secret) ||
         std::ranges::any_of(app.get_subcommands(&CLI::App::parsed),
                             [](const CLI::App* command) { return any_secret_in(*command); });
}

}  // namespace

Program::Program(Settings& settings, std::span<const std::string> words)
    : settings_(settings),
      app_("Work with memory cards and processor cards in a card reader.", "quorra") {
  app_.formatter(std::make_shared<HelpFormat>());
  app_.footer(std::string(footer));
  app_.set_version_flag(std::string(version), "quorra " QUORRA_VERSION);
  want_subcommand(app_);
  app_.fallthrough();  // the options below may follow the subcommand, too
  add_settings(app_, settings);
  const auto is_typed = [&](std::string_view word) { return is_among(words, word); };
  const bool names_some = std::ranges::any_of(commands, is_typed, &Command::name);
  const bool adds_all =
      (!names_some && !is_typed(version)) || std::ranges::any_of(help_words, is_typed);
  for (const Command& command : commands) {
    if (adds_all || is_typed(command.name)) command.add(app_, settings);
  }
  is_whole_ = adds_all;
  name_subcommands(app_, settings, "");
}

void Program::run(const std::vector<std::string>& words) {
  const std::string help = parse(words);
  if (!help.empty()) print(help);
}

void Program::check(const std::vector<std::string>& words) {
  // It is called before those of the commands.
  app_.parse_complete_callback([this] {
    expect_all_words(app_);
    throw CLI::Success();
  });
  static_cast<void>(parse(words));
}

bool Program::holds_secrets() const { return any_secret_in(app_); }

std::string Program::complete(const std::vector<std::string>& words) const {
  return cli::complete(app_, words);
}

std::string Program::parse(const std::vector<std::string>& words) {
  try {
    app_.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::Success& request) {  // help or version
    if (app_.get_subcommands().empty() && app_.remaining_size(true) > 0) {
      return refuse(words, CLI::ExtrasError(app_.remaining(true)));
    }
    std::ostringstream text;
    app_.exit(request, text);
    return text.str();
  } catch (const CLI::ParseError& error) {
    return refuse(words, error);
  }
  return {};
}

std::string Program::refuse(const std::vector<std::string>& words, const CLI::ParseError& error) {
  // What was meant may be another command.
  if (!is_whole_) return Program(settings_).parse(words);
  const std::string what = explain(app_, error);
  throw UsageError(fmt::format("{}{} quorra --help", what, what.ends_with('?') ? " See" : "; see"));
}

}  // namespace quorra::cli
