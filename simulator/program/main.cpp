// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/bench/options.hpp"
#include "simulator/control/fault_order.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/program/control_client.hpp"
#include "simulator/program/new_card.hpp"
#include "simulator/program/output.hpp"
#include "simulator/program/play.hpp"
#include "simulator/program/replay.hpp"
#include "simulator/program/run.hpp"
#include "simulator/program/show.hpp"
#include "simulator/program/tear_command.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

constexpr int exit_failure = 2;

// Reads N=FILE.
void add_sam(Options& options, const std::string& text) {
  const std::size_t sign = text.find('=');
  const auto number = parse_number(std::string_view(text).substr(0, sign));
  if (sign == std::string::npos || !number || sign + 1 == text.size())
    throw Error(fmt::format("sam must be SLOT=FILE: {}", text));
  if (!options.sams.emplace(*number, text.substr(sign + 1)).second)
    throw Error(fmt::format("there are two SAMs for slot {}", *number));
}

void set_time(Options& options, const std::string& time) {
  if (time != "wall" && time != "virtual")
    throw Error(fmt::format("the time must be wall or virtual: {}", time));
  options.has_virtual_time = time == "virtual";
}

void add_fault(Options& options, const std::string& text) {
  try {
    options.faults.push_back(parse_fault(text));
  } catch (const Error& error) {
    throw Error(fmt::format("fault: {}", error.what()));
  }
}

// A name that is empty is a mistake of a script, and does not mean that there is none.
CLI::Option* add_file(CLI::App& command, const std::string& name, auto& file,
                      const std::string& description) {
  return command.add_option(name, file, description)
      ->type_name(name.starts_with('-') ? "FILE" : "")
      ->check([](const std::string& value) {
        return value.empty() ? std::string("the name of the file is empty") : std::string();
      });
}

// Numbers are written here as everywhere in this program; of what is none, the range is told.
CLI::Option* add_number(CLI::App& command, const std::string& name, std::uint32_t most,
                        const std::function<void(std::uint32_t)>& set,
                        const std::string& description) {
  return command.add_option_function<std::string>(
      name,
      [name, most, set](const std::string& text) {
        const auto number = parse_number(text);
        if (!number || *number > most)
          throw CLI::ValidationError(
              name, fmt::format("a number from 0 to {} is expected: {}", most, text));
        set(static_cast<std::uint32_t>(*number));
      },
      description);
}

// A recording is a reader of its own, with nothing of others but a line.
void expect_nothing_but_a_replay(const CLI::App& app) {
  for (const char* const other :
       {"--card", "--sam", "--socket", "--speed", "--line-speed", "--fault", "--time", "--reader",
        "--version-text", "--serial", "--terminal", "--waves", "--web"})
    if (app.get_option(other)->count() > 0)
      throw Error(fmt::format("--replay does not go with {}", other));
}

// A subcommand has options of its own; those before it are a running reader's.
void expect_no_options_of_a_reader(const CLI::App& app) {
  for (const CLI::App* const command : app.get_subcommands())
    for (const CLI::Option* const option : app.get_options())
      if (option->count() > 0)
        throw Error(fmt::format("{} does not go with {}", option->get_name(), command->get_name()));
}

int dispatch(int argument_count, const char* const* arguments) {
  // What follows "--" is not for this program if it begins another.
  const std::span all(arguments, static_cast<std::size_t>(argument_count));
  const auto is_text = [](std::string_view text) {
    return [text](const char* argument) { return argument == text; };
  };
  const auto separator = std::ranges::find_if(all, is_text("--"));
  const bool has_program =
      separator != all.end() && std::any_of(all.begin(), separator, is_text("--terminal"));
  const std::vector<const char*> own_arguments(all.begin(), has_program ? separator : all.end());
  const std::vector<std::string> command(has_program ? separator + 1 : all.end(), all.end());

  CLI::App app{"A virtual smart-card reader on a pseudo-terminal", "quorra-sim"};
  app.set_version_flag("--version", "quorra-sim " QUORRA_VERSION);
  Options options;
  add_file(app, "--card", options.card,
           "image file of the card in the slot, or vicc://HOST:PORT to wait there for an emulator");
  std::vector<std::string> sams;
  app.add_option("--sam", sams, "image file of the SAM in slot 0 to 7, any number of times")
      ->type_name("SLOT=FILE")
      ->allow_extra_args(false);
  add_file(app, "--config", options.configuration, "where to write the configuration file");
  add_file(app, "--socket", options.socket, "where to put the control socket")->type_name("PATH");
  constexpr std::uint32_t any_number = std::numeric_limits<std::uint32_t>::max();
  add_number(
      app, "--speed", any_number, [&options](std::uint32_t speed) { options.speed = speed; },
      "bits per second; without it bytes take no time")
      ->type_name("N");
  add_number(
      app, "--line-speed", any_number,
      [&options](std::uint32_t speed) { options.line_speed = speed; },
      "1200, 2400, 4800, 9600, 19200 or 38400: the host must have the same; without it "
      "any speed will do")
      ->type_name("N");
  std::string time = "wall";
  app.add_option(
         "--time", time,
         "wall, or virtual: waits and the pace of the line take no time, and every run tells "
         "the same times")
      ->type_name("wall|virtual")
      ->capture_default_str();
  add_file(app, "--reader", options.reader,
           "file in which the reader's memory outlives the program; made if there is none");
  std::vector<std::string> faults;
  app.add_option(
         "--fault", faults,
         "arm a fault from the start, any number of times: its kind and its fields, such as "
         "status,status=6,on=0x61 or random,seed=7,silence=0.01, or a JSON object")
      ->type_name("KIND[,FIELD=VALUE...]")
      ->allow_extra_args(false);
  app.add_option("--version-text", options.version_text, "1 to 18 characters")
      ->type_name("T")
      ->capture_default_str();
  app.add_option("--serial", options.serial_number, "16 characters")
      ->type_name("S")
      ->capture_default_str();
  add_file(app, "--waves", options.waves,
           "record all that happens at the contacts of the card into this file (VCD)");
  std::optional<std::uint16_t> web_port;
  add_number(
      app, "--web", std::numeric_limits<std::uint16_t>::max(),
      [&web_port](std::uint32_t port) { web_port = static_cast<std::uint16_t>(port); },
      "show the reader on a web page at this port, to this machine alone; 0: at one that is free")
      ->type_name("PORT");
  bool on_terminal = false;
  app.add_flag("--terminal", on_terminal,
               "run the program that is given after --, with its arguments, on a serial terminal "
               "with the reader at its auxiliary port");
  std::filesystem::path recording;
  add_file(app, "--replay", recording,
           "play this recording (pcapng) back as a reader; a program that departs from it is told "
           "where on standard error, and the exit status is 1");
  app.require_subcommand(0, 1);
  app.footer(
      "Without a subcommand the reader runs until a signal or \"stop\" ends it. The first "
      "line it prints is the path of the configuration file.");
  std::function<int()> action = [&] {
    for (const std::string& sam : sams)
      add_sam(options, sam);
    set_time(options, time);
    for (const std::string& fault : faults)
      add_fault(options, fault);
    if (!recording.empty()) {
      expect_nothing_but_a_replay(app);
      return replay(recording, options.configuration);
    }
    return on_terminal ? run_on_terminal(options, web_port, command) : run(options, web_port);
  };

  NewCard card;
  auto* const new_command = app.add_subcommand("new", "make the image file of a new card");
  new_command->add_option("KIND", card.kind, "kind of card, see \"kinds\"")
      ->type_name("")
      ->required();
  add_file(*new_command, "FILE", card.file, "image file")->required();
  new_command->add_flag("--force", card.overwrite, "overwrite an existing file");
  new_command->add_option("--code", card.code, "security code")->type_name("HEX");
  new_command->add_option("--counter", card.counter, "error counter")->type_name("N");
  new_command->add_option("--atr", card.answer_to_reset, "answer to reset of a processor card")
      ->type_name("HEX");
  new_command->add_option("--key", card.key, "internal key of a processor card")->type_name("HEX");
  add_file(*new_command, "--memory", card.memory, "file with the raw bytes of the whole memory");
  new_command->add_option("--data", card.data, "bytes of memory, any number of times")
      ->type_name("ADDRESS:HEX")
      ->allow_extra_args(false);
  new_command
      ->add_option("--protect", card.protect,
                   "addresses to protect besides those of a new card, any number of times")
      ->type_name("ADDRESS[-ADDRESS]")
      ->allow_extra_args(false);
  new_command->callback([&] { action = [&card] { return make_card(card); }; });

  std::string file;
  auto* const show_command = app.add_subcommand("show", "print an image file");
  add_file(*show_command, "FILE", file, "image file")->required();
  show_command->callback([&] { action = [&file] { return show_card(file); }; });

  std::vector<std::string> requests;
  bool as_json = false;
  auto* const tear_command = app.add_subcommand(
      "tear",
      "cut the power at each clock of a request in turn and print what is left of the card");
  add_file(*tear_command, "IMAGE", file, "image file, which stays as it is")->required();
  tear_command
      ->add_option("REQUEST", requests,
                   "command byte and body in hexadecimal, or a whole frame; the last one is torn, "
                   "those before it are carried out")
      ->type_name("")
      ->required();
  tear_command->add_flag("--json", as_json, "print an object for programs");
  tear_command->callback([&] { action = [&] { return tear_card(file, requests, as_json); }; });

  auto* const kinds_command = app.add_subcommand("kinds", "list the kinds of cards");
  kinds_command->callback([&] { action = show_kinds; });

  std::string waves;
  std::string image;
  std::vector<std::string> signals;
  auto* const play_command = app.add_subcommand(
      "play", "play what a reader did in recorded waves to a card, and tell where that differs");
  add_file(*play_command, "FILE", waves, "waves (VCD)")->required();
  add_file(*play_command, "--card", image, "image file of the card, which stays as it is")
      ->required();
  play_command
      ->add_option("--signal", signals,
                   "the name of a contact in the waves, any number of times; contacts: VCC, RST, "
                   "CLK, IO, C4, C8, IO_reader, IO_card")
      ->type_name("CONTACT=NAME")
      ->allow_extra_args(false);
  play_command->callback([&] { action = [&] { return play_waves(waves, image, signals); }; });

  std::string socket;
  std::string line;
  auto* const control_command =
      app.add_subcommand("control", "send a command to a running reader and print the answer");
  add_file(*control_command, "SOCKET", socket, "control socket")->required();
  control_command->add_option("JSON", line, "command, a JSON object")->type_name("")->required();
  control_command->callback([&] { action = [&] { return control(socket, line); }; });

  try {
    app.parse(static_cast<int>(own_arguments.size()), own_arguments.data());
  } catch (const CLI::Success& request) {  // help or version
    std::ostringstream text;
    app.exit(request, text);
    print(text.str());
    return 0;
  } catch (const CLI::ParseError& error) {
    throw Error(fmt::format("{}; see quorra-sim --help", error.what()));
  }
  expect_no_options_of_a_reader(app);
  return action();
}

}  // namespace
}  // namespace quorra::simulator

int main(int argument_count, char** arguments) {
  quorra::simulator::occupy_standard_streams();
  // A file that may grow no more is an error like others.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  try {
    return quorra::simulator::dispatch(argument_count, arguments);
  } catch (const std::exception& error) {
    quorra::simulator::complain(error.what());
    return quorra::simulator::exit_failure;
  }
}
