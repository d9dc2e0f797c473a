// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

const Bytes status_request = hex("AA 77 00 05 6E 00 00 00 00 B6");

Exchange status_exchange(unsigned char status) { return {status_request, reply(0, {status})}; }

using quorra::testing::operator+;

std::vector<Exchange> operator+(std::vector<Exchange> left, const std::vector<Exchange>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// One reading of the status: four exchanges, of which the last one counts.
std::vector<Exchange> status_reading(unsigned char status) {
  return {status_exchange(0xFF), status_exchange(0x00), status_exchange(0xFF),
          status_exchange(status)};
}

const std::vector<Exchange> card_present = status_reading(0x9C);

class Card45d041 : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, Card45d041, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(Card45d041, HasItsStatusReadFourTimes) {
  unsigned char status = 0x5A;
  const Operation operation{
      "rdstrg_45d041",
      [&](int handle) { return rdstrg_45d041(handle, &status); },
      {status_exchange(0x01), status_exchange(0x02), status_exchange(0x03), status_exchange(0x04)}};
  expect_result(operation, GetParam(), 0);
  EXPECT_EQ(status, 0x04);
  status = 0x5A;
  expect_failures(operation, GetParam());
  EXPECT_EQ(status, 0x5A);
  expect_refusal(-143, [](int handle) { return rdstrg_45d041(handle, nullptr); });
}

TEST_P(Card45d041, IsThereIfItsStatusIsNeitherZeroNorAllOnes) {
  for (int status = 0; status < 256; ++status) {
    const auto reading = status_reading(static_cast<unsigned char>(status));
    const bool there = status != 0x00 && status != 0xFF;
    expect_result({"chk_45d041", chk_45d041, there ? reading : reading + reading + reading},
                  GetParam(), there ? 0 : -133);
  }
}

TEST_P(Card45d041, IsLookedForThreeTimes) {
  const auto absent = status_reading(0xFF);
  expect_result({"second", chk_45d041, absent + card_present}, GetParam(), 0);
  expect_result({"third", chk_45d041, absent + absent + card_present}, GetParam(), 0);
  expect_result({"none", chk_45d041, absent + absent + absent}, GetParam(), -133);
  expect_failures({"link", chk_45d041, absent + absent + card_present}, GetParam());
}

struct Frame {
  int page;
  int offset;
  std::size_t size;
};

struct Transfer {
  int page;
  int offset;
  int count;
  std::vector<Frame> frames;
};

const Transfer transfers[] = {
    {0, 200, 100, {{0, 200, 64}, {1, 0, 36}}},
    {0, 0, 264, {{0, 0, 144}, {0, 144, 120}}},
    {0, 0, 1, {{0, 0, 1}}},
    {0, 0, 144, {{0, 0, 144}}},
    {0, 0, 145, {{0, 0, 144}, {0, 144, 1}}},
    {0, 120, 144, {{0, 120, 144}}},
    {0, 120, 145, {{0, 120, 144}, {1, 0, 1}}},
    {0, 119, 145, {{0, 119, 144}, {0, 263, 1}}},
    {0, 119, 146, {{0, 119, 144}, {0, 263, 1}, {1, 0, 1}}},
    {0, 263, 2, {{0, 263, 1}, {1, 0, 1}}},
    {5, 0, 529, {{5, 0, 144}, {5, 144, 120}, {6, 0, 144}, {6, 144, 120}, {7, 0, 1}}},
    {1000, 7, 300, {{1000, 7, 144}, {1000, 151, 113}, {1001, 0, 43}}},
    {2047, 0, 264, {{2047, 0, 144}, {2047, 144, 120}}},
    {2047, 263, 1, {{2047, 263, 1}}},
    // A page below zero travels as the low bytes of quotient and remainder.
    {-1, 0, 1, {{-1, 0, 1}}},
    {-1, 263, 2, {{-1, 263, 1}, {0, 0, 1}}},
    {-257, 10, 3, {{-257, 10, 3}}},
    {INT_MIN, 0, 2, {{INT_MIN, 0, 2}}},
};

Bytes place(const Frame& frame) {
  return {0x6E, static_cast<unsigned char>(frame.page / 256),
          static_cast<unsigned char>(frame.page % 256),
          static_cast<unsigned char>(frame.offset / 256),
          static_cast<unsigned char>(frame.offset % 256)};
}

Bytes part(const Bytes& bytes, std::size_t from, std::size_t count) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

std::vector<Exchange> reading(const Transfer& transfer, const Bytes& data) {
  std::vector<Exchange> exchanges = card_present;
  std::size_t done = 0;
  for (const Frame& frame : transfer.frames) {
    exchanges.push_back({sealed(hex("AA 61 00 07") + place(frame) +
                                Bytes{0, static_cast<unsigned char>(frame.size)}),
                         reply(0, part(data, done, frame.size))});
    done += frame.size;
  }
  return exchanges;
}

std::vector<Exchange> writing(const Transfer& transfer, const Bytes& data) {
  std::vector<Exchange> exchanges = card_present;
  std::size_t done = 0;
  for (const Frame& frame : transfer.frames) {
    exchanges.push_back({sealed(Bytes{0xAA, 0x60, 0, static_cast<unsigned char>(frame.size + 5)} +
                                place(frame) + part(data, done, frame.size)),
                         reply(0, {})});
    done += frame.size;
  }
  return exchanges;
}

TEST_P(Card45d041, IsReadWithoutCrossingAPageInAFrame) {
  for (const Transfer& transfer : transfers) {
    const Bytes data = counting(static_cast<std::size_t>(transfer.count), 9);
    Bytes buffer(data.size() + 1, 0xEE);
    expect_result({"read page " + std::to_string(transfer.page),
                   [&](int handle) {
                     return srd_45d041(handle, transfer.page, transfer.offset, transfer.count,
                                       buffer.data());
                   },
                   reading(transfer, data)},
                  GetParam(), 0);
    EXPECT_EQ(buffer, data + hex("EE"));
  }
}

TEST_P(Card45d041, IsWrittenWithoutCrossingAPageInAFrame) {
  for (const Transfer& transfer : transfers) {
    const Bytes data = counting(static_cast<std::size_t>(transfer.count), 9);
    expect_result({"write page " + std::to_string(transfer.page),
                   [&](int handle) {
                     return swr_45d041(handle, transfer.page, transfer.offset, transfer.count,
                                       data.data());
                   },
                   writing(transfer, data)},
                  GetParam(), 0);
  }
}

TEST(Card45d041Frames, AreTheseBytes) {
  Bytes buffer(2);
  expect_result(
      {"read", [&](int handle) { return srd_45d041(handle, 1000, 260, 2, buffer.data()); },
       card_present + std::vector<Exchange>{{hex("AA 61 00 07 6E 03 E8 01 04 00 02 4E"),
                                             reply(0, hex("01 02"))}}},
      Mode::direct, 0);
  buffer = hex("C0 DE");
  expect_result({"write", [&](int handle) { return swr_45d041(handle, 5, 0, 2, buffer.data()); },
                 card_present + std::vector<Exchange>{{hex("AA 60 00 07 6E 00 05 00 00 C0 DE B8"),
                                                       hex("55 00 00 00 55")}}},
                Mode::direct, 0);
}

TEST_P(Card45d041, IsReadAndWrittenOnlyIfItIsThere) {
  const auto absent = status_reading(0xFF) + status_reading(0x00) + status_reading(0xFF);
  Bytes buffer(2, 0xEE);
  const auto read = [&](int handle) { return srd_45d041(handle, 0, 0, 2, buffer.data()); };
  const auto write = [&](int handle) { return swr_45d041(handle, 0, 0, 2, buffer.data()); };
  expect_result({"read", read, absent}, GetParam(), -128);
  expect_result({"write", write, absent}, GetParam(), -129);

  // Whatever the check failed with, it is always the same code; a failing data frame has its own.
  const Transfer transfer{0, 0, 2, {{0, 0, 2}}};
  expect_failures({"read", read, reading(transfer, hex("01 02")),
                   [](std::size_t frame, int code) { return frame < 4 ? -128 : code; }},
                  GetParam());
  EXPECT_EQ(buffer, hex("EE EE"));
  expect_failures({"write", write, writing(transfer, buffer),
                   [](std::size_t frame, int code) { return frame < 4 ? -129 : code; }},
                  GetParam());
}

TEST_P(Card45d041, EndsATransferAtTheFrameThatFails) {
  const Transfer transfer{0, 0, 265, {{0, 0, 144}, {0, 144, 120}, {1, 0, 1}}};
  const Bytes data = counting(265);
  for (std::size_t frame = 4; frame < 7; ++frame) {
    Bytes buffer(265, 0xEE);
    expect_failures(
        {"read", [&](int handle) { return srd_45d041(handle, 0, 0, 265, buffer.data()); },
         reading(transfer, data)},
        GetParam(), frame);
    const std::size_t received = frame == 4 ? 0 : frame == 5 ? 144 : 264;
    EXPECT_EQ(buffer, part(data, 0, received) + Bytes(265 - received, 0xEE));
    expect_failures(
        {"write", [&](int handle) { return swr_45d041(handle, 0, 0, 265, data.data()); },
         writing(transfer, data)},
        GetParam(), frame);
  }
}

TEST(Card45d041Arguments, AreCheckedCountFirst) {
  Bytes buffer(16);
  const struct {
    int page;
    int offset;
    int count;
    int result;
  } rows[] = {
      {0, 0, 0, -143},           {0, 0, -1, -143},           {2048, 264, 0, -143},
      {2048, -1, INT_MIN, -143}, {2048, 0, 1, -144},         {INT_MAX, 0, 1, -144},
      {0, 264, 1, -144},         {0, -1, 1, -144},           {0, INT_MAX, 1, -144},
      {0, INT_MIN, 1, -144},     {-1, 264, 1, -144},         {2047, 0, 265, -143},
      {2047, 263, 2, -143},      {0, 0, 540673, -143},       {0, 1, 540672, -143},
      {0, 0, INT_MAX, -143},     {2047, 263, INT_MAX, -143},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.page) + ", " + std::to_string(row.offset) + ", " +
                 std::to_string(row.count));
    expect_refusal(row.result, [&](int handle) {
      return srd_45d041(handle, row.page, row.offset, row.count, buffer.data());
    });
    expect_refusal(row.result, [&](int handle) {
      return swr_45d041(handle, row.page, row.offset, row.count, buffer.data());
    });
  }
  expect_refusal(-143, [](int handle) { return srd_45d041(handle, 0, 0, 1, nullptr); });
  expect_refusal(-143, [](int handle) { return swr_45d041(handle, 0, 0, 1, nullptr); });
}

TEST(Card45d041Whole, TravelsIn4096Frames) {
  Transfer transfer{0, 0, 540672, {}};
  for (int page = 0; page < 2048; ++page) {
    transfer.frames.push_back({page, 0, 144});
    transfer.frames.push_back({page, 144, 120});
  }
  ASSERT_EQ(transfer.frames.size(), 4096U);
  Bytes data(540672);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<unsigned char>(i * 7 + i / 256);
  }
  Bytes buffer(data.size());
  expect_result(
      {"read all", [&](int handle) { return srd_45d041(handle, 0, 0, 540672, buffer.data()); },
       reading(transfer, data)},
      Mode::direct, 0);
  EXPECT_EQ(buffer, data);
  expect_result(
      {"write all", [&](int handle) { return swr_45d041(handle, 0, 0, 540672, data.data()); },
       writing(transfer, data)},
      Mode::direct, 0);
}

}  // namespace
}  // namespace quorra::testing
