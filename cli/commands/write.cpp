// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra write

#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/data.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/place.hpp"
#include "cli/plan_report.hpp"
#include "cli/report.hpp"
#include "cli/writing.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/writing.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation writing{.doing = "writing the card", .done = "written"};
constexpr Operation erasing{.doing = "erasing the card", .done = "erased"};

struct WriteOptions {
  PlaceOptions place;
  DataOptions data;
  CodeOptions code;
  WritingOptions writing;
  bool security = false;
  std::optional<std::string> yes;
};

void expect_security_command(const Card& card, const Place& place) {
  const Memory& memory = place.zone == nullptr ? card.memory : *place.zone;
  if (memory.write_security != nullptr) return;
  throw UsageError(fmt::format(
      "--security: {} has no command of its own for writing security areas", place.holder));
}

bool is_reached(const Piece& piece, bool security) {
  return piece.write != nullptr && (security || piece.range.end() <= piece.zone->writable);
}

// Bytes that are typed have to be within what can be written; of those in a file one at least.
void expect_reachable(const Card& card, const CardData& data, bool security) {
  std::vector<Piece> out_of_reach;
  bool is_any_reached = false;
  for (const Segment& segment : data.bytes) {
    for (const Piece& piece : pieces_of(card, segment.range())) {
      if (is_reached(piece, security)) {
        is_any_reached = true;
      } else {
        out_of_reach.push_back(piece);
      }
    }
  }
  if (out_of_reach.empty() || (data.is_from_file && is_any_reached)) return;
  const Memory& zone = *out_of_reach.front().zone;
  const int first = first_address_of(card, zone);
  const Range in_zone = data.bytes.within({first, zone.size}).span();
  const std::vector<Region> regions = regions_of(card);
  const Region& region = region_at(regions, in_zone.address);
  if (region.role == AreaRole::code && zone.write_security == nullptr) {
    throw UsageError(fmt::format(
        "the {} of a {} card is not written as bytes are; quorra code change changes it",
        region.name, card.name));
  }
  static_cast<void>(writable_range(card, zone, in_zone.address - first, in_zone.count));
}

// A file of nothing but codes and counters.
void expect_target(const CardData& data, const Plan& plan) {
  int left_alone = 0;
  for (const ObstacleAt& at : plan.obstacles) {
    if (at.obstacle == Obstacle::guard) left_alone += at.range.count;
  }
  if (left_alone < data.bytes.count()) return;
  throw Failure(fmt::format("{}: {}, unless they are typed, or written with --security",
                            writing.doing, words_for(Obstacle::guard)),
                {.word = "left_alone"});
}

std::string describe(const CardData& data, const Plan& plan, const Place& place,
                     const WritingOptions& options) {
  const int wanted = data.bytes.count();
  int left = 0;
  for (const ObstacleAt& at : plan.obstacles) {
    left += at.range.count;
  }
  const int sent = std::min(plan.bytes_sent, wanted - left);
  const std::string where = words_for(place, data.bytes);
  const std::string left_out = words_for_obstacles(plan, place.told_from);
  if (sent == 0) {
    return fmt::format("Nothing to write: the card holds {} {} already{}.\n{}",
                       counted(wanted, "byte"), where,
                       left_out.empty() ? "" : ", but for what stays", left_out);
  }
  const std::string back = read_back(sent, options.no_verify);
  if (sent == wanted) {
    return fmt::format("Wrote {} {}{}.\n{}", counted(wanted, "byte"), where, back, left_out);
  }
  return fmt::format(
      "Wrote {} of {} {}{}; the others {}.\n{}", sent, counted(wanted, "byte"), where, back,
      left_out.empty() ? "are there already" : "are there already, or stay", left_out);
}

void run_write(const Settings& settings, const WriteOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Place place = find_place(card, options.place);
  if (options.security) expect_security_command(card, place);
  const CardData data = card_data_from(options.data, options.place, place, "write");
  expect_reachable(card, data, options.security);
  const Keys keys = parse_keys(card, options.code);
  // What is typed is meant as it is; a file may be an image of all of a card.
  PlanOptions how{.all = options.writing.all,
                  .with_guards = options.security || !data.is_from_file,
                  .with_security = options.security};
  if (keys.code) how.codes.push_back(keys.code->code);
  Plan plan;
  WithoutCode without;
  {
    const Connection connection = slot.connect();
    const bool only_plans = options.writing.plan;
    if (!only_plans) {
      confirm_identification(connection, writing, card, data.bytes, options.yes);
      present(connection, card, keys, confirm_unless(options.yes, card, connection));
    }
    const Held held = read_for_plan(connection, card, data.bytes, how, only_plans, place.told_from);
    plan = make_plan(card, held, data.bytes, how);
    if (only_plans) {
      without = look_without_code(connection, card, keys, held, plan);
    } else {
      expect_target(data, plan);
      expect_possible(writing, card, plan, options.writing, place.told_from);
      carry_out(connection, plan,
                {.erasing = erasing,
                 .writing = writing,
                 .verify = !options.writing.no_verify,
                 .told_from = place.told_from,
                 .before = &held});
    }
  }
  Json fields = fields_of(place, data.bytes);
  if (options.writing.plan) {
    return tell_plan(settings, plan, without, options.writing, fields, place.told_from);
  }
  fields["verified"] = !options.writing.no_verify;
  fields["plan"] = plan_fields(plan, place.told_from);
  tell(settings, describe(data, plan, place, options.writing), fields);
}

}  // namespace

void add_write(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<WriteOptions>();
  CLI::App* command = program.add_subcommand(
      "write", "Write bytes to the card; only frames that differ from what it holds are sent");
  add_place(*command, options->place);
  add_data(*command, options->data);
  add_data_format(*command, options->data);
  add_present_code(*command, options->code);
  command->add_flag(
      "--security", options->security,
      "Write with the command that reaches codes and counters (101, 102, 1604, 1604b)");
  add_writing(*command, options->writing);
  add_yes(*command, options->yes);
  add_examples(*command,
               {"quorra write --config reader.conf --address 0x20 --code FFFFFF DE AD BE EF",
                "quorra write --virtual card.toml --at data+32 --code FFFFFF --text 'Good morning'",
                "quorra write --config reader.conf --card 24c64 --file card.hex --plan"});
  want_address(*command);
  command->callback([&settings, options] { run_write(settings, *options); });
}

}  // namespace quorra::cli
