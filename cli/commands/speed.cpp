// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra speed

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/commands.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"

namespace quorra::cli {
namespace {

constexpr Operation changing_speed{"changing the reader's speed"};
constexpr Operation searching{"looking for the reader's speed", OperationKind::opening};

// Those that a reader can be told.
constexpr int reader_speeds[] = {1200, 2400, 4800, 9600, 19200, 38400};

struct SetOptions {
  int speed = 0;
  bool find = false;
  bool yes = false;
};

// That of a reader that is no virtual one, which lives no longer than the command and cannot be
// left at another speed.
Configuration line_of(const Settings& settings) {
  if (settings.names_virtual_reader()) {
    throw UsageError("speed belongs to --config; a virtual reader has no speed");
  }
  expect_one_reader(settings);
  return configuration_of(settings);
}

bool line_has(const Configuration& configuration, int speed) {
  const auto speeds = line_speeds(configuration);
  return std::ranges::find(speeds, speed) != speeds.end();
}

// The speeds at which a reader can be found: of those that it can have, the line's.
std::string findable_speeds(const Configuration& configuration) {
  std::vector<int> speeds;
  std::ranges::copy_if(reader_speeds, std::back_inserter(speeds),
                       [&](int speed) { return line_has(configuration, speed); });
  return fmt::format("{}", fmt::join(speeds, ", "));
}

Settings at_speed(Settings settings, int speed) {
  settings.speed = speed;
  return settings;
}

// Tells that the reader answers at the speed of the settings and, if that is news, what to do with
// it.
void tell_answers(const Settings& settings, bool is_news) {
  const int speed = settings.speed.value_or(default_speed);
  std::string text = fmt::format("The reader answers at {} bits per second.\n", speed);
  Json fields{{"speed", speed}, {"answers", true}};
  if (is_news) {
    fields["next"] = next_command("info", settings);
    text += fmt::format("next  {}\n", next_command("info", settings));
  }
  tell(settings, text, fields);
}

// What a session that does not open may want.
std::string how_to_find(const Settings& settings) {
  Settings without_speed = settings;
  without_speed.speed.reset();
  return fmt::format("; {} looks for its speed", next_command("speed find", without_speed));
}

void show_speed(const Settings& settings) {
  static_cast<void>(line_of(settings));
  try {
    const Connection connection(settings, Subject::anything);
  } catch (const NoReader& error) {
    throw NoReader(error.what() + how_to_find(settings), error.particulars());
  }
  tell_answers(settings, false);
}

void run_find(const Settings& settings) {
  const Configuration configuration = line_of(settings);
  int speed = 0;
  {
    const Interruption interruption;
    const Device device = configuration.open_device();
    speed = chk_baud(configuration.path().c_str());
    stop_if_interrupted(interruption, searching);
  }
  if (speed < 0) {
    std::string text =
        fmt::format("{}: {} ({})", searching.doing, words_for(speed, searching.kind), speed);
    if (speed == -141) {
      text += fmt::format("; on {} only {} can be reached", line_name(),
                          findable_speeds(configuration));
    }
    const Particulars particulars = particulars_of(speed, searching.kind);
    if (speed == -141) throw NoReader(text, particulars);
    throw Failure(text, particulars);
  }
  // A speed that the line does not have was tried as another one.
  if (!line_has(configuration, speed)) speed = default_speed;
  tell_answers(at_speed(settings, speed), true);
}

std::string warning_of(const Configuration& configuration, int speed) {
  std::string warning = fmt::format("The reader changes to {} bits per second.", speed);
  const auto speeds = line_speeds(configuration);
  if (!line_has(configuration, speed)) {
    warning += fmt::format(
        " This line, {}, has no such speed, but {}: it will not reach the reader any more.",
        line_name(), fmt::join(speeds, ", "));
  }
  return warning;
}

// Changes the speed of a reader that answers at the line's present one.
void change(const Settings& settings, const Configuration& configuration, int speed, bool yes) {
  const Connection connection(settings, Subject::anything);
  if (!yes) connection.confirm({changing_speed, warning_of(configuration, speed)});
  connection.run(changing_speed, set_baud, speed);
}

// The same for a reader that may have any speed.
void find_and_change(const Configuration& configuration, int speed, bool yes) {
  if (!line_has(configuration, speed)) {
    throw UsageError(fmt::format("--find: {} has no such speed, but {}", line_name(),
                                 fmt::join(line_speeds(configuration), ", ")));
  }
  const Interruption interruption;
  if (!yes) confirm(interruption, {changing_speed, warning_of(configuration, speed)});
  const Device device = configuration.open_device();
  const int handle = auto_init(configuration.path().c_str(), speed);
  if (handle < 0) {
    stop_if_interrupted(interruption, changing_speed);
    const std::string text = term_flg == 1 ? fmt::format("no reader answers at {}", DRVCOMM)
                                           : words_for(handle, OperationKind::opening);
    throw NoReader(fmt::format("{}: {} ({})", changing_speed.doing, text, handle),
                   particulars_of(handle, OperationKind::opening));
  }
  ic_exit(handle);
  stop_if_interrupted(interruption, changing_speed);
}

void run_set(const Settings& settings, const SetOptions& options) {
  if (std::ranges::find(reader_speeds, options.speed) == std::end(reader_speeds)) {
    throw UsageError(fmt::format("N: {} is none of the speeds of a reader: {}", options.speed,
                                 fmt::join(reader_speeds, ", ")));
  }
  const Configuration configuration = line_of(settings);
  const Settings changed = at_speed(settings, options.speed);
  if (options.find) {
    find_and_change(configuration, options.speed, options.yes);
  } else {
    change(settings, configuration, options.speed, options.yes);
    if (!line_has(configuration, options.speed)) {
      return tell(
          settings,
          fmt::format("The reader was told to change to {} bits per second.\n", options.speed),
          {{"speed", options.speed}, {"answers", false}});
    }
    try {
      const Connection connection(changed, Subject::anything);
    } catch (const NoReader& error) {
      throw NoReader(error.what() + how_to_find(settings), error.particulars());
    }
  }
  tell_answers(changed, true);
}

}  // namespace

void add_speed(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand("speed", "Handle the speed of the reader's line");
  want_subcommand(*command);

  CLI::App* show =
      command->add_subcommand("show", "Tell whether the reader answers at the speed of --speed");
  add_examples(*show, {"quorra speed show --config reader.conf --speed 19200"});
  show->callback([&settings] { show_speed(settings); });

  CLI::App* find = command->add_subcommand(
      "find",
      "Find out at which speed the reader answers; without a reader it takes 27 seconds. On a "
      "serial device only 9600, 19200 and 38400 can be found, on the auxiliary port of a serial "
      "terminal only 1200 to 19200");
  add_examples(*find, {"quorra speed find --config reader.conf"});
  find->callback([&settings] { run_find(settings); });

  const auto options = std::make_shared<SetOptions>();
  CLI::App* set = command->add_subcommand(
      "set", "Give the reader another speed; from then on it answers at no other");
  add_number(*set, "N", options->speed,
             fmt::format("Bits per second: {}", fmt::join(reader_speeds, ", ")))
      ->required()
      ->type_name("");
  set->add_flag("--find", options->find,
                "Find the reader's present speed first, in place of the one of --speed");
  add_yes(*set, options->yes);
  add_examples(*set, {"quorra speed set --config reader.conf 19200",
                      "quorra speed set --config reader.conf --find 9600"});
  set->callback([&settings, options] { run_set(settings, *options); });
  add_examples(*command, {"quorra speed find --config reader.conf"});
}

}  // namespace quorra::cli
