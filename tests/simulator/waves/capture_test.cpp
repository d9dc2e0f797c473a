// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/capture.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <sstream>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::request;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Image counting_card(std::string_view kind) {
  Image card(find_kind(kind));
  std::iota(card.field("memory").begin(), card.field("memory").end(), std::uint8_t{0});
  return card;
}

// What a reader does with a card, in waves.
std::string waves_of(const Image& card, const std::vector<test::Bytes>& requests) {
  const TemporaryFolder folder;
  Options options;
  options.card = folder.path() / "card";
  options.waves = folder.path() / "waves";
  save_image(card, options.card);
  test::ServedBench bench(options);
  for (const auto& one : requests)
    EXPECT_EQ(bench.exchange(one).at(1), 0);
  bench.bench().stop_waves();
  return test::content_of(options.waves);
}

Judgement judge(const Image& card, const std::string& waves, const SignalNames& names = {}) {
  std::istringstream stream(waves);
  VcdReader reader(stream, "x.vcd");
  const auto chip = card.kind().make_chip(card);
  return simulator::judge(*chip, reader, names);
}

std::string failure_of(const Image& card, const std::string& waves, const SignalNames& names = {}) {
  try {
    judge(card, waves, names);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

// Leaves out the declaration of a signal.
std::string without(std::string waves, std::string_view name) {
  const std::size_t name_at = waves.find(fmt::format(" {} $end\n", name));
  EXPECT_NE(name_at, std::string::npos) << name;
  const std::size_t begin = waves.rfind('\n', name_at) + 1;
  return waves.erase(begin, waves.find('\n', begin) + 1 - begin);
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

// As somebody records it who has nothing but the line.
std::string with_line_alone(const std::string& waves) {
  return without(without(waves, "IO_reader"), "IO_card");
}

struct Work {
  std::string_view kind;
  std::vector<test::Bytes> requests;
  std::size_t changed_byte;  // among those that are read
};

// A write that is read, and something that is read only.
const std::vector<Work>& works() {
  static const std::vector<Work> all = {
      {"24c02",
       {request(0x62, "61 00 00 00 06 A1 A2 A3"), request(0x61, "61 00 00 00 20 00 08")},
       0x23},
      {"24c16", {request(0x61, "64 00 00 03 20 00 08")}, 0x323},
      {"24c64",
       {request(0x62, "66 00 00 11 1F A1 A2"), request(0x61, "66 00 00 11 1E 00 04")},
       0x111E},
      {"93c46",
       {request(0x62, "69 00 00 00 10 55 AA"), request(0x61, "69 00 00 00 30 00 08")},
       0x31},
      {"93c46a", {request(0x61, "68 00 00 00 10 00 04")}, 0x21},
      {"4442",
       {request(0x64, "79 00 00 00 00 FF FF FF"), request(0x60, "79 00 00 00 40 12 34"),
        request(0x61, "79 00 00 00 80 00 08")},
       0x81},
      {"4428", {request(0x61, "77 00 00 00 80 00 08")}, 0x81},
      {"45d041",
       {request(0x60, "6E 00 03 00 10 12 34"), request(0x61, "6E 00 03 00 20 00 04")},
       3 * 264 + 0x21},
      {"101",
       {request(0x64, "71 00 00 00 00 FF FF"), request(0x60, "71 00 00 00 16 A5 5A"),
        request(0x61, "71 00 00 00 16 00 08")},
       0x1A},
      {"4406", {request(0x61, "7B 00 00 00 00 00 08")}, 0x01},
  };
  return all;
}

// The codes of a new card are known.
Image card_for(const Work& work) {
  const bool has_code =
      std::ranges::any_of(work.requests, [](const auto& frame) { return frame.at(1) == 0x64; });
  return has_code ? Image(find_kind(work.kind)) : counting_card(work.kind);
}

TEST(Capture, ACardDoesWhatItDid) {
  for (const Work& work : works()) {
    SCOPED_TRACE(work.kind);
    const Image card = card_for(work);
    const std::string waves = waves_of(card, work.requests);
    for (const std::string& one : {waves, without(waves, "IO_card"), with_line_alone(waves)}) {
      const Judgement judgement = judge(card, one);
      EXPECT_EQ(judgement.differences, 0U);
      EXPECT_GT(judgement.comparisons, 60U);
    }
  }
}

TEST(Capture, ACardWithOtherContentDiffers) {
  for (const Work& work : works()) {
    SCOPED_TRACE(work.kind);
    Image card = card_for(work);
    const std::string waves = waves_of(card, work.requests);
    // Once the card has a zero for a one, and once a one for a zero.
    for (const std::uint8_t content : {std::uint8_t{0xFF}, std::uint8_t{0x00}}) {
      std::uint8_t& cell = card.field("memory")[work.changed_byte];
      const std::uint8_t old = std::exchange(cell, content);
      if (old == content) cell = static_cast<std::uint8_t>(~content);
      EXPECT_GT(judge(card, waves).differences, 0U);
      EXPECT_GT(judge(card, without(waves, "IO_card")).differences, 0U);
      EXPECT_GT(judge(card, with_line_alone(waves)).differences, 0U);
      cell = old;
    }
  }
}

const Image card_24c02 = counting_card("24c02");
const test::Bytes read_a_byte = request(0x61, "61 00 00 00 5A 00 01");

TEST(Capture, TellsWhereACardDiffers) {
  const std::string waves = waves_of(card_24c02, {read_a_byte});
  Image other = card_24c02;
  other.field("memory")[0x5A] = 0x5B;
  const Judgement judgement = judge(other, waves);
  ASSERT_EQ(judgement.differences, 1U);
  const Difference& difference = judgement.first_differences.at(0);
  EXPECT_EQ(difference.signal, "IO_card");
  EXPECT_FALSE(difference.recorded);
  // The last bit stands between the last falls of CLK but two and but one; then the reader does not
  // acknowledge, and begins the stop condition.
  std::vector<std::uint64_t> falls;
  std::istringstream stream(waves);
  VcdReader reader(stream, "x");
  while (const auto change = reader.next())
    if (change->code == "#" && change->level == VcdReader::Level::low && change->time > 0)
      falls.push_back(change->time);
  ASSERT_GT(falls.size(), 4U);
  EXPECT_EQ(difference.begin, falls[falls.size() - 4]);
  EXPECT_EQ(difference.end, falls[falls.size() - 3]);
  EXPECT_EQ(judge(other, without(waves, "IO_card")).first_differences.at(0).signal, "IO");
}

TEST(Capture, TellsTheFirstDifferencesAndCountsAll) {
  std::vector<test::Bytes> reads(30, read_a_byte);
  Image other = card_24c02;
  other.field("memory")[0x5A] = 0x5B;
  const Judgement judgement = judge(other, waves_of(card_24c02, reads));
  EXPECT_EQ(judgement.differences, 30U);
  EXPECT_EQ(judgement.first_differences.size(), 20U);
}

TEST(Capture, OfOthersIsReadWhateverItsNamesScopesAndTimesAre) {
  const std::string waves =
      without(with_line_alone(waves_of(card_24c02, {read_a_byte})), "request");
  std::string other = replaced(replaced(waves, "1 us", "100 ns"), "module card", "module probes");
  other = replaced(replaced(other, " CLK ", " scl "), " IO ", " D1 ");
  other = without(without(without(without(other, "VCC"), "RST"), "C4"), "C8");
  const SignalNames names = {{"CLK", "probes.scl"}, {"IO", "D1"}};
  EXPECT_EQ(judge(card_24c02, other, names).differences, 0U);
  // A line that is let go is high.
  EXPECT_EQ(judge(card_24c02, replaced(other, "1$", "z$"), names).differences, 0U);
  EXPECT_EQ(judge(card_24c02, replaced(waves, " CLK ", " clk ")).differences, 0U);
}

TEST(Capture, DoesNotCompareWhatIsUnknown) {
  const std::string waves = waves_of(card_24c02, {read_a_byte});
  std::string unknown = replaced(replaced(waves, "\n0(", "\nx("), "\n1(", "\nx(");
  EXPECT_THAT(failure_of(card_24c02, unknown),
              HasSubstr("there is no moment at which the card would answer"));
}

// The reader waits for five milliseconds and does not ask. What is not known of a tick takes no
// time.
TEST(Capture, ACardThatProgramsIsReadyAfterAWhile) {
  std::string waves =
      "$timescale 1 us $end $var wire 1 c CLK $end $var wire 1 d IO $end "
      "$enddefinitions $end\n#0 0c 1d\n";
  std::uint64_t time = 0;
  const auto set = [&](char code, bool level) {
    time += 5;
    waves += fmt::format("#{} {:d}{}\n", time, level, code);
  };
  const auto start = [&] {
    set('d', true);
    set('c', true);
    set('d', false);
    set('c', false);
  };
  const auto stop = [&] {
    set('d', false);
    set('c', true);
    set('d', true);
    set('c', false);
  };
  const auto byte = [&](unsigned value, bool acknowledge) {
    for (unsigned bit = 8; bit-- > 0;) {
      set('d', (value >> bit & 1U) != 0);
      set('c', true);
      set('c', false);
    }
    set('d', acknowledge);
    set('c', true);
    set('c', false);
  };
  start();
  byte(0xA0, false);
  byte(0x10, false);
  byte(0xC3, false);
  stop();
  time += 5000;
  start();
  byte(0xA0, false);
  byte(0x10, false);
  start();
  byte(0xA1, false);
  byte(0xC3, true);
  stop();
  EXPECT_EQ(judge(card_24c02, waves).differences, 0U);
  // The same, sooner.
  EXPECT_LT(judge(card_24c02, replaced(waves, "1 us", "10 ns")).comparisons,
            judge(card_24c02, waves).comparisons);
  EXPECT_EQ(judge(card_24c02, replaced(waves, "1 us", "10 ns")).comparisons,
            judge(card_24c02, replaced(waves, "$timescale 1 us $end ", "")).comparisons);
}

TEST(Capture, NeedsTheContactsOfTheCard) {
  const std::string waves = waves_of(card_24c02, {read_a_byte});
  EXPECT_EQ(failure_of(card_24c02, without(waves, "CLK")),
            "x.vcd: a 24c02 needs the signals CLK; there are card.VCC, card.RST, card.IO, card.C4, "
            "card.C8, card.IO_reader, card.IO_card, card.request");
  const std::string without_lines = without(without(without(waves, "CLK"), "IO"), "IO_reader");
  EXPECT_THAT(failure_of(card_24c02, without_lines),
              StartsWith("x.vcd: a 24c02 needs the signals CLK, IO; there are card.VCC"));
  EXPECT_EQ(judge(card_24c02, without(waves, "IO")).differences, 0U);
  EXPECT_EQ(failure_of(card_24c02, "$enddefinitions $end\n"),
            "x.vcd: a 24c02 needs the signals CLK, IO; there are none");

  const std::string anonymous = replaced(waves, "$comment card 24c02 $end\n", "");
  const std::pair<const char*, const char*> cases[] = {
      {"93c46", "RST"}, {"4442", "RST"}, {"4428", "RST"}, {"45d041", "C8"},
      {"4404", "C4"},   {"4406", "C4"},  {"1604b", "C4"}};
  for (const auto& [kind, contact] : cases)
    EXPECT_THAT(failure_of(counting_card(kind), without(anonymous, contact)),
                HasSubstr(fmt::format("a {} needs the signals {};", kind, contact)));
}

TEST(Capture, RefusesOtherKindsOfCards) {
  const std::string waves = waves_of(card_24c02, {read_a_byte});
  EXPECT_EQ(failure_of(counting_card("24c16"), waves),
            "x.vcd: it was recorded with a 24c02, and this card is a 24c16");
  // Comments of others may begin in the same way.
  const std::string other = replaced(waves, "$comment card 24c02 $end", "$comment card one $end");
  EXPECT_EQ(failure_of(card_24c02, other), "");
  EXPECT_EQ(failure_of(Image(find_kind("cpu")), other),
            "a cpu is not spoken to bit by bit at its contacts");
}

TEST(Capture, RefusesSignalsThatAreNotClear) {
  const std::string waves = waves_of(card_24c02, {read_a_byte});
  const std::string two = replaced(waves, "$upscope $end",
                                   "$upscope $end $scope module b $end $var wire 1 ~ CLK $end "
                                   "$var wire 8 | bus $end $upscope $end");
  EXPECT_EQ(failure_of(card_24c02, two),
            "x.vcd: there are several signals CLK; name one: --signal CLK=card.CLK");
  EXPECT_EQ(judge(card_24c02, two, {{"CLK", "card.CLK"}}).differences, 0U);
  EXPECT_EQ(failure_of(card_24c02, two, {{"CLK", "b.CLK"}}), "x.vcd: CLK does not change in it");
  EXPECT_EQ(failure_of(card_24c02, waves, {{"CLK", "D0"}}), "x.vcd: there is no signal D0");
  EXPECT_EQ(failure_of(card_24c02, two, {{"CLK", "bus"}}),
            "x.vcd: the signal bus is not of one bit");
  // A signal may be declared in two places.
  const std::string twice = replaced(waves, "$upscope $end",
                                     "$upscope $end $scope module b $end $var wire 1 # CLK $end "
                                     "$upscope $end");
  EXPECT_EQ(judge(card_24c02, twice).differences, 0U);
}

TEST(Capture, TellsOneThatIsCutOff) {
  const std::string waves = waves_of(card_24c02, {read_a_byte, read_a_byte});
  const std::size_t second = waves.rfind("sread");
  const std::size_t within = waves.find('\n', second + 500) + 1;
  EXPECT_EQ(failure_of(card_24c02, waves.substr(0, within)),
            "x.vcd: the file is cut off within a request");
  EXPECT_THAT(failure_of(card_24c02, waves.substr(0, within + 2)),
              HasSubstr("the file is cut off"));
  EXPECT_THAT(failure_of(card_24c02, waves.substr(0, waves.size() - 1)),
              HasSubstr("the file is cut off"));
  EXPECT_THAT(failure_of(card_24c02, waves.substr(0, 100)), HasSubstr("the file is cut off"));
}

TEST(Capture, ThatAnswersNothingSaysNothing) {
  const std::string waves = with_line_alone(waves_of(card_24c02, {read_a_byte}));
  // Nobody starts anything on a line that stays as it is.
  const std::string silent = replaced(waves, "\n0$", "\n1$");
  EXPECT_EQ(failure_of(card_24c02, silent),
            "x.vcd: there is no moment at which the card would answer");
}

TEST(Capture, TellsTimesInMilliseconds) {
  const auto told = [](const std::string& scale, std::uint64_t time) {
    std::istringstream stream(scale + "$enddefinitions $end\n");
    return time_in_words(VcdReader(stream, "x"), time);
  };
  EXPECT_EQ(told("$timescale 1 us $end ", 2244), "#2244 (2.244 ms)");
  EXPECT_EQ(told("$timescale 100 ps $end ", 5), "#5 (5e-07 ms)");
  EXPECT_EQ(told("", 2244), "#2244");
  EXPECT_THAT(told("$timescale 100 s $end ", ~std::uint64_t{0}), HasSubstr("ms"));
}

}  // namespace
}  // namespace quorra::simulator
