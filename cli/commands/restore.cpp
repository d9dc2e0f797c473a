// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra restore

#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/plan_report.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_before{.doing = "reading what the card holds", .done = "read"};
constexpr Operation erasing_for_restore{.doing = "erasing what has to be", .done = "erased"};
constexpr Operation restoring{.doing = "restoring the card", .done = "restored"};

struct RestoreOptions {
  std::optional<std::string> file;
  CodeOptions code;
  bool all = false;
  bool plan = false;
  bool erase = false;
  std::optional<std::string> yes;
  bool no_verify = false;
};

Json restoration_fields(const Restoration& restoration) {
  Json fields{{"plan", plan_fields(restoration.plan)}};
  fields["losses"] = Json::array();
  for (const LostBytes& lost : restoration.losses) {
    Json loss{{"region", lost.region}, {"reason", words_for(lost.loss)}};
    if (lost.range.count > 0) {
      loss["address"] = lost.range.address;
      loss["count"] = lost.range.count;
    }
    fields["losses"].push_back(loss);
  }
  fields["counters"] = Json::array();
  for (const CounterDifference& counter : restoration.counters) {
    fields["counters"].push_back(
        {{"name", counter.name}, {"in_backup", counter.left}, {"on_card", counter.right}});
  }
  return fields;
}

std::string words_for_lost(const LostBytes& lost) {
  const std::string where = lost.range.count == 0 ? "" : addresses(lost.range) + "  ";
  const std::string_view gap = lost.region.empty() ? "" : ": ";
  return fmt::format("  {}{}{}{}\n", where, lost.region, gap, words_for(lost.loss));
}

std::string describe_losses(const Restoration& restoration) {
  if (restoration.losses.empty()) return {};
  std::string text = "What does not come back:\n";
  for (const LostBytes& lost : restoration.losses) {
    text += words_for_lost(lost);
  }
  for (const CounterDifference& counter : restoration.counters) {
    text += fmt::format("  {}: {} then, {} now\n", counter.name, counter.left, counter.right);
  }
  return text;
}

// Bytes that are not what the backup has, although it knows them.
bool is_hindered(const Plan& plan) {
  return std::ranges::any_of(plan.obstacles, [](const ObstacleAt& at) {
    return at.obstacle == Obstacle::read_only || at.obstacle == Obstacle::zero_stays;
  });
}

std::string words_for_done(const Plan& plan, bool verified) {
  if (plan.sends_nothing()) return "Nothing to write: the card holds all that can come back.\n";
  return fmt::format("Restored {} in {}{}.\n", counted(plan.bytes_changed, "byte"),
                     counted(plan.frames, "frame"), verified ? " and read them back" : "");
}

void run_restore(const Settings& given, const RestoreOptions& options) {
  const Backup backup = parse_backup(*options.file, read_file(*options.file, largest_file));
  const Card& card = *backup.card;
  if (given.card != nullptr && given.card != &card) {
    throw UsageError(fmt::format("{} is a backup of a {} card, not of a {}", *options.file,
                                 card.name, given.card->name));
  }
  Settings settings = given;
  settings.card = &card;
  const Keys keys = parse_keys(card, options.code);
  const std::string warning =
      fmt::format("The {} card becomes what {} says.", card.name, *options.file);
  const Consent consent({restoring, warning, &card}, options.yes || options.plan);
  CardInReader slot(settings, options.yes);
  Restoration restoration;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    const Backup now = take_backup(connection, card, reading_before);
    PlanOptions how{.all = options.all, .may_erase = options.erase};
    if (keys.code) how.codes.push_back(keys.code->code);
    restoration = plan_restoration(backup, now, how);
    const std::string losses = describe_losses(restoration);
    if (!settings.json && !losses.empty()) print(losses);
    if (!options.plan && !restoration.plan.sends_nothing()) {
      consent.get(connection);
      carry_out(connection, restoration.plan, erasing_for_restore, restoring, !options.no_verify);
    }
  }
  Json fields{{"card", card.name}, {"file", *options.file}};
  fields.update(restoration_fields(restoration));
  if (!options.plan) {
    return tell(settings, words_for_done(restoration.plan, !options.no_verify), fields);
  }
  const std::string text = words_for_plan(restoration.plan);
  if (is_hindered(restoration.plan)) tell_and_fail(settings, text, fields);
  tell(settings, text, fields);
}

}  // namespace

void add_restore(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<RestoreOptions>();
  CLI::App* command = program.add_subcommand(
      "restore", "Make the card what a backup says, and tell first what cannot come back");
  add_file(*command, "FILE", options->file, "The backup ('-': standard input)")->required();
  add_present_code(*command, options->code);
  command->add_flag("--erase", options->erase,
                    "Erase bytes of a security memory card where a 0 has to become 1; its issuer "
                    "may, with the code");
  command->add_flag("--all", options->all, "Write also what the card holds already");
  command->add_flag("--plan", options->plan, "Tell what would be done, and write nothing");
  add_yes(*command, options->yes);
  add_no_verify(*command, options->no_verify);
  add_examples(*command, {"quorra restore --config reader.conf card.json --plan",
                          "quorra restore --config reader.conf card.json --code FFFFFF"});
  command->callback([&settings, options] { run_restore(settings, *options); });
}

}  // namespace quorra::cli
