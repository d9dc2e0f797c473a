// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <string>
#include <vector>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

class ValueRegister : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, ValueRegister, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

// The bytes of a register, least significant first.
Bytes stored(unsigned value) {
  Bytes bytes;
  for (int i = 0; i < 4; ++i) {
    bytes.push_back(static_cast<unsigned char>(value % 256));
    value /= 256;
  }
  return bytes;
}

Exchange read(const Bytes& held) {
  return {hex("AA B7 00 07 80 00 00 01 85 00 04 1A"), reply(0, held)};
}

Exchange read(unsigned value) { return read(stored(value)); }

Exchange written(unsigned value) {
  return {sealed(hex("AA B6 00 09 80 00 00 01 85") + stored(value)), hex("55 00 00 00 55")};
}

TEST_P(ValueRegister, IsReadFromItsFirstByteOn) {
  unsigned value = 0;
  const auto reading = [&](const Bytes& held) {
    return Operation{
        "val_read", [&](int handle) { return val_read(handle, &value); }, {read(held)}};
  };
  const struct {
    const char* held;
    unsigned value;
  } rows[] = {
      {"04 03 02 01", 0x01020304U},
      {"00 00 00 00", 0U},
      {"FF FF FF FF", 0xFFFFFFFFU},
      {"00 00 00 80", 0x80000000U},
      {"01 00 00 00", 1U},
      {"00 01 00 00", 0x100U},
      {"78 56", 0x5678U},
      {"", 0U},
      {"04 03 02 01 99", 0x01020304U},
  };
  for (const auto& row : rows) {
    value = 4711;
    expect_result(reading(hex(row.held)), GetParam(), 0);
    EXPECT_EQ(value, row.value) << row.held;
  }
  value = 4711;
  expect_failures(reading(hex("04 03 02 01")), GetParam());
  EXPECT_EQ(value, 4711U) << "a failure leaves the value alone";
}

TEST(ValRead, NeedsAPlaceForTheValue) {
  expect_refusal(-143, [](int handle) { return val_read(handle, nullptr); });
}

TEST_P(ValueRegister, IsWrittenInALiteralFrame) {
  const Operation operation{
      "swr_value",
      [](int handle) { return swr_value(handle, 0x01020304); },
      {{hex("AA B6 00 09 80 00 00 01 85 04 03 02 01 15"), hex("55 00 00 00 55")}}};
  expect_result(operation, GetParam(), 0);
  expect_failures(operation, GetParam());
}

// A call, the value that the register holds, and the one that it then must hold; -135: none.
struct Change {
  const char* name;
  int (*call)(int handle, unsigned amount);
  unsigned amount;
  unsigned before;
  unsigned after;
  int result = 0;
};

constexpr Change changes[] = {
    {"val_inc", val_inc, 1, 41, 42},
    {"val_inc", val_inc, 0, 41, 41},
    {"val_inc", val_inc, 1, 0xFFFFFFFFU, 0},
    {"val_inc", val_inc, 0xFFFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFEU},
    {"val_inc", val_inc, 1, 0x7FFFFFFFU, 0x80000000U},
    {"val_inc", val_inc, 0x01020304U, 0xFF, 0x01020403U},
    {"val_dec", val_dec, 1, 43, 42},
    {"val_dec", val_dec, 0, 43, 43},
    {"val_dec", val_dec, 10, 10, 0},
    {"val_dec", val_dec, 0xFFFFFFFFU, 0xFFFFFFFFU, 0},
    {"val_dec", val_dec, 0x20000000U, 0x90000000U, 0x70000000U},
    {"val_dec", val_dec, 1, 0x80000000U, 0x7FFFFFFFU},
    {"val_dec", val_dec, 0x80000000U, 0xFFFFFFFFU, 0x7FFFFFFFU},
    {"val_dec", val_dec, 0, 0x7FFFFFFFU, 0x7FFFFFFFU},
    // What wraps to a small number is not below zero as a signed number of 32 bits.
    {"val_dec", val_dec, 0xFFFFFFFFU, 0, 1},
    {"val_dec", val_dec, 0x80000001U, 0, 0x7FFFFFFFU},
    {"val_dec", val_dec, 11, 10, 0, -135},
    {"val_dec", val_dec, 1, 0, 0, -135},
    {"val_dec", val_dec, 1, 0x90000000U, 0, -135},
    {"val_dec", val_dec, 0, 0x80000000U, 0, -135},
    {"val_dec", val_dec, 0, 0xFFFFFFFFU, 0, -135},
    {"val_dec", val_dec, 0x80000000U, 0, 0, -135},
    {"val_dec", val_dec, 0x7FFFFFFFU, 0xFFFFFFFFU, 0, -135},
};

Operation changing(const Change& change) {
  Operation operation{
      std::string(change.name) + " " + std::to_string(change.amount) + " of " +
          std::to_string(change.before),
      [call = change.call, amount = change.amount](int handle) { return call(handle, amount); },
      {read(change.before)}};
  if (change.result == 0) {
    operation.exchanges.push_back(written(change.after));
    operation.exchanges.push_back(read(change.after));
  }
  return operation;
}

TEST_P(ValueRegister, IsRaisedAndLowered) {
  for (const Change& change : changes)
    expect_result(changing(change), GetParam(), change.result);
}

TEST_P(ValueRegister, IsRaisedAndLoweredInThreeFramesEachOfWhichCanFail) {
  expect_failures(changing({"val_inc", val_inc, 1, 41, 42}), GetParam());
  expect_failures(changing({"val_dec", val_dec, 1, 43, 42}), GetParam());
  expect_failures(changing({"val_dec", val_dec, 11, 10, 0, -135}), GetParam());
}

Operation setting(unsigned value) {
  return {"val_set " + std::to_string(value),
          [=](int handle) { return val_set(handle, value); },
          {written(value), read(value)}};
}

TEST_P(ValueRegister, IsSetToAnyValue) {
  for (const unsigned value : {0x01020304U, 0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
    expect_result(setting(value), GetParam(), 0);
  expect_failures(setting(0x01020304U), GetParam());
}

TEST_P(ValueRegister, IsReadBack) {
  for (Operation operation :
       {setting(0x70605040U), changing({"val_inc", val_inc, 0x10, 0x70605030U, 0x70605040U}),
        changing({"val_dec", val_dec, 0x10, 0x70605050U, 0x70605040U})}) {
    for (const unsigned held : {0x70605041U, 0x70605140U, 0x70615040U, 0xF0605040U, 0x40506070U,
                                0x70605030U, 0U, 0xFFFFFFFFU}) {
      operation.exchanges.back() = read(held);
      expect_result(operation, GetParam(), -129);
    }
  }
}

// Zeros that no reader sent are no value.
TEST_P(ValueRegister, IsNotReadBackByAShortReply) {
  for (const unsigned value : {0U, 0x40U, 0x40U << 24}) {
    expect_short_replies(setting(value), GetParam(), 1, -129);
    expect_short_replies(changing({"val_inc", val_inc, value, 0, value}), GetParam(), 2, -129);
    expect_short_replies(changing({"val_dec", val_dec, 1, value + 1, value}), GetParam(), 2, -129);
  }
}

TEST_P(ValueRegister, IsNotChangedByWhatAShortReplyLeavesOut) {
  for (const unsigned value : {0U, 0x70605040U}) {
    expect_short_replies(changing({"val_inc", val_inc, 1, value, value + 1}), GetParam(), 0, -133);
    expect_short_replies(changing({"val_dec", val_dec, value, value, 0}), GetParam(), 0, -133);
  }
}

}  // namespace
}  // namespace quorra::testing
