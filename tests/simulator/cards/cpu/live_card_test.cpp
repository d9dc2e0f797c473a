// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/live_card.hpp"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/slot.hpp"
#include "simulator/error.hpp"
#include "simulator/text.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using namespace std::chrono_literals;
using namespace test::status;
using test::Bytes;
using test::hex;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* any_port = "vicc://127.0.0.1:0";
const std::string atr = "3B 80 01 81";

std::uint16_t port_of(std::string_view address) {
  const auto number = parse_number(address.substr(address.rfind(':') + 1));
  return static_cast<std::uint16_t>(number.value_or(0));
}

// The other end: it plays the emulator, message by message.
class Emulator {
 public:
  explicit Emulator(std::string_view address)
      : connection_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port_of(address));
    target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection_.get(), reinterpret_cast<const sockaddr*>(&target), sizeof target) !=
        0)
      throw std::runtime_error("connect: " + system_error_text());
  }

  Bytes receive() const {
    const Bytes length = receive(2);
    return receive(static_cast<std::size_t>(length[0] << 8U | length[1]));
  }
  void send(const Bytes& message) const {
    const auto size = static_cast<std::uint16_t>(message.size());
    send_raw(test::joined(
        {{static_cast<std::uint8_t>(size >> 8U), static_cast<std::uint8_t>(size & 0xFFU)},
         message}));
  }
  void send_raw(const Bytes& bytes) const {
    EXPECT_EQ(::send(connection_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

 private:
  Bytes receive(std::size_t count) const {
    Bytes bytes(count);
    if (count != 0 &&
        ::recv(connection_.get(), bytes.data(), count, MSG_WAITALL) != static_cast<ssize_t>(count))
      throw std::runtime_error("the card is gone");
    return bytes;
  }

  FileDescriptor connection_;
};

TEST(LiveCard, is_there_while_its_emulator_is_connected) {
  LiveCard card(any_port);
  EXPECT_FALSE(card.is_present());
  for (int time = 0; time < 2; ++time) {
    const Emulator emulator(card.address());
    EXPECT_TRUE(card.is_present());
    EXPECT_TRUE(card.is_present());
  }
  EXPECT_FALSE(card.is_present());
}

TEST(LiveCard, passes_everything_on) {
  LiveCard card(any_port);
  const Emulator emulator(card.address());
  Slot slot;
  slot.insert_processor(card);
  ASSERT_TRUE(slot.occupied());

  slot.set_vcc(true);
  EXPECT_EQ(emulator.receive(), hex("01"));
  emulator.send(hex(atr));
  EXPECT_EQ(card.reset(), hex(atr));
  EXPECT_EQ(emulator.receive(), hex("02"));
  EXPECT_EQ(emulator.receive(), hex("04"));
  emulator.send(hex("01 02 90 00"));
  EXPECT_EQ(card.transmit(hex("00 B0 00 00 02")), hex("01 02 90 00"));
  EXPECT_EQ(emulator.receive(), hex("00 B0 00 00 02"));
  slot.power_off();
  EXPECT_EQ(emulator.receive(), hex("00"));
}

TEST(LiveCard, sends_no_command_that_looks_like_a_control) {
  LiveCard card(any_port);
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  for (const auto* const command : {"", "00", "00 A4 00"})
    EXPECT_EQ(card.transmit(hex(command)), hex("67 00"));
  // Nor one whose length does not fit into a message.
  EXPECT_EQ(card.transmit(Bytes(65536, 0x11)), hex("67 00"));
  emulator.send(hex("6D 00"));
  EXPECT_EQ(card.transmit(hex("00 A4 00 00")), hex("6D 00"));
  EXPECT_EQ(emulator.receive(), hex("00 A4 00 00"));
}

TEST(LiveCard, carries_long_answers) {
  LiveCard card(any_port);
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  const Bytes answer(258, 0x55);
  emulator.send(answer);
  EXPECT_EQ(card.transmit(hex("00 B0 00 00 00")), answer);
}

TEST(LiveCard, takes_an_answer_in_pieces) {
  LiveCard card(any_port);
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  std::thread answering([&emulator] {
    emulator.receive();
    for (const std::uint8_t byte : hex("00 02 90 00"))
      emulator.send_raw({byte});
  });
  EXPECT_EQ(card.transmit(hex("00 B0 00 00 00")), hex("90 00"));
  answering.join();
}

TEST(LiveCard, powers_an_emulator_that_comes_back) {
  LiveCard card(any_port);
  card.set_power(true);
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  EXPECT_EQ(emulator.receive(), hex("01"));
}

TEST(LiveCard, gives_up_an_emulator_that_is_silent) {
  for (const auto* const beginning : {"", "00", "00 05 90 00"}) {
    LiveCard card(any_port, 20ms);
    const Emulator emulator(card.address());
    ASSERT_TRUE(card.is_present());
    emulator.send_raw(hex(beginning));
    EXPECT_EQ(card.transmit(hex("00 84 00 00 08")), std::nullopt);
    EXPECT_FALSE(card.is_present());
    EXPECT_EQ(card.reset(), std::nullopt);
  }
}

TEST(LiveCard, gives_up_its_emulator_when_it_is_to_stop) {
  const FileDescriptor stop(::eventfd(0, EFD_CLOEXEC));
  LiveCard card(any_port, LiveCard::usual_patience, stop.get());
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  std::thread answering([&emulator] {
    emulator.receive();
    emulator.send(hex("90 00"));
  });
  EXPECT_EQ(card.transmit(hex("00 84 00 00 08")), hex("90 00"));
  answering.join();
  ASSERT_EQ(::eventfd_write(stop.get(), 1), 0);
  EXPECT_EQ(card.transmit(hex("00 84 00 00 08")), std::nullopt);
  EXPECT_FALSE(card.is_present());
}

TEST(LiveCard, gives_up_an_emulator_that_speaks_unasked) {
  LiveCard card(any_port);
  const Emulator emulator(card.address());
  ASSERT_TRUE(card.is_present());
  emulator.send(hex("90 00"));
  EXPECT_FALSE(card.is_present());
}

TEST(LiveCard, survives_an_emulator_that_goes_in_the_middle) {
  LiveCard card(any_port);
  {
    const Emulator emulator(card.address());
    ASSERT_TRUE(card.is_present());
  }
  EXPECT_EQ(card.transmit(hex("00 84 00 00 08")), std::nullopt);
  card.set_power(true);
  EXPECT_FALSE(card.is_present());
}

TEST(LiveCard, needs_an_address) {
  for (const auto* const address : {"vicc://", "vicc://127.0.0.1", "vicc://:1", "other://x:1"})
    EXPECT_THROW(LiveCard{address}, Error) << address;
  for (const auto* const address :
       {"vicc://127.0.0.1:x", "vicc://300.1.1.1.1:1", "vicc://127.0.0.1:65536",
        "vicc://127.0.0.1:165535", "vicc://127.0.0.1:18446744073709551617", "vicc://127.0.0.1:-1"})
    EXPECT_THROW(LiveCard{address}, Error) << address;
  const LiveCard card(any_port);
  try {
    const LiveCard second(card.address());
    FAIL() << "two cards at " << card.address();
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), card.address() + ": Address already in use");
  }
}

class ReaderWithLiveCard : public ::testing::Test {
 protected:
  static Options options() {
    Options made;
    made.card = any_port;
    return made;
  }
  Bytes exchange(std::uint8_t command, std::string_view body) {
    return host.exchange(request(command, body));
  }
  // Plays the emulator's part in a reset from no power.
  Bytes reset(const Emulator& emulator, const Bytes& answer) {
    host.send(request(0x20, "20 00000000"));
    for (const auto* const control : {"01", "02", "04"})
      EXPECT_EQ(emulator.receive(), hex(control));
    emulator.send(answer);
    return host.receive_reply();
  }
  // And in an exchange.
  Bytes exchange(const Emulator& emulator, std::string_view command, const Bytes& answer) {
    host.send(request(0x21, "20 00000000" + std::string(command)));
    emulator.receive();
    emulator.send(answer);
    return host.receive_reply();
  }
  std::string address() { return reader->state().card_file.string(); }

  RunningReader reader{options()};
  RawClient host{reader->configuration()};
};

TEST_F(ReaderWithLiveCard, misses_it_until_its_emulator_is_connected) {
  EXPECT_EQ(exchange(0xB9, "80 00000000"), reply(0, "00"));
  EXPECT_EQ(exchange(0x20, "20 00000000"), reply(no_card));
  EXPECT_EQ(exchange(0x21, "20 00000000 00840000"), reply(no_card));
  const Emulator emulator(address());
  EXPECT_EQ(exchange(0xB9, "80 00000000"), reply(0, "01"));
  EXPECT_EQ(exchange(0x61, "79 0000 0000 00 04"), reply(no_answer));
}

TEST_F(ReaderWithLiveCard, does_not_wait_for_an_emulator_when_it_is_stopped) {
  const Emulator emulator(address());
  host.send(request(0x20, "20 00000000"));
  for (const auto* const control : {"01", "02", "04"})
    EXPECT_EQ(emulator.receive(), hex(control));
  reader->stop();
  // It is not taken any more.
  emulator.send(hex(atr));
  EXPECT_EQ(host.receive_reply(), reply(no_answer));
}

TEST_F(ReaderWithLiveCard, resets_it_and_speaks_to_it) {
  const Emulator emulator(address());
  EXPECT_EQ(reset(emulator, hex(atr)), reply(0, atr));
  EXPECT_EQ(exchange(emulator, "00 B0 00 00 02", hex("11 22 90 00")), reply(0, "11 22 90 00"));
  // The same in a block.
  host.send(request(0x21, "20 00000000 21 00 05 00 B0 00 00 02 96"));
  EXPECT_EQ(emulator.receive(), hex("00 B0 00 00 02"));
  emulator.send(hex("11 22 90 00"));
  EXPECT_EQ(host.receive_reply(), reply(0, "12 00 04 11 22 90 00 B5"));
}

TEST_F(ReaderWithLiveCard, carries_no_answer_that_does_not_fit_into_a_reply) {
  const Emulator emulator(address());
  reset(emulator, hex(atr));
  const auto* const command = "00 B0 00 00 00";
  EXPECT_EQ(exchange(emulator, command, Bytes(255, 0x11)).size(), 260U);
  EXPECT_EQ(exchange(emulator, command, Bytes(256, 0x11)), reply(answer_too_long));
  // Blocks of the largest size are too long for a reply, too.
  EXPECT_EQ(exchange(0x21, "20 00000000 00 C1 01 FE 3E"), reply(0, "00 E1 01 FE 1E"));
  EXPECT_EQ(exchange(emulator, "00 00 04 00 84 00 00 80", Bytes(251, 0x11)).size(), 260U);
  EXPECT_EQ(exchange(emulator, "00 40 04 00 84 00 00 C0", Bytes(252, 0x11)),
            reply(answer_too_long));
  EXPECT_EQ(exchange(emulator, "00 00 04 00 84 00 00 80", Bytes(255, 0x11)),
            reply(answer_too_long));
}

TEST_F(ReaderWithLiveCard, gives_no_answer_when_the_emulator_has_none) {
  const Emulator emulator(address());
  EXPECT_EQ(reset(emulator, {}), reply(no_answer));
  EXPECT_EQ(exchange(0xB9, "80 00000000"), reply(0, "01"));
}

TEST_F(ReaderWithLiveCard, lets_it_be_ejected_and_removed) {
  const std::string first = address();
  EXPECT_THROW(reader->insert(any_port), Error);
  reader->remove();
  EXPECT_EQ(address(), "");
  EXPECT_THROW(Emulator{first}, std::runtime_error);
  reader->insert(any_port);
  const Emulator emulator(address());
  EXPECT_EQ(exchange(0xB8, "80 00000000"), reply(0));
  EXPECT_EQ(address(), "");
}

// The emulator itself, where it is installed.
//
// Its Debian package keeps the modules where Python does not look for them, and asks for a package
// by a name that it does not have in Debian.
class Vicc : public ReaderWithLiveCard {
 protected:
  Vicc() {
    std::filesystem::create_directory_symlink("/usr/lib/python3/dist-packages/Cryptodome",
                                              folder.path() / "Crypto");
  }
  quorra::testing::Surroundings surroundings() const {
    return {.input = {},
            .streams = {},
            .environment = {{"PYTHONPATH", "/usr/lib/python3/site-packages/virtualsmartcard:" +
                                               folder.path().string()}}};
  }
  bool can_run() const {
    return ::access("/usr/bin/vicc", X_OK) == 0 &&
           quorra::testing::run({"/usr/bin/python3", "-c", "import virtualsmartcard.CardGenerator"},
                                surroundings())
                   .status == 0;
  }

  TemporaryFolder folder;
};

TEST_F(Vicc, is_a_card) {
  if (!can_run())
    GTEST_SKIP() << "vicc cannot run here (Debian packages vsmartcard-vpicc, python3-pycryptodome)";
  const quorra::testing::Process vicc({"/usr/bin/vicc", "--type", "iso7816", "--hostname",
                                       "127.0.0.1", "--port", std::to_string(port_of(address()))},
                                      surroundings());
  for (int looks = 0; exchange(0xB9, "80 00000000") == reply(0, "00"); ++looks) {
    ASSERT_LT(looks, 6000) << "vicc does not connect";
    std::this_thread::sleep_for(10ms);
  }
  const Bytes answer = exchange(0x20, "20 00000000");
  ASSERT_GE(answer.size(), 7U);
  EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 3), hex("55 00 00"));
  EXPECT_EQ(answer[4], 0x3B);
  // The master file, a file that is not there, and an instruction that is not there.
  EXPECT_EQ(exchange(0x21, "20 00000000 00 A4 00 0C 02 3F 00"), reply(0, "90 00"));
  EXPECT_EQ(exchange(0x21, "20 00000000 00 A4 00 0C 02 7F FF"), reply(0, "6A 82"));
  EXPECT_EQ(exchange(0x21, "20 00000000 00 FF 00 00 00"), reply(0, "6D 00"));
}

}  // namespace
}  // namespace quorra::simulator
