// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra value

#include <fmt/core.h>
#include <quorra.h>

#include <limits>
#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_value{"reading the value"};
constexpr Operation setting{"setting the value", OperationKind::verified};
constexpr Operation adding{"adding to the value", OperationKind::verified};
constexpr Operation subtracting{"subtracting from the value", OperationKind::subtracting};

constexpr unsigned largest_value = std::numeric_limits<unsigned>::max();

unsigned read_value(const Connection& connection) {
  unsigned value = 0;
  connection.run(reading_value, val_read, &value);
  return value;
}

void set_value(const Connection& connection, unsigned value) {
  connection.run(setting, val_set, value);
}

// The register would go on at 0.
void add_to_value(const Connection& connection, unsigned amount) {
  const unsigned value = read_value(connection);
  if (amount > largest_value - value) {
    throw Failure(fmt::format("{}: the register holds {}, and ends at {}", adding.doing, value,
                              largest_value));
  }
  connection.run(adding, val_inc, amount);
}

void subtract_from_value(const Connection& connection, unsigned amount) {
  const int result = connection.attempt(subtracting, val_dec, amount);
  if (result == 0) return;
  std::string error = connection.describe(subtracting, result);
  if (!is_status(result, subtracting.kind)) {
    error +=
        if_possible([&] { return fmt::format("; the register holds {}", read_value(connection)); });
  }
  throw Failure(error);
}

void run_value(const Settings& settings, void (*change)(const Connection&, unsigned),
               unsigned number) {
  unsigned value = 0;
  {
    const Connection connection(settings, Subject::anything);
    if (change != nullptr) change(connection, number);
    value = with_progress(change != nullptr ? "; the value is changed" : "",
                          [&] { return read_value(connection); });
  }
  tell(settings, fmt::format("{}\n", value), {{"value", value}});
}

// A subcommand that changes the value by a number.
struct Change {
  const char* name;
  const char* help;
  const char* number_help;
  const char* example;
  void (*change)(const Connection&, unsigned);
};

constexpr Change changes[] = {
    {"set", "Set the value", "The value", "quorra value set --config reader.conf 1000", set_value},
    {"add", "Add to the value", "What is added", "quorra value add --config reader.conf 50",
     add_to_value},
    {"subtract", "Subtract from the value", "What is subtracted",
     "quorra value subtract --config reader.conf 50", subtract_from_value},
};

}  // namespace

void add_value(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "value", fmt::format("Handle the reader's value register, 0 to {}", largest_value));
  want_subcommand(*command);

  CLI::App* show = command->add_subcommand("show", "Show the value");
  add_examples(*show, {"quorra value show --config reader.conf"});
  show->callback([&settings] { run_value(settings, nullptr, 0); });

  for (const Change& change : changes) {
    const auto number = std::make_shared<unsigned>(0);
    CLI::App* subcommand = command->add_subcommand(change.name, change.help);
    subcommand
        ->add_option_function<std::string>(
            "N", [number](const std::string& text) { *number = parse_large_number("N", text); },
            change.number_help)
        ->required()
        ->type_name("");
    add_examples(*subcommand, {change.example});
    subcommand->callback(
        [&settings, number, apply = change.change] { run_value(settings, apply, *number); });
  }
  add_examples(*command, {"quorra value show --config reader.conf"});
}

}  // namespace quorra::cli
