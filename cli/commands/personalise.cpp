// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra personalise, and quorra fuse, which imitates that

#include <fmt/core.h>

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"

namespace quorra::cli {
namespace {

constexpr Operation personalising{"personalising the card"};
constexpr Operation imitating{"imitating the fuse"};

struct PersonaliseOptions {
  CodeOptions code;
  std::optional<std::string> yes;
};

void run_personalise(const Settings& settings, const PersonaliseOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  if (card.personalise == nullptr) {
    throw UsageError(fmt::format("a {} card is not personalised", card.name));
  }
  const Keys keys = parse_keys(card, options.code);
  const Consent consent(
      {personalising,
       fmt::format("Personalising a {} card is final. {}", card.name, card.personalised), &card},
      options.yes.has_value());
  bool was_personalised = false;
  {
    const Connection connection = slot.connect();
    was_personalised = is_known_as_personalised(connection, card);
    if (!was_personalised) {
      consent.get(connection);
      present(connection, card, keys, confirm_unless(options.yes, card, connection));
      connection.run(personalising, card.personalise);
    }
  }
  tell(settings,
       was_personalised ? "The card was personalised before.\n" : "The card is personalised.\n",
       {{"card", card.name}, {"personalised_before", was_personalised}});
}

void run_fuse(const Settings& settings, bool imitated) {
  CardInReader slot(settings);
  const Card& card = slot.kind();
  if (card.imitate_fuse == nullptr) {
    throw UsageError(fmt::format("the fuse of a {} card cannot be imitated", card.name));
  }
  {
    const Connection connection = slot.connect();
    connection.run(imitating, card.imitate_fuse, imitated ? 1U : 0U);
  }
  tell(settings,
       imitated ? "The card behaves as a personalised one until its power goes off.\n"
                : "The card behaves as its own fuse says.\n",
       {{"card", card.name}, {"imitated", imitated}});
}

}  // namespace

void add_personalise(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<PersonaliseOptions>();
  CLI::App* command = program.add_subcommand(
      "personalise", "Hand a security memory card over from its issuer to its holder, for good");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra personalise --config reader.conf --card 4404 --code FFFF"});
  command->callback([&settings, options] { run_personalise(settings, *options); });
}

void add_fuse(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "fuse", "Try what a security memory card would be like if it were personalised");
  want_subcommand(*command);
  CLI::App* imitate = command->add_subcommand(
      "imitate", "Let the card behave as a personalised one until its power goes off");
  add_examples(*imitate, {"quorra fuse imitate --config reader.conf --card 102"});
  imitate->callback([&settings] { run_fuse(settings, true); });
  CLI::App* release = command->add_subcommand("release", "End that");
  add_examples(*release, {"quorra fuse release --config reader.conf --card 102"});
  release->callback([&settings] { run_fuse(settings, false); });
  add_examples(*command, {"quorra fuse imitate --config reader.conf --card 102"});
}

}  // namespace quorra::cli
