// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/line/pseudo_terminal.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using test::joined;
using test::RawClient;
using test::reply;
using test::request;
using test::ServedBench;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const Bytes read_version = request(0xB0, "80 00 00 00 00 00 12");
const Bytes read_status = request(0xB9, "80 00 00 00 00");

TEST(Line, is_named_by_a_configuration_file_that_hosts_can_read) {
  RunningReader reader;
  const std::string content = test::content_of(reader->configuration());
  EXPECT_THAT(content, StartsWith("#"));
  EXPECT_THAT(content, HasSubstr("\nP=/dev/"));
  EXPECT_EQ(content.back(), '\n');
  EXPECT_EQ(std::ranges::count(content, '\n'), 2);
  for (std::size_t begin = 0; begin < content.size();) {
    const std::size_t end = content.find('\n', begin);
    EXPECT_LE(end - begin + 1, 59U);
    begin = end + 1;
  }
}

TEST(Line, carries_every_value_of_a_byte_in_both_directions) {
  PseudoTerminal terminal;
  TemporaryFolder folder;
  const auto configuration = folder.path() / "reader.conf";
  test::write_file(configuration, "#\nP=" + terminal.device() + "\n");
  const RawClient host(configuration);

  Bytes all(256);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  EXPECT_EQ(terminal.write(all), 256U);
  EXPECT_EQ(host.receive(256), all);

  host.send(all);
  Bytes received;
  while (received.size() < 256) {
    Bytes buffer(256);
    buffer.resize(terminal.read(buffer));
    received.insert(received.end(), buffer.begin(), buffer.end());
  }
  EXPECT_EQ(received, all);
}

TEST(Line, survives_hosts_that_come_and_go) {
  RunningReader reader;
  for (int session = 0; session < 3; ++session) {
    const RawClient host(reader->configuration());
    EXPECT_EQ(host.exchange(read_status), reply(0, "00"));
  }
}

TEST(Line, loses_nothing_when_the_host_does_not_read) {
  RunningReader reader;
  const RawClient host(reader->configuration());
  const Bytes read_memory = request(0xB7, "80 00 00 01 10 00 90");
  const Bytes answer = host.exchange(read_memory);
  constexpr std::size_t exchanges = 400;
  for (std::size_t i = 0; i < exchanges; ++i)
    host.send(read_memory);
  for (std::size_t i = 0; i < exchanges; ++i)
    ASSERT_EQ(host.receive(answer.size()), answer);
}

// Sends a request and measures until its reply is there.
Duration time_of_exchange(unsigned speed) {
  Options options;
  options.speed = speed;
  RunningReader reader(options);
  const RawClient host(reader->configuration());
  const Time begin = Clock::now();
  host.exchange(read_version);
  return Clock::now() - begin;
}

TEST(Line, takes_its_time_when_it_has_a_speed) {
  for (const unsigned speed : {2400U, 9600U, 115200U})
    EXPECT_GE(time_of_exchange(speed), (12 + 23) * byte_time(speed)) << speed;
}

// What has come by the time at which so many bytes have gone over the line in both directions.
class PacedLine : public ::testing::Test {
 protected:
  static Options at_9600() {
    Options options;
    options.speed = 9600;
    return options;
  }
  void serve_after(Duration duration) {
    line.pass(duration);
    line.send({});
  }

  const Duration byte = byte_time(9600);
  const Bytes answer = reply(0, "00");
  ServedBench line{at_9600()};
};

TEST_F(PacedLine, has_the_request_only_when_its_last_byte_arrived) {
  line.send(read_status);
  serve_after(10 * byte - Duration(1));
  EXPECT_EQ(line.bench().state().exchanges, 0U);
  serve_after(Duration(1));
  EXPECT_EQ(line.bench().state().exchanges, 1U);
}

TEST_F(PacedLine, gives_no_byte_for_nothing) {
  // Each request is complete ten bytes after it began, also if the line was idle in between.
  for (std::uint64_t exchanges = 0; exchanges < 3; ++exchanges) {
    line.send(read_status);
    EXPECT_EQ(line.bench().next_due(), line.now() + byte);
    serve_after(10 * byte - Duration(1));
    EXPECT_EQ(line.bench().state().exchanges, exchanges);
    serve_after(Duration(1));
    EXPECT_EQ(line.bench().state().exchanges, exchanges + 1);
    serve_after(100 * byte);
  }
}

TEST_F(PacedLine, sends_each_byte_when_its_last_bit_is_through) {
  line.send(read_status);
  serve_after(10 * byte);
  EXPECT_EQ(line.bench().next_due(), line.now() + byte);
  serve_after(byte - Duration(1));
  EXPECT_FALSE(line.host().has_bytes());
  serve_after(Duration(1));
  EXPECT_EQ(line.host().receive(1), hex("55"));
  serve_after(byte);
  serve_after(byte);
  EXPECT_EQ(line.host().receive(2), hex("00 00"));
  EXPECT_EQ(line.bench().next_due(), line.now() + byte);
  serve_after(100 * byte);
  EXPECT_EQ(line.host().receive(3), hex("01 00 54"));
  EXPECT_FALSE(line.bench().next_due());
}

TEST_F(PacedLine, has_directions_that_do_not_wait_for_each_other) {
  line.send(joined({read_status, read_status}));
  // The second request is through after 20 bytes; its reply directly follows that of the first.
  serve_after(10 * byte);
  serve_after(10 * byte);
  EXPECT_EQ(line.bench().state().exchanges, 2U);
  EXPECT_EQ(line.host().receive(6), answer);
  serve_after(6 * byte);
  EXPECT_EQ(line.host().receive(6), answer);
}

}  // namespace
}  // namespace quorra::simulator
