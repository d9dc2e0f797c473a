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
#include "cli/writing.hpp"
#include "toolkit/files/data_file.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/protection.hpp"
#include "toolkit/memory/writing.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_card_before{.doing = "reading what the card holds", .done = "read"};
constexpr Operation erasing_for_restore{.doing = "erasing what has to be", .done = "erased"};
constexpr Operation protecting_for_restore{.doing = "protecting what was protected",
                                           .done = "protected"};
constexpr Operation restoring{.doing = "restoring the card", .done = "restored"};

struct RestoreCommand {
  std::optional<std::string> file;
  std::optional<int> zone;
  CodeOptions code;
  Secret erase_code;
  WritingOptions writing;
  bool erase = false;
  bool protect = false;
  std::optional<std::string> yes;
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
  fields["protects"] = Json::array();
  for (const Range& range : restoration.to_protect) {
    fields["protects"].push_back({{"address", range.address}, {"count", range.count}});
  }
  fields["guards"] = Json::array();
  for (const ZoneGuard& guard : restoration.to_guard) {
    fields["guards"].push_back({{"zone", guard.zone->zone}, {"reading", guard.against_reading}});
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

// Whether that is the user's wish, or nothing that the backup knows. The card keeps its codes.
bool is_missed(const LostBytes& lost, const Card& card, const WritingOptions& options) {
  switch (lost.loss) {
    case Loss::read_only:
    case Loss::protected_since:
    case Loss::protection:
      return !options.skip_protected;
    case Loss::hidden: {
      const auto regions = regions_of(card);
      const auto region = std::ranges::find(regions, lost.region, &Region::name);
      return region != regions.end() && region->role == AreaRole::data;
    }
    default:
      return true;
  }
}

bool is_complete(const Restoration& restoration, const Card& card, const WritingOptions& options) {
  return std::ranges::none_of(
      restoration.losses, [&](const LostBytes& lost) { return is_missed(lost, card, options); });
}

std::string describe_protecting(const Restoration& restoration, const Card& card) {
  std::string text;
  for (const Range& range : restoration.to_protect) {
    text += fmt::format("{} protected\n", addresses(range));
  }
  for (const ZoneGuard& guard : restoration.to_guard) {
    text += fmt::format("once the card is personalised, {}\n", words_for(card, guard));
  }
  return text;
}

std::string words_for_done(const Restoration& restoration, const Card& card, bool no_verify) {
  const Plan& plan = restoration.plan;
  const std::string is_protected = describe_protecting(restoration, card);
  if (plan.sends_nothing()) {
    return "Nothing to write: the card holds all that can come back.\n" + is_protected;
  }
  const std::string how =
      plan.frames == 0 ? "by an erase" : fmt::format("in {}", counted(plan.frames, "frame"));
  return fmt::format("Restored {} {}{}.\n{}", counted(plan.bytes_changed, "byte"), how,
                     read_back(plan.bytes_changed, no_verify), is_protected);
}

const Memory& zone_of_erase_code(const Card& card, const RestoreCommand& options) {
  if (options.erase_code.is_given() && card.has_zones() && !options.zone) {
    throw UsageError(
        "--erase-code: name its zone with --zone; one zone is restored at a time then");
  }
  return memory_of(card, options.zone);
}

void make_so(const Connection& connection, const Backup& backup, const Restoration& restoration,
             const Held& held, const RestoreCommand& options) {
  carry_out(connection, restoration.plan,
            {.erasing = erasing_for_restore,
             .writing = restoring,
             .verify = !options.writing.no_verify,
             .before = &held});
  for (const Range& range : restoration.to_protect) {
    const auto first = backup.memory.begin() + range.address;
    protect_bytes(connection, *backup.card, range, {first, first + range.count},
                  protecting_for_restore);
  }
  for (const ZoneGuard& guard : restoration.to_guard) {
    guard_zone(connection, guard, protecting_for_restore);
  }
}

void run_restore(const Settings& given, const RestoreCommand& options) {
  const Backup backup = parse_backup(*options.file, read_file(*options.file, largest_file));
  const Card& card = *backup.card;
  if (given.card != nullptr && given.card != &card) {
    throw UsageError(fmt::format("{} is a backup of a {} card, not of a {}", *options.file,
                                 card.name, given.card->name));
  }
  if (options.yes && lower_case(*options.yes) != card.name) {
    throw UsageError(fmt::format("--yes: {} is a backup of a {} card, not of a {}", *options.file,
                                 card.name, *options.yes));
  }
  Settings settings = given;
  settings.card = &card;
  const Memory& zone = zone_of_erase_code(card, options);
  const Keys keys = parse_keys(card, zone, options.code, options.erase_code);
  const bool only_plans = options.writing.plan;
  const std::string warning =
      fmt::format("The {} card becomes what {} says.", card.name, *options.file);
  const Consent consent({restoring, warning, &card}, options.yes || only_plans);
  CardInReader slot(settings, options.yes);
  toolkit::RestoreOptions how{.plan = {.all = options.writing.all, .may_erase = options.erase},
                              .zone = options.zone ? &zone : nullptr,
                              .protects = options.protect};
  if (keys.code) how.plan.codes.push_back(keys.code->code);
  if (keys.erase_code) how.plan.whole_zone = &zone;
  Restoration restoration;
  WithoutCode without;
  {
    const Connection connection = slot.connect();
    if (!only_plans) present(connection, card, keys, confirm_unless(options.yes, card, connection));
    const Backup now = take_backup(connection, card, reading_card_before);
    restoration = plan_restoration(backup, now, how);
    const std::string losses = describe_losses(restoration);
    if (!settings.json && !losses.empty()) print(losses);
    const Held held = now.held();
    if (only_plans) {
      without = look_without_code(connection, card, keys, held, restoration.plan);
    } else if (!restoration.plan.sends_nothing() || !restoration.to_protect.empty() ||
               !restoration.to_guard.empty()) {
      consent.get(connection);
      make_so(connection, backup, restoration, held, options);
    }
  }
  Json fields{{"card", card.name}, {"file", *options.file}};
  if (options.zone) fields["zone"] = *options.zone;
  fields.update(restoration_fields(restoration));
  std::string text = words_for_done(restoration, card, options.writing.no_verify);
  bool is_done = is_complete(restoration, card, options.writing);
  if (only_plans) {
    text = words_for_plan(restoration.plan) + describe_protecting(restoration, card) +
           words_without_code(without);
    add_fields(fields, without);
    is_done = is_done && !without.lacks_code;
  }
  if (!is_done) tell_and_fail(settings, text, fields);
  tell(settings, text, fields);
}

}  // namespace

void add_restore(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<RestoreCommand>();
  CLI::App* command = program.add_subcommand(
      "restore", "Make the card what a backup says, and tell first what cannot come back");
  add_file(*command, "FILE", options->file, "The backup ('-': standard input)")->required();
  add_number(*command, "--zone", options->zone, "Restore nothing but this zone");
  add_present_code(*command, options->code);
  add_erase_code(*command, options->erase_code);
  command->add_flag("--erase", options->erase,
                    "Erase bytes of a security memory card where a 0 has to become 1; its issuer "
                    "may, with the code");
  command->add_flag(
      "--protect", options->protect,
      "Make bytes read-only for good that were so when the backup was made, and guard "
      "zones again");
  add_writing(*command, options->writing);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra restore --config reader.conf card.json --plan",
                          "quorra restore --config reader.conf card.json --code FFFFFF"});
  command->callback([&settings, options] { run_restore(settings, *options); });
}

}  // namespace quorra::cli
