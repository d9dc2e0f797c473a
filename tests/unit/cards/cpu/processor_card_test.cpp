// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <string>

#include "tests/support/card_slot.hpp"

namespace quorra::testing {
namespace {

class ProcessorCard : public ::testing::TestWithParam<Mode> {
 protected:
  Operation resetting(const Bytes& answer) {
    return {"cpu_reset",
            [this](int handle) { return cpu_reset(handle, output.data()); },
            {{reset_request, answer}}};
  }

  const Bytes reset_request = hex("AA 20 80 05 20 00 00 00 00 2F");
  Output output;
};

INSTANTIATE_TEST_SUITE_P(, ProcessorCard, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(ProcessorCard, IsReset) {
  expect_result(resetting(sealed("55 00 00 04 3B 02 14 50")), GetParam(), 0);
  output.expect(hex("3B 02 14 50"));
  expect_result(resetting(reply(0, {})), GetParam(), 0);
  output.expect({});
  expect_result(resetting(reply(0, counting(255))), GetParam(), 0);
  output.expect(counting(255));
}

TEST_P(ProcessorCard, HasAnAnswerToResetWhoseLengthHasTwoBytes) {
  // What the frame does not bring is its check byte and then zeros.
  expect_result(resetting(hex("55 00 01 02 3B 65 08")), GetParam(), 0);
  output.expect(hex("3B 65 08") + Bytes(255, 0));
  expect_result(resetting(hex("55 00 01 00 54")), GetParam(), 0);
  output.expect(hex("54") + Bytes(255, 0));
  const Bytes longest = sealed(hex("55 00 FF FF") + counting(255, 0x70));
  expect_result(resetting(longest), GetParam(), 0);
  output.expect(counting(255, 0x70) + Bytes{longest.back()} + Bytes(65'535 - 256, 0));
}

TEST_P(ProcessorCard, HasAnAnswerToResetWithNothingOfAnEarlierAttempt) {
  Operation operation = resetting(sealed(hex("55 07 00 FF") + counting(255, 0x70)));
  operation.exchanges.push_back({reset_request, hex("55 00 01 02 3B 65 08")});
  expect_result(operation, GetParam(), 0);
  output.expect(hex("3B 65 08") + Bytes(255, 0));
}

TEST_P(ProcessorCard, IsResetWithFourAttempts) {
  expect_attempts(resetting(sealed("55 00 00 02 3B 00")), GetParam(), 4, output, hex("3B 00"));
}

TEST(CpuReset, NeedsABuffer) {
  expect_refusal(-143, [](int handle) { return cpu_reset(handle, nullptr); });
}

TEST_P(ProcessorCard, IsSentACommandInALiteralFrame) {
  expect_result(speaking(cpu_comres, hex("00 84 00 00 08"), output,
                         {{hex("AA 21 80 0A 20 00 00 00 00 00 84 00 00 08 AD"),
                           sealed("55 00 00 04 12 34 90 00")}}),
                GetParam(), 0);
  output.expect(hex("12 34 90 00"));
}

TEST_P(ProcessorCard, IsSentBlocksInLiteralFrames) {
  // The check bytes of the frames do not cover the blocks, of which the first has a wrong LRC.
  for (const char* status_word : {"61", "6C"}) {
    const Bytes first = sealed(hex("55 00 00 08 00 00 04 AB CD") + hex(status_word) + hex("10 77"));
    expect_result(
        speaking(cpu_protocol, hex("00 00 05 00 B0 00 00 10 11"), output,
                 {{hex("AA 21 80 0E 20 00 00 00 00 00 00 05 00 B0 00 00 10 11 25"), first},
                  {hex("AA 21 80 0E 20 00 00 00 00 00 40 05 00 C0 00 00 10 95 25"),
                   hex("55 00 00 07 00 40 03 EF 90 00 3C 52")}}),
        GetParam(), 0);
    output.expect(hex("00 40 05 AB CD EF 90 00 3C 52 FF FF"));
  }
}

TEST_P(ProcessorCard, HasThreeAttemptsForEachFrame) {
  const Bytes block = hex("00 40 05 00 B0 00 00 10 11");
  const Bytes first = card_request(card_slot, block, Covered::first_nine);
  const Bytes next = get_response(card_slot, 0x00, 0x00, 0x02);
  const Exchange more = {first, answer_of(0, 0, hex("01 61 02"))};
  const Exchange other_length = {next, answer_of(0, 0, hex("02 6C 02"))};
  const Bytes answer = answer_of(0, 0, hex("90 00"));
  for (const FailedAttempt& way : ways_to_fail()) {
    SCOPED_TRACE(way.name);
    const std::vector<Exchange> exchanges = {
        way.of(first), way.of(first), more,           // 61
        way.of(next),  way.of(next),  other_length,   // 6C
        way.of(next),  way.of(next),  {next, answer}  // 90
    };
    expect_result(speaking(cpu_protocol, block, output, exchanges), GetParam(), 0);
    output.expect(hex("00 00 04 01 02 90 00 92") + Bytes{answer.back()} + hex("FF FF"));

    std::vector<Exchange> failing = exchanges;
    failing.back() = way.of(next);
    expect_result(speaking(cpu_protocol, block, output, failing), GetParam(), way.code);
    output.expect(Bytes(3, untouched) + hex("01 02"));
  }
}

// A session on whose line bytes wait that nobody asked for.
class Stray : public ::testing::Test {
 protected:
  Stray() : handle_(reader_.init0()) {}
  ~Stray() override { ic_exit(handle_); }

  int command(const Bytes& command) {
    return cpu_comres(handle_, static_cast<int>(command.size()), command.data(), output.data());
  }
  static Bytes request(const Bytes& command) {
    return card_request(card_slot, command, Covered::all);
  }

  ScriptedReader reader_;
  int handle_;
  Output output;
};

TEST_F(Stray, ByteLetsEachLaterAttemptReadTheReplyToTheOneBefore) {
  const Bytes first = hex("00 01");
  const Bytes second = hex("00 02");
  reader_.send(hex("00"));
  reader_.expect(request(first)).answer(reply(0, hex("A1")));
  reader_.expect(request(first)).answer(reply(0, hex("A2")));
  EXPECT_EQ(command(first), 0);
  output.expect(hex("A1"));

  // Nothing empties the queue between two commands either.
  reader_.expect(request(second)).answer(reply(0, hex("B1")));
  EXPECT_EQ(command(second), 0);
  output.expect(hex("A2"));
}

TEST_F(Stray, StartByteSpoilsAllAttempts) {
  const Bytes bytes = hex("00 01");
  // 55 | 55 00 00 02 is a reply without data and with a wrong check byte; 90 and 00 start none.
  reader_.send(hex("55"));
  for (int attempt = 0; attempt < 3; ++attempt)
    reader_.expect(request(bytes)).answer(hex("55 00 00 02 90 00 C7"));
  EXPECT_EQ(command(bytes), -128);
  output.expect({});
}

struct CardSpeed {
  unsigned char slot;
  unsigned char code;
  const char* request;
};

constexpr CardSpeed card_speeds[] = {
    {0, 0x11, "AA 22 00 06 20 00 00 00 00 11 BF"},
    {1, 0x11, "AA 22 00 06 21 00 00 00 00 11 BE"},
    {5, 0x11, "AA 22 00 06 21 00 00 00 00 11 BE"},
    {128, 0x11, "AA 22 00 06 21 00 00 00 00 11 BE"},
    {255, 0x00, "AA 22 00 06 21 00 00 00 00 00 AF"},
    {0, 0xFF, "AA 22 00 06 20 00 00 00 00 FF 51"},
};

TEST_P(ProcessorCard, HasASpeed) {
  for (const CardSpeed& speed : card_speeds) {
    const Operation operation{
        "set_card_baud " + std::to_string(speed.slot),
        [&](int handle) { return set_card_baud(handle, speed.slot, speed.code); },
        {{hex(speed.request), hex("55 00 00 00 55")}}};
    expect_result(operation, GetParam(), 0);
    expect_failures(operation, GetParam());
  }
}

TEST(SetCardBaud, SendsEachCodeAsItIsAndReturnsEachStatus) {
  for (int i = 0; i < 256; ++i) {
    const auto byte = static_cast<unsigned char>(i);
    expect_result({"set_card_baud",
                   [&](int handle) { return set_card_baud(handle, 0, byte); },
                   {{sealed(hex("AA 22 00 06 20 00 00 00 00") + Bytes{byte}), reply(byte, {})}}},
                  Mode::direct, -i);
  }
}

}  // namespace
}  // namespace quorra::testing
