// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/faults.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "simulator/bench/virtual_reader.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using test::joined;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::ElementsAre;

constexpr unsigned an_hour = 3'600'000;

const Bytes read_version = request(0xB0, "80 00 00 00 00 00 0A");
const Bytes version = reply(0, "4B 57 53 50 43 2D 56 49 52 54");
const Bytes read_status = request(0xB9, "80 00 00 00 00");

class FaultsOnTheLine : public ::testing::Test {
 protected:
  static Options with_card(const std::filesystem::path& file) {
    Options options;
    options.card = file;
    return options;
  }

  void arm(FaultKind kind, std::optional<unsigned> parameter = std::nullopt) {
    Fault fault;
    fault.kind = kind;
    fault.parameter = parameter;
    reader->arm(fault);
  }
  // Until that many requests have been carried out.
  void await_exchanges(std::uint64_t count) {
    while (reader->state().exchanges < count)
      std::this_thread::yield();
  }
  // The fault is over: the next exchange goes well and nothing was left on the line.
  void expect_recovery() { EXPECT_EQ(host.exchange(read_version), version); }

  TemporaryFolder folder;
  std::filesystem::path file = test::new_card(folder, "4442");
  RunningReader reader{with_card(file)};
  RawClient host{reader->configuration()};
};

TEST_F(FaultsOnTheLine, silence) {
  arm(FaultKind::silence);
  host.send(request(0xB8, "80 00 00 00 00"));
  EXPECT_EQ(host.exchange(read_status), reply(0, "00")) << "the card was ejected all the same";
}

TEST_F(FaultsOnTheLine, late_first_byte) {
  arm(FaultKind::late_first_byte, an_hour);
  host.send(read_version);
  await_exchanges(1);
  EXPECT_FALSE(host.has_bytes());
}

TEST_F(FaultsOnTheLine, late_first_byte_that_comes) {
  arm(FaultKind::late_first_byte, 20);
  EXPECT_EQ(host.exchange(read_version), version);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, late_middle_byte) {
  arm(FaultKind::late_middle_byte, an_hour);
  host.send(read_version);
  EXPECT_EQ(host.receive(7), Bytes(version.begin(), version.begin() + 7));
  EXPECT_FALSE(host.has_bytes());
}

TEST_F(FaultsOnTheLine, late_middle_byte_that_comes) {
  arm(FaultKind::late_middle_byte, 20);
  EXPECT_EQ(host.exchange(read_version), version);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, wrong_start) {
  arm(FaultKind::wrong_start);
  const Bytes answer = host.exchange(read_version);
  EXPECT_NE(answer.front(), 0x55);
  EXPECT_EQ(Bytes(answer.begin() + 1, answer.end()), Bytes(version.begin() + 1, version.end()));
  expect_recovery();
}

TEST_F(FaultsOnTheLine, wrong_check) {
  arm(FaultKind::wrong_check);
  const Bytes answer = host.exchange(read_version);
  EXPECT_NE(answer.back(), version.back());
  EXPECT_EQ(Bytes(answer.begin(), answer.end() - 1), Bytes(version.begin(), version.end() - 1));
  expect_recovery();
}

TEST_F(FaultsOnTheLine, short_reply) {
  arm(FaultKind::short_reply, 3);
  host.send(read_version);
  EXPECT_EQ(host.receive(version.size() - 3), Bytes(version.begin(), version.end() - 3));
  expect_recovery();
}

TEST_F(FaultsOnTheLine, short_reply_of_which_nothing_is_left) {
  arm(FaultKind::short_reply, 1000);
  host.send(read_version);
  await_exchanges(1);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, long_reply) {
  arm(FaultKind::long_reply, 2);
  EXPECT_EQ(host.exchange(read_version), version);
  const Bytes extra = host.receive(2);
  EXPECT_NE(extra[0], 0x55);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, noise) {
  arm(FaultKind::noise, 2);
  host.send(read_version);
  EXPECT_NE(host.receive(2)[0], 0x55);
  EXPECT_EQ(host.receive_reply(), version);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, status) {
  arm(FaultKind::status, 0x86);
  EXPECT_EQ(host.exchange(request(0xB8, "80 00 00 00 00")), reply(0x86));
  EXPECT_EQ(host.exchange(read_status), reply(0, "01")) << "the card was not ejected";
}

TEST_F(FaultsOnTheLine, dropped_request_byte) {
  arm(FaultKind::dropped_request_byte);
  // The start of the next request is taken for the check byte, and the rest of it is skipped.
  EXPECT_EQ(host.exchange(joined({read_version, read_status})), reply(0x11));
  expect_recovery();
}

TEST_F(FaultsOnTheLine, hang_up) {
  const std::string first_device = reader->state().device;
  arm(FaultKind::hang_up);
  host.send(read_version);
  EXPECT_TRUE(host.sees_hang_up());
  EXPECT_NE(reader->state().device, first_device);
  const RawClient next(reader->configuration());
  EXPECT_EQ(next.exchange(read_version), version);
}

TEST_F(FaultsOnTheLine, pull_card) {
  EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(0));
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 11 11 11 11 11 11")), reply(0));
  arm(FaultKind::pull_card);
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 22 22 22 22 22 22")), reply(0x21));
  EXPECT_FALSE(reader->state().card);
  const Image card = load_image(file);
  const auto written = card.field("memory").subspan(0x20, 6);
  EXPECT_THAT(written, ElementsAre(0x22, 0x22, 0x22, 0xFF, 0x11, 0x11));
  EXPECT_EQ(host.exchange(read_status), reply(0, "00"));
}

TEST_F(FaultsOnTheLine, pull_card_needs_something_to_program) {
  arm(FaultKind::pull_card);
  EXPECT_EQ(host.exchange(request(0x61, "79 00 00 00 00 00 01")), reply(0, "A2"));
  EXPECT_TRUE(reader->state().faults.empty());
  EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(0));
}

// A write of one byte to a 4442 that has power. The command takes 26 rising edges of CLK, the start
// and the stop condition included. The cell is erased when CLK falls after them, and has its
// content 255 clocks later.
class PullCardAtClock : public FaultsOnTheLine, public ::testing::WithParamInterface<unsigned> {
 protected:
  void SetUp() override {
    EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(0));
    EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 11")), reply(0));
  }
  // What the byte holds when the card leaves at that clock.
  unsigned byte_after(unsigned clock) {
    arm(FaultKind::pull_card, clock);
    EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 22")), reply(0x21));
    EXPECT_FALSE(reader->state().card);
    return load_image(file).field("memory")[0x20];
  }
};

TEST_F(PullCardAtClock, before_anything_was_done) { EXPECT_EQ(byte_after(1), 0x11U); }
TEST_F(PullCardAtClock, in_the_stop_condition) { EXPECT_EQ(byte_after(26), 0x11U); }
TEST_F(PullCardAtClock, in_the_first_clock_of_programming) { EXPECT_EQ(byte_after(27), 0xFFU); }
TEST_F(PullCardAtClock, in_the_last_clock_of_programming) { EXPECT_EQ(byte_after(281), 0xFFU); }
TEST_F(PullCardAtClock, when_the_byte_is_read_back) { EXPECT_EQ(byte_after(282), 0x22U); }

TEST_F(PullCardAtClock, that_the_command_does_not_have) {
  arm(FaultKind::pull_card, 1'000'000);
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 22")), reply(0));
  EXPECT_TRUE(reader->state().injected_faults.empty());
  for (int i = 0; i < 50; ++i)
    EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 33 44 55 66 77 88 99 AA")), reply(0))
        << "the clocks of other commands do not count";
}

TEST_F(FaultsOnTheLine, pull_card_at_a_clock_of_a_command_that_reads) {
  arm(FaultKind::pull_card, 5);
  EXPECT_EQ(host.exchange(request(0x61, "79 00 00 00 00 00 01")), reply(0x21));
  EXPECT_EQ(host.exchange(read_status), reply(0, "00"));
}

class WritesThatAreNotDone : public FaultsOnTheLine {
 protected:
  void SetUp() override {
    EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(0));
    EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 11 12 13 14 15")), reply(0));
  }
  const Bytes write = request(0x60, "79 00 00 00 20 21 22 23 24 25");
  const Bytes read = request(0x61, "79 00 00 00 20 00 05");
};

TEST_F(WritesThatAreNotDone, lie) {
  arm(FaultKind::lie);
  EXPECT_EQ(host.exchange(write), reply(0));
  EXPECT_EQ(host.exchange(read), reply(0, "11 12 13 14 15"));
  EXPECT_EQ(load_image(file).field("memory")[0x20], 0x11);
  EXPECT_EQ(host.exchange(write), reply(0)) << "the card is open as before";
  EXPECT_EQ(host.exchange(read), reply(0, "21 22 23 24 25"));
}

TEST_F(WritesThatAreNotDone, lie_about_all_that_a_command_programs) {
  EXPECT_EQ(host.exchange(request(0x66, "79 00 00 00 00 12 34 56")), reply(0));
  arm(FaultKind::lie);
  EXPECT_EQ(host.exchange(request(0x66, "79 00 00 00 00 65 43 21")), reply(0));
  EXPECT_EQ(host.exchange(request(0xB2, "80 00 00 00 00")), reply(0));
  arm(FaultKind::lie);
  EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 65 43 21")), reply(0x24));
  EXPECT_EQ(load_image(file).field("counter")[0], 7) << "no attempt was used up";
  EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 12 34 56")), reply(0));
}

TEST_F(WritesThatAreNotDone, lie_about_the_memory_of_the_reader) {
  arm(FaultKind::lie);
  EXPECT_EQ(host.exchange(request(0xB6, "80 00 00 00 10 AB")), reply(0));
  EXPECT_EQ(host.exchange(request(0xB7, "80 00 00 00 10 00 01")), reply(0, "FF"));
  EXPECT_THAT(reader->state().injected_faults, ::testing::SizeIs(1));
}

TEST_F(WritesThatAreNotDone, partial) {
  arm(FaultKind::partial);
  EXPECT_EQ(host.exchange(write), reply(0));
  EXPECT_EQ(host.exchange(read), reply(0, "21 22 13 14 15"));
  arm(FaultKind::partial);
  EXPECT_EQ(host.exchange(write), reply(0));
  EXPECT_EQ(host.exchange(read), reply(0, "21 22 23 14 15")) << "bytes that do not change";
}

TEST_F(WritesThatAreNotDone, partial_in_the_memory_of_the_reader) {
  arm(FaultKind::partial);
  EXPECT_EQ(host.exchange(request(0xB6, "80 00 00 00 10 A1 A2 A3")), reply(0));
  EXPECT_EQ(host.exchange(request(0xB7, "80 00 00 00 10 00 03")), reply(0, "A1 FF FF"));
}

TEST_F(WritesThatAreNotDone, need_something_that_is_programmed) {
  arm(FaultKind::lie);
  arm(FaultKind::partial);
  EXPECT_EQ(host.exchange(read), reply(0, "11 12 13 14 15"));
  EXPECT_TRUE(reader->state().faults.empty());
  EXPECT_TRUE(reader->state().injected_faults.empty());
}

TEST_F(FaultsOnTheLine, together) {
  arm(FaultKind::noise, 1);
  arm(FaultKind::long_reply, 1);
  host.send(read_version);
  host.receive(1);
  EXPECT_EQ(host.receive_reply(), version);
  host.receive(1);
  expect_recovery();
}

TEST_F(FaultsOnTheLine, spoil_nothing_where_there_is_no_reply) {
  arm(FaultKind::silence);
  arm(FaultKind::wrong_start);
  arm(FaultKind::wrong_check);
  host.send(read_version);
  expect_recovery();
}

// Whether each of the exchanges with these command bytes is hit.
std::vector<bool> hits(const Fault& fault, const Bytes& commands) {
  Faults faults;
  faults.arm(fault);
  std::vector<bool> result;
  for (const std::uint8_t command : commands) {
    faults.begin(command);
    Exchange exchange;
    exchange.reply = hex("55 00 00 00 55");
    faults.apply(FaultStage::reply, exchange);
    result.push_back(exchange.reply.empty());
  }
  return result;
}

TEST(Faults, hit_the_next_exchange_once) {
  EXPECT_THAT(hits({}, hex("60 60 60")), ElementsAre(true, false, false));
}

TEST(Faults, hit_as_often_as_they_are_told) {
  Fault fault;
  fault.times = 2;
  EXPECT_THAT(hits(fault, hex("60 61 62")), ElementsAre(true, true, false));
}

TEST(Faults, hit_every_so_manieth_exchange) {
  Fault fault;
  fault.every = 3;
  EXPECT_THAT(hits(fault, hex("60 60 60 60 60 60 60")),
              ElementsAre(false, false, true, false, false, true, false));
}

TEST(Faults, hit_only_the_command_they_are_for) {
  Fault fault;
  fault.on = 0x61;
  EXPECT_THAT(hits(fault, hex("60 61 61")), ElementsAre(false, true, false));
  fault.every = 2;
  EXPECT_THAT(hits(fault, hex("61 60 61 60 61 61")),
              ElementsAre(false, false, true, false, false, true));
}

TEST(Faults, are_listed_with_what_is_left_of_them) {
  Faults faults;
  Fault fault;
  fault.kind = FaultKind::noise;
  fault.times = 3;
  faults.arm(fault);
  faults.begin(0x60);
  ASSERT_EQ(faults.list().size(), 1U);
  EXPECT_EQ(faults.list()[0].times, 2U);
  EXPECT_EQ(faults.list()[0].parameter, 1U);
  faults.clear();
  EXPECT_TRUE(faults.list().empty());
}

TEST(Faults, refuse_numbers_that_make_no_sense) {
  Faults faults;
  Fault fault;
  fault.times = 0;
  EXPECT_THROW(faults.arm(fault), Error);
  fault = {};
  fault.parameter = 1;
  EXPECT_THROW(faults.arm(fault), Error) << "silence has no parameter";
  fault.kind = FaultKind::status;
  fault.parameter = 256;
  EXPECT_THROW(faults.arm(fault), Error);
  fault.kind = FaultKind::pull_card;
  fault.parameter = 0;
  EXPECT_THROW(faults.arm(fault), Error) << "clocks are counted from 1";
  EXPECT_TRUE(faults.list().empty());
}

TEST(Faults, have_a_rule_for_each_kind) {
  for (const FaultRule& rule : fault_rules())
    EXPECT_EQ(&rule_of(rule.kind), &rule);
  EXPECT_EQ(fault_rules().size(), fault_kind_count);
}

FaultOdds odds_of(FaultKind kind, double probability, std::uint32_t seed = 1) {
  FaultOdds odds;
  odds.seed = seed;
  odds.of_kind.at(static_cast<std::size_t>(kind)) = probability;
  return odds;
}

std::uint64_t count_of(const Faults& faults, std::string_view name) {
  for (const InjectedFaults& injected : faults.injected())
    if (injected.name == name) return injected.count;
  return 0;
}

// The reply of 64 bytes that comes of each of so many exchanges.
std::vector<Bytes> replies(const FaultOdds& odds, int count, Faults& faults) {
  faults.arm(odds);
  std::vector<Bytes> all;
  for (int i = 0; i < count; ++i) {
    faults.begin(0x61);
    Exchange exchange;
    exchange.reply.assign(64, 0x5A);
    faults.apply(FaultStage::request, exchange);
    faults.apply(FaultStage::reply, exchange);
    faults.finish(exchange);
    all.push_back(exchange.reply);
  }
  return all;
}

std::vector<Bytes> replies(const FaultOdds& odds, int count) {
  Faults faults;
  return replies(odds, count, faults);
}

TEST(FaultsByChance, are_the_same_with_the_same_seed) {
  FaultOdds odds = odds_of(FaultKind::silence, 0.1);
  odds.of_bit = 0.001;
  const auto first = replies(odds, 500);
  EXPECT_EQ(replies(odds, 500), first);
  FaultOdds bits;
  bits.of_bit = 0.001;
  for (const FaultOdds& one : {odds_of(FaultKind::silence, 0.1), bits}) {
    FaultOdds other = one;
    other.seed = one.seed + 1;
    EXPECT_NE(replies(other, 500), replies(one, 500));
  }
}

// More than five standard deviations away from the middle is once in a million seeds; the seed
// is always the same.
TEST(FaultsByChance, are_as_likely_as_they_are_told) {
  Faults faults;
  FaultOdds odds = odds_of(FaultKind::silence, 0.25);
  odds.of_bit = 0.01;
  odds.of_kind.at(static_cast<std::size_t>(FaultKind::wrong_check)) = 0.5;
  replies(odds, 4000, faults);
  EXPECT_NEAR(static_cast<double>(count_of(faults, "silence")), 1000, 140);
  EXPECT_NEAR(static_cast<double>(count_of(faults, "wrong_check")), 2000, 160);
  // Where there is silence there are no bits.
  EXPECT_NEAR(static_cast<double>(count_of(faults, "bit_error")), 3000 * 64 * 8 * 0.01, 700);
  EXPECT_EQ(count_of(faults, "noise"), 0U);
}

TEST(FaultsByChance, hit_always_or_never) {
  Faults faults;
  for (const Bytes& reply : replies(odds_of(FaultKind::silence, 1), 100, faults))
    EXPECT_TRUE(reply.empty());
  EXPECT_EQ(count_of(faults, "silence"), 100U);
  for (const Bytes& reply : replies(odds_of(FaultKind::silence, 0), 100))
    EXPECT_EQ(reply, Bytes(64, 0x5A));
}

TEST(FaultsByChance, do_not_depend_on_each_other) {
  const auto silent = [](const std::vector<Bytes>& all) {
    std::vector<bool> result;
    for (const Bytes& reply : all)
      result.push_back(reply.empty());
    return result;
  };
  FaultOdds odds = odds_of(FaultKind::silence, 0.3);
  const auto alone = silent(replies(odds, 200));
  odds.of_kind.at(static_cast<std::size_t>(FaultKind::wrong_start)) = 0.5;
  odds.of_bit = 0.1;
  EXPECT_EQ(silent(replies(odds, 200)), alone);
}

TEST(FaultsByChance, invert_bits_of_replies) {
  FaultOdds odds;
  odds.of_bit = 1;
  for (const Bytes& reply : replies(odds, 3))
    EXPECT_EQ(reply, Bytes(64, 0xA5));
}

TEST(FaultsByChance, invert_bits_of_requests_unless_they_are_for_one_command) {
  Faults faults;
  FaultOdds odds;
  EXPECT_EQ(faults.receive(0xAA), 0xAA) << "none are armed";
  odds.of_bit = 1;
  faults.arm(odds);
  EXPECT_EQ(faults.receive(0xAA), 0x55);
  EXPECT_EQ(count_of(faults, "bit_error"), 8U);
  EXPECT_EQ(faults.names_of_hits(), "bit_error");
  odds.on = 0x61;
  faults.arm(odds);
  EXPECT_EQ(faults.receive(0xAA), 0xAA);
}

TEST(FaultsByChance, hit_only_the_command_they_are_for) {
  Faults faults;
  FaultOdds odds = odds_of(FaultKind::silence, 1);
  odds.of_bit = 1;
  odds.on = 0x61;
  faults.arm(odds);
  Exchange exchange;
  exchange.reply = hex("55 00");
  faults.begin(0x60);
  faults.apply(FaultStage::reply, exchange);
  EXPECT_EQ(exchange.reply, hex("55 00"));
  faults.begin(0x61);
  faults.apply(FaultStage::reply, exchange);
  EXPECT_TRUE(exchange.reply.empty());
}

TEST(FaultsByChance, refuse_what_is_no_probability) {
  Faults faults;
  for (const double bad : {-0.001, 1.001, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_THROW(faults.arm(odds_of(FaultKind::noise, bad)), Error) << bad;
    FaultOdds odds;
    odds.of_bit = bad;
    EXPECT_THROW(faults.arm(odds), Error) << bad;
  }
  EXPECT_FALSE(faults.odds());
}

TEST(FaultsByChance, are_forgotten_with_what_they_did) {
  Faults faults;
  replies(odds_of(FaultKind::silence, 1), 3, faults);
  faults.clear();
  EXPECT_FALSE(faults.odds());
  EXPECT_TRUE(faults.injected().empty());
}

TEST_F(FaultsOnTheLine, by_chance) {
  reader->arm(odds_of(FaultKind::status, 1));
  EXPECT_EQ(host.exchange(read_version), reply(5));
  reader->clear_faults();
  expect_recovery();
}

}  // namespace
}  // namespace quorra::simulator
