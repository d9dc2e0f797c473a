// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What is sent to a card that holds something already, and that it then holds what was wanted.
#include "toolkit/memory/plan.hpp"
#include "toolkit/memory/writing.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"
#include "toolkit/memory/codes.hpp"

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::Card;
using toolkit::Held;
using toolkit::Plan;
using toolkit::PlanOptions;
using toolkit::Range;
using toolkit::SegmentCollector;
using toolkit::Segments;

const Card& card(std::string_view name) { return *toolkit::find_card(name); }

// A card whose bytes are all the same.
Held filled(const Card& kind, unsigned char byte) {
  return {.bytes = {0, Bytes(static_cast<std::size_t>(toolkit::size_of(kind)), byte)}};
}

// "zone:address+count", for each write.
std::string writes(const Plan& plan) {
  std::string words;
  for (const auto& write : plan.writes) {
    words += (words.empty() ? "" : " ") + std::to_string(write.zone->zone) + ":" +
             std::to_string(write.range.address) + "+" + std::to_string(write.range.count);
  }
  return words;
}

std::string erasures(const Plan& plan) {
  std::string words;
  for (const auto& erasure : plan.erasures) {
    words += (words.empty() ? "" : " ") + std::to_string(erasure.zone->zone) + ":" +
             std::to_string(erasure.range.address) + "+" + std::to_string(erasure.range.count);
  }
  return words;
}

std::string obstacles(const Plan& plan) {
  std::string words;
  for (const auto& at : plan.obstacles) {
    words += (words.empty() ? "" : ", ") + std::to_string(at.range.address) + "+" +
             std::to_string(at.range.count) + " " + std::string(toolkit::words_for(at.obstacle));
  }
  return words;
}

std::string ranges(const std::vector<Range>& all) {
  std::string words;
  for (const Range& range : all) {
    words += (words.empty() ? "" : " ") + std::to_string(range.address) + "+" +
             std::to_string(range.count);
  }
  return words;
}

Segments two(int first, Bytes bytes, int second, Bytes others) {
  SegmentCollector collector;
  collector.add(1, first, bytes);
  collector.add(2, second, others);
  return collector.collect();
}

TEST(Plan, SendsNothingWhereNothingDiffers) {
  const Plan plan = make_plan(card("24c16"), filled(card("24c16"), 0x5A), {0, Bytes(2048, 0x5A)});
  EXPECT_TRUE(plan.sends_nothing());
  EXPECT_EQ(plan.frames, 0);
  EXPECT_EQ(plan.bytes_changed, 0);
  EXPECT_TRUE(make_plan(card("24c16"), {}, {}).sends_nothing());
}

// A frame has 144 bytes, so the second one of these is 16 + 144 to 16 + 287.
TEST(Plan, SendsOnlyFramesThatDiffer) {
  Bytes wanted(500, 0x5A);
  wanted[144] = 0x00;
  EXPECT_EQ(writes(make_plan(card("24c16"), filled(card("24c16"), 0x5A), {16, wanted})),
            "0:160+144");
  wanted[144] = 0x5A;
  wanted[143] = 0x00;
  EXPECT_EQ(writes(make_plan(card("24c16"), filled(card("24c16"), 0x5A), {16, wanted})),
            "0:16+144");
  wanted[287] = 0x00;
  wanted[499] = 0x00;
  const Plan plan = make_plan(card("24c16"), filled(card("24c16"), 0x5A), {16, wanted});
  EXPECT_EQ(writes(plan), "0:16+288 0:448+68");
  EXPECT_EQ(plan.frames, 3);
  EXPECT_EQ(plan.bytes_sent, 356);
  EXPECT_EQ(plan.bytes_changed, 3);
  EXPECT_EQ(plan.writes.front().address, 16);
  EXPECT_EQ(plan.writes.front().bytes, Bytes(wanted.begin(), wanted.begin() + 288));
}

TEST(Plan, SendsAllWhenAllAreWanted) {
  const Plan plan = make_plan(card("24c16"), filled(card("24c16"), 0x5A),
                              two(0, Bytes(10, 0x5A), 100, Bytes(150, 0x5A)), {.all = true});
  EXPECT_EQ(writes(plan), "0:0+10 0:100+150");
  EXPECT_EQ(plan.frames, 3);
  EXPECT_EQ(plan.bytes_changed, 0);
}

TEST(Plan, CountsBits) {
  const Plan plan =
      make_plan(card("24c02"), filled(card("24c02"), 0x0F), {0, {0x0F, 0x1E, 0x00, 0xFF}});
  EXPECT_EQ(plan.bytes_changed, 3);
  EXPECT_EQ(plan.bits_cleared, 1 + 4);
  EXPECT_EQ(plan.bits_set, 1 + 4);
  EXPECT_EQ(plan.erasures_counted, 0);
}

// A page of a 45d041 has 264 bytes: 144 and 120.
TEST(Plan, CrossesNoPage) {
  const Card& kind = card("45d041");
  Bytes wanted(600, 0x5A);
  wanted[263] = 0;
  EXPECT_EQ(writes(make_plan(kind, filled(kind, 0x5A), {0, wanted})), "0:144+120");
  wanted[263] = 0x5A;
  wanted[264] = 0;
  EXPECT_EQ(writes(make_plan(kind, filled(kind, 0x5A), {0, wanted})), "0:264+144");
  Bytes late(30, 0x5A);
  late[14] = 0;
  EXPECT_EQ(writes(make_plan(kind, filled(kind, 0x5A), {540672 - 264 - 14, late})), "0:540408+16");
}

TEST(Plan, KeepsTheOtherHalfOfAWord) {
  const Card& kind = card("93c46a");
  const Segments wanted(3, {1, 2, 3, 4});
  EXPECT_EQ(ranges(toolkit::ranges_to_read(kind, wanted)), "2+6");
  const Held held{.bytes = {2, {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}}};
  const Plan plan = make_plan(kind, held, wanted);
  EXPECT_EQ(writes(plan), "0:2+6");
  EXPECT_EQ(plan.writes.front().bytes, (Bytes{0xA0, 1, 2, 3, 4, 0xA5}));
  EXPECT_EQ(plan.bytes_changed, 4);
}

TEST(Plan, ReadsWhatItNeeds) {
  EXPECT_EQ(ranges(toolkit::ranges_to_read(card("24c16"), two(3, {1}, 9, {2, 3}))), "3+1 9+2");
  EXPECT_EQ(ranges(toolkit::ranges_to_read(card("93c46a"), two(3, {1}, 5, {2, 3}))), "2+6");
  EXPECT_EQ(ranges(toolkit::ranges_to_read(card("1604"), {20, Bytes(10)})), "20+10");
  EXPECT_EQ(ranges(toolkit::ranges_to_read(card("4404"), {15, {1}}, {.may_erase = true})), "13+3");
  EXPECT_EQ(ranges(toolkit::ranges_to_read(card("4404"), {40, {1}}, {.may_erase = true})), "40+1");
  const Card& zoned = card("102");
  EXPECT_EQ(
      ranges(toolkit::ranges_to_read(zoned, {30, {1}}, {.whole_zone = zoned.further_zones.data()})),
      "22+64");
}

TEST(Plan, LeavesReadOnlyBytes) {
  const Card& kind = card("4442");
  Held held = filled(kind, 0x0F);
  held.is_protected = std::vector<bool>(32, false);
  held.is_protected[1] = held.is_protected[2] = held.is_protected[3] = true;
  const Plan plan = make_plan(kind, held, {0, {0x0E, 0x0E, 0x0E, 0x0F, 0x0E}});
  EXPECT_EQ(obstacles(plan), "1+2 read-only for good");
  EXPECT_EQ(writes(plan), "0:0+5");
  EXPECT_EQ(plan.writes.front().bytes, (Bytes{0x0E, 0x0F, 0x0F, 0x0F, 0x0E}));
  EXPECT_EQ(plan.bytes_changed, 2);
  EXPECT_TRUE(make_plan(kind, held, {1, {0, 0, 0}}).sends_nothing());
}

// The error counter and the code of a 4428 are its last three bytes.
TEST(Plan, LeavesWhatNothingWrites) {
  const Card& kind = card("4428");
  const Plan plan = make_plan(kind, filled(kind, 0xFF), {1019, {1, 2, 3, 4, 0xFF}},
                              {.all = true, .with_guards = true});
  EXPECT_EQ(writes(plan), "0:1019+2");
  EXPECT_EQ(obstacles(plan), "1021+2 no command writes there");
}

TEST(Plan, LeavesCodesAndCounters) {
  const Card& kind = card("1604");
  const Segments wanted(8, Bytes(8, 0x5A));
  const Plan plan = make_plan(kind, filled(kind, 0xFF), wanted);
  EXPECT_EQ(writes(plan), "0:8+2 0:13+3");
  EXPECT_EQ(obstacles(plan), "10+3 codes and counters are left alone");
  const Plan all = make_plan(kind, filled(kind, 0xFF), wanted, {.with_guards = true});
  EXPECT_EQ(writes(all), "0:8+8");
  EXPECT_EQ(obstacles(all), "");
}

TEST(Plan, IsCutAtZones) {
  const Card& kind = card("1604");
  const Plan plan = make_plan(kind, filled(kind, 0xFF), {19, Bytes(12, 0)}, {.with_guards = true});
  EXPECT_EQ(writes(plan), "0:19+2 0:21+6 1:0+4");
  EXPECT_EQ(plan.writes[0].write, kind.memory.write);
  EXPECT_EQ(plan.writes[1].write, kind.memory.write_security);
  EXPECT_EQ(plan.writes[2].address, 27);
  EXPECT_EQ(plan.frames, 3);
}

TEST(Plan, KnowsTheStagesOfAPersonalisedCard) {
  const Card& kind = card("4406");
  Held held = filled(kind, 0xFF);
  EXPECT_EQ(obstacles(make_plan(kind, held, {3, Bytes(10, 0)})),
            "8+5 codes and counters are left alone");
  held.is_personalised = true;
  EXPECT_EQ(writes(make_plan(kind, held, {3, Bytes(10, 0)})), "0:3+5");
}

TEST(Plan, SetsNoBitWithoutErasing) {
  const Card& kind = card("101");
  const Plan plan = make_plan(kind, filled(kind, 0x0F), {30, {0x0E, 0x1E, 0x0F, 0xFF, 0x0C}});
  EXPECT_EQ(obstacles(plan), "31+1 a 0 bit cannot become 1, 33+1 a 0 bit cannot become 1");
  EXPECT_EQ(plan.writes.front().bytes, (Bytes{0x0E, 0x0F, 0x0F, 0x0F, 0x0C}));
  EXPECT_EQ(plan.bytes_changed, 2);
  EXPECT_EQ(plan.bits_cleared, 3);
  EXPECT_EQ(plan.bits_set, 0);
  EXPECT_EQ(
      obstacles(make_plan(card("4406"), filled(card("4406"), 0), {3, {1}}, {.may_erase = true})),
      "3+1 a 0 bit cannot become 1")
      << "it has no erase";
}

TEST(Plan, ErasesWhatNeedsIt) {
  const Card& kind = card("101");
  const Plan plan = make_plan(kind, filled(kind, 0x0F), {30, {0x0E, 0x1E, 0x3C, 0x0F, 0xFF}},
                              {.may_erase = true});
  EXPECT_EQ(obstacles(plan), "");
  EXPECT_EQ(erasures(plan), "0:31+2 0:34+1");
  EXPECT_EQ(writes(plan), "0:30+3");
  EXPECT_EQ(plan.writes.front().bytes, (Bytes{0x0E, 0x1E, 0x3C}));
  EXPECT_EQ(plan.erasures_counted, 0);
  EXPECT_EQ(plan.bits_set, 1 + 2 + 4);
  const Plan blank = make_plan(kind, filled(kind, 0x0F), {30, {0xFF}}, {.may_erase = true});
  EXPECT_EQ(erasures(blank), "0:30+1");
  EXPECT_EQ(writes(blank), "") << "what is erased is FF";
}

// An erase of a 4404 begins before its zone, at byte 13 at the latest.
TEST(Plan, WritesAgainWhatIsErasedAlong) {
  const Card& kind = card("4404");
  const Plan plan = make_plan(kind, filled(kind, 0x0F), {16, {0x1E}}, {.may_erase = true});
  EXPECT_EQ(erasures(plan), "0:13+4");
  EXPECT_EQ(writes(plan), "0:13+4");
  EXPECT_EQ(plan.writes.front().bytes, (Bytes{0x0F, 0x0F, 0x0F, 0x1E}));
  EXPECT_EQ(plan.bytes_changed, 1);
}

TEST(Plan, ErasesAZoneAsAWhole) {
  const Card& kind = card("102");
  const PlanOptions options{.whole_zone = &kind.further_zones[1]};
  const Segments wanted(100, {0x1E});
  const Plan plan = make_plan(kind, filled(kind, 0x0F), wanted, options);
  EXPECT_EQ(erasures(plan), "2:0+64");
  EXPECT_EQ(writes(plan), "2:0+64");
  EXPECT_EQ(plan.bytes_changed, 1);
  EXPECT_EQ(plan.erasures_counted, 1);
  const Plan without = make_plan(kind, filled(kind, 0x0F), {100, {0x0E}}, options);
  EXPECT_EQ(erasures(without), "") << "no bit has to become 1";
  EXPECT_EQ(without.erasures_counted, 0);
  EXPECT_EQ(
      make_plan(kind, filled(kind, 0x0F), {30, {0x1E}}, {.whole_zone = kind.further_zones.data()})
          .erasures_counted,
      0)
      << "erasures of zone 1 are not counted";
}

TEST(Plan, CountsAttempts) {
  const Card& kind = card("1604");
  EXPECT_EQ(make_plan(kind, {}, {}, {.codes = {kind.codes.data(), &kind.codes[2]}}).attempts, 1)
      << "those at code 2 are not counted";
  EXPECT_EQ(make_plan(kind, {}, {}).attempts, 0);
}

class PlanForCard : public ::testing::Test {
 protected:
  void insert(std::string_view kind) {
    save_image(simulator::Image(simulator::find_kind(kind)), folder / "card");
    reader->insert(folder / "card");
  }

  // Makes the card hold that, and returns the plan by which it was done.
  Plan make_hold(const Card& kind, const Segments& wanted, const PlanOptions& options = {}) {
    const auto to_read = toolkit::ranges_to_read(kind, wanted, options);
    const Held held = toolkit::read_held(session, kind, to_read, {"reading the card"});
    Plan plan = make_plan(kind, held, wanted, options);
    const toolkit::Operation erasing{"erasing the card"};
    const toolkit::Operation writing{"writing the card"};
    toolkit::carry_out(session, plan, {.erasing = erasing, .writing = writing, .verify = true});
    return plan;
  }

  Segments held(const Card& kind, const Segments& wanted) {
    return toolkit::read_ranges(session, kind, toolkit::ranges_to_read(kind, wanted),
                                {"reading the card"});
  }

  TemporaryDirectory folder;
  simulator::RunningReader reader;
  OpenSession session{reader->configuration()};
};

TEST_F(PlanForCard, WritesSparseBytes) {
  const Card& kind = card("24c16");
  insert("24c16");
  const Segments wanted = two(5, Bytes(300, 0x5A), 2000, {1, 2, 3});
  EXPECT_EQ(make_hold(kind, wanted).frames, 4);
  EXPECT_EQ(held(kind, wanted), wanted);
  EXPECT_TRUE(make_hold(kind, wanted).sends_nothing());
  EXPECT_EQ(held(kind, {4, {0}}), Segments(4, {0xFF}));
}

TEST_F(PlanForCard, WritesAndErasesThroughZones) {
  const Card& kind = card("1604");
  insert("1604");
  toolkit::present_code(session, kind, {.code = kind.codes.data(), .bytes = {0xFF, 0xFF}},
                        [](const auto&, const auto&) {});
  const Segments zeros(13, Bytes(8, 0x11));
  make_hold(kind, zeros);
  EXPECT_EQ(held(kind, zeros), zeros);
  const Segments others(18, {0x5A, 0xA5, 0xFF});
  EXPECT_EQ(obstacles(make_hold(kind, others)), "18+3 a 0 bit cannot become 1");
  EXPECT_EQ(erasures(make_hold(kind, others, {.may_erase = true})), "0:18+3");
  EXPECT_EQ(held(kind, others), others);
  EXPECT_EQ(held(kind, {13, Bytes(5)}), Segments(13, Bytes(5, 0x11)));
}

TEST_F(PlanForCard, KnowsProtectedBytes) {
  const Card& kind = card("4418");
  insert("4418");
  const Bytes byte{0x5A};
  session.run({"writing"}, kind.memory.write, 40, 1, byte.data());
  session.run({"protecting"}, kind.protection->write, 40, 1, byte.data());
  const Segments wanted(39, {1, 2, 3});
  EXPECT_EQ(obstacles(make_hold(kind, wanted)), "40+1 read-only for good");
  EXPECT_EQ(held(kind, wanted), Segments(39, {1, 0x5A, 3}));
}

}  // namespace
}  // namespace quorra::testing
