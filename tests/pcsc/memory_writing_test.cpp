// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Writing, erasing and protecting memory cards with APDUs.
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/pcsc/memory_bench.hpp"

namespace quorra::testing {
namespace {

// What a card without codes and protection answers, told with an array of bytes.
class ArrayModel {
 public:
  explicit ArrayModel(Bytes memory) : memory_(std::move(memory)) {}

  int size() const { return static_cast<int>(memory_.size()); }
  const Bytes& memory() const { return memory_; }

  Bytes read(int address, int length) const {
    if (address >= size()) return hex("6B 00");
    const int left = size() - address;
    if (length > left) return {0x6C, static_cast<unsigned char>(left)};
    const int count = length == 0 ? std::min(256, left) : length;
    return success({memory_.begin() + address, memory_.begin() + address + count});
  }

  Bytes write(int address, const Bytes& data) {
    if (address >= size()) return hex("6B 00");
    if (address + static_cast<int>(data.size()) > size()) return hex("67 00");
    std::ranges::copy(data, memory_.begin() + address);
    return success();
  }

  Bytes erase(int address, int end) {
    if (address >= size()) return hex("6B 00");
    if (end > size()) return hex("67 00");
    std::fill(memory_.begin() + address, memory_.begin() + end, static_cast<unsigned char>(0xFF));
    return success();
  }

 private:
  Bytes memory_;
};

// A card of this kind none of whose bytes is protected.
simulator::Image unprotected(const std::string& kind) {
  simulator::Image card = new_card(kind);
  if (card.has("protected")) std::ranges::fill(card.field("protected"), std::uint8_t{0});
  return card;
}

class RandomCommands : public ::testing::TestWithParam<KindOfCard> {};

TEST_P(RandomCommands, DoWhatTheyWouldDoToAnArray) {
  const KindOfCard kind = GetParam();
  MemoryBench bench(unprotected(kind.name));
  ArrayModel model(bench.memory());
  std::mt19937 generator(static_cast<unsigned>(kind.size));
  const auto below = [&](int limit) {
    return static_cast<int>(generator() % static_cast<unsigned>(limit));
  };
  const auto random_bytes = [&](int count) {
    Bytes bytes(static_cast<std::size_t>(count));
    std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(generator()); });
    return bytes;
  };
  const auto offset = [](int address) {
    return hex("54 03") + Bytes{static_cast<unsigned char>(address >> 16),
                                static_cast<unsigned char>(address >> 8),
                                static_cast<unsigned char>(address)};
  };
  const int reach = kind.size + 20;
  for (int step = 0; step < 1000; ++step) {
    const int address = below(reach);
    const int near = address % 0x10000;
    Bytes command;
    Bytes wanted;
    switch (below(6)) {
      case 0:
      case 1: {
        const int length = below(256);
        command = with_length(0xB0, near, length);
        wanted = model.read(near, length);
        break;
      }
      case 2: {
        const Bytes data = random_bytes(1 + below(40));
        command = with_data(step % 2 == 0 ? 0xD6 : 0xD0, near, data);
        wanted = model.write(near, data);
        break;
      }
      case 3: {
        const int end = near + 1 + below(20);
        if (end > 0xFFFF) continue;
        command = with_data(
            0x0E, near, {static_cast<unsigned char>(end >> 8), static_cast<unsigned char>(end)});
        wanted = model.erase(near, end);
        break;
      }
      case 4: {
        const Bytes data = random_bytes(1 + below(40));
        const Bytes object = Bytes{0x53, static_cast<unsigned char>(data.size())} + data;
        command = with_data(0xD7, 0, offset(address) + object);
        wanted = model.write(address, data);
        break;
      }
      default: {
        const int count = 1 + below(60);
        command =
            with_data(0xB1, 0, offset(address)) + Bytes{static_cast<unsigned char>(count + 2)};
        wanted = model.read(address, count);
        if (wanted[0] == 0x6C && wanted.size() == 2 && count > model.size() - address) {
          wanted[1] = static_cast<unsigned char>(wanted[1] + 2);
        } else if (wanted.size() > 2) {
          wanted = Bytes{0x53, static_cast<unsigned char>(count)} + wanted;
        }
        break;
      }
    }
    ASSERT_EQ(to_hex(bench.send(command)), to_hex(wanted))
        << "step " << step << ": " << to_hex(command);
  }
  EXPECT_EQ(bench.memory(), model.memory());
}

INSTANTIATE_TEST_SUITE_P(EachPlainKind, RandomCommands, ::testing::ValuesIn(plain_kinds),
                         [](const auto& test) { return "Of" + test.param.name; });

TEST(WritingMemoryCards, KeepsToTheEndOfTheCard) {
  for (const KindOfCard& kind : plain_kinds) {
    if (kind.size > 0x10000) continue;
    MemoryBench bench(unprotected(kind.name));
    EXPECT_EQ(bench.send(with_data(0xD6, kind.size - 1, hex("5A"))), success());
    EXPECT_EQ(bench.memory().back(), 0x5A) << kind.name;
    const std::uint64_t before = bench.exchanges();
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, kind.size - 1, hex("5A 5A")))), "67 00");
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, kind.size, hex("5A")))), "6B 00");
    EXPECT_EQ(bench.exchanges(), before) << "nothing is sent";
  }
}

// The longest command carries 255 bytes.
TEST(WritingMemoryCards, WritesAsMuchAsACommandHolds) {
  for (const char* kind : {"24c02", "24c64", "93c57", "4432", "45d041"}) {
    MemoryBench bench(unprotected(kind));
    EXPECT_EQ(bench.send(with_data(0xD6, 1, counting(255, 3))), success()) << kind;
    EXPECT_EQ(bench.send(with_length(0xB0, 1, 255)), success(counting(255, 3))) << kind;
    EXPECT_EQ(bench.memory().front(), new_card(kind).field("memory").front()) << kind;
  }
}

TEST(WritingMemoryCards, KeepsTheOtherHalfOfAWord) {
  MemoryBench bench(card_with("93c46a", 0, hex("11 22 33 44 55 66")));
  EXPECT_EQ(bench.send("FF D6 00 01 01 AA"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 03 02 BB CC"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 00 06"), "11 AA 33 BB CC 66 90 00");
  EXPECT_EQ(bench.send("FF B0 00 01 03"), "AA 33 BB 90 00");
}

TEST(WritingMemoryCards, ErasesAllOfAThreeWireCard) {
  for (const char* kind : {"93c46a", "93c46", "93c57", "93c66"}) {
    simulator::Image card = new_card(kind);
    std::ranges::fill(card.field("memory"), std::uint8_t{0x12});
    MemoryBench bench(card);
    EXPECT_EQ(bench.send("FF 0E 00 00"), "90 00");
    EXPECT_EQ(bench.memory(), Bytes(bench.memory().size(), 0xFF)) << kind;
  }
}

TEST(WritingMemoryCards, ErasesARange) {
  MemoryBench bench(card_with("24c02", 0, counting(256, 0)));
  EXPECT_EQ(bench.send("FF 0E 00 10 02 00 12"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 0F 04"), "0F FF FF 12 90 00");
  EXPECT_EQ(bench.send("FF 0E 00 FE"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 FD 00"), "FD FF FF 90 00");
  EXPECT_EQ(bench.send("FF 0E 00 10 02 00 10"), "6A 80") << "nothing to erase";
  EXPECT_EQ(bench.send("FF 0E 00 10 02 01 01"), "67 00") << "beyond the end";
  EXPECT_EQ(bench.send("FF 0E 01 00"), "6B 00");
  EXPECT_EQ(bench.send("FF 0F 00 00 07 54 01 20 54 02 00 21"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 1F 03"), "1F FF 21 90 00");
}

TEST(WritingMemoryCards, WantsTheCodeOf4442And4428) {
  for (const char* kind : {"4442", "4428"}) {
    MemoryBench bench(kind);
    const Bytes before = bench.memory();
    const std::uint64_t exchanges = bench.exchanges();
    EXPECT_EQ(bench.send("FF D6 00 40 01 11"), "69 82");
    EXPECT_EQ(bench.send("FF D0 00 40 01 11"), "69 82");
    EXPECT_EQ(bench.send("FF 0E 00 40 02 00 50"), "69 82");
    EXPECT_EQ(bench.exchanges(), exchanges) << "nothing is sent";
    EXPECT_EQ(bench.memory(), before);
  }
}

TEST(WritingMemoryCards, Writes4442AfterItsCode) {
  MemoryBench bench("4442");
  EXPECT_EQ(bench.send("FF 20 00 00 03 FF FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 20 03 01 02 03"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 20 03"), "01 02 03 90 00");
  EXPECT_EQ(bench.send("FF D6 00 FF 01 77"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 00 01 77"), "65 81") << "protected";
  EXPECT_EQ(bench.send("FF D6 00 00 01 A2"), "90 00") << "holds it already";
  EXPECT_EQ(bench.send("FF B0 00 00 01"), "A2 90 00");
}

TEST(WritingMemoryCards, LeavesCounterAndCodeOf4428Alone) {
  MemoryBench bench("4428");
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 03 FC 01 11"), "90 00") << "the last byte of data";
  const std::uint64_t before = bench.exchanges();
  EXPECT_EQ(bench.send("FF D6 03 FD 01 11"), "69 86");
  EXPECT_EQ(bench.send("FF D6 03 FC 02 11 22"), "69 86");
  EXPECT_EQ(bench.send("FF D6 03 FF 01 11"), "69 86");
  EXPECT_EQ(bench.send("FF 0E 03 00"), "69 86");
  EXPECT_EQ(bench.exchanges(), before) << "nothing is sent";
  EXPECT_EQ(bench.send("FF B0 03 FC 00"), "11 FF FF FF 90 00");
}

struct OutOfReach {
  const char* kind;
  std::vector<int> addresses;  // of codes and counters
  std::vector<int> beside;     // right before or behind them
  const char* code;
};

const std::vector<OutOfReach> codes_and_counters = {
    {"4404", {8, 9, 10, 40, 43, 44, 51}, {11, 13, 15, 39}, "FF 20 00 00 02 FF FF"},
    {"101", {10, 12, 150, 154, 169}, {13, 23, 149, 170, 171}, "FF 20 00 00 02 FF FF"},
    {"102", {10, 12, 86, 91, 156, 160, 175}, {13, 85, 93, 155, 176, 177}, "FF 20 00 00 02 FF FF"},
    {"1604",
     {10, 12, 21, 26, 1222, 1226, 1483, 1487, 1744, 1748},
     {13, 20, 28, 1221, 1228, 1482, 1489, 1743, 1750, 2006},
     "FF 20 00 00 02 FF FF"},
    {"1604b",
     {10, 12, 21, 26, 539, 544, 1057, 1062, 1575, 1580},
     {13, 20, 28, 538, 546, 1056, 1064, 1574, 1582, 2037, 2038, 2041},
     "FF 20 00 00 02 FF FF"},
    {"4406", {8, 9, 10, 12}, {3, 7}, "FF 20 00 00 03 FF FF FF"},
};

TEST(WritingMemoryCards, LeavesCodesAndCountersOfSecurityCardsAlone) {
  for (const OutOfReach& row : codes_and_counters) {
    MemoryBench bench(row.kind);
    EXPECT_EQ(bench.send(row.code), "90 00") << row.kind;
    const Bytes before = bench.memory();
    for (const int address : row.addresses) {
      EXPECT_EQ(to_hex(bench.send(with_data(0xD6, address, hex("7F")))), "69 86")
          << row.kind << ' ' << address;
    }
    EXPECT_EQ(bench.memory(), before);
    for (const int address : row.beside) {
      EXPECT_EQ(to_hex(bench.send(with_data(0xD6, address, hex("F0")))), "90 00")
          << row.kind << ' ' << address;
      EXPECT_EQ(to_hex(bench.send(with_length(0xB0, address, 1))), "F0 90 00");
    }
  }
}

TEST(WritingMemoryCards, WantsACodeOfSecurityCards) {
  for (const OutOfReach& row : codes_and_counters) {
    MemoryBench bench(row.kind);
    const Bytes before = bench.memory();
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, row.beside.front(), hex("F0")))), "69 82")
        << row.kind;
    EXPECT_EQ(bench.memory(), before);
  }
}

TEST(WritingMemoryCards, WritesNothingWhereABitWouldHaveToBecomeOne) {
  for (const OutOfReach& row : codes_and_counters) {
    MemoryBench bench(row.kind);
    const int address = row.beside.front();
    EXPECT_EQ(bench.send(row.code), "90 00");
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, address, hex("F0")))), "90 00");
    const Bytes before = bench.memory();
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, address, hex("0F")))), "65 81") << row.kind;
    EXPECT_EQ(bench.memory(), before) << "no bit has changed";
    EXPECT_EQ(to_hex(bench.send(with_data(0xD6, address, hex("30")))), "90 00");
  }
}

TEST(WritingMemoryCards, WritesAcrossTheEndOfAZone) {
  MemoryBench bench("102");
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 14 04 11 22 F3 44"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 14 04"), "11 22 F3 44 90 00");
}

TEST(WritingMemoryCards, ErasesSecurityCardsForTheIssuer) {
  for (const char* kind : {"4404", "101", "102", "1604", "1604b"}) {
    MemoryBench bench(card_with(kind, 11 + 2, hex("12")));
    EXPECT_EQ(bench.send("FF 0E 00 0D 02 00 0E"), "69 82") << kind;
    EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 00");
    EXPECT_EQ(bench.send("FF 0E 00 0D 02 00 0E"), "90 00") << kind;
    EXPECT_EQ(bench.memory()[13], 0xFF);
    const Bytes before = bench.memory();
    EXPECT_EQ(bench.send("FF 0E 00 00"), "69 86") << "there are codes";
    EXPECT_EQ(bench.memory(), before);
  }
  MemoryBench bench("4406");
  EXPECT_EQ(bench.send("FF 0E 00 03 02 00 04"), "6A 81");
}

TEST(WritingMemoryCards, WantsTheEraseCodeOfPersonalisedCards) {
  simulator::Image card = card_with("102", 92, hex("C0 11 22"));
  card.field("fuse").front() = 0;
  put(card, 156, hex("01 02 03 04"));
  MemoryBench bench(card);
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF 0E 00 5D 02 00 5E"), "69 82");
  EXPECT_EQ(bench.send("FF 20 00 82 04 01 02 03 05"), "63 00") << "not counted";
  EXPECT_EQ(bench.send("FF 20 00 82 03 01 02 03"), "67 00");
  EXPECT_EQ(bench.send("FF 20 00 82 04 01 02 03 04"), "90 00");
  EXPECT_EQ(bench.send("FF 0E 00 5D 02 00 5E"), "90 00");
  EXPECT_EQ(bench.send("FF B0 00 5C 03"), "FF FF FF 90 00") << "a zone is erased as a whole";
}

TEST(WritingMemoryCards, Writes1604WithTheCodeOfAZone) {
  simulator::Image card = card_with("1604", 27, hex("C0"));
  card.field("fuse").front() = 0;
  put(card, 1227, hex("C0"));
  MemoryBench bench(card);
  EXPECT_EQ(bench.send("FF 20 00 01 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 1C 01 11"), "90 00");
  EXPECT_EQ(bench.send("FF D6 04 CC 01 11"), "69 82") << "zone 2 has another code";
  EXPECT_EQ(bench.send("FF 20 00 02 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF D6 04 CC 01 11"), "90 00");
}

// It opens no zone to be written.
TEST(WritingMemoryCards, WantsMoreThanAnEraseCode) {
  simulator::Image card = card_with("102", 92, hex("C0 11 22"));
  card.field("fuse").front() = 0;
  put(card, 156, hex("01 02 03 04"));
  MemoryBench bench(card);
  EXPECT_EQ(bench.send("FF 20 00 82 04 01 02 03 04"), "90 00");
  EXPECT_EQ(bench.send("FF D6 00 5D 01 01"), "69 82");
  EXPECT_EQ(bench.memory()[93], 0x11);
}

TEST(WritingMemoryCards, WantsSomethingToBeWritten) {
  MemoryBench bench("24c02");
  EXPECT_EQ(bench.send("FF D7 00 00 05 54 01 00 53 00"), "67 00");
  EXPECT_EQ(bench.send("FF 0F 00 00 04 54 02 01 00"), "6B 00") << "it begins behind the last byte";
  EXPECT_EQ(bench.send("FF 0E 00 00 02 00 10 00"), "67 00") << "nothing is expected";
}

TEST(WritingMemoryCards, RefusesAnErasureThatCannotBeginThere) {
  MemoryBench bench("4404");
  EXPECT_EQ(bench.send("FF 20 00 00 02 FF FF"), "90 00");
  EXPECT_EQ(bench.send("FF 0E 00 0E 02 00 0F"), "69 86");
  EXPECT_EQ(bench.send("FF 0E 00 0D 02 00 0F"), "90 00");
}

}  // namespace
}  // namespace quorra::testing
