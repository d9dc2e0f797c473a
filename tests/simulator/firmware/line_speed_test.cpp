// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include "simulator/error.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using test::Bytes;
using test::hex;
using test::reply;
using test::request;
using test::ServedBench;
using ::testing::Each;

const Bytes read_status = request(0xB9, "80 00 00 00 00");
const Bytes status = reply(0, "00");

Bytes set_speed(std::string_view speed_byte) {
  return request(0xB1, "80 00000000 " + std::string(speed_byte));
}

Options at_line_speed(unsigned speed) {
  Options options;
  options.line_speed = speed;
  return options;
}

struct SpeedCase {
  unsigned speed;
  speed_t setting;
  const char* code;
};

constexpr SpeedCase speeds[] = {{1200, B1200, "01"}, {2400, B2400, "02"},   {4800, B4800, "03"},
                                {9600, B9600, "04"}, {19200, B19200, "05"}, {38400, B38400, "07"}};

bool is_understood(ServedBench& reader) {
  const auto exchanges = reader.bench().state().exchanges;
  reader.send(read_status);
  if (reader.bench().state().exchanges == exchanges) return false;
  EXPECT_EQ(reader.host().receive_reply(), status);
  return true;
}

TEST(LineSpeed, does_not_matter_unless_it_is_given) {
  ServedBench reader;
  for (const speed_t setting : {speed_t{B1200}, speed_t{B9600}, speed_t{B115200}}) {
    reader.host().set_speed(setting);
    EXPECT_EQ(reader.exchange(read_status), status);
    EXPECT_EQ(reader.exchange(set_speed("02")), reply(0));
  }
  EXPECT_EQ(reader.bench().state().line_speed, 0U);
}

TEST(LineSpeed, must_be_that_of_the_host) {
  for (const SpeedCase& own : speeds) {
    ServedBench reader(at_line_speed(own.speed));
    for (const SpeedCase& other : speeds) {
      reader.host().set_speed(other.setting);
      EXPECT_EQ(is_understood(reader), own.speed == other.speed) << own.speed << other.speed;
    }
    for (const speed_t setting : {speed_t{B57600}, speed_t{B115200}, speed_t{B300}}) {
      reader.host().set_speed(setting);
      EXPECT_FALSE(is_understood(reader)) << own.speed;
    }
    reader.host().set_speed(own.setting);
    EXPECT_EQ(reader.exchange(request(0xB7, "80 0000 0180 00 01")), reply(0, own.code));
  }
}

TEST(LineSpeed, makes_noise_of_what_a_host_of_another_speed_hears) {
  Options options = at_line_speed(9600);
  options.speed = 9600;
  ServedBench reader(options);
  reader.host().set_speed(B9600);
  reader.send(read_status);
  reader.pass(10 * byte_time(9600));
  reader.send({});
  EXPECT_EQ(reader.bench().state().exchanges, 1U);
  reader.host().set_speed(B19200);
  reader.pass(6 * byte_time(9600));
  reader.send({});
  EXPECT_THAT(reader.host().receive(6), Each(0xC3));
}

TEST(LineSpeed, changes_behind_the_reply) {
  ServedBench reader(at_line_speed(9600));
  reader.host().set_speed(B9600);
  for (const SpeedCase& next : speeds) {
    EXPECT_EQ(reader.exchange(set_speed(next.code)), reply(0));
    EXPECT_EQ(reader.bench().state().line_speed, next.speed);
    EXPECT_EQ(is_understood(reader), next.speed == 9600) << next.speed;
    reader.host().set_speed(next.setting);
    EXPECT_TRUE(is_understood(reader)) << next.speed;
    EXPECT_EQ(reader.exchange(set_speed("04")), reply(0));
    reader.host().set_speed(B9600);
  }
}

TEST(LineSpeed, stays_when_the_command_is_refused) {
  ServedBench reader(at_line_speed(9600));
  reader.host().set_speed(B9600);
  EXPECT_EQ(reader.exchange(set_speed("06")), reply(0x15));
  EXPECT_TRUE(is_understood(reader));
}

TEST(LineSpeed, paces_the_line_when_it_has_changed) {
  Options options;
  options.speed = 9600;
  ServedBench reader(options);
  const auto served_after = [&reader](Duration duration) {
    reader.pass(duration);
    reader.send({});
  };
  reader.send(set_speed("01"));
  served_after(11 * byte_time(9600));
  // The reply still has the old speed.
  served_after(5 * byte_time(9600));
  EXPECT_EQ(reader.host().receive(5), reply(0));
  served_after(byte_time(1200));
  reader.send(read_status);
  served_after(10 * byte_time(1200) - Duration(1));
  EXPECT_EQ(reader.bench().state().exchanges, 1U);
  served_after(Duration(1));
  EXPECT_EQ(reader.bench().state().exchanges, 2U);
  EXPECT_EQ(reader.bench().next_due(), reader.now() + byte_time(1200));
}

TEST(LineSpeed, is_one_of_six) {
  for (const SpeedCase& each : speeds)
    EXPECT_NO_THROW(check(at_line_speed(each.speed)));
  for (const unsigned speed : {1U, 300U, 9601U, 57600U, 115200U})
    EXPECT_THROW(check(at_line_speed(speed)), Error) << speed;
}

}  // namespace
}  // namespace quorra::simulator
