// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The functions that pcscd calls, with cards in the virtual reader.

#include <PCSC/reader.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "pcsc/entry/ifdhandler.hpp"
#include "tests/pcsc/memory_bench.hpp"

namespace quorra::testing {
namespace {

constexpr DWORD card_slot = 0x50000;
constexpr DWORD sam_slot = card_slot + 1;

class VirtualDriver : public ::testing::Test {
 protected:
  ~VirtualDriver() override {
    IFDHCloseChannel(sam_slot);
    IFDHCloseChannel(card_slot);
  }

  void start_reader() {
    simulator::Options options;
    options.configuration = folder_ / "reader.conf";
    reader_ = std::make_unique<simulator::RunningReader>(options);
  }

  // A reader with this card, opened with these words behind its name.
  void open(const simulator::Image& card, const std::string& words = ":sams=0") {
    if (!reader_) start_reader();
    save_image(card, folder_ / "card");
    (**reader_).insert(folder_ / "card");
    std::string name = (folder_ / "reader.conf") + words;
    ASSERT_EQ(IFDHCreateChannelByName(card_slot, name.data()), IFD_SUCCESS);
    ASSERT_EQ(IFDHICCPresence(card_slot), IFD_ICC_PRESENT);
  }

  // The answer to reset, or what went wrong.
  Bytes power_up(DWORD slot = card_slot) {
    Bytes atr(MAX_ATR_SIZE);
    DWORD length = atr.size();
    code_ = IFDHPowerICC(slot, IFD_POWER_UP, atr.data(), &length);
    atr.resize(length);
    return atr;
  }

  std::string send(const std::string& command) {
    Bytes bytes = hex(command);
    Bytes answer(300);
    DWORD length = answer.size();
    SCARD_IO_HEADER header{SCARD_PROTOCOL_T1, sizeof header};
    code_ = IFDHTransmitToICC(card_slot, header, bytes.data(), bytes.size(), answer.data(), &length,
                              &header);
    answer.resize(length);
    return to_hex(answer);
  }

  Bytes capability(DWORD tag) {
    Bytes value(100);
    DWORD length = value.size();
    code_ = IFDHGetCapabilities(card_slot, tag, &length, value.data());
    value.resize(length);
    return value;
  }

  void spoil_exchanges(unsigned times) {
    simulator::Fault fault;
    fault.kind = simulator::FaultKind::wrong_check;
    fault.on = 0x21;
    fault.times = times;
    (**reader_).arm(fault);
  }

  TemporaryDirectory folder_;
  std::unique_ptr<simulator::RunningReader> reader_;
  RESPONSECODE code_ = IFD_SUCCESS;
};

TEST_F(VirtualDriver, CarriesOutCommandsForMemoryCards) {
  for (const char* kind : {"4442", "4428", "24c01a", "93c66", "45d041", "1604"}) {
    open(new_card(kind));
    EXPECT_EQ(capability(SCARD_ATTR_ICC_INTERFACE_STATUS), Bytes{0});
    EXPECT_EQ(to_hex(power_up()).substr(0, 2), "3B") << kind;
    EXPECT_EQ(capability(SCARD_ATTR_ICC_INTERFACE_STATUS), Bytes{1});
    // It takes commands in any protocol.
    EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_T0, 0, 0, 0, 0), IFD_SUCCESS);
    EXPECT_EQ(IFDHSetProtocolParameters(card_slot, SCARD_PROTOCOL_T1, 0, 0, 0, 0), IFD_SUCCESS);
    const std::string name(kind);
    EXPECT_EQ(send("FF CA 01 00 00"), to_hex(Bytes(name.begin(), name.end())) + " 90 00");
    Bytes atr(MAX_ATR_SIZE);
    DWORD length = atr.size();
    EXPECT_EQ(IFDHPowerICC(card_slot, IFD_POWER_DOWN, atr.data(), &length), IFD_SUCCESS);
    EXPECT_FALSE((**reader_).state().card_powered);
    send("FF B0 00 00 01");
    EXPECT_EQ(code_, IFD_ICC_NOT_PRESENT) << "it has no power";
    IFDHCloseChannel(card_slot);
    (**reader_).remove();
  }
}

TEST_F(VirtualDriver, TakesACardForWhatItsNameSays) {
  open(new_card("24c16"), ":sams=0:card=24c16");
  EXPECT_EQ(to_hex(power_up()), "3B 04 49 32 43 2E");
  EXPECT_EQ(send("FF CA 01 00 00"), "32 34 63 31 36 90 00");
}

TEST_F(VirtualDriver, GivesACardThatNobodyKnowsNoAnswerToReset) {
  simulator::Image card = new_card("4432");
  std::ranges::fill(card.field("memory"), std::uint8_t{0xFF});
  std::ranges::fill(card.field("protected"), std::uint8_t{0});
  open(card);
  EXPECT_EQ(power_up(), Bytes());
  EXPECT_EQ(code_, IFD_ERROR_POWER_ACTION);
}

TEST_F(VirtualDriver, TakesNoMemoryCardForAProcessorCard) {
  open(new_card("4442"), ":sams=0:card=cpu");
  EXPECT_EQ(power_up(), Bytes());
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
}

TEST_F(VirtualDriver, SpeaksInBlocks) {
  open(new_card("cpu"));
  EXPECT_EQ(to_hex(power_up()), "3B 86 01 51 55 4F 52 52 41 8D");
  EXPECT_EQ(send("00 A4 00 0C 02 00 01"), "90 00");
  EXPECT_EQ(send("00 B0 00 00 02"), "FF FF 90 00");
  EXPECT_EQ(send("00 B0 00 00 00 01 00"), "67 00");
}

// A lost block is asked for again. When none comes at all, the command fails, and the next one
// begins the numbers of the blocks anew.
TEST_F(VirtualDriver, BeginsBlocksAnew) {
  open(new_card("cpu"));
  power_up();
  EXPECT_EQ(send("00 A4 00 0C 02 00 01"), "90 00");
  spoil_exchanges(1);
  EXPECT_EQ(send("00 B0 00 00 02"), "FF FF 90 00");
  spoil_exchanges(3);
  EXPECT_EQ(send("00 B0 00 00 02"), "");
  EXPECT_EQ(code_, IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(send("00 B0 00 00 02"), "FF FF 90 00");
}

TEST_F(VirtualDriver, FindsNoSamInAnEmptySlot) {
  open(new_card("cpu"), ":sams=1");
  std::string name = (folder_ / "reader.conf") + ":sams=1";
  ASSERT_EQ(IFDHCreateChannelByName(sam_slot, name.data()), IFD_SUCCESS);
  EXPECT_EQ(IFDHICCPresence(sam_slot), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(power_up(sam_slot), Bytes());
  EXPECT_NE(code_, IFD_SUCCESS);
}

TEST_F(VirtualDriver, ClosesAReaderThatWentAway) {
  open(new_card("cpu"));
  power_up();
  reader_.reset();
  EXPECT_EQ(IFDHCloseChannel(card_slot), IFD_SUCCESS);
  EXPECT_EQ(IFDHCloseChannel(card_slot), IFD_COMMUNICATION_ERROR);
}

TEST_F(VirtualDriver, TellsWhatItIs) {
  open(new_card("cpu"));
  const Bytes words = capability(SCARD_ATTR_VENDOR_IFD_TYPE);
  EXPECT_EQ(std::string(words.begin(), words.end() - 1), "contact reader on a serial line");
  // A header of 4 bytes, a length, 255 bytes of data, and an expected length.
  EXPECT_EQ(capability(SCARD_ATTR_MAXINPUT), hex("05 01 00 00"));
}

}  // namespace
}  // namespace quorra::testing
