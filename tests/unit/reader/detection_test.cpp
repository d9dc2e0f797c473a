// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

constexpr std::clock_t second = 1'000'000;

const Bytes done = hex("55 00 00 00 55");
const Bytes turn_off_request = hex("AA B3 00 05 80 00 00 00 00 9C");

// A card that one probe accepts.
struct Card {
  const char* name;
  int number;
  int (*probe)(int handle);
  const char* first_request;  // of the probe, without its check byte
  Bytes start;                // what its memory begins with
  std::size_t size;           // of its memory, which shows again behind its end
  std::size_t unit = 1;       // bytes for each address
};

void PrintTo(const Card& card, std::ostream* stream) { *stream << card.name; }

// In the order of the search.
const Card cards[] = {
    {"4404", 40, chk_4404, "AA 61 00 07 7A 00 00 00 00 00 03", hex("B7 A0 FF"), 52},
    {"4406", 41, chk_4406, "AA 61 00 07 7B 00 00 00 00 00 03", hex("98 20 FF"), 13},
    {"102", 51, chk_102, "AA 61 00 07 72 00 00 00 00 00 02", hex("0F 0F"), 178},
    {"1604", 52, chk_1604, "AA 61 00 07 73 00 00 00 00 00 02", hex("31 3A"), 2007},
    {"1604b", 53, chk_1604b, "AA 61 00 07 73 0B 00 00 00 00 02", hex("72 55"), 2042},
    {"4428", 31, chk_4428, "AA 61 00 07 77 00 00 00 00 00 04", hex("92 23 10 91"), 1024},
    {"4442", 21, chk_4442, "AA 61 00 07 79 00 00 00 06 00 02", hex("A2 13 10 91 FF FF 81 15"), 256},
    {"45d041", 10, chk_45d041, "AA 77 00 05 6E 00 00 00 00", {}, 1},
    {"93c46a", 60, chk_93c46a, "AA 61 00 07 68 00 00 00 3F 00 01", {}, 64, 2},
    {"93c46", 61, chk_93c46, "AA 61 00 07 69 00 00 00 7F 00 01", {}, 128},
    {"93c57", 62, chk_93c57, "AA 61 00 07 6A 00 00 00 FF 00 01", {}, 256},
    {"24c64", 7, chk_24c64, "AA 61 00 07 66 00 00 1F FF 00 01", {}, 8192},
    {"24c32", 6, chk_24c32, "AA 61 00 07 65 00 00 0F FF 00 01", {}, 4096},
    {"24c16", 5, chk_24c16, "AA 61 00 07 64 00 00 07 FF 00 01", {}, 2048},
    {"24c08", 4, chk_24c08, "AA 61 00 07 62 00 00 03 FF 00 01", {}, 1024},
    {"24c04", 3, chk_24c04, "AA 61 00 07 62 00 00 01 FF 00 01", {}, 512},
    {"24c02", 2, chk_24c02, "AA 61 00 07 61 00 00 00 FF 00 01", {}, 256},
    {"24c01a", 1, chk_24c01a, "AA 61 00 07 60 00 00 00 7F 00 01", {}, 128},
};

// How the reader answers a request of another card's family: with the bytes of a failure, or, where
// the slot reads as zeros, with as many zeros as were asked for.
struct Otherwise {
  const char* name;
  Bytes reply;
  bool zeros = false;
};

void PrintTo(const Otherwise& otherwise, std::ostream* stream) { *stream << otherwise.name; }

const Otherwise refused{"Refused", reply(5, {})};

const Otherwise all_failures[] = {
    refused,
    {"AStatusLikeAnotherCard", reply(133, {})},
    {"Silence", {}},
    {"AWrongStartByte", hex("54")},
    {"AWrongCheckByte", hex("55 00 00 00 54")},
    {"Zeros", {}, true},
};

// A reader with one card, or none, in its slot.
class Slot {
 public:
  Slot(const Card* card, Otherwise otherwise, Bytes turn_off_reply = done)
      : card_(card),
        otherwise_(std::move(otherwise)),
        turn_off_reply_(std::move(turn_off_reply)) {
    if (card == nullptr) return;
    memory_ = Bytes(card->size * card->unit, 0);
    std::ranges::copy(card->start, memory_.begin());
  }

  Bytes answer(const Bytes& request) {
    requests_.push_back(request);
    if (request == turn_off_request) return turn_off_reply_;
    const std::size_t count = asked_for(request);
    if (!is_for_card(request))
      return otherwise_.zeros ? reply(0, Bytes(count, 0)) : otherwise_.reply;
    if (request[1] == read_status) return reply(0, {0x9C});
    const std::size_t at = (request[7] * 256U + request[8]) * card_->unit;
    if (request[1] == read) {
      Bytes data;
      for (std::size_t i = 0; i < count; ++i)
        data.push_back(memory_[(at + i) % memory_.size()]);
      return reply(0, data);
    }
    for (std::size_t i = 9; i < request.size() - 1; ++i)
      memory_[(at + i - 9) % memory_.size()] = request[i];
    return done;
  }

  const std::vector<Bytes>& requests() const { return requests_; }

 private:
  static constexpr unsigned char read = 0x61;
  static constexpr unsigned char read_status = 0x77;

  std::size_t asked_for(const Bytes& request) const {
    if (request[1] == read_status) return 1;
    if (request[1] != read) return 0;
    return request[10] * (card_ == nullptr ? 1 : card_->unit);
  }

  // The family and its variant have to be the card's.
  bool is_for_card(const Bytes& request) const {
    if (card_ == nullptr) return false;
    const Bytes own = hex(card_->first_request);
    return request[4] == own[4] && request[5] == own[5];
  }

  const Card* card_;
  Otherwise otherwise_;
  Bytes turn_off_reply_;
  Bytes memory_;
  std::vector<Bytes> requests_;
};

struct Call {
  int result;
  std::vector<Bytes> requests;
};

Call call_on(Slot slot, int (*function)(int handle)) {
  ScriptedReader reader;
  const int handle = reader.init0();
  reader.answer_with([&](const Bytes& request) { return slot.answer(request); });
  const int result = function(handle);
  reader.answer_with(nullptr);
  ic_exit(handle);
  return {result, slot.requests()};
}

struct Search {
  int result;
  std::vector<std::vector<Bytes>> probes;  // the requests of each, without the turn_off behind it
  std::size_t turned_off;
  bool ends_turned_off;
};

Search search(const Slot& slot) {
  const Call call = call_on(slot, chk_card);
  Search found{call.result, {{}}, 0, false};
  for (const Bytes& request : call.requests) {
    found.ends_turned_off = request == turn_off_request;
    if (found.ends_turned_off) {
      ++found.turned_off;
      found.probes.emplace_back();
    } else {
      found.probes.back().push_back(request);
    }
  }
  if (found.probes.back().empty()) found.probes.pop_back();
  return found;
}

// Expects the probes up to `count` to have been made in their order, each with just its frames.
void expect_probes(const Search& found, const Slot& slot, std::size_t count) {
  ASSERT_EQ(found.probes.size(), count);
  for (std::size_t i = 0; i < count; ++i) {
    SCOPED_TRACE(cards[i].name);
    ASSERT_FALSE(found.probes[i].empty());
    EXPECT_EQ(to_hex(found.probes[i][0]), to_hex(sealed(cards[i].first_request)));
    EXPECT_EQ(found.probes[i], call_on(slot, cards[i].probe).requests);
  }
}

class CardSearch : public ::testing::TestWithParam<Card> {
 protected:
  std::size_t place() const {
    const auto* const own = std::ranges::find_if(
        cards, [](const Card& card) { return card.number == GetParam().number; });
    return static_cast<std::size_t>(own - std::begin(cards));
  }
  void expect_found(const Slot& slot) const {
    const Search found = search(slot);
    EXPECT_EQ(found.result, GetParam().number);
    expect_probes(found, slot, place() + 1);
    EXPECT_EQ(found.turned_off, place()) << "one after each probe that failed";
    EXPECT_FALSE(found.ends_turned_off) << "the card that was found stays on";
  }
};

INSTANTIATE_TEST_SUITE_P(, CardSearch, ::testing::ValuesIn(cards),
                         [](const auto& row) { return row.param.name; });

TEST_P(CardSearch, FindsTheCard) {
  // The 93C probes ask whether the card passes as a larger one, too, and zeros do.
  const bool has_larger = GetParam().number == 61 || GetParam().number == 62;
  for (const Otherwise& failure : all_failures) {
    if (failure.zeros && has_larger) continue;
    SCOPED_TRACE(failure.name);
    expect_found(Slot(&GetParam(), failure));
  }
}

TEST_P(CardSearch, GoesOnWhenTheCardCannotBeTurnedOff) {
  for (const Otherwise& failure : all_failures) {
    if (!failure.zeros) expect_found(Slot(&GetParam(), refused, failure.reply));
  }
}

class EmptySlot : public ::testing::TestWithParam<Otherwise> {};

INSTANTIATE_TEST_SUITE_P(, EmptySlot, ::testing::ValuesIn(all_failures),
                         [](const auto& row) { return row.param.name; });

TEST_P(EmptySlot, IsTurnedOffEighteenTimesAndIsNoCard) {
  const Slot slot(nullptr, GetParam());
  const Search found = search(slot);
  EXPECT_EQ(found.result, 0);
  expect_probes(found, slot, std::size(cards));
  EXPECT_EQ(found.turned_off, 18U);
  EXPECT_TRUE(found.ends_turned_off);
}

TEST(CardDetection, TakesADeadLineForAnEmptySlot) {
  ScriptedReader reader;
  const int handle = reader.init0();
  for (const Card& card : cards)
    reader.expect(sealed(card.first_request)).expect(turn_off_request);
  reader.set_step(second / 4);
  const std::clock_t start = reader.now();
  EXPECT_EQ(chk_card(handle), 0);
  // The start of each wait is one reading of the clock, and so one step more.
  EXPECT_EQ(reader.now() - start, 36 * (4 * second + second / 4));
  ic_exit(handle);
}

TEST(CardDetection, TakesALineThatCarriesNothingForAnEmptySlot) {
  ScriptedReader line;
  const int handle = line.init0();
  int failed = 0;
  System::instance().before_write = [&](const Bytes&) {
    ++failed;
    return std::optional<ssize_t>(-1);
  };
  EXPECT_EQ(chk_card(handle), 0);
  EXPECT_EQ(failed, 36) << "the first byte of each frame";
  System::instance().before_write = nullptr;
  ic_exit(handle);
}

TEST(CardDetection, WorksThroughATerminal) {
  expect_result({"chk_card",
                 chk_card,
                 {{hex("AA 61 00 07 7A 00 00 00 00 00 03 B5"), sealed("55 00 00 03 FF FF FF")},
                  {turn_off_request, done},
                  {hex("AA 61 00 07 7B 00 00 00 00 00 03 B4"), sealed("55 00 00 03 00 00 22")}}},
                Mode::terminal, 41);
}

}  // namespace
}  // namespace quorra::testing
