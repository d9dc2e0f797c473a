// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra beep, power and eject

#include <fmt/core.h>
#include <quorra.h>

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "toolkit/kinds/known_kind.hpp"

namespace quorra::cli {
namespace {

constexpr Operation beeping{"sounding the buzzer"};
constexpr Operation switching{"switching the power"};
constexpr Operation ejecting{"ejecting the card"};

constexpr int usual_beep = 50;
constexpr int longest_beep = 255;

struct PowerOptions {
  bool on = false;
  bool sams = false;
};

void run_beep(const Settings& settings, int time) {
  if (time > longest_beep) {
    throw UsageError(fmt::format("N: {} is more than {}", time, longest_beep));
  }
  {
    const Connection connection(settings, Subject::anything);
    connection.run(beeping, dv_beep, time);
  }
  tell(settings, "", {{"time", time}});
}

void run_power(const Settings& settings, const PowerOptions& options) {
  {
    const Connection connection(settings, Subject::anything);
    if (options.sams) {
      connection.run(switching, options.on ? sam_power_on : sam_power_down);
    } else {
      KnownKind(connection).forget();
      try {
        connection.run(switching, options.on ? turn_on : turn_off);
      } catch (const Failure& failure) {
        expect_card_behind(failure, connection);
        throw;
      }
    }
  }
  tell(settings,
       fmt::format("{} power is {}.\n", options.sams ? "The SAMs'" : "The card's",
                   options.on ? "on" : "off"),
       {{"of", options.sams ? "sams" : "card"}, {"power", options.on}});
}

void run_eject(const Settings& settings) {
  {
    const Connection connection(settings, Subject::anything);
    try {
      connection.run(ejecting, auto_pull);
    } catch (const Failure& failure) {
      expect_card_behind(failure, connection);
      throw;
    }
  }
  tell(settings, "The card is ejected.\n", Json::object());
}

}  // namespace

void add_beep(CLI::App& program, const Settings& settings) {
  const auto time = std::make_shared<int>(usual_beep);
  CLI::App* command = program.add_subcommand("beep", "Sound the reader's buzzer");
  add_number(*command, "N", *time,
             fmt::format("How long, in the reader's own unit, up to {}", longest_beep))
      ->default_str(fmt::format("{}", usual_beep))
      ->type_name("");
  add_examples(*command, {"quorra beep --config reader.conf 100"});
  command->callback([&settings, time] { run_beep(settings, *time); });
}

void add_power(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<PowerOptions>();
  CLI::App* command =
      program.add_subcommand("power", "Switch the power of the card or of the SAMs");
  command
      ->add_option_function<std::string>(
          "STATE", [options](const std::string& state) { options->on = state == "on"; },
          "on or off")
      ->check(CLI::IsMember({"on", "off"}))
      ->required()
      ->type_name("");
  command->add_flag("--sam", options->sams, "That of the SAMs, which have one in common");
  add_examples(*command, {"quorra power --config reader.conf off"});
  command->callback([&settings, options] { run_power(settings, *options); });
}

void add_eject(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand("eject", "Eject the card");
  add_examples(*command, {"quorra eject --config reader.conf"});
  command->callback([&settings] { run_eject(settings); });
}

}  // namespace quorra::cli
