// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Commands that the power is cut in: at each clock a card is left old, new, or in between in a way
// that docs/virtual-reader.md tells.
#include "simulator/bench/tear.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <ostream>
#include <regex>
#include <set>
#include <utility>

#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using ::testing::Contains;
using ::testing::SizeIs;

using Names = std::set<std::string>;

struct TornCommand {
  const char* kind;
  // What is carried out before, if anything, and then what is torn.
  std::vector<const char*> orders;
  // How many bytes the card erases at once.
  std::size_t erased_at_once = 1;
  bool succeeds = true;
};

std::ostream& operator<<(std::ostream& stream, const TornCommand& torn) {
  return stream << torn.kind << ' ' << torn.orders.back();
}

// A card that is not blank where it can be written at any time.
Image card_of(std::string_view kind) {
  Image image(find_kind(kind));
  const auto memory = image.field("memory");
  const bool keeps_codes_in_memory = image.has("fuse") || kind == "4406";
  if (!keeps_codes_in_memory) std::iota(memory.begin(), memory.end(), std::uint8_t{0});
  return image;
}

std::vector<Order> orders_of(const TornCommand& torn) {
  std::vector<Order> orders;
  for (const char* const text : torn.orders)
    orders.push_back(parse_order(text));
  return orders;
}

using Cells = std::span<const std::uint8_t>;

std::size_t same_at_the_beginning(Cells one, Cells other) {
  return static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

// How many bytes lie between those at the beginning that are new and those at the end that are old.
Cells between(Cells before, Cells found, Cells after) {
  const std::size_t first = same_at_the_beginning(found, after);
  std::size_t end = found.size();
  while (end > first && found[end - 1] == before[end - 1])
    --end;
  return found.subspan(first, end - first);
}

// Bytes up to one are new, and the rest are old.
bool is_begun(Cells before, Cells found, Cells after) {
  return between(before, found, after).empty();
}

// The same, and some between them are erased.
bool is_erased(Cells before, Cells found, Cells after, std::size_t most) {
  const Cells erased = between(before, found, after);
  return !erased.empty() && erased.size() <= most &&
         std::ranges::all_of(erased, [](std::uint8_t byte) { return byte == 0xFF; });
}

// Bits up to one, most significant first, are new, and the rest are old.
bool is_begun_by_bits(Cells before, Cells found, Cells after) {
  const std::size_t place = same_at_the_beginning(found, after);
  if (place == found.size()) return true;
  if (!std::ranges::equal(found.subspan(place + 1), before.subspan(place + 1))) return false;
  for (unsigned bits = 0; bits < 8; ++bits) {
    const unsigned mask = 0xFF00U >> bits & 0xFFU;
    if (found[place] == ((after[place] & mask) | (before[place] & ~mask & 0xFFU))) return true;
  }
  return false;
}

// One bit is 0 that was 1, and nothing else differs.
bool has_lost_one_bit(const Image& before, const Image& found) {
  const auto changes = changes_between(before, found);
  if (changes.size() != 1 || changes[0].found.size() != 1) return false;
  const unsigned was = changes[0].before[0];
  const unsigned is = changes[0].found[0];
  return (is & ~was) == 0 && std::popcount(was ^ is) == 1;
}

bool in_every_field(const Tear& tear, const Image& found, auto holds) {
  return std::ranges::all_of(tear.before.kind().fields, [&](const Field& field) {
    return holds(tear.before.field(field.name), found.field(field.name),
                 tear.after.field(field.name));
  });
}

// What a state is called that is neither old nor new.
Names names_of(const Tear& tear, const Image& found, std::size_t erased_at_once) {
  Names names;
  if (in_every_field(tear, found, is_begun)) {
    names.insert("begun");
  } else if (in_every_field(tear, found, [&](Cells before, Cells is, Cells after) {
               return is_begun(before, is, after) || is_erased(before, is, after, erased_at_once);
             })) {
    names.insert("erased");
  }
  if (in_every_field(tear, found, is_begun_by_bits)) names.insert("bits");
  if (has_lost_one_bit(tear.before, found)) names.insert("spent");
  return names;
}

// The table of states in between: kinds and command byte, and what may be found.
std::map<std::pair<std::string, std::string>, Names> documented() {
  std::map<std::pair<std::string, std::string>, Names> rows;
  std::ifstream page(QUORRA_DOCUMENTATION "/virtual-reader.md");
  const std::regex row(R"(\| ([0-9a-z, ]+) \| 0x([0-9A-F]{2}) \| ([^|]*) \|)");
  const std::regex word("`([a-z0-9]+)`|([a-z0-9]+)");
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("#")) inside = line == "### What is left";
    std::smatch found;
    if (!inside || !std::regex_match(line, found, row)) continue;
    const std::string kinds = found[1];
    const std::string states = found[3];
    Names names;
    for (std::sregex_iterator i(states.begin(), states.end(), word), end; i != end; ++i)
      if ((*i)[1].matched) names.insert((*i)[1]);
    for (std::sregex_iterator i(kinds.begin(), kinds.end(), word), end; i != end; ++i)
      rows[{(*i)[2], found[2]}] = names;
  }
  return rows;
}

const std::vector<TornCommand>& torn_commands() {
  static const std::vector<TornCommand> all{
      {"4442", {"64 79 0000 0000 FF FF FF", "60 79 0000 0020 AA 00 55"}},
      {"4442", {"64 79 0000 0000 FF FF FF"}},
      {"4442", {"64 79 0000 0000 FF FF FE"}, 1, false},
      {"4442",
       {"64 79 0000 0000 FF FF FF", "66 79 0000 0000 12 34 56", "66 79 0000 0000 65 43 21"}},
      {"4442", {"64 79 0000 0000 FF FF FF", "75 79 0000 0008 08 09 0A"}},
      {"4432", {"60 79 0000 0020 AA 00 55"}},
      {"4432", {"75 79 0000 0008 08 09 0A"}},
      {"4428", {"64 77 0000 0000 FF FF", "60 77 0000 0020 AA 00 55"}},
      {"4428", {"64 77 0000 0000 FF FF", "6D 77 0000 0020 AA 00 55"}},
      {"4428", {"64 77 0000 0000 FF FF", "6F 77 0000 0020 20 21 22"}},
      {"4428", {"64 77 0000 0000 FF FF"}},
      {"4418", {"60 76 0000 0020 AA 00 55"}},
      {"4418", {"6D 76 0000 0020 AA 00 55"}},
      {"4418", {"6F 76 0000 0020 20 21 22"}},
      {"24c01a", {"62 60 0000 0006 AA 00 55"}, 8},
      {"24c02", {"62 61 0000 0006 AA 00 55"}, 8},
      {"24c04", {"62 62 0000 000E AA 00 55"}, 16},
      {"24c08", {"62 62 0000 010E AA 00 55"}, 16},
      {"24c16", {"62 64 0000 030E AA 00 55"}, 16},
      {"24c32", {"62 65 0000 031E AA 00 55"}, 32},
      {"24c64", {"62 66 0000 121E AA 00 55"}, 32},
      {"93c46a", {"60 68 0000 0010 AA 00 55 01"}},
      {"93c46", {"60 69 0000 0010 AA 00 55"}},
      {"93c57", {"60 6A 0000 0010 AA 00 55"}},
      {"93c66", {"60 6B 0000 0010 AA 00 55"}},
      {"93c46a", {"78 68 0000 0000"}},
      {"93c46", {"78 69 0000 0000"}},
      {"93c57", {"78 6A 0000 0000"}},
      {"93c66", {"78 6B 0000 0000"}},
      {"93c46a", {"79 68 0000 0000"}},
      {"93c46", {"79 69 0000 0000"}},
      {"93c57", {"79 6A 0000 0000"}},
      {"93c66", {"79 6B 0000 0000"}},
      {"45d041", {"60 6E 0010 0010 AA 00 55"}, 264},
      {"4404", {"64 7A 0000 0000 FF FF", "60 7A 0000 000B A5 5A"}},
      {"101", {"64 71 0000 0000 FF FF", "60 71 0000 000D A5 5A"}},
      {"102", {"64 72 0000 000A FF FF", "60 72 0000 000D A5 5A"}},
      {"1604", {"64 73 0000 000A FF FF", "60 73 0000 000D A5 5A"}},
      {"1604b", {"64 73 0B00 000A FF FF", "60 73 0B00 000D A5 5A"}},
      {"101", {"64 71 0000 0000 FF FF", "66 71 0000 000A A5 5A"}},
      {"102", {"64 72 0000 000A FF FF", "66 72 0000 000A A5 5A"}},
      {"1604", {"64 73 0000 000A FF FF", "66 73 0000 0018 A5 5A"}},
      {"1604b", {"64 73 0B00 000A FF FF", "66 73 0B00 0018 A5 5A"}},
      {"4404", {"64 7A 0000 0000 FF FF"}},
      {"101", {"64 71 0000 0000 FF FF"}},
      {"102", {"64 72 0000 000A FF FF"}},
      {"1604", {"64 73 0000 000A FF FF"}},
      {"1604b", {"64 73 0B00 000A FF FF"}},
      {"4404", {"64 7A 0000 0000 FF FF", "60 7A 0000 000B 00 00 00", "76 7A 0000 000B 00 03"}},
      {"101", {"64 71 0000 0000 FF FF", "60 71 0000 000D 00 00 00", "76 71 0000 000D 00 03"}},
      {"102", {"64 72 0000 000A FF FF", "60 72 0000 000D 00 00 00", "76 72 0000 000D 00 03"}},
      {"1604", {"64 73 0000 000A FF FF", "60 73 0000 000D 00 00 00", "76 73 0000 000D 00 03"}},
      {"1604b", {"64 73 0B00 000A FF FF", "60 73 0B00 000D 00 00 00", "76 73 0B00 000D 00 03"}},
      {"4404", {"64 7A 0000 0000 FF FF", "71 7A 0000 0000"}},
      {"101", {"64 71 0000 0000 FF FF", "73 71 0000 0000"}},
      {"102", {"64 72 0000 000A FF FF", "73 72 0000 00C2"}},
      {"1604", {"64 73 0000 000A FF FF", "73 73 0000 07F4"}},
      {"1604b", {"64 73 0B00 000A FF FF", "73 73 0B00 07FC"}},
      {"4406", {"64 7B 0000 0000 FF FF FF", "60 7B 0000 0003 A5 5A"}},
      {"4406", {"64 7B 0000 0000 FF FF FF"}},
      {"4406",
       {"64 7B 0000 0000 FF FF FF", "60 7B 0000 0008 7F", "60 7B 0000 000A 00", "70 7B 0000 0009"}},
      {"cpu", {"21 20 0000 0000 00 A4 00 0C 02 00 01", "21 20 0000 0000 00 D6 00 00 02 AA 55"}},
  };
  return all;
}

std::string command_of(const TornCommand& torn) { return {torn.orders.back(), 2}; }

bool is_between(const Tear& tear, const TornState& state) {
  return state.content != tear.before && state.content != tear.after;
}

class Torn : public ::testing::TestWithParam<TornCommand> {};

TEST_P(Torn, leaves_what_is_documented) {
  const TornCommand& torn = GetParam();
  const Tear result = tear(card_of(torn.kind), orders_of(torn));
  EXPECT_EQ(result.status == Status::success, torn.succeeds);
  EXPECT_THAT(result.states, Contains(::testing::Field(&TornState::content, result.after)));
  const auto table = documented();
  ASSERT_TRUE(table.contains({torn.kind, command_of(torn)}));
  const Names& allowed = table.at({torn.kind, command_of(torn)});
  for (const TornState& state : result.states) {
    if (!is_between(result, state)) continue;
    const Names names = names_of(result, state.content, torn.erased_at_once);
    EXPECT_TRUE(std::ranges::any_of(names, [&](auto& name) { return allowed.contains(name); }))
        << "clock " << state.clocks.front().first;
  }
}

TEST_P(Torn, counts_each_clock_once) {
  const TornCommand& torn = GetParam();
  const Tear result = tear(card_of(torn.kind), orders_of(torn));
  std::set<unsigned> clocks;
  std::size_t count = 0;
  for (const TornState& state : result.states)
    for (const ClockRange& range : state.clocks)
      for (unsigned clock = range.first; clock <= range.last; ++clock, ++count)
        clocks.insert(clock);
  EXPECT_THAT(clocks, SizeIs(result.clocks));
  EXPECT_EQ(count, result.clocks);
  if (result.clocks == 0) return;
  EXPECT_EQ(*clocks.begin(), 1U);
  EXPECT_EQ(*clocks.rbegin(), result.clocks);
}

// What tearing says of a clock is what the reader leaves when the card is pulled there.
TEST_P(Torn, is_what_a_card_that_is_pulled_holds) {
  const TornCommand& torn = GetParam();
  const auto orders = orders_of(torn);
  const Image card = card_of(torn.kind);
  const Tear result = tear(card, orders);
  const unsigned step = result.clocks < 400 ? 7 : result.clocks / 50;
  for (const TornState& state : result.states)
    for (const ClockRange& range : state.clocks)
      for (unsigned clock = range.first; clock <= range.last; clock += step) {
        const auto chip = card.kind().make_chip(card);
        Reader reader;
        reader.slot.insert(*chip);
        Status status = Status::success;
        for (const Order& order : orders) {
          if (&order == &orders.back()) reader.slot.remove_at_clock(clock);
          Reply reply;
          status =
              execute(reader, {.command = order.command, .flag = 0, .body = order.body}, reply);
        }
        EXPECT_EQ(status, Status::no_card);
        EXPECT_EQ(std::as_const(*chip).image(), state.content) << "clock " << clock;
      }
}

// Writes down what a chip sees.
class RecordedChip final : public Chip {
 public:
  explicit RecordedChip(std::unique_ptr<Chip> chip)
      : Chip(std::as_const(*chip).image()),
        chip_(std::move(chip)) {}

  void contacts_changed(const Contacts& before, const Contacts& now) override {
    seen.emplace_back(before, now);
    chip_->contacts_changed(before, now);
    pull_io_low(chip_->pulls_io_low());
    pull_c8_low(chip_->pulls_c8_low());
  }
  const Chip& chip() const { return *chip_; }

  std::vector<std::pair<Contacts, Contacts>> seen;

 private:
  std::unique_ptr<Chip> chip_;
};

// A copy that is made at any moment of a command ends it as its original does.
TEST_P(Torn, goes_on_in_a_copy) {
  const TornCommand& torn = GetParam();
  const auto orders = orders_of(torn);
  const Image card = card_of(torn.kind);
  RecordedChip chip(card.kind().make_chip(card));
  Reader reader;
  reader.slot.insert(chip);
  for (const Order& order : orders) {
    Reply reply;
    execute(reader, {.command = order.command, .flag = 0, .body = order.body}, reply);
  }
  const Image after = chip.chip().image();
  const auto play = [&chip](Chip& on, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      on.contacts_changed(chip.seen[i].first, chip.seen[i].second);
  };
  const std::size_t size = chip.seen.size();
  const auto original = card.kind().make_chip(card);
  std::size_t played = 0;
  for (std::size_t moment = 0; moment < size; moment += size / 61 + 1) {
    play(*original, played, moment);
    played = moment;
    const auto copy = original->copy();
    const Image content = std::as_const(*original).image();
    play(*copy, moment, size);
    EXPECT_EQ(std::as_const(*copy).image(), after) << moment << " of " << size;
    EXPECT_EQ(std::as_const(*original).image(), content) << "has cells of its own";
  }
}

INSTANTIATE_TEST_SUITE_P(Commands, Torn, ::testing::ValuesIn(torn_commands()));

TEST(TornTable, has_what_is_seen_and_nothing_else) {
  std::map<std::pair<std::string, std::string>, Names> seen;
  const auto table = documented();
  for (const TornCommand& torn : torn_commands()) {
    const std::pair<std::string, std::string> row(torn.kind, command_of(torn));
    seen[row];
    const Tear result = tear(card_of(torn.kind), orders_of(torn));
    for (const TornState& state : result.states)
      if (is_between(result, state))
        for (const std::string& name : names_of(result, state.content, torn.erased_at_once))
          if (table.contains(row) && table.at(row).contains(name)) seen[row].insert(name);
  }
  for (const auto& [row, names] : table)
    EXPECT_EQ(seen[row], names) << row.first << " 0x" << row.second;
  EXPECT_EQ(table.size(), seen.size());
}

TEST(Tear, needs_the_commands_before_to_succeed) {
  const std::vector<Order> orders{parse_order("64 79 0000 0000 00 00 00"),
                                  parse_order("60 79 0000 0020 AA")};
  try {
    tear(card_of("4442"), orders);
    FAIL() << "the code is wrong";
  } catch (const Error& error) {
    EXPECT_STREQ(error.what(), "64 79 00 00 00 00 00 00 00: STATUS 0x24, wrong_code");
  }
}

TEST(Tear, tells_the_status_of_a_command_that_does_nothing) {
  const Tear result = tear(card_of("4442"), std::vector{parse_order("60 79 0000 0020 AA")});
  EXPECT_EQ(result.status, Status::not_written);
  EXPECT_EQ(result.before, result.after);
  EXPECT_THAT(result.states, SizeIs(1));
}

TEST(Order, is_a_command_byte_and_a_body_or_a_frame) {
  const Order order = parse_order("60 79 00 00 00 20 AA");
  EXPECT_EQ(order.command, 0x60);
  EXPECT_EQ(order.body, hex("79 00 00 00 20 AA"));
  const Bytes frame = test::request(0x60, "79 00 00 00 20 AA");
  const Order same = parse_order(to_hex(frame));
  EXPECT_EQ(same.command, order.command);
  EXPECT_EQ(same.body, order.body);
}

TEST(Order, is_nothing_else) {
  EXPECT_THROW(parse_order(""), Error);
  EXPECT_THROW(parse_order("60"), Error);
  EXPECT_THROW(parse_order("60 7"), Error);
  EXPECT_THROW(parse_order("write"), Error);
  EXPECT_THROW(parse_order("AA 60 00 01 79 00"), Error) << "a wrong check byte";
  EXPECT_THROW(parse_order("AA 60 00 05 79"), Error) << "an end that is missing";
  Bytes frame = test::request(0x60, "79 00 00 00 20 AA");
  frame.push_back(0);
  EXPECT_THROW(parse_order(to_hex(frame)), Error) << "more than a frame";
  EXPECT_NO_THROW(parse_order("60" + to_hex(Bytes(255))));
  EXPECT_THROW(parse_order("60" + to_hex(Bytes(256))), Error);
}

TEST(Changes, are_runs_of_cells) {
  const Image before = card_of("4442");
  Image found = before;
  found.field("memory")[0x20] = 0xFF;
  found.field("memory")[0x21] = 0xFE;
  found.field("memory")[0x30] = 0xFD;
  found.field("counter")[0] = 3;
  const auto changes = changes_between(before, found);
  ASSERT_THAT(changes, SizeIs(3));
  EXPECT_EQ(changes[0].field, "counter");
  EXPECT_EQ(changes[0].found, hex("03"));
  EXPECT_EQ(changes[1].address, 0x20U);
  EXPECT_EQ(changes[1].before, hex("20 21"));
  EXPECT_EQ(changes[1].found, hex("FF FE"));
  EXPECT_EQ(changes[2].address, 0x30U);
}

}  // namespace
}  // namespace quorra::simulator
