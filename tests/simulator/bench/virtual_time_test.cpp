// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A reader whose waits and whose pace follow the exchanges. Each test would take minutes or hours
// by the wall.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/control/unix_socket.hpp"
#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using nlohmann::json;
using test::Bytes;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::ElementsAre;

const Bytes read_version = request(0xB0, "80 00 00 00 00 00 0A");
const Bytes version = reply(0, "4B 57 53 50 43 2D 56 49 52 54");

Options with_virtual_time(unsigned speed = 0) {
  Options options;
  options.has_virtual_time = true;
  options.speed = speed;
  return options;
}

Fault fault(FaultKind kind, unsigned parameter) {
  Fault fault;
  fault.kind = kind;
  fault.parameter = parameter;
  return fault;
}

TEST(BenchClock, begins_at_zero_and_goes_where_waits_end) {
  BenchClock clock(true);
  EXPECT_EQ(clock.now(), Time());
  EXPECT_EQ(clock.now(), Time());
  clock.wait_is_over(Time(std::chrono::hours(1)));
  EXPECT_EQ(clock.now(), Time(std::chrono::hours(1)));
  clock.wait_is_over(Time(std::chrono::minutes(1)));
  EXPECT_EQ(clock.now(), Time(std::chrono::hours(1))) << "never back";
  EXPECT_EQ(clock.until(Time(std::chrono::hours(2))), Duration::zero());
}

TEST(BenchClock, is_that_of_the_wall) {
  BenchClock clock(false);
  const Time before = Clock::now();
  const Time told = clock.now();
  EXPECT_GE(told, before);
  EXPECT_LE(told, Clock::now());
  EXPECT_EQ(clock.until(before), Duration::zero());
  EXPECT_GT(clock.until(Clock::now() + std::chrono::hours(1)), std::chrono::minutes(1));
}

TEST(VirtualTime, lets_delays_of_hours_take_no_time) {
  RunningReader reader(with_virtual_time());
  const RawClient host(reader->configuration());
  for (int i = 0; i < 10; ++i) {
    reader->arm(fault(FaultKind::late_first_byte, 3'600'000));
    reader->arm(fault(FaultKind::late_middle_byte, 3'600'000));
    EXPECT_EQ(host.exchange(read_version), version);
  }
}

TEST(VirtualTime, lets_a_slow_line_take_no_time) {
  RunningReader reader(with_virtual_time(1));
  const RawClient host(reader->configuration());
  EXPECT_EQ(host.exchange(read_version), version);
}

TEST(VirtualTime, forgets_requests_that_stall_by_the_wall) {
  test::ServedBench served(with_virtual_time());
  const std::span request_bytes(read_version);
  served.set_wall(Time(std::chrono::seconds(100)));
  served.send(request_bytes.first(5));
  served.set_wall(Time(std::chrono::milliseconds(101'000)));
  EXPECT_EQ(served.exchange(request_bytes.subspan(5)), version) << "a second is not too long";
  served.send(request_bytes.first(5));
  served.set_wall(Time(std::chrono::milliseconds(102'001)));
  EXPECT_EQ(served.exchange(read_version), version) << "begins anew";
}

// A traced exchange over the control socket: the times of the request and of the reply in seconds.
std::vector<double> traced_times(unsigned speed) {
  RunningReader reader(with_virtual_time(speed));
  const FileDescriptor control = connect_to(reader->socket());
  const std::string line = "{\"command\":\"trace\",\"on\":true}\n";
  EXPECT_EQ(::write(control.get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
  std::string received;
  const auto next_line = [&] {
    std::size_t end = 0;
    while ((end = received.find('\n')) == std::string::npos) {
      char buffer[4096];
      const ssize_t count = ::read(control.get(), buffer, sizeof buffer);
      if (count <= 0) throw Error("the trace has ended");
      received.append(buffer, static_cast<std::size_t>(count));
    }
    const std::string first = received.substr(0, end);
    received.erase(0, end + 1);
    return first;
  };
  next_line();
  const RawClient host(reader->configuration());
  std::vector<double> times;
  for (int i = 0; i < 3; ++i) {
    reader->arm(fault(FaultKind::late_first_byte, 10'000));
    EXPECT_EQ(host.exchange(read_version), version);
    times.push_back(json::parse(next_line()).at("time"));
    times.push_back(json::parse(next_line()).at("time"));
  }
  return times;
}

// A request of 12 bytes and a reply of 15. At 1100 bits per second a byte takes 10 ms. The first
// reply begins 10 s and a byte's time after the request was there.
TEST(VirtualTime, tells_the_same_times_in_every_run) {
  EXPECT_THAT(traced_times(1100), ElementsAre(0.12, 10.13, 10.39, 20.40, 20.66, 30.67));
  EXPECT_THAT(traced_times(0), ElementsAre(0, 10, 10, 20, 20, 30));
}

}  // namespace
}  // namespace quorra::simulator
