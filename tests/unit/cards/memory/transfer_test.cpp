// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Every function that reads or writes a memory card, by one description each.

#include <gtest/gtest.h>
#include <quorra.h>

#include "tests/support/memory_function.hpp"

namespace quorra::testing {
namespace {

MemoryFunction ends_with(int past_end, MemoryFunction function) {
  function.past_end = past_end;
  return function;
}

MemoryFunction in_words(MemoryFunction function) {
  function.bytes_per_unit = 2;
  return function;
}

MemoryFunction in_pairs(MemoryFunction function) {
  function.command = 0x6E;
  function.bytes_per_unit = 2;
  function.chunk = 72;
  return function;
}

MemoryFunction with_low_byte_twice(MemoryFunction function) {
  function.low_byte_twice = true;
  return function;
}

const MemoryFunction functions[] = {
    reads("srd_4428", srd_4428, 0x77, 1024),
    writes("swr_4428", swr_4428, 0x60, 0x77, 1021),
    in_pairs(reads("rdwpb_4428", rdwpb_4428, 0x77, 1021)),
    writes("wrwpb_4428", wrwpb_4428, 0x6D, 0x77, 1021),
    writes("pwr_4428", pwr_4428, 0x6F, 0x77, 1021),
    with_low_byte_twice(reads("srd_4418", srd_4418, 0x76, 1024)),
    writes("swr_4418", swr_4418, 0x60, 0x76, 1024),
    in_pairs(reads("rdwpb_4418", rdwpb_4418, 0x76, 1024)),
    writes("wrwpb_4418", wrwpb_4418, 0x6D, 0x76, 1024),
    writes("pwr_4418", pwr_4418, 0x6F, 0x76, 1024),

    reads("srd_24c01a", srd_24c01a, 0x60, 128),
    reads("srd_24c02", srd_24c02, 0x61, 256),
    reads("srd_24c04", srd_24c04, 0x62, 512),
    reads("srd_24c08", srd_24c08, 0x62, 1024),
    reads("srd_24c16", srd_24c16, 0x64, 2048),
    reads("srd_24c32", srd_24c32, 0x65, 4096),
    reads("srd_24c64", srd_24c64, 0x66, 8192),
    writes("swr_24c01a", swr_24c01a, 0x62, 0x60, 128),
    writes("swr_24c02", swr_24c02, 0x62, 0x61, 256),
    ends_with(-144, writes("swr_24c04", swr_24c04, 0x62, 0x62, 512)),
    writes("swr_24c08", swr_24c08, 0x62, 0x62, 1024),
    writes("swr_24c16", swr_24c16, 0x62, 0x64, 2048),
    writes("swr_24c32", swr_24c32, 0x62, 0x65, 4096),
    writes("swr_24c64", swr_24c64, 0x62, 0x66, 8192),

    in_words(reads("srd_93c46a", srd_93c46a, 0x68, 64)),
    reads("srd_93c46", srd_93c46, 0x69, 128),
    ends_with(-144, reads("srd_93c57", srd_93c57, 0x6A, 256)),
    reads("srd_93c66", srd_93c66, 0x6B, 512),
    in_words(writes("swr_93c46a", swr_93c46a, 0x60, 0x68, 64)),
    writes("swr_93c46", swr_93c46, 0x60, 0x69, 128),
    writes("swr_93c57", swr_93c57, 0x60, 0x6A, 256),
    writes("swr_93c66", swr_93c66, 0x62, 0x6B, 512),
};

class MemoryTransfer : public ::testing::TestWithParam<MemoryFunction> {};

INSTANTIATE_TEST_SUITE_P(, MemoryTransfer, ::testing::ValuesIn(functions),
                         [](const auto& row) { return row.param.name; });

TEST_P(MemoryTransfer, ConsistsOfTheRightFrames) {
  expect_transfers(GetParam(), Mode::direct);
  if (GetParam().size <= 1024) expect_transfers(GetParam(), Mode::terminal);
}

TEST_P(MemoryTransfer, EndsAtTheFrameThatFails) {
  expect_transfer_failures(GetParam(), Mode::direct);
  expect_transfer_failures(GetParam(), Mode::terminal);
}

TEST_P(MemoryTransfer, IsRefusedOutsideTheCard) { expect_transfer_refusals(GetParam()); }

TEST_P(MemoryTransfer, WaitsFourSecondsForEachReply) { expect_transfer_waits(GetParam()); }

TEST(MemoryReading, TakesJustTheBytesItAskedFor) {
  for (const MemoryFunction& function : functions) {
    if (function.access == MemoryFunction::Access::read)
      expect_exact_reading(function, Mode::direct);
  }
}

// A transfer with its frames written out in full.
struct Literal {
  const char* name;
  int (*call)(int handle, unsigned char* buffer);
  std::vector<const char*> requests;
  std::vector<std::size_t> sizes;  // of the data in each reply
};

void expect_literal(const Literal& literal) {
  Operation operation{literal.name, {}, {}};
  std::size_t size = 0;
  for (std::size_t i = 0; i < literal.requests.size(); ++i) {
    operation.exchanges.push_back({hex(literal.requests[i]), reply(0, counting(literal.sizes[i]))});
    size += literal.sizes[i];
  }
  Bytes buffer(size + 300);
  operation.call = [&](int handle) { return literal.call(handle, buffer.data()); };
  expect_result(operation, Mode::direct, 0);
}

TEST(MemoryTransferFrames, AreTheseBytes) {
  expect_literal(
      {"srd_4418(300, 1)",
       [](int handle, unsigned char* buffer) { return srd_4418(handle, 300, 1, buffer); },
       {"AA 61 00 07 76 00 00 2C 2C 00 01 BB"},
       {1}});
  expect_literal(
      {"srd_4428(300, 1)",
       [](int handle, unsigned char* buffer) { return srd_4428(handle, 300, 1, buffer); },
       {"AA 61 00 07 77 00 00 01 2C 00 01 97"},
       {1}});
  expect_literal(
      {"srd_4428(1008, 16)",
       [](int handle, unsigned char* buffer) { return srd_4428(handle, 1008, 16, buffer); },
       {"AA 61 00 07 77 00 00 03 F0 00 10 58"},
       {16}});
  expect_literal(
      {"rdwpb_4428(0, 145)",
       [](int handle, unsigned char* buffer) { return rdwpb_4428(handle, 0, 145, buffer); },
       {"AA 6E 00 07 77 00 00 00 00 00 48 FC", "AA 6E 00 07 77 00 00 00 48 00 48 B4",
        "AA 6E 00 07 77 00 00 00 90 00 01 25"},
       {144, 144, 2}});
  expect_literal(
      {"srd_24c16(2000, 48)",
       [](int handle, unsigned char* buffer) { return srd_24c16(handle, 2000, 48, buffer); },
       {"AA 61 00 07 64 00 00 07 D0 00 30 4F"},
       {48}});
  expect_literal({"swr_93c66(0, 1)",
                  [](int handle, unsigned char* buffer) {
                    buffer[0] = 0x5A;
                    return swr_93c66(handle, 0, 1, buffer);
                  },
                  {"AA 62 00 06 6B 00 00 00 00 5A FF"},
                  {0}});
  expect_literal(
      {"srd_93c46a(0, 64)",
       [](int handle, unsigned char* buffer) { return srd_93c46a(handle, 0, 64, buffer); },
       {"AA 61 00 07 68 00 00 00 00 00 40 E4"},
       {128}});
}

// Both sides of the bounds in which functions of one card differ.
TEST(MemoryTransferBounds, DifferWhereTheyDo) {
  Bytes buffer(2048);
  const struct {
    int result;
    std::function<int(int)> call;
  } refused[] = {
      {-144, [&](int handle) { return swr_4428(handle, 1021, 1, buffer.data()); }},
      {-143, [&](int handle) { return swr_4428(handle, 1020, 2, buffer.data()); }},
      {-144, [&](int handle) { return rdwpb_4428(handle, 1021, 1, buffer.data()); }},
      {-143, [&](int handle) { return srd_24c04(handle, 500, 13, buffer.data()); }},
      {-144, [&](int handle) { return swr_24c04(handle, 500, 13, buffer.data()); }},
      {-144, [&](int handle) { return srd_93c57(handle, 200, 57, buffer.data()); }},
      {-143, [&](int handle) { return swr_93c57(handle, 200, 57, buffer.data()); }},
      {-143, [&](int handle) { return swr_93c46a(handle, 63, 2, buffer.data()); }},
  };
  for (const auto& row : refused)
    expect_refusal(row.result, row.call);

  const auto accepted = [](const MemoryFunction& function, int address, int count) {
    Bytes held = function.content(address, count);
    expect_result({function.name,
                   [&](int handle) { return function.call(handle, address, count, held.data()); },
                   function.exchanges(address, count)},
                  Mode::direct, 0);
  };
  accepted(reads("srd_4428", srd_4428, 0x77, 1024), 1023, 1);
  accepted(writes("swr_4428", swr_4428, 0x60, 0x77, 1021), 1020, 1);
  accepted(writes("swr_4418", swr_4418, 0x60, 0x76, 1024), 1023, 1);
  accepted(reads("srd_24c04", srd_24c04, 0x62, 512), 500, 12);
  accepted(writes("swr_24c04", swr_24c04, 0x62, 0x62, 512), 500, 12);
  accepted(reads("srd_93c57", srd_93c57, 0x6A, 256), 200, 56);
  accepted(writes("swr_93c57", swr_93c57, 0x60, 0x6A, 256), 200, 56);
}

}  // namespace
}  // namespace quorra::testing
