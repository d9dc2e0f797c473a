// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra detect

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/terminal/consent.hpp"
#include "toolkit/kinds/probing.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation detecting{"looking for a card"};

// A probe for one size takes larger cards of its family for its own unless these were probed for
// before. The last one accepts no other card, so only what nothing else fits bears its writing.
constexpr std::string_view order[] = {
    "4404",  "4406",  "102",   "1604",  "1604b", "4428",  "4442",  "45d041", "93c46a", "93c46",
    "93c57", "24c64", "24c32", "24c16", "24c08", "24c04", "24c02", "24c01a", "93c66"};

constexpr std::string_view detecting_warning =
    "Looking for a card writes to it and puts the bytes back; on a card of another kind some of "
    "them may stay changed.";

// What a card is like, and what its twin is like where that is another thing.
std::string with_twin(const Card& card, std::string (*tell)(const Card&)) {
  std::string words = tell(card);
  const Card* twin = find_card(card.twin);
  if (twin != nullptr && tell(*twin) != words) {
    words += fmt::format(" (the {}: {})", twin->name, tell(*twin));
  }
  return words;
}

// "code of 3 bytes with 3 attempts", "5 codes of 2 bytes, 2 of them with 8 attempts"
std::string codes_of(const Card& card) {
  if (card.codes.empty()) return "no code";
  const Code& first = card.codes.front();
  const std::string of_size = "of " + counted(first.size, "byte");
  const std::string attempts = "with " + counted(first.counter.value().most, "attempt");
  const auto count = std::ssize(card.codes);
  const auto with_counter =
      std::ranges::count_if(card.codes, [](const Code& code) { return code.counter.has_value(); });
  if (count == 1) return fmt::format("code {} {}", of_size, attempts);
  if (with_counter == count) return fmt::format("{} codes {} {}", count, of_size, attempts);
  return fmt::format("{} codes {}, {} of them {}", count, of_size, with_counter, attempts);
}

bool has_code(const Card* card) { return card != nullptr && !card->codes.empty(); }

// "read and write, protect 32 bytes, code of 3 bytes with 3 attempts"
std::string abilities_of(const Card& card) {
  std::string abilities = "read and write";
  if (card.erase_all != nullptr) abilities += ", erase all at once";
  if (card.memory.erase != nullptr) abilities += ", erase";
  if (card.personalise != nullptr) abilities += ", personalise";
  if (card.units) abilities += ", count units";
  if (card.protection) {
    abilities += fmt::format(", protect {}", counted(card.protection->bytes, "byte"));
  }
  if (has_code(&card) || has_code(find_card(card.twin))) {
    abilities += ", " + with_twin(card, codes_of);
  }
  return abilities;
}

void run_detect(const Settings& settings, bool yes) {
  const Consent consent(detecting, detecting_warning, yes);
  Probed probed;
  {
    const Connection connection(settings);
    consent.get(connection);
    probed = probe_for(connection, order);
  }
  if (probed.card == nullptr) {
    throw Failure(fmt::format("{}: none recognised{}", detecting.doing, probed.explanation));
  }
  const Card& card = *probed.card;
  const std::string next = next_command(card.personalise == nullptr ? "read" : "map", settings);
  print(fmt::format("card  {}\nsize  {}\ncan   {}\nnext  {} --card {}\n", names_of(card),
                    with_twin(card, describe_size), abilities_of(card), next, card.name));
}

}  // namespace

void add_detect(CLI::App& program, const Settings& settings) {
  const auto yes = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand(
      "detect",
      "Find out which card is in the reader. This writes to the card! Each kind that is looked for "
      "has some bytes tried and put back, and a card of another size may keep a change");
  add_yes(*command, *yes);
  add_examples(*command, {"quorra detect --config reader.conf"});
  command->callback([&settings, yes] { run_detect(settings, *yes); });
}

}  // namespace quorra::cli
