// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

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
using ::testing::ElementsAreArray;

class ReaderWithBigCard : public ::testing::Test {
 protected:
  explicit ReaderWithBigCard(std::string_view kind)
      : reader(test::with_new_card(folder, kind)),
        type(kind == "4418" ? "76" : "77") {}

  // Sends a body whose card type is left out.
  Bytes exchange(std::uint8_t command, std::string_view rest) {
    return reader.exchange(request(command, type + std::string(rest)));
  }
  Bytes read(unsigned address, std::size_t count) {
    return exchange(0x61, fmt::format("0000{:04X}00{:02X}", address, count));
  }
  Bytes write(std::uint8_t command, unsigned address, const Bytes& bytes) {
    return exchange(command, fmt::format("0000{:04X}{}", address, to_hex(bytes)));
  }
  Bytes stored(std::string_view field) const {
    const Image image = load_image(folder.path() / "card");
    const auto bytes = image.field(field);
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder folder;
  ServedBench reader;
  std::string type;
};

class ReaderWith4428 : public ReaderWithBigCard {
 protected:
  ReaderWith4428() : ReaderWithBigCard("4428") {}
  Bytes present(std::string_view code) { return exchange(0x64, "00000000" + std::string(code)); }
  Bytes counter() { return exchange(0x67, "00 00 00 00 00 01"); }
};

class ReaderWith4418 : public ReaderWithBigCard {
 protected:
  ReaderWith4418() : ReaderWithBigCard("4418") {}
};

TEST_F(ReaderWith4428, reads_the_card) {
  EXPECT_EQ(reader.exchange(hex("AA 61 00 07 77 00 00 00 00 00 04 BF")),
            hex("55 00 00 04 92 23 10 91 61"));
  EXPECT_EQ(read(1020, 4), reply(0, "FF FF 00 00"));
  EXPECT_EQ(read(769, 255).size(), 260U);
}

TEST_F(ReaderWith4428, reads_nothing_beyond_the_card) {
  EXPECT_EQ(read(1023, 2), reply(out_of_range));
  EXPECT_EQ(read(1024, 1), reply(out_of_range));
  EXPECT_EQ(read(0, 0), reply(out_of_range));
  EXPECT_EQ(exchange(0x6E, "00 00 03 FF 00 02"), reply(out_of_range));
  EXPECT_EQ(exchange(0x6E, "00 00 00 00 00 80"), reply(out_of_range));
  EXPECT_EQ(exchange(0x6E, "00 00 00 00 00 7F").size(), 259U);
}

TEST_F(ReaderWith4428, writes_after_the_code) {
  EXPECT_EQ(write(0x60, 300, hex("01 02 03")), reply(not_written));
  EXPECT_EQ(reader.exchange(hex("AA 64 00 07 77 00 00 00 00 FF FF BE")), hex("55 00 00 00 55"));
  EXPECT_EQ(reader.exchange(hex("AA 60 00 08 77 00 00 01 2C 01 02 03 98")), hex("55 00 00 00 55"));
  EXPECT_EQ(read(299, 5), reply(0, "FF 01 02 03 FF"));
  const Bytes memory = stored("memory");
  EXPECT_EQ(Bytes(memory.begin() + 299, memory.begin() + 304), hex("FF 01 02 03 FF"));
}

TEST_F(ReaderWith4428, notices_bytes_that_were_not_written) {
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(write(0x60, 5, hex("01 02")), reply(not_written));
  EXPECT_EQ(read(5, 2), reply(0, "01 FF"));
  EXPECT_EQ(write(0x6D, 5, hex("01 02")), reply(not_written));
  EXPECT_EQ(write(0x60, 1023, hex("01 02")), reply(out_of_range));
}

TEST_F(ReaderWith4428, reads_a_one_behind_each_byte_that_is_still_writable) {
  EXPECT_EQ(reader.exchange(hex("AA 6E 00 07 77 00 00 00 02 00 03 B5")),
            hex("55 00 00 06 10 00 91 00 FF 01 2C"));
}

TEST_F(ReaderWith4428, writes_with_protection) {
  EXPECT_EQ(write(0x6D, 300, hex("AA BB")), reply(not_written));
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(write(0x6D, 300, hex("AA BB")), reply(0));
  EXPECT_EQ(exchange(0x6E, "00 00 01 2B 00 04"), reply(0, "FF 01 AA 00 BB 00 FF 01"));
  EXPECT_EQ(write(0x60, 300, hex("00")), reply(not_written));
}

TEST_F(ReaderWith4428, protects_bytes_that_are_named_correctly) {
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(write(0x60, 600, hex("11 22")), reply(0));
  // The second byte is not what the card holds. The reader does not look at what came of it.
  EXPECT_EQ(write(0x6F, 600, hex("11 33")), reply(0));
  EXPECT_EQ(exchange(0x6E, "00 00 02 58 00 02"), reply(0, "11 00 22 01"));
  EXPECT_EQ(write(0x6F, 1023, hex("FF FF")), reply(out_of_range));
}

TEST_F(ReaderWith4428, counts_wrong_codes_until_the_card_is_blocked) {
  EXPECT_EQ(counter(), reply(0, "FF"));
  for (const auto* const left : {"FE", "FC", "F8", "F0", "E0", "C0", "80", "00"}) {
    EXPECT_EQ(present("00 FF"), reply(wrong_code));
    EXPECT_EQ(counter(), reply(0, left));
  }
  EXPECT_EQ(present("FF FF"), reply(card_blocked));
  EXPECT_EQ(stored("counter"), hex("00"));
  EXPECT_EQ(exchange(0x67, "00 00 00 00 00 02"), reply(out_of_range));
}

TEST_F(ReaderWith4428, gives_all_attempts_back_for_the_right_code) {
  EXPECT_EQ(present("FF 00"), reply(wrong_code));
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(counter(), reply(0, "FF"));
}

TEST_F(ReaderWith4428, writes_a_new_code_as_memory) {
  EXPECT_EQ(write(0x60, 1022, hex("12 34")), reply(not_written));
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(read(1022, 2), reply(0, "FF FF"));
  EXPECT_EQ(write(0x60, 1022, hex("12 34")), reply(0));
  EXPECT_EQ(stored("code"), hex("12 34"));
  EXPECT_EQ(present("FF FF"), reply(wrong_code));
  EXPECT_EQ(read(1022, 2), reply(0, "00 00"));
  EXPECT_EQ(present("12 34"), reply(0));
}

TEST_F(ReaderWith4428, forgets_the_code_without_power) {
  EXPECT_EQ(present("FF FF"), reply(0));
  EXPECT_EQ(reader.exchange(request(0xB3, "80 00 00 00 00")), reply(0));
  EXPECT_EQ(write(0x60, 300, hex("00")), reply(not_written));
}

TEST_F(ReaderWith4428, loses_the_card_in_the_middle_of_a_write) {
  EXPECT_EQ(present("FF FF"), reply(0));
  Fault fault;
  fault.kind = FaultKind::pull_card;
  reader.bench().arm(fault);
  EXPECT_EQ(write(0x60, 300, hex("01 02 03 04")), reply(no_card));
  const Bytes memory = stored("memory");
  EXPECT_EQ(Bytes(memory.begin() + 300, memory.begin() + 304), hex("01 02 FF FF"));
}

TEST_F(ReaderWith4428, takes_bodies_of_the_right_length_only) {
  for (const std::uint8_t command : hex("61 67 6E")) {
    EXPECT_EQ(exchange(command, "00 00 00 00 00"), reply(wrong_body_length));
    EXPECT_EQ(exchange(command, "00 00 00 00 00 01 00"), reply(wrong_body_length));
  }
  for (const std::uint8_t command : hex("60 6D 6F"))
    EXPECT_EQ(exchange(command, "00 00 00 00"), reply(wrong_body_length));
  EXPECT_EQ(present("FF"), reply(wrong_body_length));
  EXPECT_EQ(present("FF FF FF"), reply(wrong_body_length));
}

TEST_F(ReaderWith4428, sees_an_idle_bus_as_another_card) {
  EXPECT_EQ(reader.exchange(request(0x61, "79 00 00 00 06 00 02")), reply(0, "FF FF"));
  EXPECT_EQ(reader.exchange(request(0x77, "6E 00 00 00 00")), reply(0, "FF"));
}

TEST_F(ReaderWith4418, has_no_code) {
  EXPECT_EQ(exchange(0x64, "00 00 00 00 FF FF"), reply(unknown_card_type));
  EXPECT_EQ(exchange(0x67, "00 00 00 00 00 01"), reply(unknown_card_type));
  EXPECT_EQ(reader.exchange(request(0x64, "77 00 00 00 00 FF FF")), reply(no_answer));
}

TEST_F(ReaderWith4418, has_1024_bytes_to_write) {
  EXPECT_EQ(write(0x60, 1020, hex("01 02 03 04")), reply(0));
  EXPECT_EQ(read(1019, 5), reply(0, "FF 01 02 03 04"));
  EXPECT_EQ(write(0x6D, 1022, hex("05")), reply(0));
  EXPECT_EQ(exchange(0x6E, "00 00 03 FD 00 03"), reply(0, "02 01 05 00 04 01"));
}

TEST_F(ReaderWith4418, takes_both_address_bytes_at_their_word) {
  EXPECT_EQ(exchange(0x61, "00 00 2C 2C 00 01"), reply(out_of_range));
}

TEST(ReaderWithAnotherCard, presents_no_code_of_a_4428) {
  for (const auto* const kind : {"4442", "4432", "45d041"}) {
    TemporaryFolder folder;
    ServedBench reader(test::with_new_card(folder, kind));
    EXPECT_EQ(reader.exchange(request(0x64, "77 00 00 00 00 FF FF")), reply(no_answer)) << kind;
    EXPECT_NE(reader.exchange(request(0x61, "77 00 00 00 00 00 04")), reply(0, "92 23 10 91"))
        << kind;
  }
}

// What 1024 bytes with protection bits hold after any series of commands.
struct PlainCard {
  Bytes bytes = Bytes(1024, 0xFF);
  std::vector<bool> writable = std::vector<bool>(1024, true);

  // Returns the STATUS of the command.
  std::uint8_t write(unsigned address, const Bytes& data, bool protect) {
    bool all_written = true;
    for (std::size_t i = 0; i < data.size(); ++i) {
      if (writable.at(address + i)) {
        bytes.at(address + i) = data[i];
        if (protect) writable.at(address + i) = false;
      }
      all_written = all_written && bytes.at(address + i) == data[i];
    }
    return all_written ? 0 : not_written;
  }
  void protect(unsigned address, const Bytes& data) {
    for (std::size_t i = 0; i < data.size(); ++i)
      if (bytes.at(address + i) == data[i]) writable.at(address + i) = false;
  }
  Bytes with_protection(unsigned address, std::size_t count) const {
    Bytes pairs;
    for (std::size_t i = address; i < address + count; ++i) {
      pairs.push_back(bytes.at(i));
      pairs.push_back(writable.at(i) ? 1 : 0);
    }
    return pairs;
  }
};

TEST_F(ReaderWith4418, holds_what_a_plain_array_would_hold) {
  PlainCard model;
  std::ranges::copy(hex("92 23 10 91"), model.bytes.begin());
  for (const std::size_t address : {0U, 1U, 2U, 3U, 6U, 7U, 21U, 22U, 23U, 24U, 25U, 26U})
    model.writable[address] = false;

  std::mt19937 random(4418);
  const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  for (int step = 0; step < 600; ++step) {
    const unsigned address = below(1024);
    const unsigned count = 1 + below(std::min(1024 - address, 72U));
    Bytes data(count);
    std::ranges::generate(data, [&] { return static_cast<std::uint8_t>(below(4)); });
    switch (below(20)) {
      case 0:
        data.resize(std::min<std::size_t>(data.size(), 4));
        EXPECT_EQ(write(0x6D, address, data), reply(model.write(address, data, true)));
        break;
      case 1:
        EXPECT_EQ(write(0x6F, address, data), reply(0));
        model.protect(address, data);
        break;
      case 2:
      case 3:
      case 4:
      case 5:
        EXPECT_EQ(exchange(0x6E, fmt::format("0000{:04X}00{:02X}", address, count)),
                  reply(0, to_hex(model.with_protection(address, count))));
        break;
      case 6:
      case 7:
      case 8:
      case 9: {
        const auto part = std::span(model.bytes).subspan(address, count);
        EXPECT_EQ(read(address, count), reply(0, to_hex(part)));
        break;
      }
      default:
        EXPECT_EQ(write(0x60, address, data), reply(model.write(address, data, false)));
    }
  }
  EXPECT_THAT(stored("memory"), ElementsAreArray(model.bytes));
}

}  // namespace
}  // namespace quorra::simulator
