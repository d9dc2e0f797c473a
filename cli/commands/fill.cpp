// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra fill, and quorra erase, which fills with FF where cards have no erase of their own

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/place.hpp"
#include "cli/plan_report.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "cli/writing.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/memory/writing.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation erasing{.doing = "erasing the card", .done = "erased"};
constexpr Operation filling{.doing = "filling the card", .done = "filled"};
constexpr Operation reading_back_erased{.doing = "reading back what was erased",
                                        .done = "read back"};

constexpr unsigned char erased_byte = 0xFF;

struct FillOptions {
  std::string byte;
  PlaceOptions place;
  std::optional<int> count;
  CodeOptions code;
  Secret erase_code;
  WritingOptions writing;
  std::optional<std::string> yes;

  bool names_bytes() const { return place.has_address() || count; }
};

// What a command does with the bytes.
struct Task {
  const Operation& operation;
  unsigned char byte;
  bool is_erase;
};

// The card, and what becomes of it.
struct Job {
  const Card* card;
  Place place;
  Task task;
  Segments wanted;
  Keys keys;
  PlanOptions how;
  bool with_command_for_all = false;  // the card's own command erases it
  bool by_erasing = false;            // the range is erased, whatever it holds
};

// The data, without codes and counters. An erase takes the flags in front of them along.
std::optional<Range> data_range(const Memory& memory, bool with_flags) {
  const auto data = std::ranges::find(memory.areas, AreaRole::data, &Area::role);
  if (data == memory.areas.end()) return std::nullopt;
  const auto next = std::next(data);
  const int end = next == memory.areas.end() ? memory.size : next->first;
  const int first = with_flags ? memory.flags->address : data->first;
  return Range{first, end - first};
}

// The data of the zone that is named, or of all.
std::vector<Range> data_ranges(const Place& place, bool with_flags) {
  std::vector<const Memory*> zones{place.zone};
  if (place.zone == nullptr) {
    zones = {&place.card->memory};
    for (const Memory& zone : place.card->further_zones) {
      zones.push_back(&zone);
    }
  }
  std::vector<Range> ranges;
  for (const Memory* zone : zones) {
    const std::optional<Range> data = data_range(*zone, with_flags);
    if (data) ranges.push_back(moved(*data, first_address_of(*place.card, *zone)));
  }
  if (ranges.empty()) {
    throw UsageError(fmt::format(
        "{} has no data beside codes and counters: give --address and --count", place.holder));
  }
  return ranges;
}

void expect_writable(const Card& card, Range range) {
  for (const Piece& piece : pieces_of(card, range)) {
    static_cast<void>(writable_range(card, *piece.zone, piece.range.address, piece.range.count));
  }
}

// Without a count, up to the end of what can be written.
Range range_up_to_end(const Place& place, std::optional<int> count) {
  const Memory& memory = place.card->memory;
  if (place.room.count < memory.size) return place.range(count);
  return writable_range(*place.card, memory, place.address, count);
}

std::vector<Range> ranges_to_overwrite(const Place& place, const FillOptions& options,
                                       const Task& task) {
  const Card& card = *place.card;
  if (!card.memory.keeps_zeros) {
    const Range range = range_up_to_end(place, options.count);
    expect_writable(card, range);
    return {range};
  }
  if (!options.names_bytes()) return data_ranges(place, task.is_erase);
  if (!options.place.region && options.place.address.has_value() != options.count.has_value()) {
    throw UsageError(
        "give --address and --count, or none of them for all data of the card or zone");
  }
  const Range range = place.range(options.count);
  if (!task.is_erase) expect_writable(card, range);
  return {range};
}

Segments filled(const std::vector<Range>& ranges, unsigned char byte) {
  SegmentCollector collector;
  for (const Range& range : ranges) {
    collector.add(0, range.address, Bytes(static_cast<std::size_t>(range.count), byte));
  }
  return collector.collect();
}

// The zone in which all of the bytes are, or the first one.
const Memory& zone_of(const Card& card, const Place& place, Range range) {
  if (place.zone != nullptr) return *place.zone;
  const std::vector<Piece> pieces = pieces_of(card, range);
  const bool is_one = pieces.front().zone == pieces.back().zone;
  return is_one ? *pieces.front().zone : card.memory;
}

void expect_erase_may_begin(const Card& card, const Place& place, Range range) {
  for (const Piece& piece : pieces_of(card, range)) {
    const Memory& zone = *piece.zone;
    if (!zone.no_erase_from || !zone.no_erase_from->contains(piece.range.address)) continue;
    throw UsageError(fmt::format(
        "on {}, an erase does not begin at 0x{:04X} to 0x{:04X}; one that begins before may run on",
        place.holder, zone.no_erase_from->address, zone.no_erase_from->end() - 1));
  }
}

// What an erase of bytes of a security memory card does.
Plan plan_of_erasing(const Job& job, const Held& held) {
  Plan plan;
  for (const Segment& segment : job.wanted) {
    for (const Piece& piece : pieces_of(*job.card, segment.range())) {
      const int address = segment.address + piece.done;
      if (!plan.erasures.empty() && plan.erasures.back().zone == piece.zone &&
          plan.erasures.back().range.end() == piece.range.address) {
        plan.erasures.back().range.count += piece.range.count;
      } else {
        plan.erasures.push_back({piece.zone, piece.range, address});
      }
    }
    for (int at = segment.address; at < segment.end(); ++at) {
      const unsigned char now = held.bytes.at(at).value_or(erased_byte);
      plan.bits_set += std::popcount(static_cast<unsigned>(~now & erased_byte));
      if (now != erased_byte) ++plan.bytes_changed;
    }
  }
  if (job.keys.erase_code && job.keys.erase_code->code->counter) {
    plan.erasures_counted = static_cast<int>(plan.erasures.size());
  }
  const bool has_counter = std::ranges::any_of(
      job.how.codes, [](const Code* code) { return code->counter.has_value(); });
  plan.attempts = has_counter ? 1 : 0;
  return plan;
}

// The card's own command is one frame, and needs none of those that were planned.
Plan with_one_command(Plan plan, const Job& job) {
  if (!job.with_command_for_all) return plan;
  plan.writes = {{&job.card->memory, nullptr, job.wanted.span(), job.wanted.front().bytes, 0}};
  plan.frames = 1;
  plan.bytes_sent = 0;
  return plan;
}

Plan plan_job(const Connection& connection, const Job& job, bool only_plans, Held& held) {
  if (job.by_erasing && !only_plans) return plan_of_erasing(job, held);
  if (job.with_command_for_all && !only_plans) return with_one_command({}, job);
  held = read_for_plan(connection, *job.card, job.wanted, job.how, only_plans, job.place.told_from);
  if (job.by_erasing) return plan_of_erasing(job, held);
  return with_one_command(make_plan(*job.card, held, job.wanted, job.how), job);
}

// Erases with the card's own command.
void erase_all(const Connection& connection, const Job& job, bool verify) {
  connection.run(erasing, job.card->erase_all);
  if (!verify) return;
  const Segment& wanted = job.wanted.front();
  const Bytes held = read_memory(connection, job.card->memory, wanted.range(), reading_back_erased);
  if (const auto difference = find_difference(wanted.bytes, held, wanted.address)) {
    throw Failure(fmt::format("{}: {}", reading_back_erased.doing, describe(*difference)),
                  {.word = "differs", .address = difference->address});
  }
}

int count_read_only(const Plan& plan) {
  int count = 0;
  for (const ObstacleAt& at : plan.obstacles) {
    if (at.obstacle == Obstacle::read_only) count += at.range.count;
  }
  return count;
}

std::string words_for_kept(const Plan& plan, int kept, std::string_view before) {
  if (kept == 0) return {};
  std::vector<std::string> where;
  for (const ObstacleAt& at : plan.obstacles) {
    if (at.obstacle == Obstacle::read_only) where.push_back(addresses(at.range));
  }
  return fmt::format("{}read-only bytes: {} ({})", before, kept, fmt::join(where, ", "));
}

std::string describe(const Job& job, const Plan& plan, const WritingOptions& options) {
  const int count = job.wanted.count();
  const std::string bytes = counted(count, "byte");
  const std::string where = words_for(job.place, job.wanted);
  const std::string back = read_back(count, options.no_verify);
  if (job.with_command_for_all) {
    return fmt::format("Erased all {} with the card's own command{}.\n", bytes, back);
  }
  if (job.by_erasing) return fmt::format("Erased {} {}{}.\n", bytes, where, back);
  const int kept = count_read_only(plan);
  if (plan.sends_nothing()) {
    return fmt::format("Nothing to write: {} {} {} {:02X} already{}.\n", bytes, where,
                       count == 1 ? "is" : "are", job.task.byte,
                       words_for_kept(plan, kept, ", but for "));
  }
  const std::string stays = words_for_kept(plan, kept, "; ");
  const bool are_all_sent = plan.bytes_sent >= count;
  if (are_all_sent && kept == 0) {
    return fmt::format("Wrote {:02X} to {} {}{}.\n", job.task.byte, bytes, where, back);
  }
  return fmt::format("Wrote {:02X} to {} of {} {}{}{}{}.\n", job.task.byte,
                     are_all_sent ? count - kept : plan.bytes_changed, bytes, where, back,
                     are_all_sent ? "" : "; the others are so already", stays);
}

Json fill_fields(const Job& job, const WritingOptions& options) {
  Json fields = fields_of(job.place, job.wanted);
  if (!job.task.is_erase) fields["byte"] = job.task.byte;
  if (!options.plan) fields["verified"] = !options.no_verify;
  return fields;
}

std::string warning_of(const Job& job, const FillOptions& options) {
  if (options.erase_code.is_given()) {
    return fmt::format("If the card is personalised, all data of {} are erased.",
                       name_of(*job.card, *job.how.whole_zone));
  }
  const bool is_zoned = job.card->memory.keeps_zeros;
  return fmt::format("All {} of {} are overwritten.", counted(job.wanted.count(), "byte"),
                     is_zoned ? job.place.holder : "the card");
}

// Whether the user named less than all.
bool takes_all(const Job& job, const FillOptions& options) {
  if (job.card->memory.keeps_zeros && (!options.names_bytes() || options.erase_code.is_given()))
    return true;
  return job.wanted.count() == size_of(*job.card) ||
         job.wanted.count() == job.card->memory.writable;
}

Job job_for(const Card& card, const FillOptions& options, const Task& task) {
  const bool is_security_card = card.memory.keeps_zeros;
  const bool erases = is_security_card && (task.is_erase || options.erase_code.is_given());
  if (erases && card.memory.erase == nullptr) {
    throw UsageError(fmt::format("a {} card cannot be erased", card.name));
  }
  Job job{.card = &card,
          .place = find_place(card, options.place),
          .task = task,
          .wanted = {},
          .keys = {},
          .how = {.all = options.writing.all}};
  const std::vector<Range> ranges = ranges_to_overwrite(job.place, options, task);
  job.wanted = filled(ranges, task.byte);
  job.by_erasing = task.is_erase && is_security_card;
  job.with_command_for_all = task.is_erase && !is_security_card && card.erase_all != nullptr &&
                             job.wanted.count() == card.memory.writable;
  if (erases) {
    for (const Range& range : ranges) {
      expect_erase_may_begin(card, job.place, range);
    }
  }
  const Memory& zone = zone_of(card, job.place, job.wanted.span());
  job.keys = parse_keys(card, zone, options.code, options.erase_code);
  if (options.erase_code.is_given()) job.how.whole_zone = &zone;
  if (job.keys.code) job.how.codes.push_back(job.keys.code->code);
  return job;
}

void run_fill(const Settings& settings, const FillOptions& options, const Task& task) {
  CardInReader slot(settings, options.yes);
  const Job job = job_for(slot.kind(), options, task);
  const bool only_plans = options.writing.plan;
  const Consent consent({task.operation, warning_of(job, options), job.card},
                        options.yes || only_plans || !takes_all(job, options));
  Plan plan;
  WithoutCode without;
  {
    const Connection connection = slot.connect();
    consent.get(connection);
    if (!only_plans) {
      confirm_identification(connection, task.operation, *job.card, job.wanted, options.yes);
      present(connection, *job.card, job.keys, confirm_unless(options.yes, *job.card, connection));
    }
    Held held;
    plan = plan_job(connection, job, only_plans, held);
    if (only_plans) {
      without = look_without_code(connection, *job.card, job.keys, held, plan);
    } else if (job.with_command_for_all) {
      erase_all(connection, job, !options.writing.no_verify);
    } else {
      expect_possible(task.operation, *job.card, plan, options.writing, job.place.told_from);
      carry_out(connection, plan,
                {.erasing = erasing,
                 .writing = task.operation,
                 .verify = !options.writing.no_verify,
                 .told_from = job.place.told_from,
                 .before = &held});
    }
  }
  Json fields = fill_fields(job, options.writing);
  if (only_plans) {
    return tell_plan(settings, plan, without, options.writing, fields, job.place.told_from);
  }
  fields["plan"] = plan_fields(plan, job.place.told_from);
  tell(settings, describe(job, plan, options.writing), fields);
}

unsigned char parse_byte(std::string_view name, std::string_view text) {
  const Bytes bytes = parse_hex(name, text);
  if (bytes.size() != 1) {
    throw UsageError(fmt::format("{}: one byte is wanted, such as 5A", name));
  }
  return bytes.front();
}

void add_common(CLI::App& command, FillOptions& options) {
  // Bytes that are read-only for good are always left out.
  options.writing.skip_protected = true;
  add_place(command, options.place);
  add_number(command, "--count", options.count, "Number of bytes; without it, up to the end");
  add_present_code(command, options.code);
  add_erase_code(command, options.erase_code);
  add_writing(command, options.writing);
  add_yes(command, options.yes);
}

}  // namespace

void add_erase(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command = program.add_subcommand(
      "erase",
      "Write FF to the card, or to a part of it. The whole of a 93c card is erased with the card's "
      "own command, and so is each part of a security memory card");
  add_common(*command, *options);
  add_examples(*command,
               {"quorra erase --config reader.conf --card 93c66 --yes",
                "quorra erase --config reader.conf --card 24c64 --address 0x100 --count 256",
                "quorra erase --config reader.conf --card 1604 --zone 2 --code FFFF"});
  command->callback([&settings, options] {
    run_fill(settings, *options, {.operation = erasing, .byte = erased_byte, .is_erase = true});
  });
}

void add_fill(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<FillOptions>();
  CLI::App* command = program.add_subcommand("fill",
                                             "Write one byte to all of the card, or to a part of "
                                             "it. With --erase-code it is erased first");
  command->add_option("--byte", options->byte, "The byte, two hex digits")
      ->type_name("HEX")
      ->required();
  add_common(*command, *options);
  add_examples(
      *command,
      {"quorra fill --config reader.conf --card 24c16 --byte 00 --yes",
       "quorra fill --virtual card.toml --byte 5A --address 0x40 --count 16 --code FFFFFF"});
  command->callback([&settings, options] {
    run_fill(
        settings, *options,
        {.operation = filling, .byte = parse_byte("--byte", options->byte), .is_erase = false});
  });
}

}  // namespace quorra::cli
