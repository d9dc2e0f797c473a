// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/guarded_bytes.hpp"
#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

class ReaderMemory : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, ReaderMemory, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

const Bytes done = hex("55 00 00 00 55");

// One frame of a transfer: the two bytes of its address, and how much of the data it carries.
struct Frame {
  const char* address;
  std::size_t size;
};

// A transfer whose data counts on from 0x20, with the frames of which it consists.
struct Transfer {
  int address;
  int length;
  std::vector<Frame> frames;
};

Bytes part(const Bytes& bytes, std::size_t from, std::size_t count) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

std::string name_of_transfer(const char* function, const Transfer& transfer) {
  return function + std::string("(") + std::to_string(transfer.address) + ", " +
         std::to_string(transfer.length) + ")";
}

Bytes data_of(const Transfer& transfer) {
  return counting(static_cast<std::size_t>(transfer.length), 0x20);
}

// Reading into a buffer that nothing may be written behind.
Operation reading(const Transfer& transfer, GuardedBytes& buffer) {
  Operation operation{name_of_transfer("srd_eeprom", transfer),
                      [&buffer, transfer](int handle) {
                        return srd_eeprom(handle, transfer.address, transfer.length, buffer.data());
                      },
                      {}};
  const Bytes data = data_of(transfer);
  std::size_t at = 0;
  for (const Frame& frame : transfer.frames) {
    const auto count = static_cast<unsigned char>(frame.size);
    operation.exchanges.push_back(
        {sealed(hex("AA B7 00 07 80 00 00") + hex(frame.address) + Bytes{0x00, count}),
         reply(0, part(data, at, frame.size))});
    at += frame.size;
  }
  return operation;
}

// Writing from a buffer that nothing can be read behind.
Operation writing(const Transfer& transfer) {
  const Bytes data = data_of(transfer);
  const auto buffer = std::make_shared<GuardedBytes>(data);
  Operation operation{name_of_transfer("swr_eeprom", transfer),
                      [=](int handle) {
                        return swr_eeprom(handle, transfer.address, transfer.length,
                                          buffer->data());
                      },
                      {}};
  std::size_t at = 0;
  for (const Frame& frame : transfer.frames) {
    const auto length = static_cast<unsigned char>(frame.size + 5);
    operation.exchanges.push_back({sealed(Bytes{0xAA, 0xB6, 0x00, length} + hex("80 00 00") +
                                          hex(frame.address) + part(data, at, frame.size)),
                                   done});
    at += frame.size;
  }
  return operation;
}

const std::vector<Transfer>& transfers() {
  static const std::vector<Transfer> all = {
      {0, 1, {{"00 00", 1}}},
      {383, 1, {{"01 7F", 1}}},
      {255, 2, {{"00 FF", 2}}},
      {256, 128, {{"01 00", 128}}},
      {300, 84, {{"01 2C", 84}}},
      {10, 143, {{"00 0A", 143}}},
      {10, 144, {{"00 0A", 144}}},
      {10, 145, {{"00 0A", 144}, {"00 9A", 1}}},
      {96, 288, {{"00 60", 144}, {"00 F0", 144}}},
      {95, 289, {{"00 5F", 144}, {"00 EF", 144}, {"01 7F", 1}}},
      {0, 384, {{"00 00", 144}, {"00 90", 144}, {"01 20", 96}}},
      // The high byte of an address below 0 is a 256th of it, cut; the low byte is the rest.
      {-1, 1, {{"00 FF", 1}}},
      {-255, 1, {{"00 01", 1}}},
      {-256, 1, {{"FF 00", 1}}},
      {-257, 1, {{"FF FF", 1}}},
      {-300, 5, {{"FF D4", 5}}},
      {-65'536, 1, {{"00 00", 1}}},
      {INT_MIN, 3, {{"00 00", 3}}},
      {INT_MIN + 1, 3, {{"01 01", 3}}},
      {-1, 385, {{"00 FF", 144}, {"00 8F", 144}, {"01 1F", 97}}},
      {-200, 584, {{"00 38", 144}, {"00 C8", 144}, {"00 58", 144}, {"00 E8", 144}, {"01 78", 8}}},
  };
  return all;
}

TEST_P(ReaderMemory, IsReadInFramesOf144Bytes) {
  for (const Transfer& transfer : transfers()) {
    GuardedBytes buffer(Bytes(static_cast<std::size_t>(transfer.length), 0xEE));
    expect_result(reading(transfer, buffer), GetParam(), 0);
    EXPECT_EQ(to_hex(buffer.content()), to_hex(data_of(transfer)));
  }
}

TEST_P(ReaderMemory, IsWrittenInFramesOf144Bytes) {
  for (const Transfer& transfer : transfers())
    expect_result(writing(transfer), GetParam(), 0);
}

TEST_P(ReaderMemory, IsReadAndWrittenInLiteralFrames) {
  Bytes buffer(3, 0xEE);
  expect_result({"srd_eeprom",
                 [&](int handle) { return srd_eeprom(handle, 382, 2, buffer.data()); },
                 {{hex("AA B7 00 07 80 00 00 01 7E 00 02 E7"), sealed("55 00 00 02 12 34")}}},
                GetParam(), 0);
  EXPECT_EQ(buffer, hex("12 34 EE"));
  expect_result({"swr_eeprom",
                 [&](int handle) { return swr_eeprom(handle, 382, 2, buffer.data()); },
                 {{hex("AA B6 00 07 80 00 00 01 7E 12 34 C2"), done}}},
                GetParam(), 0);
}

TEST_P(ReaderMemory, KeepsTheFramesBeforeAFailure) {
  const Transfer& whole = transfers()[10];
  ASSERT_EQ(whole.length, 384);
  for (std::size_t frame = 0; frame < whole.frames.size(); ++frame) {
    GuardedBytes buffer(Bytes(384, 0xEE));
    expect_failures(reading(whole, buffer), GetParam(), frame);
    EXPECT_EQ(to_hex(buffer.content()),
              to_hex(part(data_of(whole), 0, frame * 144) + Bytes(384 - frame * 144, 0xEE)));
    expect_failures(writing(whole), GetParam(), frame);
  }
}

TEST_P(ReaderMemory, IsReadByThatManyBytesWhateverLenTheReplyHad) {
  for (const std::size_t brought :
       {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{255}}) {
    GuardedBytes buffer(Bytes(2, 0xEE));
    Operation operation = reading({5, 2, {{"00 05", 2}}}, buffer);
    operation.exchanges[0].reply = reply(0, counting(brought, 0x71));
    expect_result(operation, GetParam(), 0);
    Bytes expected = counting(std::min(brought, std::size_t{2}), 0x71);
    expected.resize(2);
    EXPECT_EQ(buffer.content(), expected) << brought;
  }
}

struct Refusal {
  int address;
  int length;
  int result;
};

constexpr Refusal refusals[] = {
    {384, 1, -144},           {384, 0, -144},       {385, -1, -144},    {INT_MAX, 1, -144},
    {INT_MAX, INT_MIN, -144}, {0, 0, -143},         {0, -1, -143},      {0, INT_MIN, -143},
    {383, 0, -143},           {383, 2, -143},       {300, 85, -143},    {0, 385, -143},
    {0, INT_MAX, -143},       {383, INT_MAX, -143}, {-1, 386, -143},    {-1, 0, -143},
    {-1, INT_MAX, -143},      {-300, 685, -143},    {INT_MIN, 0, -143}, {INT_MIN, -1, -143},
};

TEST(ReaderMemoryBounds, RefuseTheRest) {
  Bytes buffer(16);
  for (const Refusal& row : refusals) {
    SCOPED_TRACE(std::to_string(row.address) + ", " + std::to_string(row.length));
    expect_refusal(row.result, [&](int handle) {
      return srd_eeprom(handle, row.address, row.length, buffer.data());
    });
    expect_refusal(row.result, [&](int handle) {
      return swr_eeprom(handle, row.address, row.length, buffer.data());
    });
  }
  expect_refusal(-143, [](int handle) { return srd_eeprom(handle, 0, 1, nullptr); });
  expect_refusal(-143, [](int handle) { return swr_eeprom(handle, 0, 1, nullptr); });
  expect_refusal(-144, [](int handle) { return srd_eeprom(handle, 384, 1, nullptr); });
}

// The security code.

const Bytes code = hex("12 34 56");
const Exchange code_written = {hex("AA B6 00 08 80 00 00 01 82 12 34 56 67"), done};
const Exchange code_read = {hex("AA B7 00 07 80 00 00 01 82 00 03 1A"),
                            sealed("55 00 00 03 12 34 56")};

Operation writing_code() {
  const auto guarded = std::make_shared<GuardedBytes>(code);
  return {"swr_dvsc",
          [=](int handle) { return swr_dvsc(handle, 3, guarded->data()); },
          {code_written, code_read}};
}

TEST_P(ReaderMemory, HoldsTheSecurityCode) {
  Bytes buffer(4, 0xEE);
  const Operation operation{
      "srd_dvsc", [&](int handle) { return srd_dvsc(handle, 3, buffer.data()); }, {code_read}};
  expect_result(operation, GetParam(), 0);
  EXPECT_EQ(buffer, hex("12 34 56 EE"));
  buffer.assign(4, 0xEE);
  expect_failures(operation, GetParam());
  EXPECT_EQ(buffer, Bytes(4, 0xEE)) << "a failure leaves the buffer alone";
}

TEST_P(ReaderMemory, TakesASecurityCodeAndReadsItBack) {
  expect_result(writing_code(), GetParam(), 0);
  expect_failures(writing_code(), GetParam());
  for (const char* held : {"13 34 56", "12 35 56", "12 34 57", "12 34 D6", "00 00 00", "12 34"}) {
    Operation operation = writing_code();
    operation.exchanges[1].reply = reply(0, hex(held));
    expect_result(operation, GetParam(), -129);
  }
  Operation operation = writing_code();
  operation.exchanges[1].reply = sealed("55 00 00 04 12 34 56 78");
  expect_result(operation, GetParam(), 0);
}

TEST_P(ReaderMemory, IsNotReadBackByAShortReply) {
  const Bytes zeros(3);
  const Operation operation{"swr_dvsc of zeros",
                            [&](int handle) { return swr_dvsc(handle, 3, zeros.data()); },
                            {{hex("AA B6 00 08 80 00 00 01 82 00 00 00 17"), done},
                             {code_read.request, reply(0, zeros)}}};
  expect_short_replies(operation, GetParam(), 1, -129);
  expect_short_replies(writing_code(), GetParam(), 1, -129);
}

TEST_P(ReaderMemory, HasItsSecurityCodeCompared) {
  const GuardedBytes guarded(code);
  const Operation operation{"cmp_dvsc",
                            [&](int handle) { return cmp_dvsc(handle, 3, guarded.data()); },
                            {{hex("AA B5 00 08 80 00 00 01 82 12 34 56 64"), done}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

TEST(CmpDvsc, ReturnsEachStatusNegated) {
  for (int status = 0; status < 256; ++status) {
    expect_result({"cmp_dvsc",
                   [](int handle) { return cmp_dvsc(handle, 3, code.data()); },
                   {{hex("AA B5 00 08 80 00 00 01 82 12 34 56 64"),
                     reply(static_cast<unsigned char>(status), {})}}},
                  Mode::direct, -status);
  }
}

TEST(SecurityCode, HasThreeBytes) {
  Bytes buffer(8, 0xEE);
  for (const int length : {4, 2, 1, 0, -3, 259, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(length);
    expect_refusal(-143, [&](int handle) { return srd_dvsc(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return swr_dvsc(handle, length, buffer.data()); });
    expect_refusal(-143, [&](int handle) { return cmp_dvsc(handle, length, buffer.data()); });
  }
  EXPECT_EQ(buffer, Bytes(8, 0xEE));
  expect_refusal(-143, [](int handle) { return srd_dvsc(handle, 3, nullptr); });
  expect_refusal(-143, [](int handle) { return swr_dvsc(handle, 3, nullptr); });
  expect_refusal(-143, [](int handle) { return cmp_dvsc(handle, 3, nullptr); });
}

// The security mode.

const Exchange mode_on = {hex("AA B6 00 06 80 00 00 01 81 FF E5"), done};
const Exchange mode_off = {hex("AA B6 00 06 80 00 00 01 81 00 1A"), done};
const Bytes mode_request = hex("AA B7 00 07 80 00 00 01 81 00 01 1B");

Operation switching(int mode, const Bytes& held) {
  return {"setsc_md " + std::to_string(mode),
          [=](int handle) { return setsc_md(handle, mode); },
          {mode != 0 ? mode_on : mode_off, {mode_request, reply(0, held)}}};
}

TEST_P(ReaderMemory, HasASecurityMode) {
  for (const int mode : {7, 1, 255, 256, 0x10000, -1, INT_MIN, INT_MAX}) {
    expect_result(switching(mode, hex("FF")), GetParam(), 0);
    expect_result(switching(mode, hex("00")), GetParam(), -129);
  }
  expect_result(switching(0, hex("00")), GetParam(), 0);
  expect_result(switching(0, hex("FF")), GetParam(), -129);
  expect_result(switching(0, hex("00 FF")), GetParam(), 0);
  for (int bit = 0; bit < 8; ++bit) {
    const auto changed = static_cast<unsigned char>(1 << bit);
    expect_result(switching(0, {changed}), GetParam(), -129);
    expect_result(switching(1, {static_cast<unsigned char>(~changed)}), GetParam(), -129);
  }
  expect_short_replies(switching(1, hex("FF")), GetParam(), 1, -129);
  expect_short_replies(switching(0, hex("00")), GetParam(), 1, -129);
  expect_failures(switching(1, hex("FF")), GetParam());
  expect_failures(switching(0, hex("00")), GetParam());
}

}  // namespace
}  // namespace quorra::testing
