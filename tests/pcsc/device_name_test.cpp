// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/device_name.hpp"

#include <gtest/gtest.h>

#include <string>

namespace quorra::pcsc {
namespace {

TEST(DeviceName, IsAPathWithTheUsualOptions) {
  for (const std::string text : {"/dev/ttyS0", "/dev/ttyS0:", "/dev/ttyS0::"}) {
    const DeviceName name = parse_device_name(text);
    EXPECT_EQ(name.path, "/dev/ttyS0") << text;
    EXPECT_EQ(name.speed, 9600) << text;
    EXPECT_EQ(name.card, CardChoice::automatic) << text;
    EXPECT_EQ(name.kind, nullptr) << text;
    EXPECT_FALSE(name.sams) << text;
    EXPECT_FALSE(name.always_present) << text;
  }
}

TEST(DeviceName, HasOptionsBehindColons) {
  const DeviceName name =
      parse_device_name("/etc/my-reader_1.conf:speed=115200:card=4442:sams=2:presence=always");
  EXPECT_EQ(name.path, "/etc/my-reader_1.conf");
  EXPECT_EQ(name.speed, 115200);
  EXPECT_EQ(name.card, CardChoice::memory);
  ASSERT_NE(name.kind, nullptr);
  EXPECT_EQ(name.kind->name, "4442");
  EXPECT_EQ(name.sams, 2);
  EXPECT_TRUE(name.always_present);
}

TEST(DeviceName, TakesEverySpeedOfASerialLine) {
  for (const int speed : {9600, 19200, 38400, 57600, 115200}) {
    EXPECT_EQ(parse_device_name("/dev/ttyS0:speed=" + std::to_string(speed)).speed, speed);
  }
}

TEST(DeviceName, TakesEveryKindOfCard) {
  for (const toolkit::Card& card : toolkit::all_cards()) {
    EXPECT_EQ(parse_device_name("/dev/ttyS0:card=" + std::string(card.name)).kind, &card);
  }
  EXPECT_EQ(parse_device_name("/dev/ttyS0:card=auto").card, CardChoice::automatic);
  EXPECT_EQ(parse_device_name("/dev/ttyS0:card=cpu").card, CardChoice::processor);
}

TEST(DeviceName, TakesUpToEightSams) {
  EXPECT_EQ(parse_device_name("/dev/ttyS0:sams=0").sams, 0);
  EXPECT_EQ(parse_device_name("/dev/ttyS0:sams=8").sams, 8);
}

TEST(DeviceName, MayAskForPresence) {
  EXPECT_FALSE(parse_device_name("/dev/ttyS0:presence=auto").always_present);
}

struct Bad {
  const char* text;
  const char* what;
};

class BadName : public ::testing::TestWithParam<Bad> {};

TEST_P(BadName, IsRefusedWithAReason) {
  try {
    parse_device_name(GetParam().text);
    FAIL() << GetParam().text;
  } catch (const BadDeviceName& error) {
    EXPECT_STREQ(error.what(), GetParam().what);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, BadName,
    ::testing::Values(
        Bad{"", "it names neither a device nor a configuration file"},
        Bad{":speed=9600", "it names neither a device nor a configuration file"},
        Bad{"/dev/ttyS0:baud=9600",
            R"("baud=9600" is none of the options speed=, card=, sams= and presence=)"},
        Bad{"/dev/ttyS0:=", R"("=" is none of the options speed=, card=, sams= and presence=)"},
        Bad{"/dev/ttyS0:speed=4800",
            R"("speed=4800": speed is 9600, 19200, 38400, 57600 or 115200)"},
        Bad{"/dev/ttyS0:speed=9600x",
            R"("speed=9600x": speed is 9600, 19200, 38400, 57600 or 115200)"},
        Bad{"/dev/ttyS0:speed=", R"("speed=": speed is 9600, 19200, 38400, 57600 or 115200)"},
        Bad{"/dev/ttyS0:speed", R"("speed": speed is 9600, 19200, 38400, 57600 or 115200)"},
        Bad{"/dev/ttyS0:card=4443", R"("card=4443": card is auto, cpu or a kind of memory card)"},
        Bad{"/dev/ttyS0:sams=9", R"("sams=9": sams is a number from 0 to 8)"},
        Bad{"/dev/ttyS0:sams=-1", R"("sams=-1": sams is a number from 0 to 8)"},
        Bad{"/dev/ttyS0:presence=never", R"("presence=never": presence is auto or always)"},
        Bad{"/dev/ttyS0:sams=1:sams=2", R"(there are two options "sams")"}));

}  // namespace
}  // namespace quorra::pcsc
