// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace test::status;
using test::Bytes;
using test::hex;
using test::reply;
using test::request;
using test::ServedBench;

constexpr unsigned page_size = 264;
constexpr unsigned card_size = 2048 * page_size;

class ReaderWith45d041 : public ::testing::Test {
 protected:
  Bytes exchange(std::uint8_t command, std::string_view body) {
    return reader.exchange(request(command, body));
  }
  Bytes read(unsigned page, unsigned offset, std::size_t count) {
    return exchange(0x61, fmt::format("6E{:04X}{:04X}00{:02X}", page, offset, count));
  }
  Bytes write(unsigned page, unsigned offset, const Bytes& bytes) {
    return exchange(0x60, fmt::format("6E{:04X}{:04X}{}", page, offset, to_hex(bytes)));
  }
  Bytes stored() const {
    const Image image = load_image(folder.path() / "card");
    const auto bytes = image.field("memory");
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder folder;
  ServedBench reader{test::with_new_card(folder, "45d041")};
};

TEST_F(ReaderWith45d041, reads_the_status) {
  EXPECT_EQ(reader.exchange(hex("AA 77 00 05 6E 00 00 00 00 B6")), hex("55 00 00 01 98 CC"));
}

TEST_F(ReaderWith45d041, writes_and_reads_a_part_of_a_page) {
  EXPECT_EQ(reader.exchange(hex("AA 60 00 07 6E 03 E8 01 06 A1 A2 4C")), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange(hex("AA 61 00 07 6E 03 E8 01 06 00 02 4C")),
            hex("55 00 00 02 A1 A2 54"));
  EXPECT_EQ(read(1000, 260, 4), reply(0, "FF FF A1 A2"));
  EXPECT_EQ(read(1001, 0, 2), reply(0, "FF FF"));
  EXPECT_EQ(stored()[1000 * page_size + 262], 0xA1);
}

TEST_F(ReaderWith45d041, keeps_the_rest_of_a_page) {
  EXPECT_EQ(write(7, 0, Bytes(144, 0x11)), reply(0));
  EXPECT_EQ(write(7, 144, Bytes(120, 0x22)), reply(0));
  EXPECT_EQ(write(7, 143, hex("AA BB")), reply(0));
  EXPECT_EQ(read(7, 142, 4), reply(0, "11 AA BB 22"));
  EXPECT_EQ(read(7, 263, 1), reply(0, "22"));
}

TEST_F(ReaderWith45d041, stays_inside_a_page) {
  EXPECT_EQ(read(2047, 263, 1), reply(0, "FF"));
  EXPECT_EQ(read(2047, 263, 2), reply(out_of_range));
  EXPECT_EQ(read(0, 264, 1), reply(out_of_range));
  EXPECT_EQ(read(2048, 0, 1), reply(out_of_range));
  EXPECT_EQ(read(0, 0, 0), reply(out_of_range));
  EXPECT_EQ(write(0, 263, hex("01 02")), reply(out_of_range));
  EXPECT_EQ(write(0xFFFF, 0, hex("01")), reply(out_of_range));
}

TEST_F(ReaderWith45d041, takes_bodies_of_the_right_length_only) {
  EXPECT_EQ(exchange(0x61, "6E 00 00 00 00 00"), reply(wrong_body_length));
  EXPECT_EQ(exchange(0x60, "6E 00 00 00 00"), reply(wrong_body_length));
  EXPECT_EQ(exchange(0x77, "6E 00 00 00"), reply(wrong_body_length));
  EXPECT_EQ(exchange(0x77, "6E 00 00 00 00 00"), reply(wrong_body_length));
}

TEST_F(ReaderWith45d041, loses_the_card_while_a_page_is_erased) {
  EXPECT_EQ(write(7, 0, hex("11 22")), reply(0));
  Fault fault;
  fault.kind = FaultKind::pull_card;
  reader.bench().arm(fault);
  EXPECT_EQ(write(7, 4, hex("33")), reply(no_card));
  const Bytes memory = stored();
  EXPECT_EQ(Bytes(memory.begin() + 7 * page_size, memory.begin() + 7 * page_size + 5),
            hex("FF FF FF FF FF"));
  EXPECT_EQ(exchange(0x77, "6E 00 00 00 00"), reply(no_card));
}

TEST(ReaderWithoutA45d041, finds_nobody_on_the_bus) {
  for (const auto* const kind : {"4442", "4432", "4428", "4418"}) {
    TemporaryFolder folder;
    ServedBench reader(test::with_new_card(folder, kind));
    const std::string before = test::content_of(folder.path() / "card");
    EXPECT_EQ(reader.exchange(request(0x77, "6E 00 00 00 00")), reply(0, "FF")) << kind;
    EXPECT_EQ(reader.exchange(request(0x61, "6E 00 00 00 00 00 02")), reply(0, "FF FF")) << kind;
    EXPECT_EQ(reader.exchange(request(0x60, "6E 00 00 00 00 12")), reply(no_answer)) << kind;
    EXPECT_EQ(test::content_of(folder.path() / "card"), before) << kind;
  }
  ServedBench empty;
  EXPECT_EQ(empty.exchange(request(0x77, "6E 00 00 00 00")), reply(no_card));
}

TEST_F(ReaderWith45d041, holds_what_a_plain_array_would_hold) {
  Bytes model(card_size, 0xFF);
  std::mt19937 random(45041);
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  for (int step = 0; step < 600; ++step) {
    // Few pages, so that they are met again; among them the first and the last.
    const unsigned page = below(8) * 2047 / 7;
    const unsigned offset = below(page_size);
    const unsigned count = 1 + below(std::min(page_size - offset, 144U));
    const auto place = std::span(model).subspan(page * page_size + offset, count);
    if (below(2) == 0) {
      EXPECT_EQ(read(page, offset, count), reply(0, to_hex(place)));
      continue;
    }
    Bytes data(count);
    std::ranges::generate(data, [&] { return static_cast<std::uint8_t>(random()); });
    EXPECT_EQ(write(page, offset, data), reply(0));
    std::ranges::copy(data, place.begin());
  }
  EXPECT_TRUE(stored() == model);
}

// Says with every byte that it is busy, for ever.
class StuckChip final : public Chip {
 public:
  StuckChip() : Chip(Image(find_kind("45d041"))) {}
  void contacts_changed(const Contacts& before, const Contacts& now) override {
    constexpr unsigned busy = 0x18;
    if (before.rst && !now.rst) {
      ++commands_;
      bits_ = 0;
    }
    if (before.clk && !now.clk) pull_c8_low((busy << ++bits_ % 8 & 0x80U) == 0);
  }
  int commands() const { return commands_; }

 private:
  int commands_ = 0;
  unsigned bits_ = 0;
};

TEST(Firmware45d041, gives_up_on_a_card_that_stays_busy) {
  Reader reader;
  StuckChip chip;
  reader.slot.insert(chip);
  Reply answer;
  const Bytes body = hex("6E 00 00 00 00 01");
  EXPECT_EQ(execute(reader, {.command = 0x60, .flag = 0, .body = body}, answer), Status::no_answer);
  // The page is loaded, and then the status is asked for.
  EXPECT_EQ(chip.commands(), 1 + 1024);
}

}  // namespace
}  // namespace quorra::simulator
