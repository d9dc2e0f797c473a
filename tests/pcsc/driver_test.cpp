// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The functions that pcscd calls, with a reader whose time costs nothing.

#include <PCSC/reader.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorra.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/entry/results.hpp"
#include "pcsc/slots/slot.hpp"
#include "tests/pcsc/modelled_reader.hpp"

namespace {

std::vector<std::string>& log_lines() {
  static std::vector<std::string> lines;
  return lines;
}

}  // namespace

// pcscd's.
extern "C" [[gnu::format(printf, 2, 3)]] void log_msg(int /*priority*/, const char* format, ...) {
  std::array<char, 500> line{};
  va_list arguments;
  va_start(arguments, format);
  static_cast<void>(std::vsnprintf(line.data(), line.size(), format, arguments));
  va_end(arguments);
  log_lines().emplace_back(line.data());
}

namespace quorra::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr DWORD card_slot = 0x30000;
constexpr DWORD first_sam = card_slot + 1;
constexpr std::clock_t between_looks = 400'000;

constexpr unsigned char exchange_command = 0x21;
constexpr unsigned char reset_command = 0x20;
constexpr unsigned char version_command = 0xB0;
constexpr unsigned char power_command = 0xB2;
constexpr unsigned char state_command = 0xB9;

class Driver : public ::testing::Test {
 protected:
  Driver() { log_lines().clear(); }
  ~Driver() override {
    for (DWORD slot = 0; slot < 9; ++slot) {
      IFDHCloseChannel(card_slot + slot);
    }
  }

  RESPONSECODE open(DWORD lun, const std::string& options = "") {
    std::string name = reader_.device() + options;
    return IFDHCreateChannelByName(lun, name.data());
  }

  // The card slot, with a card that has power.
  void open_with_power(const std::string& options = ":sams=0") {
    ASSERT_EQ(open(card_slot, options), IFD_SUCCESS);
    ASSERT_EQ(IFDHICCPresence(card_slot), IFD_ICC_PRESENT);
    ASSERT_EQ(power(card_slot, IFD_POWER_UP), reader_.answer_to_reset);
    reader_.requests();
  }

  // As pcscd looks, at its pace.
  RESPONSECODE look(DWORD lun = card_slot) {
    reader_.line().set_clock(reader_.line().now() + between_looks, 20'000);
    return IFDHICCPresence(lun);
  }

  // The answer to reset; empty if there is none.
  static Bytes power(DWORD lun, DWORD action) {
    Bytes atr(MAX_ATR_SIZE);
    DWORD length = MAX_ATR_SIZE;
    code_ = IFDHPowerICC(lun, action, atr.data(), &length);
    atr.resize(length);
    return atr;
  }

  static Bytes transmit(DWORD lun, Bytes command, DWORD room = 300) {
    Bytes answer(room);
    SCARD_IO_HEADER header{SCARD_PROTOCOL_T0, sizeof header};
    code_ = IFDHTransmitToICC(lun, header, command.data(), command.size(), answer.data(), &room,
                              &header);
    answer.resize(room);
    return answer;
  }

  static Bytes control(DWORD request, Bytes data, DWORD room = 300) {
    Bytes answer(room);
    DWORD length = 0;
    code_ = IFDHControl(card_slot, request, data.data(), data.size(), answer.data(), room, &length);
    answer.resize(length);
    return answer;
  }

  static Bytes capability(DWORD lun, DWORD tag, DWORD room = 100) {
    Bytes value(room);
    code_ = IFDHGetCapabilities(lun, tag, &room, value.data());
    value.resize(code_ == IFD_SUCCESS ? room : 0);
    return value;
  }

  ModelledReader reader_;
  static inline RESPONSECODE code_ = IFD_SUCCESS;
};

TEST_F(Driver, OpensAReaderThatIsOff) {
  reader_.is_on = false;
  EXPECT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(power(card_slot, IFD_POWER_UP), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, FindsAReaderThatIsSwitchedOn) {
  reader_.is_on = false;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  reader_.is_on = true;
  std::vector<RESPONSECODE> looks;
  for (int i = 0; i < 30; ++i) {
    looks.push_back(look());
  }
  EXPECT_EQ(looks.front(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(looks.back(), IFD_ICC_PRESENT);
}

TEST_F(Driver, OpensAReaderByItsConfigurationFile) {
  std::string name = reader_.line().configuration();
  ASSERT_EQ(IFDHCreateChannelByName(card_slot, name.data()), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(Driver, ReadsAConfigurationFileAgainWhenTheReaderIsNotThere) {
  const TemporaryDirectory folder;
  std::string name = folder / "reader.conf";
  write_file(name, "P=/dev/a-device-of-a-long-name-that-is-not-there\n");
  ASSERT_EQ(IFDHCreateChannelByName(card_slot, name.data()), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  write_file(name, "P=" + reader_.device() + "\n");
  RESPONSECODE last = IFD_ICC_NOT_PRESENT;
  for (int i = 0; i < 30; ++i) {
    last = look();
  }
  EXPECT_EQ(last, IFD_ICC_PRESENT);
}

TEST_F(Driver, RefusesAConfigurationFileWithoutADevice) {
  const TemporaryDirectory folder;
  std::string name = folder / "reader.conf";
  write_file(name, "W=\\033[5i\n");
  ASSERT_EQ(IFDHCreateChannelByName(card_slot, name.data()), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(log_lines(),
              ElementsAre("quorra: " + name + " has no line P= with the name of a serial device"));
  EXPECT_EQ(term_flg, 1);
}

TEST_F(Driver, RefusesAConfigurationFileThatNamesNoDevice) {
  const TemporaryDirectory folder;
  std::string name = folder / "reader.conf";
  write_file(name, "P=\n");
  ASSERT_EQ(IFDHCreateChannelByName(card_slot, name.data()), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(log_lines(),
              ElementsAre("quorra: " + name + " has no line P= with the name of a serial device"));
}

TEST_F(Driver, FindsNoReaderWhereNothingCanBeSent) {
  System::instance().before_write = [](const Bytes&) { return -1; };
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(log_lines(), ElementsAre(HasSubstr("no reader answers: ")));
  EXPECT_THAT(reader_.requests(), IsEmpty());
}

TEST_F(Driver, AsksAReaderWhoseAnswersAreSpoiltThreeTimes) {
  Bytes spoilt = reply(0, text(reader_.version));
  spoilt.back() ^= 0x01;
  reader_.instead[version_command] = spoilt;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(reader_.count(version_command), 3U);
  EXPECT_THAT(log_lines(), ElementsAre(HasSubstr("no reader answers: ")));
}

// The reader that answers behind a lost reply is not the one that the card was in.
TEST_F(Driver, TakesAnotherReaderForNoneOfTheSame) {
  open_with_power();
  reader_.version = "KWSPC-ELSE";
  reader_.spoil = {[](const Bytes&) { return Bytes{}; }};
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(reader_.count(version_command), 3U);
  EXPECT_THAT(log_lines().back(), HasSubstr("the reader is gone"));
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, AsksASilentReaderLessAndLessOften) {
  reader_.is_on = false;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  reader_.requests();
  const std::clock_t start = reader_.line().now();
  const std::clock_t minutes = std::clock_t{600} * CLOCKS_PER_SEC;
  while (reader_.line().now() < start + minutes) {
    EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  }
  // Eight seconds of pause, and four in which it might answer, in the end.
  EXPECT_GE(reader_.count(version_command), 40U);
  EXPECT_LE(reader_.count(version_command), 60U);
  EXPECT_THAT(log_lines(), ElementsAre(HasSubstr("no reader answers")));
}

TEST_F(Driver, SaysOnceThatTheReaderWasLost) {
  open_with_power();
  reader_.is_on = false;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  reader_.is_on = true;
  reader_.line().set_clock(reader_.line().now() + 2 * CLOCKS_PER_SEC, 20'000);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(power(card_slot, IFD_POWER_UP), reader_.answer_to_reset);
}

TEST_F(Driver, TakesNothingElseForTheReader) {
  reader_.spoil.clear();
  reader_.version.clear();
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, LocksTheDevice) {
  open_with_power();
  std::string name = reader_.device();
  EXPECT_EQ(IFDHCreateChannelByName(0x40000, name.data()), IFD_SUCCESS);
  EXPECT_EQ(IFDHICCPresence(0x40000), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(log_lines().back(), HasSubstr(name + " is in use by pcsc_tests"));
  EXPECT_EQ(IFDHCloseChannel(0x40000), IFD_SUCCESS);
}

TEST_F(Driver, RefusesABadName) {
  EXPECT_EQ(open(card_slot, ":speed=1"), IFD_COMMUNICATION_ERROR);
  EXPECT_THAT(log_lines(), ElementsAre(HasSubstr("\"speed=1\": speed is 9600")));
  EXPECT_EQ(IFDHICCPresence(card_slot), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHCreateChannelByName(card_slot, nullptr), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHCreateChannel(card_slot, 0), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHCloseChannel(card_slot), IFD_COMMUNICATION_ERROR);
}

TEST_F(Driver, TellsWhetherThereIsACard) {
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  reader_.has_card = false;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  reader_.has_card = true;
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(Driver, MayTakeACardForGranted) {
  reader_.has_card = false;
  ASSERT_EQ(open(card_slot, ":presence=always"), IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  reader_.is_on = false;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, KnowsASwappedCardByItsLostPower) {
  open_with_power();
  reader_.has_power = false;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(Driver, KeepsACardWhoseAnswerToOneLookIsLost) {
  open_with_power();
  reader_.line().answer_with([this, first = true](const Bytes&) mutable {
    return std::exchange(first, false) ? hex("00") : reply(0, text(reader_.version));
  });
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

// Some readers do not tell whether the card has power.
TEST_F(Driver, KeepsACardWherePowerIsNotTold) {
  reader_.instead[state_command] = reply(0, {1});
  open_with_power();
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  EXPECT_EQ(transmit(card_slot, hex("00 A4 00 00")), hex("90 00"));
}

TEST_F(Driver, GivesACardWithoutAnAnswerNoMemoryWhereItsNameSaysProcessorCard) {
  reader_.instead[reset_command] = reply(0, {});
  ASSERT_EQ(open(card_slot, ":sams=0:card=cpu"), IFD_SUCCESS);
  ASSERT_EQ(look(), IFD_ICC_PRESENT);
  reader_.requests();
  EXPECT_THAT(power(card_slot, IFD_POWER_UP), IsEmpty());
  EXPECT_EQ(code_, IFD_ERROR_POWER_ACTION);
  EXPECT_EQ(reader_.requests().size(), 1U) << "it is not read as a memory card";
}

TEST_F(Driver, KnowsNoProtocolWithoutACard) {
  ASSERT_EQ(open(card_slot, ":sams=0"), IFD_SUCCESS);
  EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_T0, 0, 0, 0, 0),
            IFD_PROTOCOL_NOT_SUPPORTED);
}

TEST_F(Driver, PowersTheCardOff) {
  open_with_power();
  EXPECT_THAT(capability(card_slot, TAG_IFD_ATR), reader_.answer_to_reset);
  EXPECT_THAT(power(card_slot, IFD_POWER_DOWN), IsEmpty());
  EXPECT_EQ(code_, IFD_SUCCESS);
  EXPECT_FALSE(reader_.has_power);
  EXPECT_THAT(capability(card_slot, TAG_IFD_ATR), IsEmpty());
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, ClosesTheCardBeforeTheLine) {
  open_with_power();
  EXPECT_EQ(IFDHCloseChannel(card_slot), IFD_SUCCESS);
  EXPECT_FALSE(reader_.has_power);
}

TEST_F(Driver, AcceptsTheProtocolThatTheCardNamesFirst) {
  struct Case {
    const char* answer_to_reset;
    RESPONSECODE t0;
    RESPONSECODE t1;
  };
  for (const auto& [answer, t0, t1] :
       {Case{"3B 06 51 55 4F 52 52 41", IFD_SUCCESS, IFD_PROTOCOL_NOT_SUPPORTED},
        Case{"3B 80 80 01 01", IFD_SUCCESS, IFD_PROTOCOL_NOT_SUPPORTED},
        Case{"3B 80", IFD_SUCCESS, IFD_PROTOCOL_NOT_SUPPORTED},  // cut: nothing is named
        Case{"3B 80 01 81", IFD_PROTOCOL_NOT_SUPPORTED, IFD_SUCCESS},
        Case{"3B 80 0E 8E", IFD_PROTOCOL_NOT_SUPPORTED, IFD_PROTOCOL_NOT_SUPPORTED}}) {
    reader_.answer_to_reset = hex(answer);
    open_with_power();
    EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_T0, 0, 0, 0, 0), t0);
    EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_T1, 0, 0, 0, 0), t1);
    EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_RAW, 0, 0, 0, 0),
              IFD_PROTOCOL_NOT_SUPPORTED);
    IFDHCloseChannel(card_slot);
  }
}

TEST_F(Driver, BringsACommandInOneFrame) {
  open_with_power();
  reader_.card = [](const Bytes&) { return hex("6F 00 90 00"); };
  EXPECT_EQ(transmit(card_slot, hex("00 A4 00 00 02 3F 00")), hex("6F 00 90 00"));
  EXPECT_EQ(code_, IFD_SUCCESS);
  EXPECT_THAT(reader_.requests(),
              ElementsAre(to_hex(sealed("AA 21 80 0C 20 00 00 00 00 00 A4 00 00 02 3F 00"))));
}

TEST_F(Driver, LeavesStatusWordsAsTheyAre) {
  open_with_power();
  for (const char* words : {"61 10", "6C 20", "63 C2", "90 00"}) {
    reader_.card = [words](const Bytes&) { return hex(words); };
    EXPECT_EQ(transmit(card_slot, hex("00 B0 00 00 00")), hex(words));
  }
  EXPECT_EQ(reader_.count(exchange_command), 4U);
}

TEST_F(Driver, SendsWhatAFrameCarries) {
  open_with_power();
  Bytes command = hex("00 D6 00 00 F5") + counting(245);
  EXPECT_EQ(transmit(card_slot, command), hex("90 00"));
  EXPECT_EQ(reader_.count(exchange_command), 1U);
  command = hex("00 D6 00 00 F6") + counting(246);
  EXPECT_EQ(transmit(card_slot, command), hex("67 00"));
  EXPECT_EQ(transmit(card_slot, hex("00 B0 00 00 00 01 00")), hex("67 00"));
  command = hex("00 D6 00 00 FF") + counting(257);
  EXPECT_EQ(transmit(card_slot, command), hex("67 00"));
  EXPECT_EQ(code_, IFD_SUCCESS);
  EXPECT_EQ(reader_.count(exchange_command), 1U);
}

// It says that it speaks in blocks, and does not.
TEST_F(Driver, SaysThatACardDoesNotBeginItsBlocksAnew) {
  reader_.answer_to_reset = hex("3B 80 01 81");
  open_with_power();
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
  reader_.requests();
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(reader_.count(exchange_command), 1U) << "the command is not sent";
  EXPECT_THAT(log_lines().back(), HasSubstr("the card does not begin its blocks anew"));
}

TEST_F(Driver, SaysThatTheBufferIsTooSmall) {
  open_with_power();
  EXPECT_EQ(transmit(card_slot, hex("00 A4 00 00"), 2), hex("90 00"));
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00"), 1), IsEmpty());
  EXPECT_EQ(code_, IFD_ERROR_INSUFFICIENT_BUFFER);
}

struct Spoilt {
  const char* name;
  Bytes (*spoil)(Bytes reply);
  RESPONSECODE code;
};

class SpoiltReply : public Driver, public ::testing::WithParamInterface<Spoilt> {};

// The command is not repeated, and the next one gets its own answer.
TEST_P(SpoiltReply, IsAnErrorOfOneCommand) {
  open_with_power();
  int attempts_left = 3;
  reader_.card = [&](const Bytes& command) {
    if (command[1] != 0x20) return hex("12 34 90 00");
    --attempts_left;
    return hex("63 C2");
  };
  reader_.spoil = {GetParam().spoil};
  EXPECT_THAT(transmit(card_slot, hex("00 20 00 01 04 31 31 31 31")), IsEmpty());
  EXPECT_EQ(code_, GetParam().code);
  EXPECT_EQ(attempts_left, 2);
  EXPECT_EQ(reader_.count(exchange_command), 1U);
  EXPECT_EQ(transmit(card_slot, hex("00 B0 00 00 02")), hex("12 34 90 00"));
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

INSTANTIATE_TEST_SUITE_P(
    All, SpoiltReply,
    ::testing::Values(
        Spoilt{"Silence", [](Bytes) { return Bytes{}; }, IFD_RESPONSE_TIMEOUT},
        Spoilt{"Short", [](Bytes reply) { return reply.pop_back(), reply; }, IFD_RESPONSE_TIMEOUT},
        Spoilt{"WrongStart", [](Bytes reply) { return reply[0] = 0xAA, reply; },
               IFD_COMMUNICATION_ERROR},
        Spoilt{"WrongCheck", [](Bytes reply) { return reply.back() ^= 0xFFU, reply; },
               IFD_COMMUNICATION_ERROR},
        Spoilt{"Noise", [](Bytes reply) { return hex("C3") + reply; }, IFD_COMMUNICATION_ERROR},
        Spoilt{"Refusal", [](Bytes) { return reply(0x22, {}); }, IFD_COMMUNICATION_ERROR},
        Spoilt{"NoStatusWords", [](Bytes) { return reply(0, hex("90")); },
               IFD_COMMUNICATION_ERROR}),
    [](const auto& spoilt) { return spoilt.param.name; });

TEST_F(Driver, DropsWhatComesBetweenTwoCommands) {
  open_with_power();
  reader_.spoil = {[](const Bytes& reply) { return reply + hex("55 00 00 02 90 00 C7"); }};
  EXPECT_EQ(transmit(card_slot, hex("00 A4 00 00")), hex("90 00"));
  reader_.card = [](const Bytes&) { return hex("6A 82"); };
  EXPECT_EQ(transmit(card_slot, hex("00 A4 00 00")), hex("6A 82"));
}

TEST_F(Driver, SaysThatTheCardWasPulled) {
  open_with_power();
  reader_.has_card = reader_.has_power = false;
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  // Also if another one is there when pcscd looks.
  reader_.has_card = true;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(Driver, SaysThatTheCardWasPulledOnceMore) {
  open_with_power();
  reader_.has_card = reader_.has_power = false;
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  reader_.has_card = true;
  EXPECT_EQ(power(card_slot, IFD_POWER_UP), reader_.answer_to_reset);
  reader_.has_card = reader_.has_power = false;
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  reader_.has_card = true;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  look();  // the second one may be told, too
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(Driver, SaysThatTheReaderIsGoneDuringACommand) {
  open_with_power();
  reader_.is_on = false;
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_RESPONSE_TIMEOUT);
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
}

class DriverWithSams : public Driver {
 protected:
  DriverWithSams() { reader_.sams = {{1, hex("3B 01 AA")}, {3, hex("3B 01 BB")}}; }
};

TEST_F(DriverWithSams, HasASlotForEachThatAnswers) {
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{3});
  ASSERT_EQ(open(first_sam), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  EXPECT_EQ(look(first_sam), IFD_ICC_PRESENT);
  EXPECT_EQ(power(first_sam, IFD_POWER_UP), hex("3B 01 AA"));
  EXPECT_EQ(power(first_sam + 1, IFD_POWER_UP), hex("3B 01 BB"));
}

TEST_F(DriverWithSams, HasAsManySlotsAsItIsTold) {
  ASSERT_EQ(open(card_slot, ":sams=2"), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{3});
  ASSERT_EQ(open(first_sam), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  EXPECT_EQ(look(first_sam), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(first_sam + 1), IFD_ICC_PRESENT);
}

TEST_F(DriverWithSams, LooksForNoMoreIfTheReaderSaysNothing) {
  reader_.ignored = 0x23;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{1});
  EXPECT_EQ(reader_.count(0x23), 1U);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
}

TEST_F(DriverWithSams, LooksForNoMoreIfTheReaderCannotGiveThemPower) {
  reader_.instead[power_command] = reply(0x05, {});
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{1});
  EXPECT_EQ(reader_.count(0xB3), 0U) << "nothing has power that would have to go";
}

TEST_F(DriverWithSams, ReaderThatGoesWhileTheyAreLookedForHasNone) {
  reader_.last = 0x23;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{1});
  EXPECT_THAT(log_lines().back(), HasSubstr("the reader is gone"));
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
}

TEST_F(DriverWithSams, OneWithoutAnAnswerToResetGetsNoPower) {
  reader_.sams[1] = {};
  ASSERT_EQ(open(card_slot, ":sams=2"), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  EXPECT_EQ(look(first_sam + 1), IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(power(first_sam + 1, IFD_POWER_UP), IsEmpty());
  EXPECT_EQ(code_, IFD_ERROR_POWER_ACTION);
}

// What was in its slot when the reader went may be another one when it is back.
TEST_F(DriverWithSams, AreLookedForAgainWhenTheReaderIsBack) {
  ASSERT_EQ(open(card_slot, ":sams=2"), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam), IFD_SUCCESS);
  EXPECT_EQ(look(first_sam), IFD_ICC_NOT_PRESENT);
  reader_.is_on = false;
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(first_sam), IFD_ICC_NOT_PRESENT);
  reader_.sams[0] = hex("3B 01 CC");
  reader_.is_on = true;
  RESPONSECODE last = IFD_ICC_NOT_PRESENT;
  for (int i = 0; i < 30; ++i) {
    last = look(first_sam);
  }
  EXPECT_EQ(last, IFD_ICC_PRESENT);
}

// The other slot has found the reader again; this one has not told pcscd yet that its card is gone.
TEST_F(DriverWithSams, CardOfAReaderThatWasFoundAgainIsGone) {
  ASSERT_EQ(open(card_slot, ":sams=2"), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  ASSERT_EQ(look(), IFD_ICC_PRESENT);
  ASSERT_EQ(power(card_slot, IFD_POWER_UP), reader_.answer_to_reset);
  reader_.is_on = false;
  EXPECT_EQ(look(first_sam + 1), IFD_ICC_NOT_PRESENT);
  power(first_sam + 1, IFD_POWER_UP);
  reader_.is_on = true;
  for (int i = 0; i < 30; ++i) {
    look(first_sam + 1);
  }
  reader_.requests();
  EXPECT_THAT(transmit(card_slot, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(power(card_slot, IFD_POWER_UP), IsEmpty());
  EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT);
  EXPECT_THAT(reader_.requests(), IsEmpty());
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(look(), IFD_ICC_PRESENT);
  EXPECT_EQ(power(card_slot, IFD_POWER_UP), reader_.answer_to_reset);
}

TEST_F(DriverWithSams, SelectsOnlyWhenItChanges) {
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  power(first_sam, IFD_POWER_UP);
  power(first_sam + 1, IFD_POWER_UP);
  reader_.requests();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(transmit(first_sam + 1, hex("00 A4 00 00")), hex("03 90 00"));
  }
  EXPECT_EQ(reader_.count(0x23), 0U);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(transmit(first_sam, hex("00 A4 00 00")), hex("01 90 00"));
  }
  EXPECT_EQ(reader_.count(0x23), 1U);
}

TEST_F(DriverWithSams, KeepsTheOthersWhenOneIsPoweredDown) {
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam + 1), IFD_SUCCESS);
  power(first_sam, IFD_POWER_UP);
  power(first_sam + 1, IFD_POWER_UP);
  reader_.requests();
  power(first_sam, IFD_POWER_DOWN);
  EXPECT_EQ(reader_.count(0xB3), 0U);
  EXPECT_EQ(transmit(first_sam + 1, hex("00 A4 00 00")), hex("03 90 00"));
  power(first_sam + 1, IFD_POWER_DOWN);
  EXPECT_EQ(reader_.count(0xB3), 1U);
}

TEST_F(Driver, TellsItsFeatures) {
  open_with_power();
  EXPECT_EQ(control(CM_IOCTL_GET_FEATURE_REQUEST, {}), hex("12 04 42 00 00 12 13 04 42 00 00 01"));
  EXPECT_EQ(control(SCARD_CTL_CODE(FEATURE_GET_TLV_PROPERTIES), {}),
            hex("01 02 00 00 08 0A") + text("KWSPC-TEST") + hex("09 01 00 0A 04 00 01 00 00"));
}

TEST_F(Driver, PassesHarmlessRequestsToTheReader) {
  open_with_power();
  constexpr DWORD escape = SCARD_CTL_CODE(1);
  EXPECT_EQ(control(escape, hex("B0")), text("KWSPC-TEST"));
  EXPECT_EQ(control(escape, hex("B9")), hex("03"));
  EXPECT_EQ(control(escape, hex("B7 00 10 04")), hex("10 11 12 13"));
  EXPECT_THAT(control(escape, hex("B4 05")), IsEmpty());
  EXPECT_EQ(code_, IFD_SUCCESS);
  EXPECT_THAT(control(escape, hex("B8")), IsEmpty());
  EXPECT_EQ(code_, IFD_SUCCESS);
  EXPECT_EQ(look(), IFD_ICC_NOT_PRESENT);
}

TEST_F(Driver, RefusesOtherRequests) {
  open_with_power();
  constexpr DWORD escape = SCARD_CTL_CODE(1);
  for (const char* request : {"", "B6 00 00 01 00", "B1 00", "21 00", "60", "B7 00 10", "B0 00"}) {
    EXPECT_THAT(control(escape, hex(request)), IsEmpty()) << request;
    EXPECT_EQ(code_, IFD_ERROR_NOT_SUPPORTED) << request;
  }
  control(SCARD_CTL_CODE(2), {});
  EXPECT_EQ(code_, IFD_ERROR_NOT_SUPPORTED);
  control(escape, hex("B0"), 9);
  EXPECT_EQ(code_, IFD_ERROR_INSUFFICIENT_BUFFER);
  EXPECT_THAT(reader_.requests(), IsEmpty());
}

TEST_F(Driver, SaysThatTheReaderRefusesARequest) {
  open_with_power();
  reader_.instead[state_command] = reply(0x05, {});
  EXPECT_THAT(control(SCARD_CTL_CODE(1), hex("B9")), IsEmpty());
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
}

TEST_F(Driver, DoesNotReadBehindTheApplicationsPartOfTheReadersMemory) {
  open_with_power();
  control(SCARD_CTL_CODE(1), hex("B7 01 7F 02"));
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(reader_.count(0xB7), 0U);
}

TEST_F(Driver, TellsItsCapabilities) {
  open_with_power();
  EXPECT_EQ(capability(card_slot, TAG_IFD_SIMULTANEOUS_ACCESS), Bytes{16});
  EXPECT_EQ(capability(card_slot, TAG_IFD_THREAD_SAFE), Bytes{1});
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOTS_NUMBER), Bytes{1});
  EXPECT_EQ(capability(card_slot, TAG_IFD_SLOT_THREAD_SAFE), Bytes{0});
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_ATR_STRING), reader_.answer_to_reset);
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_VENDOR_NAME), text("quorra") + hex("00"));
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_VENDOR_IFD_VERSION), hex("00 00 01 00"));
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_VENDOR_IFD_SERIAL_NO), counting(16, 0x90));
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_ICC_INTERFACE_STATUS), Bytes{1});
  capability(card_slot, TAG_IFD_ATR, 7);
  EXPECT_EQ(code_, IFD_ERROR_INSUFFICIENT_BUFFER);
  capability(card_slot, TAG_IFD_POLLING_THREAD_WITH_TIMEOUT);
  EXPECT_EQ(code_, IFD_ERROR_TAG);
  EXPECT_EQ(IFDHSetCapabilities(card_slot, TAG_IFD_ATR, 0, nullptr), IFD_NOT_SUPPORTED);
}

TEST_F(Driver, HasNoSerialNumberWithoutAReader) {
  reader_.is_on = false;
  ASSERT_EQ(open(card_slot), IFD_SUCCESS);
  EXPECT_EQ(capability(card_slot, SCARD_ATTR_VENDOR_IFD_SERIAL_NO), Bytes(16, 0));
}

TEST_F(Driver, HasOnlyItsOwnSlots) {
  ASSERT_EQ(open(card_slot, ":sams=0"), IFD_SUCCESS);
  ASSERT_EQ(open(first_sam, ":sams=0"), IFD_SUCCESS);
  EXPECT_EQ(IFDHICCPresence(first_sam), IFD_COMMUNICATION_ERROR);
}

TEST(ResultsForPcscd, AreErrorsWhateverIsThrown) {
  const pcsc::Link link(pcsc::parse_device_name("/dev/null"));
  EXPECT_EQ(pcsc::response_code(link, std::bad_alloc()), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(pcsc::response_code(link, pcsc::NoCard()), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(pcsc::response_code(link, pcsc::ReaderGone("", -132)), IFD_RESPONSE_TIMEOUT);
  EXPECT_EQ(link.handle(), -1) << "it was not opened";
}

TEST_F(Driver, RefusesWhatIsMissing) {
  open_with_power();
  SCARD_IO_HEADER header{};
  DWORD length = 10;
  Bytes bytes(10);
  EXPECT_EQ(IFDHTransmitToICC(card_slot, header, nullptr, 1, bytes.data(), &length, &header),
            IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHTransmitToICC(card_slot, header, bytes.data(), 1, nullptr, &length, &header),
            IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHTransmitToICC(card_slot, header, bytes.data(), 1, bytes.data(), nullptr, &header),
            IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHPowerICC(card_slot, IFD_POWER_UP, nullptr, &length), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHPowerICC(card_slot, IFD_POWER_UP, bytes.data(), nullptr), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHPowerICC(card_slot, 0, bytes.data(), &length), IFD_NOT_SUPPORTED);
  EXPECT_EQ(IFDHGetCapabilities(card_slot, TAG_IFD_ATR, nullptr, bytes.data()),
            IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHGetCapabilities(card_slot, TAG_IFD_ATR, &length, nullptr), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(IFDHControl(card_slot, CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, nullptr, 10, &length),
            IFD_ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(length, 0U);
  length = 10;
  EXPECT_EQ(IFDHControl(card_slot, 1, nullptr, 0, nullptr, 0, nullptr), IFD_COMMUNICATION_ERROR);
  EXPECT_THAT(transmit(card_slot + 1, hex("00 A4 00 00")), IsEmpty());
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
}

}  // namespace
}  // namespace quorra::testing
