// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/kinds/recognition.hpp"

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit {
namespace {

using Names = std::span<const std::string_view>;

constexpr Operation looking{"looking for a card"};
constexpr Operation switching_off{"switching the card's power off"};

// What a line shows that nobody pulls low.
constexpr unsigned char idle = 0xFF;

// Each look begins without power. A card that is read as another kind takes what it sees on its
// contacts for something: the second of two reads as a 4442 would make a 45d041 program a page.
class Look {
 public:
  explicit Look(const Session& session) : session_(session) {}

  // What a function of the library finds, if the reader does not refuse it.
  template <typename Value, typename... Parameters, typename... Arguments>
  std::optional<Value> ask(Value found, int (*function)(int handle, Parameters...),
                           Arguments... arguments) const {
    switch_off();
    return answered(session_.attempt(looking, function, arguments..., &found))
               ? std::optional(found)
               : std::nullopt;
  }

  // The bytes that a card of this kind, or its zone 0, would have there.
  std::optional<Bytes> read(const Card& card, int address, int count) const {
    return read(card.memory.read, address, count);
  }
  std::optional<Bytes> read(ReadFunction function, int address, int count) const {
    switch_off();
    Bytes bytes(static_cast<std::size_t>(count));
    return answered(session_.attempt(looking, function, address, count, bytes.data()))
               ? std::optional(bytes)
               : std::nullopt;
  }

  // A reader may refuse that when there is no card.
  void switch_off() const {
    const int result = session_.attempt(switching_off, turn_off);
    if (result < 0 && !is_status(result, switching_off.kind)) session_.fail(switching_off, result);
  }

 private:
  bool answered(int result) const {
    if (result < 0 && !is_status(result, looking.kind)) session_.fail(looking, result);
    return result >= 0;
  }

  const Session& session_;
};

const Card& named(std::string_view name) { return *find_card(name); }

bool all_equal(std::span<const unsigned char> bytes) {
  return std::ranges::adjacent_find(bytes, std::ranges::not_equal_to{}) == bytes.end();
}

Recognition certainly(const Card& card) { return {.card = &card}; }

Recognition guess(std::string_view name, Names others) {
  Recognition found{.card = &named(name)};
  for (const std::string_view other : others) {
    found.others.push_back(&named(other));
  }
  return found;
}

// A card that does not understand what it is read with goes on sending, or sends nothing, whatever
// the address is. From an address that is further on by so many bytes, one that does sends the same
// bytes without the first ones; content that repeats tells nothing.
constexpr int step = 4;

bool repeats(const Bytes& bytes) {
  return std::equal(bytes.begin() + step, bytes.end(), bytes.begin());
}

bool is_read_further_on(const Look& look, const Card& card, int address, const Bytes& bytes) {
  const auto rest = look.read(card, address + step, static_cast<int>(bytes.size()) - step);
  return rest && std::equal(rest->begin(), rest->end(), bytes.begin() + step);
}

// One look is enough where there is nothing to see.
template <int address, int count>
bool is_read_right(const Look& look, const Card& card) {
  const auto bytes = look.read(card, address, count);
  return bytes && !repeats(*bytes) && is_read_further_on(look, card, address, *bytes);
}

// The same where the card acknowledges what it understands, and its content may repeat.
bool is_read_at_all(const Look& look, const Card& card) {
  constexpr int count = 12;
  const auto bytes = look.read(card, 0, count);
  return bytes && is_read_further_on(look, card, 0, *bytes);
}

// Bits 5 to 3 of its status are the size of the chip.
bool has_status_of_45d041(const Look& look, const Card& /*card*/) {
  constexpr unsigned size_bits = 0x38;
  constexpr unsigned size_of_this_one = 0x18;
  const auto status = look.ask(idle, rdstrg_45d041);
  return status && (*status & size_bits) == size_of_this_one;
}

// Security memories begin with bytes that their maker has fixed.
template <unsigned char... identification>
bool begins_with(const Look& look, const Card& card) {
  constexpr std::array bytes{identification...};
  const auto first = look.read(card, 0, static_cast<int>(bytes.size()));
  return first && std::ranges::equal(*first, bytes);
}

bool begins_as_4404(const Look& look, const Card& card) {
  const auto first = look.read(card, 0, 3);
  return first &&
         (*first == Bytes{0xB7, 0xA0, 0xFF} || (first->at(0) == 0x81 && first->at(1) == 0x24));
}

bool begins_as_4406(const Look& look, const Card& card) {
  const auto first = look.read(card, 0, 3);
  return first && ((first->at(0) == 0x98 && first->at(1) == 0x20) || first->at(2) == 0x22);
}

// How many attempts are left at its code. All bits of an idle line are attempts, which are too
// many.
std::optional<int> attempts_shown(const Look& look, const Card& card) {
  const Counter& counter = *card.codes.front().counter;
  const auto left = look.ask(counter.most + 1, counter.read);
  return left && *left <= counter.most ? left : std::nullopt;
}

// A security memory that is not known may show zeros here.
bool has_attempts(const Look& look, const Card& card) {
  return attempts_shown(look, card).value_or(0) > 0;
}

// Whether the protection differs from the content where each alone could be that of an idle line:
// FF, of which nothing is protected.
template <int count>
bool shows_protection(const Look& look, const Card& card) {
  const auto content = look.read(card, 0, count);
  const auto protection = look.read(card.protection->read, 0, count);
  if (!content || !protection || !all_equal(*content)) return false;
  const unsigned char unlike_content = content->front() == idle ? 1 : 0;
  return std::ranges::find(*protection, unlike_content) != protection->end();
}

// A chip with one byte of address has eight blocks, or does not look at their number. One with two
// bytes is silent for all blocks but the first.
bool has_blocks(const Look& look, const Card& card) {
  const int last_block = card.memory.size - 1;
  return look.read(card, last_block, 1) && is_read_at_all(look, card);
}

// A chip of the series puts a zero before its data as soon as it has all bits of its address. One
// with more of them is still waiting.
bool puts_zero(const Look& look, const Card& card) {
  return look.read(card, 0, card.memory.unit).has_value();
}

Recognition tell_alone(const Look& /*look*/, const Card& card) { return certainly(card); }

// The 4432 leaves the line idle when it is asked for attempts.
Recognition tell_4442(const Look& look, const Card& card) {
  static constexpr std::array<std::string_view, 1> others{"4442"};
  if (attempts_shown(look, card)) return certainly(card);
  return guess("4432", others);
}

// A 4428 shows zeros for its code as long as it was not presented.
Recognition tell_4428(const Look& look, const Card& card) {
  static constexpr std::array<std::string_view, 1> others{"4418"};
  constexpr int code_address = 1022;
  const auto code = look.read(card, code_address, 2);
  if (code && *code != Bytes{0, 0}) return certainly(named("4418"));
  return guess("4428", others);
}

// Bytes that a card of this kind shows as FF to everybody: codes, and what is no memory.
struct Hidden {
  std::string_view name;
  Range range;
};

// Read as a 102, which is longer. A 102 that is taken for a 101 keeps its codes: an attempt at the
// one of a 101 is none on it, so nothing can be presented, and nothing written.
Recognition tell_101(const Look& look, const Card& card) {
  static constexpr std::array<std::string_view, 1> others{"102"};
  // A 101 has its data, or its counter of erasures, where the 102 has codes, and the other way
  // round.
  constexpr Hidden hidden[] = {
      {"102", {86, 6}}, {"102", {156, 4}}, {"101", {150, 4}}, {"101", {172, 6}}};
  constexpr Range shown{13, 165};
  const auto bytes = look.read(card, shown.address, shown.count);
  if (!bytes) return guess("101", others);
  for (const Hidden& row : hidden) {
    const auto place =
        std::span(*bytes).subspan(static_cast<std::size_t>(row.range.address - shown.address),
                                  static_cast<std::size_t>(row.range.count));
    const bool is_hidden = place.front() == idle && all_equal(place);
    if (!is_hidden) return certainly(named(row.name == "102" ? "101" : "102"));
  }
  return guess("101", others);
}

// A small chip shows the same again at the addresses of a larger one. What repeats may be repeated
// content as well, so only a difference proves something. The sizes grow by two.
Recognition tell_size(const Look& look, const Card& largest, Names sizes) {
  constexpr int window = 128;
  const auto first = look.read(largest, 0, window);
  for (std::size_t larger = sizes.size() - 1; larger > 0; --larger) {
    const auto other = look.read(largest, named(sizes[larger - 1]).memory.size, window);
    if (other != first) return guess(sizes[larger], sizes.subspan(larger + 1));
  }
  return guess(sizes.front(), sizes.subspan(1));
}

constexpr std::array<std::string_view, 5> sizes_with_blocks{"24c01a", "24c02", "24c04", "24c08",
                                                            "24c16"};
constexpr std::array<std::string_view, 2> sizes_with_two_bytes{"24c32", "24c64"};
constexpr std::array<std::string_view, 2> sizes_without_blocks{"24c01a", "24c02"};
constexpr std::array<std::string_view, 4> sizes_of_93c{"93c46a", "93c46", "93c57", "93c66"};

template <const auto& sizes>
Recognition tell_size_of(const Look& look, const Card& card) {
  return tell_size(look, card, sizes);
}

// The small ones may have contacts for the number of a block, and be silent, too.
Recognition tell_silent_24c(const Look& look, const Card& card) {
  Recognition found = tell_size(look, card, sizes_with_two_bytes);
  for (const std::string_view other : sizes_without_blocks) {
    found.others.push_back(&named(other));
  }
  return found;
}

// Not every reader may look for the zero, so a larger one is possible.
template <std::size_t index>
Recognition tell_93c(const Look& /*look*/, const Card& card) {
  return guess(card.name, Names(sizes_of_93c).subspan(index + 1));
}

struct Trial {
  std::string_view name;  // of the kind as which the card is read
  bool (*accepts)(const Look& look, const Card& card);
  Recognition (*tell)(const Look& look, const Card& card);
};

// In this order: what one trial accepts, a later one may take for something else. Where a card is
// tried twice as the same kind, its content may repeat, and then there is less to go by.
constexpr Trial trials[] = {
    {"45d041", has_status_of_45d041, tell_alone},
    {"4442", is_read_right<0, 12>, tell_4442},
    {"4428", is_read_right<0, 12>, tell_4428},
    {"4404", begins_as_4404, tell_alone},
    {"4406", begins_as_4406, tell_alone},
    {"102", begins_with<0x0F, 0x0F>, tell_101},
    {"1604", begins_with<0x31, 0x3A>, tell_alone},
    {"1604b", begins_with<0x72, 0x55>, tell_alone},
    {"4442", has_attempts, tell_4442},
    {"4442", shows_protection<32>, tell_4442},
    {"4428", is_read_right<1012, 12>, tell_4428},
    {"4418", shows_protection<32>, tell_4428},
    {"24c16", has_blocks, tell_size_of<sizes_with_blocks>},
    {"24c64", is_read_right<0, frame_size>, tell_size_of<sizes_with_two_bytes>},
    {"24c02", is_read_right<0, 128>, tell_size_of<sizes_without_blocks>},
    {"24c64", is_read_at_all, tell_silent_24c},
    {"93c46a", puts_zero, tell_93c<0>},
    {"93c46", puts_zero, tell_93c<1>},
    {"93c57", puts_zero, tell_93c<2>},
    {"93c66", puts_zero, tell_93c<3>},
};

}  // namespace

Recognition recognise(const Session& session) {
  const Look look(session);
  Recognition found;
  for (const Trial& trial : trials) {
    const Card& card = named(trial.name);
    if (!trial.accepts(look, card)) continue;
    found = trial.tell(look, card);
    break;
  }
  look.switch_off();
  return found;
}

std::string names_of(const Recognition& found) {
  std::string names(found.card->name);
  for (std::size_t i = 0; i < found.others.size(); ++i) {
    names += i + 1 < found.others.size() ? ", " : " or ";
    names += found.others[i]->name;
  }
  return names;
}

}  // namespace quorra::toolkit
