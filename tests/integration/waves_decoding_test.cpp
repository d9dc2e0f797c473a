// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Operations of the library on a virtual card, and what decoders of others read in the waves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/waves/capture.hpp"
#include "tests/support/process.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

// So many bytes, which count up from `first`.
Bytes counting(std::size_t count, unsigned first) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(first));
  return bytes;
}

// A card whose bytes count up from 0.
simulator::Image counting_card(std::string_view kind) {
  simulator::Image card(simulator::find_kind(kind));
  std::iota(card.field("memory").begin(), card.field("memory").end(), std::uint8_t{0});
  return card;
}

// Such a card, the waves of what is done with it, and their decoders.
class Waves {
 public:
  Waves(std::string_view kind, const std::function<void(int handle)>& work) {
    const simulator::Image card = counting_card(kind);
    simulator::Options options;
    options.card = folder_ / "card";
    options.waves = file();
    save_image(card, options.card);
    simulator::RunningReader reader(options);
    {
      const Session session(reader->configuration());
      work(session.handle());
    }
    reader->stop_waves();
  }

  std::string file() const { return folder_ / "waves.vcd"; }
  // The memory of the card as it was left.
  std::vector<std::uint8_t> memory() const {
    const simulator::Image card = simulator::load_image(folder_ / "card");
    const auto bytes = card.field("memory");
    return {bytes.begin(), bytes.end()};
  }

  // What the decoders annotate: the lines of the last one without its name.
  Lines decoded(const std::string& decoders, const std::string& annotations) const {
    const Outcome outcome =
        run({QUORRA_SIGROK, "-l", "1", "-i", file(), "-P", decoders, "-A", annotations});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    Lines lines;
    std::istringstream text(outcome.output);
    for (std::string line; std::getline(text, line);)
      lines.push_back(line.substr(line.find(": ") + 2));
    return lines;
  }

 private:
  TemporaryDirectory folder_;
};

Lines without_repetitions(Lines lines) {
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

// The transfers on a two-wire bus: S and P begin and end one, W and R with the address of the chip
// say in which direction bytes go, and + and - whether each is acknowledged.
Lines transfers(const Waves& waves) {
  std::string text;
  for (const std::string& line : waves.decoded("i2c:scl=CLK:sda=IO",
                                               "i2c=start:repeat-start:stop:ack:nack:address-read:"
                                               "address-write:data-read:data-write")) {
    const auto value = [&] { return line.substr(line.rfind(' ') + 1); };
    if (line == "Start") text += "S";
    if (line == "Start repeat") text += " S";
    if (line == "Stop") text += " P\n";
    if (line == "ACK") text += "+";
    if (line == "NACK") text += "-";
    if (line.starts_with("Address write")) text += " W" + value();
    if (line.starts_with("Address read")) text += " R" + value();
    if (line.starts_with("Data")) text += " " + value();
  }
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return without_repetitions(lines);
}

// What the decoder for such memories calls it. It wonders at a reader that asks whether the card is
// ready.
Lines operations_24c(const Waves& waves, const std::string& chip) {
  Lines lines = waves.decoded("i2c:scl=CLK:sda=IO,eeprom24xx:chip=" + chip,
                              "eeprom24xx=byte-write:page-write:cur-addr-read:random-read:"
                              "seq-random-read:seq-cur-addr-read:warnings");
  std::erase(lines, "Warning: No reply from slave!");
  std::erase(lines, "Warning: Slave replied, but master aborted!");
  return lines;
}

std::string acknowledged(const Bytes& bytes) {
  return fmt::format("{:02X}+", fmt::join(bytes, "+ "));
}

TEST(Waves24c, ReadingSetsTheAddressAndDoesNotAcknowledgeTheLastByte) {
  const Waves waves("24c02", [](int handle) {
    Bytes bytes(3);
    ASSERT_EQ(srd_24c02(handle, 0x9A, 3, bytes.data()), 0);
    ASSERT_EQ(srd_24c02(handle, 0xFF, 1, bytes.data()), 0);
  });
  EXPECT_THAT(transfers(waves),
              ElementsAre("S W50+ 9A+ S R50+ 9A+ 9B+ 9C- P", "S W50+ FF+ S R50+ FF- P"));
  EXPECT_THAT(operations_24c(waves, "generic"),
              ElementsAre("Sequential random read (addr=9A, 3 bytes): 9A 9B 9C",
                          "Random access read (addr=FF, 1 byte): FF"));
}

TEST(Waves24c, WritingEndsAtThePagesAndAsksUntilTheCardAcknowledges) {
  const Bytes bytes = counting(12, 0xA0);
  const Waves waves("24c02",
                    [&](int handle) { ASSERT_EQ(swr_24c02(handle, 0x16, 12, bytes.data()), 0); });
  EXPECT_THAT(transfers(waves),
              ElementsAre("S W50+ 16+ A0+ A1+ P", "S W50- P", "S W50+ P",
                          "S W50+ 18+ " + acknowledged(counting(8, 0xA2)) + " P", "S W50- P",
                          "S W50+ P", "S W50+ 20+ AA+ AB+ P", "S W50- P", "S W50+ P"));
  EXPECT_THAT(operations_24c(waves, "generic"),
              ElementsAre("Page write (addr=16, 2 bytes): A0 A1",
                          "Page write (addr=18, 8 bytes): A2 A3 A4 A5 A6 A7 A8 A9",
                          "Page write (addr=20, 2 bytes): AA AB"));
}

TEST(Waves24c, TheBlockOfA24c16TravelsInTheByteThatSelectsIt) {
  const Bytes byte = {0x5A};
  const Waves waves("24c16", [&](int handle) {
    Bytes read(1);
    ASSERT_EQ(swr_24c16(handle, 0x73F, 1, byte.data()), 0);
    ASSERT_EQ(srd_24c16(handle, 0x73F, 1, read.data()), 0);
  });
  EXPECT_THAT(transfers(waves),
              ElementsAre("S W57+ 3F+ 5A+ P", "S W57- P", "S W57+ P", "S W57+ 3F+ S R57+ 5A- P"));
  EXPECT_THAT(
      operations_24c(waves, "generic"),
      ElementsAre("Byte write (addr=3F, 1 byte): 5A", "Random access read (addr=3F, 1 byte): 5A"));
}

TEST(Waves24c, AddressesOfA24c64HaveTwoBytes) {
  const Bytes bytes = counting(4, 0xB0);
  const Waves waves("24c64", [&](int handle) {
    Bytes read(2);
    ASSERT_EQ(swr_24c64(handle, 0x123E, 4, bytes.data()), 0);
    ASSERT_EQ(srd_24c64(handle, 0x123F, 2, read.data()), 0);
  });
  EXPECT_THAT(transfers(waves), ElementsAre("S W50+ 12+ 3E+ B0+ B1+ P", "S W50- P", "S W50+ P",
                                            "S W50+ 12+ 40+ B2+ B3+ P", "S W50- P", "S W50+ P",
                                            "S W50+ 12+ 3F+ S R50+ B1+ B2- P"));
  EXPECT_THAT(operations_24c(waves, "microchip_24lc64"),
              ElementsAre("Page write (addr=123E, 2 bytes): B0 B1",
                          "Page write (addr=1240, 2 bytes): B2 B3",
                          "Sequential random read (addr=123F, 2 bytes): B1 B2"));
}

struct Card24c {
  std::string_view kind;
  unsigned size;
  unsigned page;
  int (*read)(int, int, int, unsigned char*);
  int (*write)(int, int, int, const unsigned char*);
  int (*probe)(int);
};

constexpr unsigned largest_with_one_byte = 2048;

class Waves24cKinds : public ::testing::TestWithParam<Card24c> {};

// From the last byte of a page to the first one of the last page.
TEST_P(Waves24cKinds, IsWrittenAndReadWhereItWasAskedFor) {
  const Card24c& card = GetParam();
  const unsigned first = card.size - card.page - 1;
  const Bytes bytes = {0x5A, 0xC3};
  const Waves waves(card.kind, [&](int handle) {
    Bytes read(2);
    ASSERT_EQ(card.write(handle, static_cast<int>(first), 2, bytes.data()), 0);
    ASSERT_EQ(card.read(handle, static_cast<int>(first), 2, read.data()), 0);
    EXPECT_EQ(read, bytes);
  });
  const bool has_two_bytes = card.size > largest_with_one_byte;
  const unsigned block = has_two_bytes ? 0 : first >> 8U;
  const std::string select = fmt::format("{:02X}", 0x50U | block);
  const auto address = [&](unsigned place) {
    return has_two_bytes ? fmt::format("{:02X}+ {:02X}+", place >> 8U, place & 0xFFU)
                         : fmt::format("{:02X}+", place & 0xFFU);
  };
  const std::string write = "S W" + select + "+ ";
  const std::string busy = "S W" + select + "- P";
  const std::string ready = "S W" + select + "+ P";
  EXPECT_THAT(transfers(waves),
              ElementsAre(write + address(first) + " 5A+ P", busy, ready,
                          write + address(first + 1) + " C3+ P", busy, ready,
                          write + address(first) + " S R" + select + "+ 5A+ C3- P"));
  const auto at = [&](unsigned place) {
    return has_two_bytes ? fmt::format("(addr={:04X}, ", place)
                         : fmt::format("(addr={:02X}, ", place & 0xFFU);
  };
  // With addresses of two bytes the decoder calls one byte a page, too.
  const std::string one = has_two_bytes ? "Page write " : "Byte write ";
  EXPECT_THAT(operations_24c(waves, has_two_bytes ? "microchip_24lc64" : "generic"),
              ElementsAre(one + at(first) + "1 byte): 5A", one + at(first + 1) + "1 byte): C3",
                          "Sequential random read " + at(first) + "2 bytes): 5A C3"));
}

// What a chip does with the bytes that a decoder has read: it holds a plain array.
class Played24c {
 public:
  explicit Played24c(const Card24c& card) : card_(card), memory_(counting(card.size, 0)) {}

  // Each byte that the chip was seen to send must be the one of its place.
  void play(const std::string& transfer) {
    std::istringstream words(transfer);
    bool is_read = false;
    for (std::string word; words >> word;) {
      const auto value = [&word] {
        return static_cast<unsigned>(std::stoul(word.substr(word.size() - 3, 2), nullptr, 16));
      };
      if (word == "S") {
        begin();
      } else if (word == "P") {
        for (const auto& [place, byte] : loaded_)
          memory_.at(place) = byte;
      } else if (word.front() == 'W' || word.front() == 'R') {
        is_read = word.front() == 'R';
        if (!is_read && word.back() == '+') select(value());
      } else if (is_read) {
        EXPECT_EQ(value(), memory_.at(counter_)) << transfer << ", at " << counter_;
        counter_ = (counter_ + 1) % card_.size;
        ++reads;
      } else {
        take(static_cast<unsigned char>(value()));
      }
    }
  }
  const Bytes& memory() const { return memory_; }

  int reads = 0;
  int writes = 0;

 private:
  bool has_two_bytes() const { return card_.size > largest_with_one_byte; }
  void begin() {
    loaded_.clear();
    address_bytes_ = 0;
  }
  void select(unsigned chip) {
    if (!has_two_bytes()) counter_ = ((chip & 7U) << 8U | (counter_ & 0xFFU)) % card_.size;
  }
  void take(unsigned char byte) {
    if (address_bytes_ < (has_two_bytes() ? 2U : 1U)) {
      const bool is_upper = has_two_bytes() && address_bytes_ == 0;
      counter_ =
          is_upper ? (unsigned{byte} << 8U | (counter_ & 0xFFU)) : ((counter_ & ~0xFFU) | byte);
      counter_ %= card_.size;
      ++address_bytes_;
      return;
    }
    loaded_[counter_] = byte;
    ++writes;
    counter_ = counter_ / card_.page * card_.page + (counter_ + 1) % card_.page;
  }

  const Card24c& card_;
  Bytes memory_;
  std::map<unsigned, unsigned char> loaded_;
  unsigned counter_ = 0;
  unsigned address_bytes_ = 0;
};

// Probes write and read at many places, also as if the card were another one.
TEST_P(Waves24cKinds, IsProbedAsTheDecoderTells) {
  const Card24c& card = GetParam();
  const Waves waves(card.kind, [&](int handle) { EXPECT_EQ(card.probe(handle), 0); });
  Played24c chip(card);
  for (const std::string& transfer : transfers(waves))
    chip.play(transfer);
  EXPECT_GT(chip.reads, 0);
  EXPECT_GT(chip.writes, 0);
  EXPECT_EQ(chip.memory(), waves.memory());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Waves24cKinds,
    ::testing::Values(Card24c{"24c01a", 128, 8, srd_24c01a, swr_24c01a, chk_24c01a},
                      Card24c{"24c02", 256, 8, srd_24c02, swr_24c02, chk_24c02},
                      Card24c{"24c04", 512, 16, srd_24c04, swr_24c04, chk_24c04},
                      Card24c{"24c08", 1024, 16, srd_24c08, swr_24c08, chk_24c08},
                      Card24c{"24c16", 2048, 16, srd_24c16, swr_24c16, chk_24c16},
                      Card24c{"24c32", 4096, 32, srd_24c32, swr_24c32, chk_24c32},
                      Card24c{"24c64", 8192, 32, srd_24c64, swr_24c64, chk_24c64}),
    [](const auto& card) { return std::string(card.param.kind); });

TEST(Waves24c, ACardThatIsNoneAcknowledgesNothing) {
  const Waves waves("4442", [&](int handle) {
    Bytes read(1);
    ASSERT_NE(srd_24c02(handle, 0, 1, read.data()), 0);
  });
  EXPECT_THAT(transfers(waves), ElementsAre("S W50- P"));
}

// What the decoder for three-wire memories tells, with the values behind each instruction.
Lines operations_93c(const Waves& waves, int address_bits, int word_bits) {
  Lines operations;
  for (const std::string& line : waves.decoded(fmt::format("microwire:cs=RST:sk=CLK:si=IO:so=IO,"
                                                           "eeprom93xx:addresssize={}:wordsize={}",
                                                           address_bits, word_bits),
                                               "eeprom93xx")) {
    const bool is_value = line.starts_with("Address: ") || line.starts_with("Data: ");
    if (is_value && !operations.empty()) {
      operations.back() += " " + line.substr(line.find(' ') + 1);
    } else {
      operations.push_back(line);
    }
  }
  return operations;
}

struct Card93c {
  std::string_view kind;
  int address_bits;
  int word_bits;
  int (*read)(int, int, int, unsigned char*);
  int (*write)(int, int, int, const unsigned char*);
  int (*erase_all)(int);
  int (*write_all)(int);
};

class Waves93c : public ::testing::TestWithParam<Card93c> {};

TEST_P(Waves93c, EachOperationIsReadAsWhatItIs) {
  const Card93c& card = GetParam();
  const Bytes bytes = {0x12, 0x34, 0x56, 0x78};
  const int words = 4 * 8 / card.word_bits;
  const int address = (1 << card.address_bits) - words;
  const Waves waves(card.kind, [&](int handle) {
    Bytes read(4);
    ASSERT_EQ(card.read(handle, address, words, read.data()), 0);
    ASSERT_EQ(card.write(handle, address, words, bytes.data()), 0);
    ASSERT_EQ(card.read(handle, address, words, read.data()), 0);
    ASSERT_EQ(card.erase_all(handle), 0);
    ASSERT_EQ(card.read(handle, address, 1, read.data()), 0);
    ASSERT_EQ(card.write_all(handle), 0);
    ASSERT_EQ(card.read(handle, address, 1, read.data()), 0);
  });

  const auto word = [&](const Bytes& all, int index) {
    const auto place = static_cast<std::size_t>(index);
    if (card.word_bits == 8) return fmt::format(" 0x{:04x}", all.at(place));
    return fmt::format(" 0x{:02x}{:02x}", all.at(2 * place), all.at(2 * place + 1));
  };
  const auto at = [](int place) { return fmt::format(" 0x{:04x}", place); };
  const Bytes old = counting(4, static_cast<unsigned>(address * card.word_bits / 8));
  std::string read_old = "Read word" + at(address);
  std::string read_new = read_old;
  Lines expected(1);
  expected.push_back("Write enable");
  for (int i = 0; i < words; ++i) {
    read_old += word(old, i);
    read_new += word(bytes, i);
    expected.push_back("Write word" + at(address + i) + word(bytes, i));
  }
  expected.front() = read_old;
  const std::string read = "Read word" + at(address);
  const std::string erased = card.word_bits == 8 ? " 0x00ff" : " 0xffff";
  for (const std::string& line :
       {std::string("Write disable"), read_new, std::string("Write enable"),
        std::string("Erase all memory"), std::string("Write disable"), read + erased,
        std::string("Write enable"), std::string("Write all memory") + " 0x0000",
        std::string("Write disable"), read + " 0x0000"})
    expected.push_back(line);
  EXPECT_EQ(operations_93c(waves, card.address_bits, card.word_bits), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Waves93c,
    ::testing::Values(Card93c{"93c46a", 6, 16, srd_93c46a, swr_93c46a, eral_93c46a, wral_93c46a},
                      Card93c{"93c46", 7, 8, srd_93c46, swr_93c46, eral_93c46, wral_93c46},
                      Card93c{"93c57", 8, 8, srd_93c57, swr_93c57, eral_93c57, wral_93c57}),
    [](const auto& card) { return std::string(card.param.kind); });

// The bits that the reader sends and those it receives in each instruction, behind its start bit.
// While a card that has been written programs, it says so to those that ask.
Lines bits_93c(const Waves& waves) {
  Lines instructions;
  for (const std::string& line :
       waves.decoded("microwire:cs=RST:sk=CLK:si=IO_reader:so=IO_card", "microwire")) {
    if (line == "Start bit") instructions.push_back("> < ");
    if (line == "Busy" || line == "Ready") instructions.push_back(line);
    if (line.starts_with("SI bit")) {
      instructions.back().insert(instructions.back().find(" <"), 1, line.back());
    }
    if (line.starts_with("SO bit")) instructions.back() += line.back();
  }
  return without_repetitions(instructions);
}

std::string bits(unsigned value, int count) { return fmt::format("{:0{}b}", value, count); }

// The decoder for memories knows no such addresses.
TEST(Waves93c66, AddressesHaveNineBits) {
  const Bytes byte = {0xC5};
  const Waves waves("93c66", [&](int handle) {
    Bytes read(1);
    ASSERT_EQ(swr_93c66(handle, 0x1A7, 1, byte.data()), 0);
    ASSERT_EQ(srd_93c66(handle, 0x1A7, 1, read.data()), 0);
  });
  const std::string silence(11, '1');
  const std::string address = bits(0x1A7, 9);
  // The last bit of the address brings the zero before the data.
  EXPECT_THAT(bits_93c(waves),
              ElementsAre(">00110000000 < " + silence,
                          ">01" + address + bits(0xC5, 8) + " < " + silence + std::string(8, '1'),
                          "Busy", "Ready", ">00000000000 < " + silence,
                          ">10" + address + std::string(8, '1') + " < " + std::string(10, '1') +
                              "0" + bits(0xC5, 8)));
}

TEST(Waves93c66, ErasingAllNeedsNoData) {
  const Waves waves("93c66", [&](int handle) { ASSERT_EQ(eral_93c66(handle), 0); });
  EXPECT_THAT(bits_93c(waves),
              ElementsAre(">00110000000 < 11111111111", ">00100000000 < 11111111111", "Busy",
                          "Ready", ">00000000000 < 11111111111"));
}

TEST(Waves93c66, WritingAllSendsTheByteOnce) {
  const Waves waves("93c66", [&](int handle) { ASSERT_EQ(wral_93c66(handle), 0); });
  EXPECT_THAT(bits_93c(waves),
              ElementsAre(">00110000000 < " + std::string(11, '1'),
                          ">00010000000" + bits(0, 8) + " < " + std::string(19, '1'), "Busy",
                          "Ready", ">00000000000 < " + std::string(11, '1')));
}

// What travels in each direction while the chip is selected: first to it, then from it. Before it
// has power nothing does.
Lines commands_45d041(const Waves& waves) {
  const std::string decoder = "spi:clk=CLK:mosi=IO:miso=C8:cs=RST";
  const Lines to = waves.decoded(decoder, "spi=mosi-transfer");
  const Lines from = waves.decoded(decoder, "spi=miso-transfer");
  EXPECT_EQ(to.size(), from.size());
  Lines both;
  for (std::size_t i = 0; i < std::min(to.size(), from.size()); ++i)
    if (!to[i].empty()) both.push_back(to[i] + " / " + from[i]);
  return without_repetitions(both);
}

TEST(Waves45d041, ReadingAPage) {
  const Waves waves("45d041", [](int handle) {
    Bytes read(3);
    ASSERT_EQ(srd_45d041(handle, 0x5A3, 0x102, 3, read.data()), 0);
  });
  // Page 0x5A3 in eleven bits and offset 0x102 in nine bits are 0x0B4702; the byte there is that of
  // its place, 0x5A3 x 264 + 0x102.
  const unsigned first = (0x5A3U * 264U + 0x102U) & 0xFFU;
  EXPECT_THAT(commands_45d041(waves),
              ElementsAre("57 FF / FF 98",
                          fmt::format("52 0B 47 02 00 00 00 00 00 00 00 / FF FF FF FF FF FF FF FF "
                                      "{:02X} {:02X} {:02X}",
                                      first, first + 1, first + 2)));
}

TEST(Waves45d041, WritingGoesThroughABuffer) {
  const Bytes bytes = {0xDE, 0xAD};
  const Waves waves(
      "45d041", [&](int handle) { ASSERT_EQ(swr_45d041(handle, 3, 0x101, 2, bytes.data()), 0); });
  EXPECT_THAT(commands_45d041(waves),
              ElementsAre("57 FF / FF 98", "53 00 06 00 / FF FF FF FF", "57 FF / FF 18",
                          "57 FF / FF 98", "84 00 01 01 DE AD / FF FF FF FF FF FF",
                          "83 00 06 00 / FF FF FF FF", "57 FF / FF 18", "57 FF / FF 98"));
}

TEST(Waves45d041, ItsProbeAsksForTheStatus) {
  const Waves waves("45d041", [](int handle) { ASSERT_EQ(chk_45d041(handle), 0); });
  EXPECT_THAT(commands_45d041(waves), ElementsAre("57 FF / FF 98"));
}

TEST(Waves45d041, ItsStatus) {
  const Waves waves("45d041", [](int handle) {
    unsigned char status = 0;
    ASSERT_EQ(rdstrg_45d041(handle, &status), 0);
  });
  EXPECT_THAT(commands_45d041(waves), ElementsAre("57 FF / FF 98"));
}

// As a logic analyser records them, which does not see who pulls IO low.
TEST(WavesOfOthers, JudgeACard) {
  const Waves waves("24c02", [](int handle) {
    Bytes read(4);
    ASSERT_EQ(srd_24c02(handle, 0x9A, 4, read.data()), 0);
  });
  const std::string file = waves.file() + ".sigrok";
  ASSERT_EQ(run({QUORRA_SIGROK, "-l", "1", "-i", waves.file(), "-O", "vcd", "-o", file}).status, 0);
  std::string capture = content_of(file);
  EXPECT_NE(capture.find("$scope module libsigrok $end"), std::string::npos);
  for (const std::string name : {" IO_reader $end\n", " IO_card $end\n"}) {
    const std::size_t end = capture.find(name);
    ASSERT_NE(end, std::string::npos);
    const std::size_t begin = capture.rfind('\n', end);
    capture.erase(begin, end + name.size() - 1 - begin);
  }
  const auto differences = [&capture](const simulator::Image& card) {
    std::istringstream stream(capture);
    simulator::VcdReader reader(stream, "capture");
    return simulator::judge(*card.kind().make_chip(card), reader, {}).differences;
  };
  simulator::Image card = counting_card("24c02");
  EXPECT_EQ(differences(card), 0U);
  card.field("memory")[0x9C] = 0;
  EXPECT_GT(differences(card), 0U);
}

}  // namespace
}  // namespace quorra::testing
