// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What is said of each byte when a plan cannot be carried out to its end.
#include "toolkit/memory/writing.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"
#include "toolkit/memory/codes.hpp"
#include "toolkit/memory/plan.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::testing {
namespace {

using simulator::FaultKind;
using toolkit::Bytes;
using toolkit::Card;
using toolkit::Plan;
using toolkit::PlanOptions;
using toolkit::Segments;

constexpr std::uint8_t write_command = 0x60;
constexpr std::uint8_t write_pages_command = 0x62;
constexpr std::uint8_t erase_command = 0x76;

const Card& card(std::string_view name) { return *toolkit::find_card(name); }

class InterruptedPlan : public ::testing::Test {
 protected:
  void insert(const simulator::Image& image) {
    save_image(image, folder_ / "card");
    reader_->insert(folder_ / "card");
  }
  void remove() { reader_->remove(); }
  static simulator::Image new_image(std::string_view kind) {
    return simulator::Image(simulator::find_kind(kind));
  }

  Plan plan_for(const Card& kind, const Segments& wanted, const PlanOptions& options = {}) {
    const auto to_read = toolkit::ranges_to_read(kind, wanted, options);
    return make_plan(kind, toolkit::read_held(session_, kind, to_read, {"reading"}), wanted,
                     options);
  }

  void present(const Card& kind, const Bytes& code = {0xFF, 0xFF}) {
    toolkit::present_code(session_, kind, {.code = kind.codes.data(), .bytes = code},
                          [](const auto&, const auto&) {});
  }

  void arm(FaultKind kind, std::uint8_t command, unsigned every = 0) {
    reader_->arm(simulator::Fault{.kind = kind, .parameter = {}, .on = command, .every = every});
  }

  // What is said of the failure; empty if there is none.
  std::string carry_out(const Plan& plan) {
    const toolkit::Operation erasing{"erasing"};
    const toolkit::Operation writing{"writing"};
    try {
      toolkit::carry_out(session_, plan, {.erasing = erasing, .writing = writing, .verify = true});
    } catch (const toolkit::Failure& failure) {
      word = failure.particulars().word;
      return failure.what();
    }
    return {};
  }

  std::string word;  // for programs

 private:
  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  OpenSession session_{reader_->configuration()};
};

TEST_F(InterruptedPlan, SaysThatAnErasureIsNotKnown) {
  simulator::Image image = new_image("101");
  image.field("memory")[30] = 0x11;
  insert(image);
  present(card("101"));
  const Plan plan = plan_for(card("101"), Segments(30, {0xFF}), {.may_erase = true});
  arm(FaultKind::wrong_check, erase_command);
  EXPECT_EQ(carry_out(plan),
            "erasing: the check byte of the reader's reply is wrong (-133); not known: 0x001E");
}

TEST_F(InterruptedPlan, FindsWhatWasNotErased) {
  simulator::Image image = new_image("101");
  image.field("memory")[15] = 0x11;
  insert(image);
  present(card("101"));
  const Plan plan = plan_for(card("101"), Segments(15, {0xFF}), {.may_erase = true});
  arm(FaultKind::lie, erase_command);
  EXPECT_EQ(carry_out(plan), "reading back what was erased: at 0x000F the card holds 11, not FF");
  EXPECT_EQ(word, "differs");
}

TEST_F(InterruptedPlan, SaysWhatIsErasedOnly) {
  simulator::Image image = new_image("101");
  image.field("memory")[15] = 0x11;
  insert(image);
  present(card("101"));
  const Plan plan = plan_for(card("101"), Segments(15, {0xA5}), {.may_erase = true});
  arm(FaultKind::status, write_command);
  EXPECT_EQ(carry_out(plan),
            "writing: the reader refused the command with status 5 (0x05) (-5): at 0x000F the card "
            "holds FF, not A5; erased only: 0x000F");
}

// The card has changed since it was read.
TEST_F(InterruptedPlan, SaysWhichBitsCannotBeSet) {
  const struct {
    std::string kind;
    Bytes code;
    int address;
    std::string words;
  } rows[] = {{"101",
               {0xFF, 0xFF},
               15,
               "at 0x000F the card holds 25, not A5; a 0 bit in 1 byte "
               "would have to become 1: erase first"},
              {"4406",
               {0xFF, 0xFF, 0xFF},
               4,
               "at 0x0004 the card holds 25, not A5; a 0 bit in 1 "
               "byte would have to become 1: this card cannot do that"}};
  for (const auto& row : rows) {
    const Card& kind = card(row.kind);
    simulator::Image image = new_image(row.kind);
    insert(image);
    const Plan plan = plan_for(kind, Segments(row.address, {0xA5, 0x3C}));
    remove();
    image.field("memory")[static_cast<std::size_t>(row.address)] = 0x25;
    insert(image);
    present(kind, row.code);
    EXPECT_EQ(carry_out(plan),
              "writing: the reader refused the command with status 35 (0x23) (-35): " + row.words);
    EXPECT_EQ(word, "status");
    remove();
  }
}

TEST_F(InterruptedPlan, TellsNotMoreThanEightPlaces) {
  insert(new_image("24c16"));
  toolkit::SegmentCollector collector;
  for (int at = 0; at < 12; ++at) {
    collector.add(at + 1, at * 32, Bytes{0x5A});
  }
  const Plan plan = plan_for(card("24c16"), collector.collect());
  arm(FaultKind::status, write_pages_command, 11);
  EXPECT_EQ(carry_out(plan),
            "writing: the reader refused the command with status 5 (0x05) (-5): at 0x0140 the card "
            "holds FF, not 5A; written: 0x0000, 0x0020, 0x0040, 0x0060, 0x0080, 0x00A0, 0x00C0, "
            "0x00E0 and 2 more; not written: 0x0140, 0x0160");
}

}  // namespace
}  // namespace quorra::testing
