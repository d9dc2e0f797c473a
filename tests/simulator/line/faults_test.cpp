// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/faults.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  EXPECT_TRUE(faults.list().empty());
}

TEST(Faults, have_a_rule_for_each_kind) {
  for (const FaultRule& rule : fault_rules())
    EXPECT_EQ(&rule_of(rule.kind), &rule);
  EXPECT_EQ(fault_rules().size(), static_cast<std::size_t>(FaultKind::pull_card) + 1);
}

}  // namespace
}  // namespace quorra::simulator
