// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/writing.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

#include "cli/plan_report.hpp"
#include "toolkit/memory/backup.hpp"
#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_before{.doing = "reading what the card holds", .done = "read"};
constexpr Operation reading_identification{"reading what identifies the card"};
constexpr Operation reading_code{"reading whether the code is presented"};

bool is_held(const Connection& connection, const Card& card, const Segment& segment) {
  const std::vector<Piece> pieces = pieces_of(card, segment.range());
  return std::ranges::all_of(pieces, [&](const Piece& piece) {
    const Bytes held = read_memory(connection, *piece.zone, piece.range, reading_identification);
    return std::equal(held.begin(), held.end(), segment.bytes.begin() + piece.done);
  });
}

// What it means for a command that has to write these bytes.
struct Hindrance {
  Obstacle obstacle;
  std::string_view word;
  std::string_view remedy;
};

constexpr Hindrance hindrances[] = {
    {Obstacle::read_only, "protected", "--skip-protected leaves them out"},
    {Obstacle::zero_stays, "needs_erasing", "erase first"},
};

bool is_left_out(Obstacle obstacle, const WritingOptions& options) {
  return obstacle == Obstacle::read_only && options.skip_protected;
}

// Codes and counters, and what no command reaches, stay as they are without a murmur.
const Hindrance* hindrance_of(Obstacle obstacle, const WritingOptions& options) {
  const auto* const found = std::ranges::find(hindrances, obstacle, &Hindrance::obstacle);
  return found == std::end(hindrances) || is_left_out(obstacle, options) ? nullptr : found;
}

std::string_view remedy_for(const Hindrance& hindrance, const Card& card) {
  const bool can_erase = hindrance.obstacle != Obstacle::zero_stays || card.memory.erase != nullptr;
  return can_erase ? hindrance.remedy : "this card cannot do that";
}

// A card that shows its code to those who have presented it shows nothing but zeros to others.
bool is_presented(const Connection& connection, const Code& code) {
  if (code.read == nullptr) return false;
  Bytes shown(static_cast<std::size_t>(code.size));
  connection.run(reading_code, code.read, shown.data());
  return std::ranges::any_of(shown, [](unsigned char byte) { return byte != 0; });
}

// The flags of a zone tell whether a code hides its data.
void add_flags(std::vector<Range>& ranges, const Card& card) {
  const std::vector<Range> wanted = ranges;
  for (const Region& region : regions_of(card)) {
    if (region.role != AreaRole::flags) continue;
    const auto holds = [&region](const Range& range) {
      return range.contains(region.range.address);
    };
    if (std::ranges::none_of(wanted, holds)) ranges.push_back(region.range);
  }
}

}  // namespace

void confirm_identification(const Connection& connection, const Operation& operation,
                            const Card& card, const Segments& bytes,
                            const std::optional<std::string>& yes) {
  if (yes) return;
  for (const Region& region : regions_of(card)) {
    if (region.role != AreaRole::identification) continue;
    const Segments wanted = bytes.within(region.range);
    if (std::ranges::all_of(
            wanted, [&](const Segment& segment) { return is_held(connection, card, segment); })) {
      continue;
    }
    connection.confirm({operation, "Bytes that identify the card become others.", &card});
  }
}

void add_writing(CLI::App& command, WritingOptions& options) {
  command.add_flag("--all", options.all, "Write also what the card holds already");
  command.add_flag("--plan", options.plan,
                   "Tell what would be done and what it would cost, and send nothing that writes; "
                   "a code is not presented");
  command.add_flag("--skip-protected", options.skip_protected,
                   "Leave out bytes that are read-only for good, and tell which");
  command.add_flag("--no-verify", options.no_verify, "Do not read back what was written");
}

std::string read_back(int count, bool no_verify) {
  if (no_verify) return {};
  return count == 1 ? " and read it back" : " and read them back";
}

Held read_for_plan(const Connection& connection, const Card& card, const Segments& wanted,
                   const PlanOptions& how, bool only_plans, int told_from) {
  std::vector<Range> ranges = ranges_to_read(card, wanted, how);
  if (only_plans) add_flags(ranges, card);
  return read_held(connection, card, ranges, reading_before, told_from);
}

WithoutCode look_without_code(const Connection& connection, const Card& card, const Keys& keys,
                              const Held& held, const Plan& plan) {
  WithoutCode without;
  if (!card.codes.empty() && !held.is_personalised && !keys.code && !plan.sends_nothing()) {
    without.lacks_code = !is_presented(connection, card.codes.front());
  }
  std::ranges::transform(hidden_regions(card, held), std::back_inserter(without.hidden),
                         &Region::name);
  return without;
}

std::string words_without_code(const WithoutCode& without) {
  std::string text;
  if (!without.hidden.empty()) {
    text +=
        fmt::format("A code may hide what these hold, and the plan may be another with it: {}.\n",
                    fmt::join(without.hidden, ", "));
  }
  if (without.lacks_code) text += "The card wants its code before it is written: --code.\n";
  return text;
}

void add_fields(Json& fields, const WithoutCode& without) {
  fields["plan"]["lacks_code"] = without.lacks_code;
  fields["plan"]["hidden"] = without.hidden;
}

void expect_possible(const Operation& operation, const Card& card, const Plan& plan,
                     const WritingOptions& options, int told_from) {
  for (const Hindrance& hindrance : hindrances) {
    if (hindrance_of(hindrance.obstacle, options) == nullptr) continue;
    int count = 0;
    std::vector<std::string> where;
    for (const ObstacleAt& at : plan.obstacles) {
      if (at.obstacle != hindrance.obstacle) continue;
      count += at.range.count;
      where.push_back(addresses(moved(at.range, told_from)));
    }
    if (count == 0) continue;
    const auto first = std::ranges::find(plan.obstacles, hindrance.obstacle, &ObstacleAt::obstacle);
    throw Failure(fmt::format("{}: {} cannot become what {} should, at {}: {}; nothing was "
                              "written; {}",
                              operation.doing, counted(count, "byte"), count == 1 ? "it" : "they",
                              fmt::join(where, ", "), words_for(hindrance.obstacle),
                              remedy_for(hindrance, card)),
                  {.word = hindrance.word, .address = first->range.address + told_from});
  }
}

void tell_plan(const Settings& settings, const Plan& plan, const WithoutCode& without,
               const WritingOptions& options, Json fields, int told_from) {
  const std::string text = words_for_plan(plan, told_from) + words_for_obstacles(plan, told_from) +
                           words_without_code(without);
  fields["plan"] = plan_fields(plan, told_from);
  add_fields(fields, without);
  const bool is_hindered = std::ranges::any_of(plan.obstacles, [&options](const ObstacleAt& at) {
    return hindrance_of(at.obstacle, options) != nullptr;
  });
  if (is_hindered || without.lacks_code) tell_and_fail(settings, text, fields);
  tell(settings, text, fields);
}

}  // namespace quorra::cli
