// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra code

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"

namespace quorra::cli {
namespace {

constexpr Operation changing_code{"changing the code"};
constexpr Operation reading_back_code{"reading back the new code"};
constexpr Operation presenting_new{"presenting the new code"};

struct CodeCommandOptions {
  std::optional<int> number;
  bool erase = false;
  std::optional<int> zone;
  CodeOptions present;  // what is presented before a change
  Secret erase_code;
  Secret code;  // the one that a command is about
  std::optional<std::string> yes;
};

// The code that a command is about.
struct NamedCode {
  const Code* code;
  std::string noun;     // "the code of a 4442 card"
  std::string counted;  // "attempts at code 2 of a 1604 card"
};

NamedCode named_code(const Card& card, const CodeCommandOptions& options) {
  if (options.erase) {
    if (options.number) throw UsageError("--number: an erase code has a --zone, not a number");
    const Memory& memory = memory_of(card, options.zone);
    return {.code = &erase_code_of(card, memory),
            .noun = noun_for_erase_code(card, memory),
            .counted = "erasures of " + name_of(card, memory)};
  }
  if (options.zone) throw UsageError("--zone: only an erase code has a zone; name it with --erase");
  return {.code = &code_of(card, options.number, "--number"),
          .noun = noun_for_code(card),
          .counted = fmt::format("attempts at code {} of a {} card", options.number.value_or(0),
                                 card.name)};
}

void run_present(const Settings& settings, const CodeCommandOptions& options) {
  expect_given(options.code);
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const NamedCode named = named_code(card, options);
  const Key key = parse_key(*named.code, named.noun, get(options.code));
  {
    const Connection connection = slot.connect();
    if (options.erase) {
      present_erase_code(connection, key);
    } else {
      present_code(connection, card, key, confirm_unless(options.yes, card, connection));
    }
  }
  tell(settings, options.erase ? "The erase code is right.\n" : "The code is right.\n",
       {{"card", card.name}});
}

// The codes to present before the change. Without --code-number, --code is the one to be changed.
Keys keys_for_change(const Card& card, const CodeCommandOptions& options) {
  CodeOptions present = options.present;
  if (options.erase) {
    return parse_keys(card, memory_of(card, options.zone), present, options.erase_code);
  }
  if (options.erase_code.is_given()) {
    throw UsageError("--erase-code: only for changing an erase code, with --erase");
  }
  if (!present.number) present.number = options.number;
  return parse_keys(card, present);
}

// Where a bit of the code never becomes 1 again, a code that wants that would be half written.
void expect_no_lost_bits(const Card& card, const Code& code, const Bytes& old_code,
                         const Bytes& new_code) {
  if (!code.keeps_zeros) return;
  Bytes possible(new_code.size());
  std::ranges::transform(old_code, new_code, possible.begin(), std::bit_and());
  if (possible == new_code) return;
  throw UsageError(fmt::format(
      "NEW: in the code of a {} card, a bit that is 0 cannot become 1 again", card.name));
}

void expect_new_code(const Connection& connection, const Code& code, const Bytes& new_code) {
  if (code.read == nullptr) return connection.run(presenting_new, code.present, new_code.data());
  Bytes held(new_code.size());
  connection.run(reading_back_code, code.read, held.data());
  if (held != new_code) {
    throw Failure(fmt::format("{}: the card holds another code", reading_back_code.doing));
  }
}

void run_change(const Settings& settings, const CodeCommandOptions& options) {
  expect_given(options.present.code);
  expect_given(options.code);
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const NamedCode named = named_code(card, options);
  const Keys keys = keys_for_change(card, options);
  const Key key = parse_key(*named.code, named.noun, get(options.code));
  expect_no_lost_bits(card, *key.code, keys.code->bytes, key.bytes);
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    connection.run(changing_code, key.code->change, key.bytes.data());
    expect_new_code(connection, *key.code, key.bytes);
  }
  tell(settings, options.erase ? "The erase code is changed.\n" : "The code is changed.\n",
       {{"card", card.name}});
}

void run_counter(const Settings& settings, const CodeCommandOptions& options) {
  CardInReader slot(settings);
  const Card& card = slot.kind();
  const NamedCode named = named_code(card, options);
  const Code& code = *named.code;
  if (!code.counter) throw UsageError(fmt::format("{} are not counted", named.counted));
  int left = 0;
  {
    const Connection connection = slot.connect();
    left = options.erase ? erasures_left(connection, code) : attempts_left(connection, card, code);
  }
  const std::string words = options.erase ? describe_erasures(left) : describe_attempts(code, left);
  tell(settings, words + ".\n",
       {{"card", card.name}, {options.erase ? "erasures_left" : "attempts_left", left}});
}

void add_code_name(CLI::App& command, CodeCommandOptions& options) {
  add_number(command, "--number", options.number,
             "Which code of a 1604 or 1604b: 0 is the master code, the others guard the zone of "
             "their number; without it, 0");
  command.add_flag("--erase", options.erase, "The erase code of a zone instead");
  add_zone(command, options.zone);
}

}  // namespace

void add_code(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand("code", "Present or change the card's codes");
  want_subcommand(*command);
  const auto options = std::make_shared<CodeCommandOptions>();
  const auto changes = std::make_shared<CodeCommandOptions>();
  changes->code.is_new = true;

  CLI::App* present = command->add_subcommand("present", "Find out whether a code is the card's");
  add_secret_words(*present, "HEX", "code", options->code, "The code");
  add_code_name(*present, *options);
  add_yes(*present, options->yes);
  add_examples(*present, {"quorra code present --config reader.conf FFFFFF",
                          "quorra code present --config reader.conf --card 1604 --number 2 FFFF"});
  present->callback([&settings, options] { run_present(settings, *options); });

  CLI::App* change = command->add_subcommand("change", "Give the card another code");
  add_present_code(*change, changes->present);
  add_erase_code(*change, changes->erase_code);
  add_secret_words(*change, "NEW", "new-code", changes->code, "The new code");
  add_code_name(*change, *changes);
  add_yes(*change, changes->yes);
  add_examples(
      *change,
      {"quorra code change --config reader.conf --code FFFFFF 12 34 56",
       "quorra code change --config reader.conf --card 102 --erase --zone 2 --code FFFF 11223344"});
  change->callback([&settings, changes] { run_change(settings, *changes); });

  CLI::App* counter = command->add_subcommand(
      "counter", "Tell how many attempts at the code, or erasures of the zone, are left");
  add_code_name(*counter, *options);
  add_examples(*counter, {"quorra code counter --config reader.conf",
                          "quorra code counter --config reader.conf --card 4404 --erase"});
  counter->callback([&settings, options] { run_counter(settings, *options); });
  add_examples(*command, {"quorra code counter --config reader.conf"});
}

}  // namespace quorra::cli
