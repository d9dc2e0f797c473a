// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra detect

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "toolkit/kinds/known_kind.hpp"
#include "toolkit/kinds/probing.hpp"
#include "toolkit/kinds/recognition.hpp"
#include "toolkit/processor/conversation.hpp"
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

void tell_card(const Settings& settings, const Card& card, const std::string& names) {
  const std::string next =
      fmt::format("{} --card {}",
                  next_command(card.personalise == nullptr ? "read" : "map", settings), card.name);
  const std::string size = with_twin(card, describe_size);
  const std::string abilities = abilities_of(card);
  tell(settings,
       fmt::format("card  {}\nsize  {}\ncan   {}\nnext  {}\n", names, size, abilities, next),
       {{"card", card.name}, {"names", names}, {"size", size}, {"can", abilities}, {"next", next}});
}

void detect_by_writing(const Settings& settings, bool yes) {
  const Consent consent({detecting, std::string(detecting_warning)}, yes);
  Probed probed;
  {
    const Connection connection(settings);
    consent.get(connection);
    probed = probe_for(connection, order);
    if (probed.card == nullptr) expect_card(connection);
  }
  if (probed.card == nullptr) {
    throw Failure(fmt::format("{}: none recognised{}", detecting.doing, probed.explanation));
  }
  tell_card(settings, *probed.card, names_of(*probed.card));
}

void detect_by_reading(const Settings& settings) {
  Recognition found;
  Bytes answer;
  {
    const Connection connection(settings, Subject::anything);
    expect_card(connection);
    KnownKind(connection).forget();
    found = recognise(connection);
    if (found.card == nullptr) {
      static_cast<void>(if_possible([&] {
        answer = reset(connection, {});
        return std::string();
      }));
    }
  }
  if (found.card != nullptr) return tell_card(settings, *found.card, names_of(found));
  if (answer.empty()) {
    throw Failure(
        fmt::format("{}: reading does not tell which kind it is; {} tries the kinds one after the "
                    "other, and writes to the card",
                    detecting.doing, next_command("detect --by-writing", settings)),
        {.word = "unknown_card"});
  }
  const std::string next = next_command("atr", settings);
  tell(settings,
       fmt::format("card  processor card, answer to reset {}\nnext  {}\n", hex_text(answer), next),
       {{"card", "cpu"}, {"answer_to_reset", plain_hex(answer)}, {"next", next}});
}

}  // namespace

void add_detect(CLI::App& program, const Settings& settings) {
  struct Options {
    bool by_writing = false;
    bool yes = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand(
      "detect", "Find out by reading which card is in the reader; nothing is written to it");
  command->add_flag(
      "--by-writing", options->by_writing,
      "Write to the card! Each kind that is looked for has some bytes tried and put back, and a "
      "card of another size may keep a change");
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra detect --config reader.conf"});
  command->callback([&settings, options] {
    if (options->by_writing) {
      detect_by_writing(settings, options->yes);
    } else {
      detect_by_reading(settings);
    }
  });
}

}  // namespace quorra::cli
