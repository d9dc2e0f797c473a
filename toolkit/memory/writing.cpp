// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/memory/writing.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::toolkit {
namespace {

constexpr Operation reading_back{.doing = "reading back what was written", .done = "read back"};
constexpr Operation reading_back_erased{.doing = "reading back what was erased",
                                        .done = "read back"};

constexpr unsigned char erased_byte = 0xFF;
constexpr std::size_t most_ranges_told = 8;

// Where writing turns bits from 1 to 0 only: how many bytes cannot hold what is wanted before they
// are erased.
std::string lost_bits(const Memory& memory, const Bytes& wanted, const Bytes& held) {
  if (!memory.keeps_zeros) return {};
  int bytes = 0;
  for (std::size_t at = 0; at < wanted.size(); ++at) {
    if ((wanted[at] & ~held[at]) != 0) ++bytes;
  }
  if (bytes == 0) return {};
  return fmt::format("; a 0 bit in {} would have to become 1: {}", counted(bytes, "byte"),
                     memory.erase == nullptr ? "this card cannot do that" : "erase first");
}

// What is known of each byte of a plan.
class Fates {
 public:
  explicit Fates(const Plan& plan) {
    for (const PlannedErasure& erasure : plan.erasures) {
      set({erasure.address, erasure.range.count}, Fate::not_written);
    }
    for (const PlannedWrite& write : plan.writes) {
      set({write.address, write.range.count}, Fate::not_written);
      mark(is_rewritten_, {write.address, write.range.count});
    }
  }

  void erase(Range range) {
    for (int at = range.address; at < range.end(); ++at) {
      const bool waits = is_rewritten_.size() > index(at) && is_rewritten_[index(at)];
      set({at, 1}, waits ? Fate::erased : Fate::written);
    }
    mark(is_erased_, range);
  }
  void write(Range range) { set(range, Fate::written); }
  void lose(Range range) { set(range, Fate::unknown); }

  // What the bytes are that were read from `first`, what they should be, and what they were, as far
  // as that is known.
  void compare(int first, const Bytes& wanted, const Bytes& held, const Held* before) {
    for (std::size_t at = 0; at < wanted.size(); ++at) {
      const int address = first + static_cast<int>(at);
      if (wanted[at] != held[at]) {
        const bool was_erased = is_erased_.size() > index(address) && is_erased_[index(address)];
        const bool is_erased = was_erased && held[at] == erased_byte;
        set({address, 1}, is_erased ? Fate::erased : Fate::not_written);
      } else {
        const bool was_so = before == nullptr || before->bytes.at(address) == wanted[at];
        set({address, 1}, was_so ? Fate::none : Fate::written);
      }
    }
  }

  Extent extent(int told_from) const {
    Extent extent;
    for (int address = 0; index(address) < fates_.size(); ++address) {
      if (std::vector<Range>* ranges = ranges_of(extent, fates_[index(address)])) {
        add(*ranges, address + told_from);
      }
    }
    return extent;
  }

 private:
  enum class Fate { none, not_written, erased, unknown, written };

  static std::size_t index(int address) { return static_cast<std::size_t>(address); }

  static std::vector<Range>* ranges_of(Extent& extent, Fate fate) {
    switch (fate) {
      case Fate::written:
        return &extent.written;
      case Fate::erased:
        return &extent.erased;
      case Fate::unknown:
        return &extent.unknown;
      case Fate::not_written:
        return &extent.not_written;
      case Fate::none:
        break;
    }
    return nullptr;
  }

  static void add(std::vector<Range>& ranges, int address) {
    if (ranges.empty() || ranges.back().end() < address) ranges.push_back({address, 0});
    ++ranges.back().count;
  }

  void set(Range range, Fate fate) {
    fates_.resize(std::max(fates_.size(), index(range.end())), Fate::none);
    std::fill_n(fates_.begin() + range.address, range.count, fate);
  }

  static void mark(std::vector<bool>& flags, Range range) {
    flags.resize(std::max(flags.size(), index(range.end())), false);
    std::fill_n(flags.begin() + range.address, range.count, true);
  }

  std::vector<Fate> fates_;
  std::vector<bool> is_rewritten_;
  std::vector<bool> is_erased_;
};

void add_words(std::string& text, std::string_view what, const std::vector<Range>& ranges) {
  if (ranges.empty()) return;
  std::vector<std::string> words;
  std::ranges::transform(
      ranges.begin(),
      ranges.begin() + static_cast<std::ptrdiff_t>(std::min(ranges.size(), most_ranges_told)),
      std::back_inserter(words), addresses);
  text += fmt::format("; {}: {}", what, fmt::join(words, ", "));
  if (ranges.size() > most_ranges_told) {
    text += fmt::format(" and {} more", ranges.size() - most_ranges_told);
  }
}

// Nothing, where all is as it was.
std::string words_for(const Extent& extent) {
  std::string text;
  if (extent.written.empty() && extent.erased.empty() && extent.unknown.empty()) return text;
  add_words(text, "written", extent.written);
  add_words(text, "erased only", extent.erased);
  add_words(text, "not known", extent.unknown);
  add_words(text, "not written", extent.not_written);
  return text;
}

class Carrier {
 public:
  Carrier(const Session& session, const Plan& plan, const Writing& how)
      : session_(session),
        plan_(plan),
        how_(how),
        fates_(plan) {}

  void run() {
    for (const PlannedErasure& erasure : plan_.erasures) {
      erase(erasure);
    }
    for (const PlannedWrite& planned : plan_.writes) {
      write(planned);
    }
    if (!how_.verify) return;
    for (const PlannedErasure& erasure : plan_.erasures) {
      expect_erased(erasure);
    }
    for (const PlannedWrite& planned : plan_.writes) {
      expect_written(planned);
    }
  }

  Extent extent() const { return fates_.extent(how_.told_from); }

 private:
  using Send = std::function<int(int handle)>;

  // An interruption may come before anything of it is sent.
  int attempt(const Operation& operation, Range piece, const Send& send) {
    const Send send_and_note = [&](int handle) {
      fates_.lose(piece);
      return send(handle);
    };
    return session_.attempt(
        operation, +[](int handle, const Send* call) { return (*call)(handle); }, &send_and_note);
  }

  // Addresses in messages are those of the card, but for what they are told from.
  Memory told(const Memory& zone, int first) const {
    Memory memory = zone;
    memory.told_from = first + how_.told_from;
    return memory;
  }

  void erase(const PlannedErasure& erasure) {
    const int first = erasure.address - erasure.range.address;
    const Memory zone = told(*erasure.zone, first);
    const ExplainFailure explain = [&](int result, Range piece, int /*done*/) -> std::string {
      if (is_unanswered(result)) return {};
      const Bytes held = read_memory(session_, zone, piece, reading_back_erased);
      fates_.compare(first + piece.address, Bytes(held.size(), erased_byte), held, nullptr);
      return {};
    };
    transfer(
        session_, zone, erasure.range, how_.erasing,
        [&](Range piece, int /*done*/) {
          const auto send = [&](int handle) {
            return zone.erase(handle, piece.address, piece.count);
          };
          return attempt(how_.erasing, moved(piece, first), send);
        },
        explain, [&](Range piece) { fates_.erase(moved(piece, first)); });
  }

  void write(const PlannedWrite& planned) {
    const int first = planned.address - planned.range.address;
    const Memory zone = told(*planned.zone, first);
    const Operation operation{how_.writing.doing, zone.writing, how_.writing.done};
    const MovePiece move = [&](Range piece, int done) {
      const auto send = [&](int handle) {
        return planned.write(handle, piece.address, piece.count, planned.bytes.data() + done);
      };
      return attempt(operation, moved(piece, first), send);
    };
    const ExplainFailure explain = [&](int result, Range piece, int done) -> std::string {
      if (is_unanswered(result)) return {};
      const Bytes held = read_memory(session_, zone, piece, reading_back);
      const auto begin = planned.bytes.begin() + done;
      const Bytes wanted(begin, begin + piece.count);
      fates_.compare(first + piece.address, wanted, held, how_.before);
      const auto difference = find_difference(wanted, held, piece.address + zone.told_from);
      if (!difference || !is_status(result, zone.writing)) return {};
      return ": " + describe(*difference) + lost_bits(zone, wanted, held);
    };
    transfer(session_, zone, planned.range, operation, move, explain,
             [&](Range piece) { fates_.write(moved(piece, first)); });
  }

  void expect_written(const PlannedWrite& planned) {
    const Memory zone = told(*planned.zone, planned.address - planned.range.address);
    const Bytes held = read_memory(session_, zone, planned.range, reading_back);
    fates_.compare(planned.address, planned.bytes, held, how_.before);
    const auto difference =
        find_difference(planned.bytes, held, planned.range.address + zone.told_from);
    if (!difference) return;
    throw Failure(fmt::format("{}: {}{}", reading_back.doing, describe(*difference),
                              lost_bits(zone, planned.bytes, held)),
                  {.word = "differs", .address = difference->address});
  }

  // An erase of a personalised zone leaves its flags as they are.
  void expect_erased(const PlannedErasure& erasure) {
    const int first = erasure.address - erasure.range.address;
    const Memory zone = told(*erasure.zone, first);
    Bytes held = read_memory(session_, zone, erasure.range, reading_back_erased);
    Bytes wanted(held.size(), erased_byte);
    for (int at = 0; at < erasure.range.count; ++at) {
      const auto index = static_cast<std::size_t>(at);
      const int address = erasure.range.address + at;
      if (zone.flags && zone.flags->address == address) held[index] |= write_flag | read_flag;
      if (is_rewritten(first + address)) wanted[index] = held[index];
    }
    const auto difference = find_difference(wanted, held, erasure.range.address + zone.told_from);
    if (!difference) return;
    fates_.compare(erasure.address, wanted, held, nullptr);
    throw Failure(fmt::format("{}: {}", reading_back_erased.doing, describe(*difference)),
                  {.word = "differs", .address = difference->address});
  }

  bool is_rewritten(int address) const {
    return std::ranges::any_of(plan_.writes, [address](const PlannedWrite& planned) {
      return Range{planned.address, planned.range.count}.contains(address);
    });
  }

  const Session& session_;
  const Plan& plan_;
  const Writing& how_;
  Fates fates_;
};

}  // namespace

void carry_out(const Session& session, const Plan& plan, const Writing& how) {
  Carrier carrier(session, plan, how);
  const auto ended = [&](const Failure& error) {
    Particulars particulars = error.particulars();
    particulars.extent = carrier.extent();
    return std::pair(error.what() + words_for(*particulars.extent), particulars);
  };
  try {
    carrier.run();
  } catch (const Interrupted& interruption) {
    const auto [text, particulars] = ended(interruption);
    throw Interrupted(text, particulars);
  } catch (const Failure& error) {
    const auto [text, particulars] = ended(error);
    throw Failure(text, particulars);
  }
}

}  // namespace quorra::toolkit
