// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra units

#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <memory>
#include <optional>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_units{.doing = "reading the units", .done = "read"};
constexpr Operation spending{"spending units"};

constexpr std::string_view spending_warning = "Spending units cannot be undone.";

constexpr int worth_in_next_stage = 8;

struct UnitsOptions {
  int number = 0;
  std::optional<std::string> yes;
};

const UnitCounter& counter_of(const Card& card) {
  if (!card.units) throw UsageError(fmt::format("a {} card does not count units", card.name));
  return *card.units;
}

// The stages of a counter, as they were read.
class Stages {
 public:
  Stages(const Connection& connection, const Card& card) : counter_(counter_of(card)) {
    if (!is_known_as_personalised(connection, card)) {
      throw Failure(
          fmt::format("{}: a card has them only after it was personalised", reading_units.doing));
    }
    held_ = read_memory(connection, card.memory, {counter_.first_stage, counter_.stages},
                        reading_units);
  }

  int count() const { return counter_.stages; }
  int address(int stage) const { return counter_.first_stage + stage; }
  unsigned char byte(int stage) const { return held_[static_cast<std::size_t>(stage)]; }
  int units(int stage) const { return std::popcount(byte(stage)); }
  int worth(int stage) const {
    int worth = units(stage);
    for (int behind = stage + 1; behind < count(); ++behind) {
      worth *= worth_in_next_stage;
    }
    return worth;
  }
  int total() const {
    int total = 0;
    for (int stage = 0; stage < count(); ++stage) {
      total += worth(stage);
    }
    return total;
  }

 private:
  UnitCounter counter_;
  Bytes held_;
};

std::string describe(const Stages& stages) {
  std::string text = "stage  units  worth\n";
  for (int stage = 0; stage < stages.count(); ++stage) {
    text += fmt::format("0x{:02X}   {:5}  {:5}\n", stages.address(stage), stages.units(stage),
                        stages.worth(stage));
  }
  return text + fmt::format("total         {:5}\n", stages.total());
}

Json stage_fields(const Card& card, const Stages& stages) {
  Json list = Json::array();
  for (int stage = 0; stage < stages.count(); ++stage) {
    list.push_back({{"address", stages.address(stage)},
                    {"units", stages.units(stage)},
                    {"worth", stages.worth(stage)}});
  }
  return {{"card", card.name}, {"stages", list}, {"total", stages.total()}};
}

// The byte without some of its units.
unsigned char without_units(unsigned char byte, int units) {
  for (; units > 0; --units) {
    byte = static_cast<unsigned char>(byte & (byte - 1));
  }
  return byte;
}

// Spends units of the last stage, at most `most`, or fills it up from the stages before it, which
// spends none. The card has at least one. Returns how many were spent.
int spend_some(const Connection& connection, const Card& card, int most) {
  const Stages stages(connection, card);
  const int last = stages.count() - 1;
  int stage = last;
  while (stage > 0 && stages.units(stage) == 0) {
    --stage;
  }
  for (; stage < last; ++stage) {
    connection.run(spending, counter_of(card).carry, stages.address(stage));
  }
  const int spent = std::min(most, stages.units(last));
  if (spent == 0) return 0;
  const unsigned char byte = without_units(stages.byte(last), spent);
  connection.run(spending, card.memory.write, stages.address(last), 1, &byte);
  return spent;
}

// Spends that many units, and returns how many are left.
int spend(const Connection& connection, const Card& card, int number) {
  int spent = 0;
  const auto so_far = [&](std::string_view at_least) {
    return fmt::format("; {}{} of {} units spent", at_least, spent, number);
  };
  try {
    while (spent < number) {
      spent += spend_some(connection, card, number - spent);
    }
    return Stages(connection, card).total();
  } catch (const Unanswered& error) {
    throw Failure(error.what() + so_far("at least "));
  } catch (const Failure& error) {
    throw Failure(error.what() + so_far(""));
  }
}

void run_spend(const Settings& settings, const UnitsOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  counter_of(card);
  if (options.number < 1) throw UsageError("N: there is nothing to spend");
  const Consent consent({spending, std::string(spending_warning), &card}, options.yes.has_value());
  int left = 0;
  {
    const Connection connection = slot.connect();
    const int total = Stages(connection, card).total();
    if (options.number > total) {
      throw Failure(fmt::format("{}: the card has {}, not {}", spending.doing,
                                counted(total, "unit"), options.number));
    }
    consent.get(connection, fmt::format("{} of {} are spent for good.", options.number,
                                        counted(total, "unit")));
    left = spend(connection, card, options.number);
  }
  tell(settings, fmt::format("Spent {}; {} left.\n", counted(options.number, "unit"), left),
       {{"card", card.name}, {"spent", options.number}, {"left", left}});
}

void run_carry(const Settings& settings, const UnitsOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const UnitCounter& counter = counter_of(card);
  const Range stages_with_next{counter.first_stage, counter.stages - 1};
  if (!stages_with_next.contains(options.number)) {
    throw UsageError(fmt::format("ADDRESS: a carry begins at 0x{:02X} to 0x{:02X}",
                                 stages_with_next.address, stages_with_next.end() - 1));
  }
  const Consent consent({spending, std::string(spending_warning), &card}, options.yes.has_value());
  const int stage = options.number - counter.first_stage;
  std::optional<Stages> after;
  {
    const Connection connection = slot.connect();
    const Stages before(connection, card);
    if (before.units(stage) == 0) {
      throw Failure(fmt::format("{}: stage 0x{:02X} has none", spending.doing, options.number));
    }
    consent.get(connection,
                fmt::format("A unit of stage 0x{:02X} is spent for 8 of stage 0x{:02X}; the {} "
                            "that this one has are lost.",
                            options.number, options.number + 1, before.units(stage + 1)));
    connection.run(spending, counter.carry, options.number);
    with_progress("; the carry is done", [&] { after.emplace(connection, card); });
  }
  tell(settings, describe(*after), stage_fields(card, *after));
}

void show_units(const Settings& settings) {
  CardInReader slot(settings);
  const Card& card = slot.kind();
  counter_of(card);
  std::optional<Stages> stages;
  {
    const Connection connection = slot.connect();
    stages.emplace(connection, card);
  }
  tell(settings, describe(*stages), stage_fields(card, *stages));
}

}  // namespace

void add_units(CLI::App& program, const Settings& settings) {
  CLI::App* command =
      program.add_subcommand("units", "Show and spend the units of a personalised 4406");
  want_subcommand(*command);
  const auto options = std::make_shared<UnitsOptions>();

  CLI::App* show = command->add_subcommand("show", "Tell how many units the card has");
  add_examples(*show, {"quorra units show --config reader.conf --card 4406"});
  show->callback([&settings] { show_units(settings); });

  CLI::App* spend = command->add_subcommand(
      "spend", "Spend units. Stages that are used up are filled from the ones before them");
  add_number(*spend, "N", options->number, "How many")->required();
  add_yes(*spend, options->yes);
  add_examples(*spend, {"quorra units spend --config reader.conf --card 4406 12"});
  spend->callback([&settings, options] { run_spend(settings, *options); });

  CLI::App* carry = command->add_subcommand(
      "carry", "Spend one unit of a stage, and fill the stage behind it with 8");
  add_number(*carry, "ADDRESS", options->number, "The stage, 8 to 11")->required();
  add_yes(*carry, options->yes);
  add_examples(*carry, {"quorra units carry --config reader.conf --card 4406 11"});
  carry->callback([&settings, options] { run_carry(settings, *options); });
  add_examples(*command, {"quorra units show --config reader.conf --card 4406"});
}

}  // namespace quorra::cli
