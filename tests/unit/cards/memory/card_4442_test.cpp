// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

const Bytes done = hex("55 00 00 00 55");

Bytes read_request(unsigned char address, unsigned char count) {
  return sealed(hex("AA 61 00 07 79 00 00 00") + Bytes{address} + hex("00") + Bytes{count});
}

Bytes write_request(unsigned char address, const Bytes& data, unsigned char command = 0x60) {
  return sealed(Bytes{0xAA, command, 0x00, static_cast<unsigned char>(data.size() + 5)} +
                hex("79 00 00 00") + Bytes{address} + data);
}

Bytes part(const Bytes& bytes, std::size_t from, std::size_t count) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

// The two cards share every transfer function.
struct Card {
  const char* name;
  int (*read)(int, int, int, unsigned char*);
  int (*write)(int, int, int, const unsigned char*);
  int (*read_protection)(int, int, unsigned char*);
  int (*protect)(int, int, int, const unsigned char*);
  int (*probe)(int);
  Mode mode;
};

void PrintTo(const Card& card, std::ostream* stream) { *stream << card.name; }

class Card4442 : public ::testing::TestWithParam<Card> {
 protected:
  const Card& card() const { return GetParam(); }
  Mode mode() const { return GetParam().mode; }
};

INSTANTIATE_TEST_SUITE_P(
    , Card4442,
    ::testing::Values(
        Card{"Direct4442", srd_4442, swr_4442, prd_4442, pwr_4442, chk_4442, Mode::direct},
        Card{"Terminal4442", srd_4442, swr_4442, prd_4442, pwr_4442, chk_4442, Mode::terminal},
        Card{"Direct4432", srd_4432, swr_4432, prd_4432, pwr_4432, chk_4432, Mode::direct},
        Card{"Terminal4432", srd_4432, swr_4432, prd_4432, pwr_4432, chk_4432, Mode::terminal}),
    [](const auto& row) { return row.param.name; });

TEST_P(Card4442, ReadsTwentyBytesAtSixteen) {
  Bytes buffer(21, 0xEE);
  const Operation operation{
      "read 20 bytes at 16",
      [&](int handle) { return card().read(handle, 16, 20, buffer.data()); },
      {{hex("AA 61 00 07 79 00 00 00 10 00 14 B1"), reply(0, counting(20, 0x40))}}};
  expect_result(operation, mode(), 0);
  EXPECT_EQ(buffer, counting(20, 0x40) + hex("EE"));

  buffer.assign(21, 0xEE);
  expect_failures(operation, mode());
  EXPECT_EQ(buffer, Bytes(21, 0xEE)) << "a failure leaves the buffer alone";
}

struct Split {
  int address;
  int count;
  std::vector<std::pair<unsigned char, std::size_t>> frames;  // address and size of each
};

const Split splits[] = {
    {0, 1, {{0, 1}}},
    {255, 1, {{255, 1}}},
    {0, 143, {{0, 143}}},
    {0, 144, {{0, 144}}},
    {0, 145, {{0, 144}, {144, 1}}},
    {112, 144, {{112, 144}}},
    {111, 145, {{111, 144}, {255, 1}}},
    {0, 255, {{0, 144}, {144, 111}}},
    {1, 255, {{1, 144}, {145, 111}}},
    {0, 256, {{0, 144}, {144, 112}}},
};

TEST_P(Card4442, ReadsInFramesOf144Bytes) {
  const Bytes memory = counting(256, 0x80);
  for (const Split& split : splits) {
    Operation operation{
        "read " + std::to_string(split.count) + " bytes at " + std::to_string(split.address),
        {},
        {}};
    for (const auto& [address, size] : split.frames) {
      operation.exchanges.push_back({read_request(address, static_cast<unsigned char>(size)),
                                     reply(0, part(memory, address, size))});
    }
    Bytes buffer;
    operation.call = [&](int handle) {
      buffer.assign(static_cast<std::size_t>(split.count) + 1, 0xEE);
      return card().read(handle, split.address, split.count, buffer.data());
    };
    expect_result(operation, mode(), 0);
    EXPECT_EQ(buffer, part(memory, static_cast<std::size_t>(split.address),
                           static_cast<std::size_t>(split.count)) +
                          hex("EE"));
  }
}

TEST_P(Card4442, WritesInFramesOf144Bytes) {
  const Bytes data = counting(256, 0x80);
  for (const Split& split : splits) {
    Operation operation{
        "write " + std::to_string(split.count) + " bytes at " + std::to_string(split.address),
        [&](int handle) { return card().write(handle, split.address, split.count, data.data()); },
        {}};
    std::size_t offset = 0;
    for (const auto& [address, size] : split.frames) {
      operation.exchanges.push_back({write_request(address, part(data, offset, size)), done});
      offset += size;
    }
    expect_result(operation, mode(), 0);
  }
}

TEST_P(Card4442, WritesALiteralFrame) {
  const Bytes data = hex("DE AD BE EF");
  const Operation operation{
      "write 4 bytes at 64",
      [&](int handle) { return card().write(handle, 64, 4, data.data()); },
      {{hex("AA 60 00 09 79 00 00 00 40 DE AD BE EF D8"), hex("55 00 00 00 55")}}};
  expect_result(operation, mode(), 0);
  expect_failures(operation, mode());
}

TEST_P(Card4442, KeepsWhatTheFirstFrameBroughtWhenTheSecondFails) {
  const Bytes memory = counting(256);
  Bytes buffer(256, 0xEE);
  const Operation operation{"read all",
                            [&](int handle) { return card().read(handle, 0, 256, buffer.data()); },
                            {{read_request(0, 144), reply(0, part(memory, 0, 144))},
                             {read_request(144, 112), reply(0, part(memory, 144, 112))}}};
  expect_failures(operation, mode(), 0);
  EXPECT_EQ(buffer, Bytes(256, 0xEE));
  expect_failures(operation, mode(), 1);
  EXPECT_EQ(buffer, part(memory, 0, 144) + Bytes(112, 0xEE));
}

TEST_P(Card4442, EndsAWriteAtTheFrameThatFails) {
  const Bytes data = counting(256, 7);
  expect_failures({"write all",
                   [&](int handle) { return card().write(handle, 0, 256, data.data()); },
                   {{write_request(0, part(data, 0, 144)), done},
                    {write_request(144, part(data, 144, 112)), done}}},
                  mode());
}

TEST_P(Card4442, TakesJustTheBytesItAskedFor) {
  Bytes buffer;
  const auto read_four = [&](const Bytes& data) {
    buffer.assign(5, 0xEE);
    expect_result({"read 4 bytes",
                   [&](int handle) { return card().read(handle, 8, 4, buffer.data()); },
                   {{read_request(8, 4), reply(0, data)}}},
                  mode(), 0);
    return buffer;
  };
  EXPECT_EQ(read_four(counting(255, 1)), hex("01 02 03 04 EE"));
  EXPECT_EQ(read_four(hex("0A 0B")), hex("0A 0B 00 00 EE")) << "what did not come is zero";
  EXPECT_EQ(read_four({}), hex("00 00 00 00 EE"));
}

struct Refusal {
  int address;
  int count;
  int result;
};

TEST_P(Card4442, RefusesReadsOutsideTheCard) {
  Bytes buffer(256);
  for (const Refusal& row : {
           Refusal{256, 1, -144},
           Refusal{-1, 1, -144},
           Refusal{INT_MAX, 1, -144},
           Refusal{INT_MIN, 1, -144},
           Refusal{256, 0, -144},
           Refusal{-1, INT_MIN, -144},
           Refusal{0, 0, -143},
           Refusal{0, -1, -143},
           Refusal{255, INT_MIN, -143},
           Refusal{0, 257, -143},
           Refusal{255, 2, -143},
           Refusal{128, 129, -143},
           Refusal{255, INT_MAX, -143},
       }) {
    SCOPED_TRACE(std::to_string(row.address) + ", " + std::to_string(row.count));
    expect_refusal(row.result, [&](int handle) {
      return card().read(handle, row.address, row.count, buffer.data());
    });
  }
  expect_refusal(-143, [&](int handle) { return card().read(handle, 0, 1, nullptr); });
}

TEST_P(Card4442, RefusesWritesOutsideTheCard) {
  const Bytes data(256);
  for (const Refusal& row : {
           Refusal{257, 1, -144},
           Refusal{-1, 1, -144},
           Refusal{INT_MAX, 1, -144},
           Refusal{INT_MIN, 1, -144},
           Refusal{257, 0, -144},
           Refusal{256, 1, -143},
           Refusal{256, 0, -143},
           Refusal{256, INT_MAX, -143},
           Refusal{0, 0, -143},
           Refusal{0, -1, -143},
           Refusal{0, 257, -143},
           Refusal{255, 2, -143},
           Refusal{255, INT_MAX, -143},
           Refusal{0, INT_MIN, -143},
       }) {
    SCOPED_TRACE(std::to_string(row.address) + ", " + std::to_string(row.count));
    expect_refusal(row.result, [&](int handle) {
      return card().write(handle, row.address, row.count, data.data());
    });
  }
  expect_refusal(-143, [&](int handle) { return card().write(handle, 0, 1, nullptr); });
}

const Bytes protection_request = hex("AA 74 00 07 79 00 00 00 00 00 04 A4");

TEST_P(Card4442, ReadsTheProtectionMemory) {
  Bytes buffer(5, 0xEE);
  const Operation operation{
      "read protection",
      [&](int handle) { return card().read_protection(handle, 4, buffer.data()); },
      {{protection_request, sealed("55 00 00 04 0C FF F8 1F")}}};
  expect_result(operation, mode(), 0);
  EXPECT_EQ(buffer, hex("0C FF F8 1F EE"));

  buffer.assign(5, 0xEE);
  expect_failures(operation, mode());
  EXPECT_EQ(buffer, Bytes(5, 0xEE));

  for (const int length : {3, 5, 0, -4, 260, INT_MIN, INT_MAX}) {
    expect_refusal(
        -143, [&](int handle) { return card().read_protection(handle, length, buffer.data()); });
  }
  expect_refusal(-143, [&](int handle) { return card().read_protection(handle, 4, nullptr); });
}

// Protecting `data` at `address`, with these bytes of protection memory and of main memory read
// back.
Operation protecting(const Card& card, int address, const Bytes& data, const Bytes& protection,
                     const Bytes& held) {
  const auto first = static_cast<unsigned char>(address);
  const auto count = static_cast<unsigned char>(data.size());
  return {"protect " + std::to_string(count) + " bytes at " + std::to_string(address),
          [=, &card](int handle) {
            return card.protect(handle, address, static_cast<int>(data.size()), data.data());
          },
          {{write_request(first, data, 0x75), done},
           {protection_request, reply(0, protection)},
           {read_request(first, count), reply(0, held)}},
          [](std::size_t frame, int code) { return frame == 0 ? code : -128; }};
}

TEST_P(Card4442, ProtectsAndReadsBack) {
  const Bytes data = hex("11 22 33");
  const Operation operation = protecting(card(), 7, data, hex("FE 3F FF FF"), data);
  expect_result(operation, mode(), 0);
  expect_failures(operation, mode());

  const Bytes all = counting(32, 0x30);
  expect_result(protecting(card(), 0, all, hex("00 00 00 00"), all), mode(), 0);
  expect_result(protecting(card(), 31, hex("5A"), hex("FF FF FF FE"), hex("5A")), mode(), 0);
}

TEST_P(Card4442, ProtectsWithALiteralFrame) {
  const Bytes data = hex("5A");
  expect_result({"protect 31",
                 [&](int handle) { return card().protect(handle, 31, 1, data.data()); },
                 {{hex("AA 75 00 06 79 00 00 00 1F 5A E5"), done},
                  {protection_request, sealed("55 00 00 04 FF FF FF FE")},
                  {hex("AA 61 00 07 79 00 00 00 1F 00 01 AB"), sealed("55 00 00 01 5A")}}},
                mode(), 0);
}

TEST_P(Card4442, ReportsABitThatIsStillSet) {
  for (int address = 0; address < 32; ++address) {
    Bytes protection(4, 0x00);
    protection[static_cast<std::size_t>(address / 8)] =
        static_cast<unsigned char>(1 << (7 - address % 8));
    Operation operation = protecting(card(), address, hex("5A"), protection, hex("5A"));
    operation.exchanges.pop_back();
    expect_result(operation, mode(), -129);

    for (unsigned char& byte : protection)
      byte = static_cast<unsigned char>(~byte);
    expect_result(protecting(card(), address, hex("5A"), protection, hex("5A")), mode(), 0);
  }
}

TEST_P(Card4442, LooksAtTheBitOfEachByteWritten) {
  const Bytes data = hex("11 22 33 44");
  for (const char* protection :
       {"FC 00 FF FF", "FD 3F FF FF", "FC 3F FF FF", "FC BF FF FF", "FC 7F FF FF", "FE 3F FF FF"}) {
    const bool good = std::string_view(protection) == "FC 00 FF FF" ||
                      std::string_view(protection) == "FC 3F FF FF";
    Operation operation = protecting(card(), 6, data, hex(protection), data);
    if (!good) operation.exchanges.pop_back();
    SCOPED_TRACE(protection);
    expect_result(operation, mode(), good ? 0 : -129);
  }
}

TEST_P(Card4442, ReportsMemoryThatDiffers) {
  const Bytes data = hex("11 22 33");
  for (std::size_t at = 0; at < data.size(); ++at) {
    Bytes held = data;
    held[at] = static_cast<unsigned char>(held[at] ^ 0x01);
    expect_result(protecting(card(), 0, data, hex("1F FF FF FF"), held), mode(), -129);
  }
}

TEST_P(Card4442, IsNotProtectedByAShortReply) {
  const Operation operation = protecting(card(), 0, hex("00 00"), hex("00 FF FF FF"), hex("00 00"));
  expect_result(operation, mode(), 0);
  expect_short_replies(operation, mode(), 1, -128);
  expect_short_replies(operation, mode(), 2, -128);
}

TEST_P(Card4442, RefusesToProtectOutsideTheFirst32Bytes) {
  const Bytes data(64);
  for (const Refusal& row : {
           Refusal{32, 1, -144},
           Refusal{-1, 1, -144},
           Refusal{INT_MAX, 1, -144},
           Refusal{INT_MIN, 1, -144},
           Refusal{32, 0, -144},
           Refusal{30, 3, -143},
           Refusal{31, 2, -143},
           Refusal{0, 33, -143},
           Refusal{0, 0, -143},
           Refusal{0, -1, -143},
           Refusal{31, INT_MAX, -143},
           Refusal{31, INT_MIN, -143},
       }) {
    SCOPED_TRACE(std::to_string(row.address) + ", " + std::to_string(row.count));
    expect_refusal(row.result, [&](int handle) {
      return card().protect(handle, row.address, row.count, data.data());
    });
  }
  expect_refusal(-143, [&](int handle) { return card().protect(handle, 0, 1, nullptr); });
}

const Bytes signature_request = hex("AA 61 00 07 79 00 00 00 06 00 02 B1");

TEST_P(Card4442, KnowsACardByTwoBytes) {
  const auto probe_of = [&](const Bytes& data) {
    return Operation{"probe", card().probe, {{signature_request, reply(0, data)}}};
  };
  expect_result(probe_of(hex("81 15")), mode(), 0);
  for (const char* other : {"81 14", "80 15", "15 81", "FF FF", "00 00"}) {
    expect_result(probe_of(hex(other)), mode(), -133);
  }
  expect_short_replies(probe_of(hex("81 15")), mode(), 0, -133);
  expect_failures(probe_of(hex("81 15")), mode());
}

class Code4442 : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, Code4442, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

const Bytes code = hex("12 34 56");

TEST_P(Code4442, IsPresented) {
  const Operation operation{
      "csc_4442",
      [](int handle) { return csc_4442(handle, 3, code.data()); },
      {{hex("AA 64 00 08 79 00 00 00 00 12 34 56 CF"), hex("55 00 00 00 55")}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST_P(Code4442, IsWritten) {
  const Operation operation{
      "wsc_4442",
      [](int handle) { return wsc_4442(handle, 3, code.data()); },
      {{hex("AA 66 00 08 79 00 00 00 00 12 34 56 CD"), hex("55 00 00 00 55")}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST_P(Code4442, IsReadBehindTheErrorCounter) {
  Bytes buffer(4, 0xEE);
  const Operation operation{
      "rsc_4442",
      [&](int handle) { return rsc_4442(handle, 3, buffer.data()); },
      {{hex("AA 65 00 07 79 00 00 00 00 00 04 B5"), sealed("55 00 00 04 07 12 34 56")}}};
  expect_result(operation, GetParam(), 0);
  EXPECT_EQ(buffer, hex("12 34 56 EE"));
  buffer.assign(4, 0xEE);
  expect_failures(operation, GetParam());
  EXPECT_EQ(buffer, Bytes(4, 0xEE));
}

TEST_P(Code4442, IsZeroWhereTheReplyIsShort) {
  Bytes buffer(4, 0xEE);
  expect_result({"rsc_4442",
                 [&](int handle) { return rsc_4442(handle, 3, buffer.data()); },
                 {{hex("AA 65 00 07 79 00 00 00 00 00 04 B5"), sealed("55 00 00 02 07 12")}}},
                GetParam(), 0);
  EXPECT_EQ(buffer, hex("12 00 00 EE"));
}

TEST(Code4442Length, IsThree) {
  Bytes buffer(8);
  for (const int length : {4, 2, 0, -3, 259, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(length);
    expect_refusal(-143, [&](int handle) { return csc_4442(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return wsc_4442(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return rsc_4442(handle, length, buffer.data()); });
  }
  expect_refusal(-143, [](int handle) { return csc_4442(handle, 3, nullptr); });
  expect_refusal(-143, [](int handle) { return wsc_4442(handle, 3, nullptr); });
  expect_refusal(-143, [](int handle) { return rsc_4442(handle, 3, nullptr); });
}

Operation counting_bits(int* counter, const Bytes& data) {
  return {"rsct_4442",
          [=](int handle) { return rsct_4442(handle, counter); },
          {{hex("AA 67 00 07 79 00 00 00 00 00 04 B7"), reply(0, data)}}};
}

TEST_P(Code4442, HasACounterOfSetBits) {
  int counter = 4711;
  const struct {
    const char* data;
    int bits;
  } rows[] = {{"07 00 00 00", 3}, {"03 00 00 00", 2}, {"01 FF FF FF", 1}, {"00 FF FF FF", 0},
              {"FF 00 00 00", 8}, {"F8 00 00 00", 5}, {"80", 1}};
  for (const auto& row : rows) {
    expect_result(counting_bits(&counter, hex(row.data)), GetParam(), 0);
    EXPECT_EQ(counter, row.bits) << row.data;
  }
  for (int byte = 0; byte < 256; ++byte) {
    int bits = 0;
    for (int bit = 0; bit < 8; ++bit)
      bits += (byte >> bit) & 1;
    expect_result(counting_bits(&counter, {static_cast<unsigned char>(byte)}), GetParam(), 0);
    EXPECT_EQ(counter, bits) << byte;
  }
  expect_result(counting_bits(&counter, {}), GetParam(), 0);
  EXPECT_EQ(counter, 0) << "a reply without data";
}

TEST_P(Code4442, LeavesTheCounterAloneOnFailure) {
  int counter = 4711;
  expect_failures(counting_bits(&counter, hex("07 00 00 00")), GetParam());
  EXPECT_EQ(counter, 4711);
  expect_refusal(-143, [](int handle) { return rsct_4442(handle, nullptr); });
}

}  // namespace
}  // namespace quorra::testing
