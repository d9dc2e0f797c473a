// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <quorra.h>

#include <climits>
#include <cstring>
#include <string>

#include "tests/support/operation.hpp"

namespace quorra::testing {
namespace {

constexpr std::clock_t second = 1'000'000;

class Identity : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, Identity, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST(Header, TellsTheVersionOfThePackage) {
  EXPECT_EQ(std::to_string(QUORRA_VERSION_MAJOR) + "." + std::to_string(QUORRA_VERSION_MINOR) +
                "." + std::to_string(QUORRA_VERSION_PATCH),
            QUORRA_VERSION);
}

TEST(LibVer, CopiesTheTextWithoutASession) {
  char text[20];
  std::memset(text, '#', sizeof text);
  EXPECT_EQ(lib_ver(text), 0);
  EXPECT_EQ(std::memcmp(text, "KW###DRVSFT-V6.60B\0#", 20), 0);
  EXPECT_EQ(lib_ver(nullptr), -143);
}

const Exchange serial_number = {hex("AA B7 00 07 80 00 00 01 90 00 10 1B"),
                                sealed("55 00 00 10 "
                                       "31 32 33 34 35 36 37 38 39 41 42 43 44 45 46 47")};

TEST_P(Identity, ReadsTheSerialNumber) {
  Bytes serial(17, 0xEE);
  const Operation operation{
      "srd_snr", [&](int handle) { return srd_snr(handle, 16, serial.data()); }, {serial_number}};
  expect_result(operation, GetParam(), 0);
  EXPECT_EQ(serial, text("123456789ABCDEFG") + hex("EE"));

  serial.assign(17, 0xEE);
  expect_failures(operation, GetParam());
  EXPECT_EQ(serial, Bytes(17, 0xEE)) << "a failure leaves the buffer alone";
}

TEST_P(Identity, CopiesSixteenBytesWhateverLenTheReplyHad) {
  Bytes serial;
  const auto read = [&](const Bytes& data) {
    serial.assign(17, 0xEE);
    const Operation operation{"srd_snr",
                              [&](int handle) { return srd_snr(handle, 16, serial.data()); },
                              {{serial_number.request, reply(0, data)}}};
    expect_result(operation, GetParam(), 0);
    return serial;
  };
  EXPECT_EQ(read({}), Bytes(16, 0) + hex("EE"));
  EXPECT_EQ(read(hex("41 42 43")), hex("41 42 43") + Bytes(13, 0) + hex("EE"));
  EXPECT_EQ(read(counting(17)), counting(16) + hex("EE"));
  EXPECT_EQ(read(counting(255)), counting(16) + hex("EE"));
}

TEST(SrdSnr, TakesNoOtherLength) {
  Bytes serial(16);
  for (const int length : {8, 15, 17, 0, -16, 272, INT_MIN, INT_MAX}) {
    expect_refusal(-143, [&](int handle) { return srd_snr(handle, length, serial.data()); });
  }
  expect_refusal(-143, [](int handle) { return srd_snr(handle, 16, nullptr); });
}

const Exchange status_exchange = {hex("AA B9 00 05 80 00 00 00 00 96"), sealed("55 00 00 01 01")};

class Status : public ::testing::TestWithParam<Mode> {};

INSTANTIATE_TEST_SUITE_P(, Status, ::testing::Values(Mode::direct, Mode::terminal),
                         [](const auto& row) { return name_of(row.param); });

TEST_P(Status, IsZeroWhateverTheReaderReports) {
  for (const Bytes& report : {reply(0, {}), reply(0, hex("07")), reply(0x86, {}),
                              reply(0x89, hex("FF")), reply(0xFF, counting(255))}) {
    for (const auto& get : {get_status, get_status0}) {
      int value = 4711;
      const Operation operation{"get_status",
                                [&](int handle) { return get(handle, &value); },
                                {{status_exchange.request, report}}};
      expect_result(operation, GetParam(), 0);
      EXPECT_EQ(value, 0);
    }
  }
}

struct Answer {
  Bytes bytes;
  int code;
};

const Answer silence{{}, -132};
const Answer wrong_start{hex("54"), -128};
const Answer wrong_check{hex("55 00 00 00 54"), -133};
const Answer good{hex("55 00 00 00 55"), 0};

// Calls get_status or get_status0 against a reader that gives these answers.
int ask(Mode mode, int (*get)(int, int*), const std::vector<Answer>& answers, int* value) {
  Operation operation{"get_status", [&](int handle) { return get(handle, value); }, {}};
  for (const Answer& answer : answers)
    operation.exchanges.push_back({status_exchange.request, answer.bytes});
  int result = 4711;
  const auto call = operation.call;
  operation.call = [&](int handle) { return (result = call(handle), 0); };
  expect_result(operation, mode, 0);
  return result;
}

TEST_P(Status, IsAskedUpToFourTimes) {
  int value = 4711;
  EXPECT_EQ(ask(GetParam(), get_status, {silence, silence, silence, silence}, &value), -132);
  EXPECT_EQ(ask(GetParam(), get_status, {silence, wrong_start, silence, wrong_check}, &value),
            -133);
  EXPECT_EQ(ask(GetParam(), get_status, {wrong_check, silence, silence, wrong_start}, &value),
            -128);
  EXPECT_EQ(value, 4711) << "a failure leaves the value alone";
  EXPECT_EQ(ask(GetParam(), get_status, {silence, wrong_start, wrong_check, good}, &value), 0);
  EXPECT_EQ(value, 0);
  value = 4711;
  EXPECT_EQ(ask(GetParam(), get_status, {wrong_start, good}, &value), 0);
  EXPECT_EQ(value, 0);
}

TEST_P(Status, IsAskedOnceByGetStatus0) {
  int value = 4711;
  EXPECT_EQ(ask(GetParam(), get_status0, {silence}, &value), -132);
  EXPECT_EQ(ask(GetParam(), get_status0, {wrong_start}, &value), -128);
  EXPECT_EQ(ask(GetParam(), get_status0, {wrong_check}, &value), -133);
  EXPECT_EQ(value, 4711);
}

TEST(GetStatus, CountsAFailedTransmissionAsAnAttempt) {
  for (const auto& [get, attempts] : {std::pair{&get_status, 4}, std::pair{&get_status0, 1}}) {
    ScriptedReader reader;
    const int handle = reader.init0();
    int failed = 0;
    System::instance().before_write = [&](const Bytes&) {
      ++failed;
      return std::optional<ssize_t>(-1);
    };
    int value = 4711;
    EXPECT_EQ(get(handle, &value), -129);
    EXPECT_EQ(failed, attempts);
    EXPECT_EQ(value, 4711);

    if (attempts == 4) {
      failed = 0;
      System::instance().before_write = [&](const Bytes&) {
        return ++failed <= 3 ? std::optional<ssize_t>(-1) : std::nullopt;
      };
      reader.expect(status_exchange.request).answer(status_exchange.reply);
      EXPECT_EQ(get(handle, &value), 0);
      EXPECT_EQ(value, 0);
    }
    System::instance().before_write = nullptr;
    ic_exit(handle);
  }
}

TEST(GetStatus, WaitsFourTimesForAReaderThatIsNotThere) {
  ScriptedReader reader;
  const int handle = reader.init0();
  for (int i = 0; i < 4; ++i)
    reader.expect(status_exchange.request);
  reader.set_step(second / 4);
  const std::clock_t start = reader.now();
  int value = 0;
  EXPECT_EQ(get_status(handle, &value), -132);
  // The start of each wait is one reading of the clock, and so one step more.
  EXPECT_EQ(reader.now() - start, 4 * (4 * second + second / 4));
  ic_exit(handle);
}

TEST(GetStatus, NeedsAPlaceForTheValue) {
  expect_refusal(-143, [](int handle) { return get_status(handle, nullptr); });
  expect_refusal(-143, [](int handle) { return get_status0(handle, nullptr); });
}

struct Beep {
  int t;
  unsigned char sent;
  std::clock_t wait;
};

constexpr Beep beeps[] = {
    {-7, 2, 0},         {INT_MIN, 2, 0},    {-1, 2, 0},         {0, 0, 0},
    {4, 4, 0},          {5, 5, 1000},       {12, 12, 2000},     {254, 254, 50'000},
    {255, 255, 51'000}, {256, 255, 51'000}, {300, 255, 51'000}, {INT_MAX, 255, 51'000},
};

Exchange beep_exchange(unsigned char t) {
  return {sealed(hex("AA B4 00 07 80 00 00 00 00 00") + Bytes{t}), sealed("55 00 00 00")};
}

TEST_P(Identity, SoundsTheBuzzer) {
  for (const Beep& beep : beeps) {
    const Operation operation{"dv_beep " + std::to_string(beep.t),
                              [&](int handle) { return dv_beep(handle, beep.t); },
                              {beep_exchange(beep.sent)}};
    expect_result(operation, GetParam(), 0);
  }
  expect_failures(
      {"dv_beep 12", [](int handle) { return dv_beep(handle, 12); }, {beep_exchange(12)}},
      GetParam());
}

TEST(DvBeep, SendsALiteralFrame) {
  expect_result({"dv_beep -7",
                 [](int handle) { return dv_beep(handle, -7); },
                 {{hex("AA B4 00 07 80 00 00 00 00 00 02 9B"), hex("55 00 00 00 55")}}},
                Mode::direct, 0);
}

TEST(DvBeep, WaitsBeforeItReadsTheReply) {
  constexpr std::clock_t step = 50;
  for (const Beep& beep : beeps) {
    ScriptedReader reader;
    const int handle = reader.init0();
    const Exchange exchange = beep_exchange(beep.sent);
    reader.expect(exchange.request).answer(exchange.reply);
    reader.set_step(step);
    System::instance().clock_readings = 0;
    long readings_before_reading = 0;
    System::instance().before_read = [&] {
      if (readings_before_reading == 0) {
        readings_before_reading = System::instance().clock_readings;
      }
      return std::optional<ssize_t>();
    };
    EXPECT_EQ(dv_beep(handle, beep.t), 0);
    // The delay reads the clock at its start and then until more than its ticks went by; the wait
    // for the first byte reads it once more.
    EXPECT_EQ(readings_before_reading, 1 + beep.wait / step + 1 + 1) << beep.t;
    System::instance().before_read = nullptr;
    ic_exit(handle);
  }
}

TEST(DvBeep, WaitsFourSecondsForTheReplyAfterThat) {
  ScriptedReader reader;
  const int handle = reader.init0();
  const Exchange exchange = beep_exchange(255);
  reader.set_step(1000);
  reader.expect(exchange.request).answer_after(51'000 + 4 * second - 5000, exchange.reply);
  EXPECT_EQ(dv_beep(handle, 255), 0);
  reader.expect(exchange.request);
  EXPECT_EQ(dv_beep(handle, 255), -132);
  ic_exit(handle);
}

struct Control {
  const char* name;
  int (*call)(int handle);
  const char* request;
};

void PrintTo(const Control& control, std::ostream* stream) { *stream << control.name; }

class CardControl : public ::testing::TestWithParam<Control> {};

INSTANTIATE_TEST_SUITE_P(
    , CardControl,
    ::testing::Values(Control{"turn_on", turn_on, "AA B2 00 05 80 00 00 00 00 9D"},
                      Control{"turn_off", turn_off, "AA B3 00 05 80 00 00 00 00 9C"},
                      Control{"auto_pull", auto_pull, "AA B8 00 05 80 00 00 00 00 97"}),
    [](const auto& row) { return row.param.name; });

TEST_P(CardControl, SendsItsCommandAndReturnsTheNegatedStatus) {
  const Operation operation{
      GetParam().name, GetParam().call, {{hex(GetParam().request), hex("55 00 00 00 55")}}};
  for (const Mode mode : {Mode::direct, Mode::terminal}) {
    expect_result(operation, mode, 0);
    expect_failures(operation, mode);
  }
}

TEST_P(CardControl, ReturnsEachStatusNegated) {
  for (int status = 0; status < 256; ++status) {
    expect_result({GetParam().name,
                   GetParam().call,
                   {{hex(GetParam().request), reply(static_cast<unsigned char>(status), {})}}},
                  Mode::direct, -status);
  }
}

}  // namespace
}  // namespace quorra::testing
