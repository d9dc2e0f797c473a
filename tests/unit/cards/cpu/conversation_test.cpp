// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the card slot and the SAM have in common: plain commands, and conversations in which a long
// answer is fetched piece by piece.

#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>
#include <optional>
#include <string>
#include <tuple>

#include "tests/support/card_slot.hpp"
#include "tests/support/scripted_reader.hpp"
#include "tests/support/system.hpp"

namespace quorra::testing {
namespace {

using Row = std::tuple<CardSlot, Mode>;

class Conversation : public ::testing::TestWithParam<Row> {
 protected:
  const CardSlot& slot() const { return std::get<CardSlot>(GetParam()); }
  Mode mode() const { return std::get<Mode>(GetParam()); }

  Bytes first_request(const Bytes& bytes) const {
    return card_request(slot(), bytes, slot().block_covered);
  }
  Bytes get_response_request(unsigned char length) const {
    return get_response(slot(), 0x00, 0x40, length);
  }
  // Sends `block`, to which the card gives these answers, by way of get-responses of the lengths
  // given, and expects `written` in the output.
  void expect_conversation(const std::vector<Bytes>& replies, const Bytes& lengths,
                           const Bytes& written) {
    std::vector<Exchange> exchanges = {{first_request(block), replies.at(0)}};
    for (std::size_t i = 0; i < lengths.size(); ++i)
      exchanges.push_back({get_response_request(lengths[i]), replies.at(i + 1)});
    expect_result(speaking(slot().block, block, output, exchanges), mode(), 0);
    output.expect(written);
  }

  // Its LRC is wrong, so that it matters whether the check byte of the frame covers it.
  const Bytes block = hex("00 00 05 00 B0 00 00 10 11");
  Output output;
};

INSTANTIATE_TEST_SUITE_P(, Conversation,
                         ::testing::Combine(::testing::Values(card_slot, sam_slot),
                                            ::testing::Values(Mode::direct, Mode::terminal)),
                         [](const auto& row) {
                           return std::string(std::get<CardSlot>(row.param).name) +
                                  name_of(std::get<Mode>(row.param));
                         });

struct Announced {
  int n;
  unsigned char length;  // the LEN byte
};

constexpr Announced announced[] = {
    {1, 0x06},   {2, 0x07},   {5, 0x0A}, {249, 0xFE}, {250, 0xFF}, {251, 0x00},     {252, 0x01},
    {300, 0x31}, {507, 0x00}, {0, 0x05}, {-1, 0x04},  {-5, 0x00},  {INT_MIN, 0x05},
};

TEST_P(Conversation, AnnouncesNPlusFiveAndSendsNBytes) {
  for (const Announced& row : announced) {
    SCOPED_TRACE(row.n);
    const Bytes bytes = row.n > 0 ? counting(static_cast<std::size_t>(row.n), 0x80) : Bytes{};
    const Bytes command = card_request(slot(), bytes, slot().command_covered, row.n);
    const Bytes first = card_request(slot(), bytes, slot().block_covered, row.n);
    ASSERT_EQ(command.at(3), row.length);
    ASSERT_EQ(command.size(), bytes.size() + 10);
    const Bytes answer = answer_of(0x00, 0x00, hex("90 00"));

    expect_result(speaking(slot().command, row.n, bytes, output, {{command, answer}}), mode(), 0);
    output.expect(hex("00 00 02 90 00 92"));
    expect_result(speaking(slot().block, row.n, bytes, output, {{first, answer}}), mode(), 0);
    output.expect(hex("00 00 02 90 00 92") + Bytes{answer.back()} + hex("FF FF"));
  }
}

TEST_P(Conversation, NeedsNoBytesWhereNoneAreSent) {
  for (const int n : {0, -1, INT_MIN}) {
    const Bytes request = card_request(slot(), {}, Covered::all, n);
    for (const CardFunction call : {slot().command, slot().block}) {
      expect_result({"no bytes",
                     [&](int handle) { return call(handle, n, nullptr, output.data()); },
                     {{request, reply(0, hex("00 00 00 00"))}}},
                    mode(), 0);
    }
  }
}

TEST_P(Conversation, NeedsItsPointers) {
  for (const CardFunction call : {slot().command, slot().block}) {
    for (const int n : {1, 9, 250, INT_MAX}) {
      expect_refusal(-143, [&](int handle) { return call(handle, n, nullptr, output.data()); });
    }
    for (const int n : {1, 0, -1}) {
      expect_refusal(-143, [&](int handle) { return call(handle, n, block.data(), nullptr); });
    }
    expect_refusal(-143, [&](int handle) { return call(handle, 1, nullptr, nullptr); });
  }
  output.expect({});
}

TEST_P(Conversation, StoresTheDataThatACommandBrings) {
  const Bytes request = card_request(slot(), block, slot().command_covered);
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{95},
                                  std::size_t{96}, std::size_t{100}, std::size_t{255}}) {
    const Bytes data = counting(count, 0x60);
    expect_result(speaking(slot().command, block, output, {{request, reply(0, data)}}), mode(), 0);
    output.expect(data);
  }
  // The third byte is no part of the length here.
  expect_result(speaking(slot().command, block, output, {{request, sealed("55 00 01 02 90 00")}}),
                mode(), 0);
  output.expect(hex("90 00"));
  // Status words of a plain command are the caller's matter.
  expect_result(speaking(slot().command, block, output, {{request, answer_of(0, 0, hex("61 10"))}}),
                mode(), 0);
  output.expect(block_of(0, 0, hex("61 10")));
}

TEST_P(Conversation, AttemptsACommandThreeTimes) {
  const Bytes request = card_request(slot(), block, slot().command_covered);
  expect_attempts(speaking(slot().command, block, output, {{request, reply(0, hex("6A 82"))}}),
                  mode(), 3, output, hex("6A 82"));
}

TEST_P(Conversation, EndsAnAttemptWithTheFirstByteThatIsNotSent) {
  constexpr long sent = 11;
  const Bytes request = card_request(slot(), block, slot().command_covered);
  ScriptedReader reader(mode());
  reader.expect_opening();
  const int handle = reader.init0();
  reader.expect({request.begin(), request.begin() + sent});
  reader.expect(request).answer(reply(0, hex("90 00")));
  // One write fails; those after it would not.
  System::instance().before_write =
      [left = sent * (mode() == Mode::direct ? 1 : 3)](const Bytes&) mutable {
        return left-- == 0 ? std::optional<ssize_t>(-1) : std::nullopt;
      };
  EXPECT_EQ(slot().command(handle, 9, block.data(), output.data()), 0);
  System::instance().before_write = nullptr;
  output.expect(hex("90 00"));
  reader.expect_closing();
  ic_exit(handle);
}

TEST_P(Conversation, AttemptsABlockThreeTimes) {
  const Bytes answer = answer_of(0x00, 0x00, hex("90 00"));
  expect_attempts(speaking(slot().block, block, output, {{first_request(block), answer}}), mode(),
                  3, output, hex("00 00 02 90 00 92") + Bytes{answer.back()} + hex("FF FF"));
}

TEST_P(Conversation, EndsWithAnyOtherStatusWord) {
  for (const unsigned char sw1 : hex("90 00 60 62 6B 6D 9F E1 FF")) {
    const Bytes answer = answer_of(0x21, 0x40, hex("AB") + Bytes{sw1, 0x10});
    const Bytes card_block = block_of(0x21, 0x40, hex("AB") + Bytes{sw1, 0x10});
    expect_conversation({answer}, {}, card_block + Bytes{answer.back()} + hex("FF FF"));
  }
}

TEST_P(Conversation, JoinsTheInformationOfAllAnswers) {
  const Bytes first = answer_of(0x21, 0x40, counting(10, 0x30) + hex("61 23"));
  const Bytes middle = answer_of(0x22, 0x41, counting(1, 0x77) + hex("61 02"));
  const Bytes last = answer_of(0x12, 0x05, hex("AA BB 90 00"));
  const Bytes tail = Bytes{block_of(0x12, 0x05, hex("AA BB 90 00")).back(), last.back()};

  expect_conversation(
      {first, last}, hex("23"),
      hex("12 05 0E") + counting(10, 0x30) + hex("AA BB 90 00") + tail + hex("FF FF"));
  expect_conversation(
      {first, middle, last}, hex("23 02"),
      hex("12 05 0F") + counting(10, 0x30) + hex("77 AA BB 90 00") + tail + hex("FF FF"));
}

TEST_P(Conversation, TakesTheStatusWordsOffEachAnswer) {
  const Bytes last = answer_of(0x00, 0x00, hex("90 00"));
  const Bytes end = hex("90 00 92") + Bytes{last.back()} + hex("FF FF");
  for (const std::size_t count :
       {std::size_t{0}, std::size_t{1}, std::size_t{10}, std::size_t{97}, std::size_t{249}}) {
    SCOPED_TRACE(count);
    const Bytes information = counting(count, 0x60);
    const Bytes first = answer_of(0x21, 0x40, information + hex("61 FE"));
    expect_conversation(
        {first, last}, hex("FE"),
        Bytes{0x00, 0x00, static_cast<unsigned char>(count + 2)} + information + end);
  }
  // An answer that fills the whole frame has no room for its LRC.
  const Bytes longest = counting(250, 0x01);
  const Bytes first = reply(0, hex("21 40 FC") + longest + hex("61 00"));
  expect_conversation({first, last}, hex("00"), hex("00 00 FC") + longest + end);
}

TEST_P(Conversation, CountsTheInformationModulo256) {
  const Bytes part = counting(200, 0x10);
  const Bytes more = answer_of(0x00, 0x40, part + hex("61 C8"));
  const Bytes last = answer_of(0x00, 0x00, hex("AA BB 90 00"));
  const Bytes end = hex("AA BB 90 00") +
                    Bytes{block_of(0x00, 0x00, hex("AA BB 90 00")).back(), last.back()} +
                    hex("FF FF");
  // 404 = 256 + 148
  expect_conversation({more, more, last}, hex("C8 C8"), hex("00 00 94") + part + part + end);
}

TEST_P(Conversation, LooksForStatusWordsWhereTheLengthOfTheBlockPutsThem) {
  // Without information, these are PCB and LEN.
  const Bytes last = answer_of(0x00, 0x00, hex("90 00"));
  const Bytes end = hex("90 00 92") + Bytes{last.back()} + hex("FF FF");
  expect_conversation({answer_of(0x21, 0x61, {}), last}, hex("00"), hex("00 00 02") + end);
  const Bytes empty = answer_of(0x21, 0x40, {});
  expect_conversation({empty}, {}, hex("21 40 00 61") + Bytes{empty.back()} + hex("FF FF"));

  // With one byte, the first is LEN.
  const Bytes one = answer_of(0x21, 0x40, hex("61"));
  expect_conversation({one}, {}, hex("21 40 01 61 01") + Bytes{one.back()} + hex("FF FF"));

  // A length beyond the frame puts them behind all that came.
  const Bytes filled = reply(0, hex("21 40 FF") + Bytes(252, 0x61));
  expect_conversation({filled}, {},
                      hex("21 40 FF") + Bytes(252, 0x61) + Bytes{filled.back()} + hex("00 00"));
}

TEST_P(Conversation, EndsWithAnAnswerTooShortToBeABlock) {
  // Whatever stayed of this in the buffer would go on with the conversation.
  const Bytes first = answer_of(0x61, 0x61, Bytes(250, 0x61));
  const Bytes before = Bytes(248, 0x61);
  const auto length = [](int last) { return static_cast<unsigned char>(last + 248); };
  // Behind the data stands the check byte; what did not come is 0xFF.
  expect_conversation({first, hex("55 00 00 00 55")}, hex("61"),
                      Bytes{0x55, 0xFF, length(0xFF)} + before);
  expect_conversation({first, hex("55 00 00 01 12 46")}, hex("61"),
                      Bytes{0x12, 0x46, length(0xFF)} + before + hex("FF"));
  expect_conversation({first, hex("55 00 00 02 12 34 71")}, hex("61"),
                      Bytes{0x12, 0x34, length(0x71)} + before + hex("FF FF"));
  expect_conversation({first, hex("55 00 00 02 12 65 20")}, hex("61"),
                      Bytes{0x12, 0x65, length(0x20)} + before + hex("FF FF"));
  expect_conversation({first, hex("55 00 00 03 12 34 02 72")}, hex("61"),
                      Bytes{0x12, 0x34, length(0x02)} + before + hex("72 FF FF"));
}

TEST_P(Conversation, HasABufferThatIsFilledUpToItsHundredthByte) {
  const struct {
    std::size_t data;  // of the reply
    const char* behind;
  } rows[] = {{92, "FF FF"}, {93, "FF FF"}, {94, "FF 00"}, {95, "00 00"}, {96, "00 00"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.data);
    const Bytes information = counting(row.data - 6, 0x20) + hex("90 00");
    const Bytes answer = answer_of(0x00, 0x40, information);
    expect_conversation({answer}, {},
                        block_of(0x00, 0x40, information) + Bytes{answer.back()} + hex(row.behind));
  }
}

TEST_P(Conversation, TurnsTheSequenceNumberOfTheCallerOver) {
  const Bytes more = answer_of(0x77, 0x33, hex("61 10"));
  const Bytes last = answer_of(0x00, 0x00, hex("90 00"));
  const struct {
    unsigned char callers;
    unsigned char sent;
  } rows[] = {{0x00, 0x40}, {0x40, 0x00}, {0x01, 0x00}, {0x80, 0x00}, {0xFF, 0x00}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.callers);
    const Bytes callers = Bytes{0x5A, row.callers} + hex("05 00 B0 00 00 10 11");
    const Bytes next = get_response(slot(), 0x5A, row.sent, 0x10);
    // It stays the same from one get-response to the next.
    expect_result(
        speaking(slot().block, callers, output,
                 {{first_request(callers), more}, {next, more}, {next, more}, {next, last}}),
        mode(), 0);
    output.expect(hex("00 00 02 90 00 92") + Bytes{last.back()} + hex("FF FF"));
  }
}

TEST_P(Conversation, AsksForMoreAlsoWhenTheCallersBlockWasTooShort) {
  const Bytes more = answer_of(0x77, 0x33, hex("61 10"));
  const Bytes last = answer_of(0x00, 0x00, hex("90 00"));
  // What the caller did not give counts as zero.
  for (const auto& [callers, nad] : {std::pair{Bytes{}, 0x00}, std::pair{hex("5A"), 0x5A}}) {
    const Bytes next = get_response(slot(), static_cast<unsigned char>(nad), 0x40, 0x10);
    expect_result(
        speaking(slot().block, callers, output, {{first_request(callers), more}, {next, last}}),
        mode(), 0);
    output.expect(hex("00 00 02 90 00 92") + Bytes{last.back()} + hex("FF FF"));
  }
}

TEST_P(Conversation, LeavesWhatItGotWhenAGetResponseFails) {
  for (const FailedAttempt& way : ways_to_fail()) {
    SCOPED_TRACE(way.name);
    const Bytes next = get_response_request(0x10);
    expect_result(
        speaking(slot().block, block, output,
                 {{first_request(block), answer_of(0, 0, counting(10, 0x30) + hex("61 10"))},
                  ways_to_fail()[1].of(next),
                  ways_to_fail()[0].of(next),
                  way.of(next)}),
        mode(), way.code);
    output.expect(Bytes(3, untouched) + counting(10, 0x30));
  }
}

}  // namespace
}  // namespace quorra::testing
