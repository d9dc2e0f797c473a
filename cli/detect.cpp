// quorra detect

#include <fmt/format.h>

#include <memory>

#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/probing.hpp"
#include "cli/terminal.hpp"

namespace quorra::cli {
namespace {

constexpr Operation detecting{"looking for a card"};

// A probe for one size takes larger cards of its family for its own unless these were probed for
// before.
constexpr std::string_view order[] = {"4428",  "4442",  "45d041", "93c46a", "93c46",
                                      "93c57", "24c64", "24c32",  "24c16",  "24c08",
                                      "24c04", "24c02", "24c01a"};

constexpr std::string_view warning =
    "Looking for a card writes to it and puts the bytes back; on a card of another kind some of "
    "them "
    "may stay changed.";

std::string size_of(const Card& card) {
  std::string size = counted(card.size, "byte");
  if (card.page > 1) {
    size += fmt::format(", in {} pages of {}", card.size / card.page, card.page);
  }
  return size;
}

// "read and write, protect 32 bytes, code of 3 bytes with 3 attempts"
std::string abilities_of(const Card& card) {
  std::string abilities = "read and write";
  if (card.erase_all != nullptr) abilities += ", erase all at once";
  if (card.protection) {
    abilities += fmt::format(", protect {}", counted(card.protection->bytes, "byte"));
  }
  if (card.code) {
    abilities += fmt::format(", code of {} with {}", counted(card.code->size, "byte"),
                             counted(card.code->attempts, "attempt"));
  }
  // A kind without a code looks the same.
  if (!card.twin.empty()) abilities += fmt::format(" (only the {})", card.name);
  return abilities;
}

void run_detect(const Settings& settings, bool yes) {
  if (!yes && !can_ask()) {
    throw UsageError(fmt::format("{}: {} Confirm with --yes.", detecting.doing, warning));
  }
  Probed probed;
  {
    const Connection connection(settings);
    if (!yes) connection.confirm(detecting, warning);
    probed = probe_for(connection, order);
  }
  if (probed.card == nullptr) {
    throw Failure(fmt::format("{}: none recognised{}", detecting.doing, probed.explanation));
  }
  const Card& card = *probed.card;
  print(fmt::format("card  {}\nsize  {}\ncan   {}\nnext  {} --card {}\n", names_of(card),
                    size_of(card), abilities_of(card), next_command("read", settings), card.name));
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
