// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/plan.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/transfer.hpp"

namespace quorra::toolkit {
namespace {

constexpr unsigned char erased = 0xFF;

struct ObstacleRow {
  Obstacle obstacle;
  std::string_view words;
};

constexpr ObstacleRow obstacle_words[] = {
    {Obstacle::read_only, "read-only for good"},
    {Obstacle::no_command, "no command writes there"},
    {Obstacle::guard, "codes and counters are left alone"},
    {Obstacle::zero_stays, "a 0 bit cannot become 1"},
};

// Erasing begins only where the card lets it begin; what lies between is erased, too.
Range with_beginning(const Memory& zone, Range range) {
  if (!zone.no_erase_from || !zone.no_erase_from->contains(range.address)) return range;
  const int first = zone.no_erase_from->address - 1;
  return {first, range.end() - first};
}

// The bytes that a zone's erase code erases: flags and data.
Range erased_as_a_whole(const Memory& zone) {
  const int first = zone.flags->address;
  const auto behind = std::ranges::find_if(zone.areas, [first](const Area& area) {
    return area.first > first && area.role != AreaRole::data;
  });
  const int end = behind == zone.areas.end() ? zone.size : behind->first;
  return with_beginning(zone, {first, end - first});
}

Range in_units(Range range, int unit) {
  const int first = range.address - range.address % unit;
  const int end = (range.end() + unit - 1) / unit * unit;
  return {first, end - first};
}

void add(std::vector<ObstacleAt>& obstacles, int address, Obstacle obstacle) {
  if (!obstacles.empty() && obstacles.back().obstacle == obstacle &&
      obstacles.back().range.end() == address) {
    ++obstacles.back().range.count;
  } else {
    obstacles.push_back({{address, 1}, obstacle});
  }
}

// Reading does not mind which function writes.
std::vector<Piece> in_whole_zones(const std::vector<Piece>& pieces) {
  std::vector<Piece> whole;
  for (const Piece& piece : pieces) {
    if (!whole.empty() && whole.back().zone == piece.zone) {
      whole.back().range.count += piece.range.count;
    } else {
      whole.push_back(piece);
    }
  }
  return whole;
}

class Planner {
 public:
  Planner(const Card& card, const Held& held, const PlanOptions& options)
      : card_(card),
        held_(held),
        options_(options),
        regions_(regions_of(card, held.is_personalised)) {}

  Plan make(const Segments& wanted) {
    for (const Segment& segment : wanted) {
      for (const Piece& piece : pieces_of(card_, segment.range())) {
        for (int at = piece.done; at < piece.done + piece.range.count; ++at) {
          want(piece, segment.address + at, segment.bytes[static_cast<std::size_t>(at)]);
        }
      }
    }
    plan_erasures();
    complete_units();
    plan_writes();
    plan_.attempts = static_cast<int>(std::ranges::count_if(
        options_.codes, [](const Code* code) { return code->counter.has_value(); }));
    return std::move(plan_);
  }

 private:
  unsigned char held_at(int address) const { return held_.bytes.at(address).value_or(erased); }

  // What the card holds when everything is erased that has to be.
  unsigned char before_writing(int address) const {
    return is_erased(address) ? erased : held_at(address);
  }

  bool is_erased(int address) const {
    return std::ranges::any_of(plan_.erasures, [address](const PlannedErasure& erasure) {
      return Range{erasure.address, erasure.range.count}.contains(address);
    });
  }

  WriteFunction writer_of(const Piece& piece) const {
    const WriteFunction security = piece.zone->write_security;
    return options_.with_security && security != nullptr ? security : piece.write;
  }

  bool can_erase(const Memory& zone) const {
    return zone.erase != nullptr && (options_.may_erase || options_.whole_zone == &zone);
  }

  std::optional<Obstacle> obstacle_for(const Piece& piece, const Region& region, int address,
                                       unsigned char byte) const {
    if (writer_of(piece) == nullptr) return Obstacle::no_command;
    if (is_guard(*region.role) && !options_.with_guards) return Obstacle::guard;
    if (held_.is_read_only(address)) return Obstacle::read_only;
    const bool sets_bits = (byte & ~held_at(address)) != 0;
    const bool is_lost = piece.zone->keeps_zeros && sets_bits;
    if (is_lost && !can_erase(*piece.zone)) return Obstacle::zero_stays;
    return std::nullopt;
  }

  void want(const Piece& piece, int address, unsigned char byte) {
    while (regions_[region_].range.end() <= address)
      ++region_;
    const Region& region = regions_[region_];
    const unsigned char now = held_at(address);
    const auto obstacle = obstacle_for(piece, region, address, byte);
    if (obstacle && byte != now) add(plan_.obstacles, address, *obstacle);
    if (obstacle == Obstacle::no_command || obstacle == Obstacle::guard) return;
    target_[address] = obstacle ? now : byte;
    if (is_guard(*region.role)) guards_.insert(address);
    if (piece.zone->keeps_zeros && !obstacle && (byte & ~now) != 0) {
      to_erase_.emplace_back(piece.zone, address);
    }
    if (obstacle || byte == now) return;
    ++plan_.bytes_changed;
    plan_.bits_cleared += std::popcount(static_cast<unsigned>(now & ~byte));
    plan_.bits_set += std::popcount(static_cast<unsigned>(byte & ~now));
  }

  void plan_erasures() {
    for (const auto& [zone, address] : to_erase_) {
      if (is_erased(address)) continue;
      const int first = first_address_of(card_, *zone);
      const bool as_a_whole = options_.whole_zone == zone;
      const Range range =
          as_a_whole ? erased_as_a_whole(*zone) : with_beginning(*zone, {address - first, 1});
      if (as_a_whole && zone->erase_code->counter) ++plan_.erasures_counted;
      keep_what_is_erased(moved(range, first));
      if (!plan_.erasures.empty() && plan_.erasures.back().zone == zone &&
          range.address <= plan_.erasures.back().range.end()) {
        PlannedErasure& before = plan_.erasures.back();
        before.range.count = range.end() - before.range.address;
      } else {
        plan_.erasures.push_back({zone, range, first + range.address});
      }
    }
  }

  // What is erased, and was not wanted otherwise, is written again.
  void keep_what_is_erased(Range range) {
    for (int address = range.address; address < range.end(); ++address) {
      target_.try_emplace(address, held_at(address));
    }
  }

  // A word is written as a whole; what is not wanted of it stays as it is.
  void complete_units() {
    if (card_.memory.unit == 1) return;
    const std::map<int, unsigned char> wanted = target_;
    for (const auto& [address, byte] : wanted) {
      const Range unit = in_units({address, 1}, card_.memory.unit);
      for (int at = unit.address; at < unit.end(); ++at) {
        target_.try_emplace(at, held_at(at));
      }
    }
  }

  void plan_writes() {
    for (auto at = target_.begin(); at != target_.end();) {
      Segment run{at->first, {}};
      for (; at != target_.end() && at->first == run.end(); ++at) {
        run.bytes.push_back(at->second);
      }
      for (const Piece& piece : pieces_of(card_, run.range())) {
        plan_frames(piece, run);
      }
    }
  }

  void plan_frames(const Piece& piece, const Segment& run) {
    const int page = piece.zone->page;
    int done = 0;
    while (done < piece.range.count) {
      const int address = piece.range.address + done;
      int count = std::min(frame_size, piece.range.count - done);
      if (page > 1) count = std::min(count, page - address % page);
      const auto first = run.bytes.begin() + piece.done + done;
      plan_frame(piece, {address, count}, {first, first + count}, run.address + piece.done + done);
      done += count;
    }
  }

  // What a code hides may read as what is wanted.
  bool is_to_send(int address, unsigned char byte) const {
    return options_.all || byte != before_writing(address) || guards_.contains(address);
  }

  // A frame with a byte that is to be sent. Where each bit is written by itself, the bytes before
  // and behind those are left out: the card may refuse them.
  void plan_frame(const Piece& piece, Range range, Bytes bytes, int address) {
    const auto is_idle = [&](int at) {
      return !is_to_send(address + at, bytes[static_cast<std::size_t>(at)]);
    };
    int first = 0;
    while (first < range.count && is_idle(first))
      ++first;
    if (first == range.count) return;
    if (piece.zone->keeps_zeros) {
      int end = range.count;
      while (is_idle(end - 1))
        --end;
      bytes = {bytes.begin() + first, bytes.begin() + end};
      range = {range.address + first, end - first};
      address += first;
    }
    ++plan_.frames;
    plan_.bytes_sent += range.count;
    if (!plan_.writes.empty()) {
      PlannedWrite& before = plan_.writes.back();
      if (before.zone == piece.zone && before.write == writer_of(piece) &&
          before.range.end() == range.address) {
        before.range.count += range.count;
        before.bytes.insert(before.bytes.end(), bytes.begin(), bytes.end());
        return;
      }
    }
    plan_.writes.push_back({piece.zone, writer_of(piece), range, bytes, address});
  }

  const Card& card_;
  const Held& held_;
  const PlanOptions& options_;
  std::vector<Region> regions_;
  std::size_t region_ = 0;
  std::map<int, unsigned char> target_;
  std::set<int> guards_;  // addresses of codes and counters that are to be written
  std::vector<std::pair<const Memory*, int>> to_erase_;
  Plan plan_;
};

}  // namespace

bool Held::is_read_only(int address) const {
  const auto index = static_cast<std::size_t>(address);
  return index < is_protected.size() && is_protected[index];
}

std::string_view words_for(Obstacle obstacle) {
  return std::ranges::find(obstacle_words, obstacle, &ObstacleRow::obstacle)->words;
}

std::vector<Range> ranges_to_read(const Card& card, const Segments& wanted,
                                  const PlanOptions& options) {
  std::vector<Range> ranges;
  const auto include = [&ranges](Range range) {
    if (!ranges.empty() && range.address <= ranges.back().end()) {
      const int first = std::min(ranges.back().address, range.address);
      ranges.back() = {first, std::max(ranges.back().end(), range.end()) - first};
    } else {
      ranges.push_back(range);
    }
  };
  for (const Segment& segment : wanted) {
    for (const Piece& piece : pieces_of(card, segment.range())) {
      const int first = first_address_of(card, *piece.zone);
      if (options.whole_zone == piece.zone) {
        const Range whole = erased_as_a_whole(*piece.zone);
        const int begin = std::min(whole.address, piece.range.address);
        include({first + begin, std::max(whole.end(), piece.range.end()) - begin});
      } else if (options.may_erase) {
        include(moved(with_beginning(*piece.zone, piece.range), first));
      } else {
        include(moved(in_units(piece.range, piece.zone->unit), first));
      }
    }
  }
  return ranges;
}

Segments read_ranges(const Session& session, const Card& card, const std::vector<Range>& ranges,
                     const Operation& operation, int told_from) {
  SegmentCollector collector;
  for (const Range& range : ranges) {
    for (const Piece& piece : in_whole_zones(pieces_of(card, range))) {
      Memory zone = *piece.zone;
      zone.told_from = first_address_of(card, zone) + told_from;
      collector.add(0, range.address + piece.done,
                    read_memory(session, zone, piece.range, operation));
    }
  }
  return collector.collect();
}

Held read_held(const Session& session, const Card& card, const std::vector<Range>& ranges,
               const Operation& operation, int told_from) {
  Held held;
  held.bytes = read_ranges(session, card, ranges, operation, told_from);
  held.is_personalised = is_known_as_personalised(session, card);
  const Range all = held.bytes.span();
  const std::vector<bool> flags = read_protection(session, card, all);
  held.is_protected.resize(flags.empty() ? 0 : static_cast<std::size_t>(all.address), false);
  held.is_protected.insert(held.is_protected.end(), flags.begin(), flags.end());
  return held;
}

Plan make_plan(const Card& card, const Held& held, const Segments& wanted,
               const PlanOptions& options) {
  return Planner(card, held, options).make(wanted);
}

}  // namespace quorra::toolkit
