// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Cards that stop working in the middle of a command: the reader comes to an end, and never says
// that all went well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>

#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;

constexpr std::size_t never = SIZE_MAX;

// What is left of the lines of a dead chip.
enum class Lines : std::uint8_t { low, let_go };

// A chip that sees so many changes of its contacts, and then no more.
class DyingChip final : public Chip {
 public:
  DyingChip(const Kind& kind, Lines lines)
      : Chip(Image(kind)),
        chip_(kind.make_chip(Image(kind))),
        lines_(lines) {}

  void live_for(std::size_t changes) {
    left_ = changes;
    seen_ = 0;
  }
  std::size_t seen() const { return seen_; }

  void contacts_changed(const Contacts& before, const Contacts& now) override {
    ++seen_;
    if (seen_ <= left_) {
      chip_->contacts_changed(before, now);
      pull_io_low(chip_->pulls_io_low());
      pull_c8_low(chip_->pulls_c8_low());
    } else {
      pull_io_low(lines_ == Lines::low);
      pull_c8_low(lines_ == Lines::low);
    }
  }

 private:
  std::unique_ptr<Chip> chip_;
  Lines lines_;
  std::size_t left_ = never;
  std::size_t seen_ = 0;
};

struct Order {
  std::uint8_t command;
  const char* body;
};

struct Death {
  const char* kind;
  Lines lines;
  // What opens the card, if anything must, and what it dies in.
  std::optional<Order> before;
  Order order;
};

std::ostream& operator<<(std::ostream& stream, const Death& death) {
  return stream << death.kind << ' ' << unsigned{death.order.command} << ' ' << death.order.body;
}

Status carry_out(Reader& reader, const Order& order) {
  Reply answer;
  const Bytes body = hex(order.body);
  return execute(reader, {.command = order.command, .flag = 0, .body = body}, answer);
}

class DyingCard : public ::testing::TestWithParam<Death> {
 protected:
  // The status of the command when the card sees that many changes of its contacts in it.
  Status order(std::size_t changes) {
    const auto& [kind, lines, before, order] = GetParam();
    DyingChip chip(find_kind(kind), lines);
    Reader reader;
    reader.slot.insert(chip);
    if (before) {
      EXPECT_EQ(carry_out(reader, *before), Status::success);
    }
    chip.live_for(changes);
    const Status status = carry_out(reader, order);
    changes_seen = chip.seen();
    return status;
  }

  std::size_t changes_seen = 0;
};

TEST_P(DyingCard, is_never_taken_for_one_that_has_done_its_work) {
  ASSERT_EQ(order(never), Status::success);
  const std::size_t all = changes_seen;
  std::set<Status> seen;
  // At the end the rest of a register is read or writing is disabled, and nothing can go wrong.
  constexpr std::size_t already_done = 64;
  // A prime number, so that all parts of clock pulses are hit.
  constexpr std::size_t step = 7;
  for (std::size_t changes = 0; changes + already_done < all; changes += step) {
    const Status status = order(changes);
    EXPECT_NE(status, Status::success) << changes << " of " << all;
    seen.insert(status);
  }
  EXPECT_THAT(seen, ::testing::Contains(::testing::AnyOf(Status::no_answer, Status::not_written)));
}

INSTANTIATE_TEST_SUITE_P(
    Orders, DyingCard,
    ::testing::Values(
        Death{"4432", Lines::low, {}, {0x60, "79 0000 0020 AA 55"}},
        Death{"4432", Lines::low, {}, {0x75, "79 0000 0008 FF FF"}},
        Death{"4442", Lines::low, {}, {0x64, "79 0000 0000 FF FF FF"}},
        Death{"4442",
              Lines::low,
              Order{0x64, "79 0000 0000 FF FF FF"},
              {0x66, "79 0000 0000 12 34 56"}},
        Death{"4418", Lines::low, {}, {0x60, "76 0000 0020 AA 55"}},
        Death{"4418", Lines::low, {}, {0x6D, "76 0000 0020 AA 55"}},
        Death{"4418", Lines::low, {}, {0x6F, "76 0000 0020 FF FF"}},
        Death{"4428", Lines::low, {}, {0x64, "77 0000 0000 FF FF"}},
        Death{"24c02", Lines::let_go, {}, {0x62, "61 0000 0020 AA 55"}},
        Death{"24c64", Lines::let_go, {}, {0x62, "66 0000 0020 AA 55"}},
        Death{"93c46", Lines::low, {}, {0x60, "69 0000 0020 AA 55"}},
        Death{"93c46", Lines::low, {}, {0x78, "69 0000 0000"}},
        Death{"45d041", Lines::low, {}, {0x60, "6E 0000 0000 AA"}},
        Death{"45d041", Lines::let_go, {}, {0x60, "6E 0000 0000 AA"}},
        Death{"4404", Lines::let_go, {}, {0x64, "7A 0000 0000 FF FF"}},
        Death{"4404", Lines::let_go, Order{0x64, "7A 0000 0000 FF FF"}, {0x60, "7A 0000 000B 00"}},
        Death{"4404", Lines::let_go, Order{0x64, "7A 0000 0000 FF FF"}, {0x71, "7A 0000 0000"}},
        Death{"4406", Lines::let_go, {}, {0x64, "7B 0000 0000 FF FF FF"}},
        Death{"1604", Lines::let_go, {}, {0x64, "73 0000 000A FF FF"}}));

}  // namespace
}  // namespace quorra::simulator
