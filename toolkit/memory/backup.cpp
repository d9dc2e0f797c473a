// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/backup.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "toolkit/files/json.hpp"
#include "toolkit/files/records.hpp"
#include "toolkit/memory/codes.hpp"

namespace quorra::toolkit {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr std::string_view content_name = "backup of a card";

// Cards whose bytes can be protected one by one answer a reset with the first four.
constexpr int size_of_answer = 4;

std::uint32_t crc32(std::string_view text) {
  constexpr std::uint32_t polynomial = 0xEDB88320;
  std::uint32_t sum = 0xFFFFFFFF;
  for (const char character : text) {
    sum ^= static_cast<unsigned char>(character);
    for (int bit = 0; bit < 8; ++bit) {
      sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
    }
  }
  return ~sum;
}

std::string checksum_of(json object) {
  object.erase("checksum");
  return fmt::format("{:08X}", crc32(object.dump()));
}

std::string zone_name(const Card& card, int zone, std::string_view name) {
  return card.has_zones() ? fmt::format("zone{}.{}", zone, name) : std::string(name);
}

std::vector<const Memory*> zones_of(const Card& card) {
  std::vector<const Memory*> zones{&card.memory};
  for (const Memory& zone : card.further_zones) {
    zones.push_back(&zone);
  }
  return zones;
}

std::vector<Range> ranges_of(const std::vector<bool>& flags) {
  std::vector<Range> ranges;
  for (std::size_t at = 0; at < flags.size(); ++at) {
    if (!flags[at]) continue;
    const auto address = static_cast<int>(at);
    if (ranges.empty() || ranges.back().end() < address) ranges.push_back({address, 0});
    ++ranges.back().count;
  }
  return ranges;
}

std::vector<bool> flags_of(const std::vector<Range>& ranges) {
  std::vector<bool> flags;
  for (const Range& range : ranges) {
    flags.resize(std::max(flags.size(), static_cast<std::size_t>(range.end())), false);
    std::fill_n(flags.begin() + range.address, range.count, true);
  }
  return flags;
}

// The bytes that are in one of the two only.
std::vector<Range> in_one_only(const std::vector<Range>& left, const std::vector<Range>& right) {
  std::vector<bool> mine = flags_of(left);
  std::vector<bool> other = flags_of(right);
  mine.resize(std::max(mine.size(), other.size()), false);
  other.resize(mine.size(), false);
  for (std::size_t at = 0; at < mine.size(); ++at) {
    mine[at] = mine[at] != other[at];
  }
  return ranges_of(mine);
}

// The bytes of the first that are not in the second.
std::vector<Range> without(const std::vector<Range>& ranges, const std::vector<Range>& others) {
  std::vector<bool> flags = flags_of(ranges);
  const std::vector<bool> out = flags_of(others);
  for (std::size_t at = 0; at < std::min(flags.size(), out.size()); ++at) {
    if (out[at]) flags[at] = false;
  }
  return ranges_of(flags);
}

Segments without(const Segments& segments, const std::vector<Range>& ranges) {
  SegmentCollector collector;
  const std::vector<bool> out = flags_of(ranges);
  for (const Segment& segment : segments) {
    std::vector<bool> kept(static_cast<std::size_t>(segment.end()), false);
    for (int at = segment.address; at < segment.end(); ++at) {
      const auto index = static_cast<std::size_t>(at);
      kept[index] = index >= out.size() || !out[index];
    }
    for (const Range& range : ranges_of(kept)) {
      const auto first = segment.bytes.begin() + (range.address - segment.address);
      collector.add(0, range.address, {first, first + range.count});
    }
  }
  return collector.collect();
}

std::vector<NamedCounter> read_counters(const Session& session, const Card& card,
                                        const Operation& operation) {
  std::vector<NamedCounter> counters;
  const auto read = [&](const std::string& name, const Code& code) {
    if (!code.counter) return;
    int left = 0;
    session.run(operation, code.counter->read, &left);
    counters.push_back({name, left});
  };
  for (std::size_t number = 0; number < card.codes.size(); ++number) {
    read(zone_name(card, static_cast<int>(number), "attempts"), card.codes[number]);
  }
  for (const Memory* zone : zones_of(card)) {
    if (zone->erase_code) read(zone_name(card, zone->zone, "erasures"), *zone->erase_code);
  }
  return counters;
}

// A unit is a bit that is 1.
std::vector<NamedCounter> count_units(const Card& card, const Bytes& memory) {
  std::vector<NamedCounter> counters;
  for (const Region& region : regions_of(card, true)) {
    if (region.role != AreaRole::units) continue;
    const unsigned stage = memory[static_cast<std::size_t>(region.range.address)];
    counters.push_back({region.name, std::popcount(stage)});
  }
  return counters;
}

ordered_json json_of_flags(const Backup& backup) {
  auto flags = ordered_json::object();
  for (const Memory* zone : zones_of(*backup.card)) {
    if (!zone->flags) continue;
    const int address = first_address_of(*backup.card, *zone) + zone->flags->address;
    const unsigned char byte = backup.memory[static_cast<std::size_t>(address)];
    flags[zone_name(*backup.card, zone->zone, "flags")] = {{"write", (byte & write_flag) != 0},
                                                           {"read", (byte & read_flag) != 0}};
  }
  return flags;
}

const json& member(const json& object, const char* name, json::value_t type) {
  const auto found = object.find(name);
  if (found == object.end() || found->type() != type) {
    throw UsageError(fmt::format("\"{}\" is missing, or is not what it has to be", name));
  }
  return *found;
}

int number_in(const json& value, int most, std::string_view name) {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > static_cast<unsigned>(most)) {
    throw UsageError(fmt::format("\"{}\" has a number that is not 0 to {}", name, most));
  }
  return value.get<int>();
}

std::vector<Range> ranges_in(const json& list, const Card& card) {
  constexpr std::string_view name = "protected";
  const int size = card.protection ? card.protection->bytes : 0;
  std::vector<Range> ranges;
  for (const json& value : list) {
    if (!value.is_object()) throw UsageError("\"protected\" is no list of objects");
    const Range range{number_in(value.value("address", json()), size, name),
                      number_in(value.value("count", json()), size, name)};
    const bool follows = ranges.empty() || range.address > ranges.back().end();
    if (!follows || range.count < 1 || range.end() > size) {
      throw UsageError(
          fmt::format("\"protected\" has bytes that a {} card cannot protect, or not "
                      "in their order",
                      card.name));
    }
    ranges.push_back(range);
  }
  return ranges;
}

std::vector<NamedCounter> counters_in(const json& list) {
  constexpr int most = 255;
  std::vector<NamedCounter> counters;
  for (const json& value : list) {
    if (!value.is_object()) throw UsageError("\"counters\" is no list of objects");
    counters.push_back({member(value, "name", json::value_t::string).get<std::string>(),
                        number_in(value.value("left", json()), most, "counters")});
  }
  return counters;
}

void expect_checksum(const json& object) {
  const auto& given =
      member(object, "checksum", json::value_t::string).get_ref<const std::string&>();
  const std::string found = checksum_of(object);
  if (given == found) return;
  throw UsageError(
      fmt::format("the backup was damaged or changed: its checksum does not fit, which "
                  "would be {}",
                  found));
}

Backup backup_in(const json& object) {
  if (object.value("content", json()) != json(content_name)) throw UsageError("this is no backup");
  expect_checksum(object);
  Backup backup;
  const auto kind = member(object, "kind", json::value_t::string).get<std::string>();
  backup.card = find_card(kind);
  if (backup.card == nullptr) throw UsageError("\"kind\" is none that is known here");
  const Segments bytes = segments_in(object);
  const Range all{0, size_of(*backup.card)};
  const bool is_whole =
      bytes.size() == 1 && bytes.span().address == all.address && bytes.span().count == all.count;
  if (!is_whole) {
    throw UsageError(
        fmt::format("\"segments\" are not all {} bytes of a {} card", all.count, kind));
  }
  backup.memory = bytes.front().bytes;
  backup.answer_to_reset = bytes_of_digits(
      member(object, "answer_to_reset", json::value_t::string).get_ref<const std::string&>());
  backup.protected_bytes =
      ranges_in(member(object, "protected", json::value_t::array), *backup.card);
  backup.counters = counters_in(member(object, "counters", json::value_t::array));
  backup.is_personalised = member(object, "personalised", json::value_t::boolean).get<bool>();
  return backup;
}

bool all_are(const Segments& bytes, unsigned char value) {
  return std::ranges::all_of(bytes, [value](const Segment& segment) {
    return std::ranges::count(segment.bytes, value) == segment.range().count;
  });
}

// The first byte of the zone of this region tells whether everybody may read it.
bool lacks_read_flag(const Card& card, const Held& held, const Region& region) {
  for (const Memory* zone : zones_of(card)) {
    const int first = first_address_of(card, *zone);
    if (!zone->flags || !Range{first, zone->size}.contains(region.range.address)) continue;
    return (held.bytes.at(first + zone->flags->address).value_or(read_flag) & read_flag) == 0;
  }
  return false;
}

bool is_hidden(const Card& card, const Held& held, const Region& region) {
  const Segments bytes = held.bytes.within(region.range);
  if (bytes.empty()) return false;
  const bool all_set = all_are(bytes, 0xFF);
  switch (*region.role) {
    case AreaRole::code:
    case AreaRole::erase_code:
      return all_set || all_are(bytes, 0);
    case AreaRole::data:
      return all_set && lacks_read_flag(card, held, region);
    default:
      return false;
  }
}

std::vector<CounterDifference> differing_counters(const std::vector<NamedCounter>& left,
                                                  const std::vector<NamedCounter>& right) {
  std::vector<CounterDifference> differences;
  for (const NamedCounter& counter : left) {
    const auto other = std::ranges::find(right, counter.name, &NamedCounter::name);
    if (other == right.end() || other->left == counter.left) continue;
    differences.push_back({counter.name, counter.left, other->left});
  }
  return differences;
}

struct LossRow {
  Loss loss;
  std::string_view words;
};

constexpr LossRow loss_words[] = {
    {Loss::read_only, "read-only for good"},
    {Loss::zero_stays, "a 0 bit cannot become 1"},
    {Loss::no_command, "no command writes there"},
    {Loss::code, "codes are left alone"},
    {Loss::hidden, "the backup does not know it"},
    {Loss::flags, "flags are left alone"},
    {Loss::counter, "the card counts by itself"},
    {Loss::protection, "was read-only, and is not made so again"},
    {Loss::protected_since, "has become read-only, which stays"},
    {Loss::personalised, "the card is personalised now, or was then"},
};

Loss loss_for(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::read_only:
      return Loss::read_only;
    case Obstacle::no_command:
      return Loss::no_command;
    case Obstacle::guard:
      return Loss::code;
    case Obstacle::zero_stays:
      break;
  }
  return Loss::zero_stays;
}

bool counts(AreaRole role) {
  return role == AreaRole::attempts || role == AreaRole::erasures || role == AreaRole::units;
}

bool have_same(const Backup& one, const Backup& other, Range range) {
  const auto first = one.memory.begin() + range.address;
  return std::equal(first, first + range.count, other.memory.begin() + range.address);
}

// The flags that were 0 and are not. Without its write flag a zone does not lose the other one.
std::vector<ZoneGuard> missing_guards(const Backup& backup, const Backup& present,
                                      const Memory& zone) {
  const int address = first_address_of(*backup.card, zone) + zone.flags->address;
  const auto at = static_cast<std::size_t>(address);
  const unsigned missing = present.memory[at] & ~static_cast<unsigned>(backup.memory[at]);
  std::vector<ZoneGuard> guards;
  if ((missing & read_flag) != 0) guards.push_back({&zone, true});
  if ((missing & write_flag) != 0) guards.push_back({&zone, false});
  return guards;
}

// Whether all of the flags' byte comes back with them.
bool are_all(const std::vector<ZoneGuard>& guards, unsigned char then, unsigned char now) {
  unsigned cleared = 0;
  for (const ZoneGuard& guard : guards) {
    cleared |= guard.against_reading ? read_flag : write_flag;
  }
  return (now & ~cleared) == then;
}

// Regions that are not written, whatever they hold. Flags of this zone, or of all, come back where
// that is wanted.
std::vector<Range> find_left_alone(const Backup& backup, const Backup& present,
                                   const RestoreOptions& options, Restoration& result) {
  std::vector<LostBytes>& losses = result.losses;
  std::vector<Range> left_alone;
  const std::vector<Region> hidden = hidden_regions(backup);
  for (const Region& region : regions_of(*backup.card, present.is_personalised)) {
    const bool is_unknown = std::ranges::find(hidden, region.name, &Region::name) != hidden.end();
    const bool is_flags = region.role == AreaRole::flags;
    if (is_unknown) losses.push_back({Loss::hidden, region.name, region.range});
    if (is_flags && !have_same(backup, present, region.range)) {
      const Memory* const zone = zone_with_flags(*backup.card, region.range);
      std::vector<ZoneGuard> guards;
      if (options.protects && zone != nullptr &&
          (options.zone == nullptr || options.zone == zone)) {
        guards = missing_guards(backup, present, *zone);
      }
      const auto at = static_cast<std::size_t>(region.range.address);
      if (!are_all(guards, backup.memory[at], present.memory[at])) {
        losses.push_back({Loss::flags, region.name, region.range});
      }
      result.to_guard.insert(result.to_guard.end(), guards.begin(), guards.end());
    }
    if (is_unknown || is_flags || counts(*region.role)) left_alone.push_back(region.range);
  }
  return left_alone;
}

// What of other zones does not come back is not missed.
void leave_out_other_zones(Restoration& restoration, int zone) {
  const std::string own = fmt::format("zone{}.", zone);
  std::erase_if(restoration.losses, [&own](const LostBytes& lost) {
    return !lost.region.empty() && !lost.region.starts_with(own);
  });
  std::erase_if(restoration.counters, [&own](const CounterDifference& counter) {
    return !counter.name.starts_with(own);
  });
}

// A code that lies outside of the memory.
bool has_code_elsewhere(const Card& card) {
  const auto regions = regions_of(card);
  return !card.codes.empty() && std::ranges::none_of(regions, [](const Region& region) {
    return region.role == AreaRole::code;
  });
}

}  // namespace

Held Backup::held() const {
  return {.bytes = bytes(),
          .is_protected = flags_of(protected_bytes),
          .is_personalised = is_personalised};
}

Backup take_backup(const Session& session, const Card& card, const Operation& operation) {
  const Held held = read_held(session, card, {{0, size_of(card)}}, operation);
  Backup backup{.card = &card,
                .memory = held.bytes.front().bytes,
                .protected_bytes = ranges_of(held.is_protected),
                .is_personalised = held.is_personalised};
  if (card.protection) {
    const auto first = backup.memory.begin();
    backup.answer_to_reset = {first, first + size_of_answer};
  }
  backup.counters = held.is_personalised ? count_units(card, backup.memory)
                                         : read_counters(session, card, operation);
  return backup;
}

std::string to_text(const Backup& backup) {
  ordered_json object{{"schema_version", backup_schema},
                      {"content", content_name},
                      {"kind", backup.card->name},
                      {"answer_to_reset", digits_of(backup.answer_to_reset)},
                      {"personalised", backup.is_personalised},
                      {"segments", json_of(backup.bytes())}};
  object["protected"] = ordered_json::array();
  for (const Range& range : backup.protected_bytes) {
    object["protected"].push_back({{"address", range.address}, {"count", range.count}});
  }
  object["counters"] = ordered_json::array();
  for (const NamedCounter& counter : backup.counters) {
    object["counters"].push_back({{"name", counter.name}, {"left", counter.left}});
  }
  object["flags"] = json_of_flags(backup);
  object["checksum"] = checksum_of(json::parse(object.dump()));
  return object.dump(2) + "\n";
}

Backup parse_backup(std::string_view file_name, const Bytes& content) {
  try {
    return backup_in(parse_json_object(text_of(content), backup_schema));
  } catch (const UsageError& error) {
    throw UsageError(fmt::format("{}: {}", file_name, error.what()));
  }
}

bool is_backup(const Bytes& content) {
  return text_of(content).find(fmt::format("\"{}\"", content_name)) != std::string_view::npos;
}

std::vector<Region> hidden_regions(const Card& card, const Held& held) {
  std::vector<Region> hidden;
  for (Region& region : regions_of(card, held.is_personalised)) {
    if (is_hidden(card, held, region)) hidden.push_back(std::move(region));
  }
  return hidden;
}

std::vector<Region> hidden_regions(const Backup& backup) {
  return hidden_regions(*backup.card, backup.held());
}

bool BackupDifferences::none() const {
  return !kind && !answer_to_reset && !personalised && bytes.none() && protection.empty() &&
         counters.empty();
}

BackupDifferences compare(const Backup& left, const Backup& right) {
  BackupDifferences differences;
  differences.kind = left.card != right.card;
  if (differences.kind) return differences;
  std::vector<Range> hidden;
  for (const Backup* backup : {&left, &right}) {
    for (const Region& region : hidden_regions(*backup)) {
      hidden.push_back(region.range);
    }
  }
  differences.answer_to_reset = left.answer_to_reset != right.answer_to_reset;
  differences.personalised = left.is_personalised != right.is_personalised;
  differences.bytes =
      find_differences(without(left.bytes(), hidden), without(right.bytes(), hidden),
                       regions_of(*left.card, left.is_personalised));
  differences.protection = in_one_only(left.protected_bytes, right.protected_bytes);
  differences.counters = differing_counters(left.counters, right.counters);
  return differences;
}

std::string_view words_for(Loss loss) {
  return std::ranges::find(loss_words, loss, &LossRow::loss)->words;
}

Restoration plan_restoration(const Backup& backup, const Backup& present,
                             const RestoreOptions& options) {
  Restoration result;
  const Card& card = *backup.card;
  const Range scope = options.zone == nullptr
                          ? Range{0, size_of(card)}
                          : Range{first_address_of(card, *options.zone), options.zone->size};
  const std::vector<Range> left_alone = find_left_alone(backup, present, options, result);
  if (has_code_elsewhere(card)) result.losses.push_back({Loss::hidden, "code", {0, 0}});
  const Segments wanted = without(backup.bytes(), left_alone).within(scope);
  result.plan = make_plan(card, present.held(), wanted, options.plan);
  const std::vector<Region> regions = regions_of(card, present.is_personalised);
  for (const ObstacleAt& at : result.plan.obstacles) {
    result.losses.push_back(
        {loss_for(at.obstacle), region_at(regions, at.range.address).name, at.range});
  }
  for (const Range& range : without(backup.protected_bytes, present.protected_bytes)) {
    if (options.protects) {
      result.to_protect.push_back(range);
      continue;
    }
    result.losses.push_back({Loss::protection, region_at(regions, range.address).name, range});
  }
  for (const Range& range : without(present.protected_bytes, backup.protected_bytes)) {
    result.losses.push_back({Loss::protected_since, region_at(regions, range.address).name, range});
  }
  if (backup.is_personalised != present.is_personalised) {
    result.losses.push_back({Loss::personalised, "", {0, 0}});
  }
  result.counters = differing_counters(backup.counters, present.counters);
  for (const CounterDifference& counter : result.counters) {
    result.losses.push_back({Loss::counter, counter.name, {0, 0}});
  }
  if (options.zone != nullptr) leave_out_other_zones(result, options.zone->zone);
  return result;
}

}  // namespace quorra::toolkit
