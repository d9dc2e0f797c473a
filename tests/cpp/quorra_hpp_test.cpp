// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra.hpp against the virtual reader: every class, and what its results say.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <quorra.hpp>

#include <array>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

static_assert(!std::is_copy_constructible_v<Session>);
static_assert(std::is_nothrow_move_constructible_v<Session>);
static_assert(sizeof(Session) == sizeof(int));
static_assert(sizeof(Card4442) == sizeof(int));

bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

class Cpp : public ::testing::Test {
 protected:
  Session open(const std::string& kind) {
    simulator::Options options;
    options.card = folder_ / kind;
    save_image(simulator::Image(simulator::find_kind(kind)), options.card);
    reader_.emplace(options);
    auto session = Session::open((*reader_)->configuration().c_str());
    EXPECT_TRUE(session.has_value());
    return *std::move(session);
  }

 private:
  TemporaryDirectory folder_;
  std::optional<simulator::RunningReader> reader_;
};

TEST_F(Cpp, SessionIsClosedOnce) {
  Session first = open("4442");
  const int handle = first.handle();
  EXPECT_TRUE(is_open(handle));
  {
    Session second = std::move(first);
    EXPECT_EQ(second.handle(), handle);
    EXPECT_LT(first.handle(), 0);  // NOLINT(bugprone-use-after-move)
    first = std::move(second);
    EXPECT_TRUE(is_open(handle));
  }
  EXPECT_EQ(first.handle(), handle);
  first.close();
  EXPECT_FALSE(is_open(handle));
  first.close();
  EXPECT_LT(first.handle(), 0);
}

TEST_F(Cpp, ReleasedSessionStaysOpen) {
  int handle = -1;
  {
    Session session = open("4442");
    handle = session.release();
  }
  EXPECT_TRUE(is_open(handle));
  const Session again(handle);
  EXPECT_TRUE(again.power_off());
}

TEST(CppResult, FailureIsTold) {
  const auto session = Session::open("/nowhere/reader.conf");
  EXPECT_FALSE(session);
  EXPECT_EQ(session.code(), -1);
  EXPECT_EQ(session.error(), Error::configuration);
  EXPECT_EQ(Session::open_silently("/nowhere/reader.conf").error(), Error::configuration);
}

TEST_F(Cpp, ReaderServes) {
  const Session session = open("4442");
  std::array<Byte, 18> version{};
  EXPECT_TRUE(session.version(version));
  EXPECT_EQ(std::string(version.begin(), version.begin() + 5), "KWSPC");
  std::array<Byte, 16> number{};
  EXPECT_TRUE(session.serial_number(number));
  EXPECT_TRUE(session.status());
  EXPECT_TRUE(session.beep(1));
  EXPECT_TRUE(session.set_value(40));
  EXPECT_TRUE(session.add_to_value(2));
  EXPECT_EQ(*session.value(), 42U);
  EXPECT_FALSE(session.subtract_from_value(43));
  const std::array<Byte, 3> bytes = {1, 2, 3};
  std::array<Byte, 3> held{};
  EXPECT_TRUE(session.write_memory(381, bytes));
  EXPECT_TRUE(session.read_memory(381, held));
  EXPECT_EQ(held, bytes);
  EXPECT_EQ(session.read_memory(382, held).error(), Error::bad_length);
  EXPECT_TRUE(session.read_code(held));
  EXPECT_TRUE(session.present_code(held));
}

TEST_F(Cpp, Card4442HasACodeAndProtection) {
  const Session session = open("4442");
  const Card4442 card(session);
  EXPECT_TRUE(card.probe());
  std::array<Byte, 4> head{};
  EXPECT_TRUE(card.read(0, head));
  EXPECT_EQ(head, (std::array<Byte, 4>{0xA2, 0x13, 0x10, 0x91}));
  EXPECT_EQ(card.read(256, head).error(), Error::bad_address);
  EXPECT_EQ(card.read(253, head).error(), Error::bad_length);
  EXPECT_EQ(card.read(0, std::span<Byte>()).error(), Error::bad_length);

  const std::array<Byte, 2> bytes = {0x12, 0x34};
  EXPECT_FALSE(card.write(16, bytes));
  EXPECT_FALSE(card.present_code(std::array<Byte, 3>{0, 0, 0}));
  EXPECT_EQ(*card.attempts_left(), 2);
  EXPECT_TRUE(card.present_code(std::array<Byte, 3>{0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(card.attempts_left().value_or(-1), 3);
  EXPECT_TRUE(card.write(16, bytes));
  EXPECT_TRUE(card.protect(16, bytes));
  std::array<Byte, 4> bits{};
  EXPECT_TRUE(card.read_protection(bits));
  EXPECT_EQ(bits[2] & 0xC0, 0);
  EXPECT_TRUE(card.change_code(std::array<Byte, 3>{1, 2, 3}));
  std::array<Byte, 3> code{};
  EXPECT_TRUE(card.read_code(code));
  EXPECT_EQ(code, (std::array<Byte, 3>{1, 2, 3}));
}

TEST_F(Cpp, Card4428ReadsProtectionBesideItsBytes) {
  const Session session = open("4428");
  const Card4428 card(session);
  std::array<Byte, 8> pairs{};
  EXPECT_TRUE(card.read_with_protection(0x100, 4, pairs));
  EXPECT_EQ(card.read_with_protection(0x100, 5, pairs).error(), Error::bad_length);
  EXPECT_TRUE(card.present_code(std::array<Byte, 2>{0xFF, 0xFF}));
  EXPECT_TRUE(card.write_and_protect(0x100, std::array<Byte, 1>{0x55}));
  EXPECT_FALSE(card.write(0x100, std::array<Byte, 1>{0x54}));
}

template <typename Kind>
void read_and_write(const Session& session) {
  const Kind card(session);
  EXPECT_TRUE(card.probe());
  const std::vector<Byte> bytes = {1, 2, 3, 4};
  std::vector<Byte> held(4);
  const int last = Kind::size - static_cast<int>(held.size() / Kind::unit);
  EXPECT_TRUE(card.write(last, bytes));
  EXPECT_TRUE(card.read(last, held));
  EXPECT_EQ(held, bytes);
  EXPECT_FALSE(card.read(last + 1, held));
}

TEST_F(Cpp, PlainCardsEndWhereTheySay) {
  read_and_write<Card24c01a>(open("24c01a"));
  read_and_write<Card24c02>(open("24c02"));
  read_and_write<Card24c04>(open("24c04"));
  read_and_write<Card24c08>(open("24c08"));
  read_and_write<Card24c16>(open("24c16"));
  read_and_write<Card24c32>(open("24c32"));
  read_and_write<Card24c64>(open("24c64"));
  read_and_write<Card93c46a>(open("93c46a"));
  read_and_write<Card93c46>(open("93c46"));
  read_and_write<Card93c57>(open("93c57"));
  read_and_write<Card93c66>(open("93c66"));
}

TEST_F(Cpp, Card93cIsErasedAtOnce) {
  const Session session = open("93c46");
  const Card93c46 card(session);
  std::array<Byte, 2> held{};
  EXPECT_TRUE(card.write_all());
  EXPECT_TRUE(card.erase_all());
  EXPECT_TRUE(card.read(64, held));
  EXPECT_EQ(held, (std::array<Byte, 2>{0xFF, 0xFF}));
}

TEST_F(Cpp, APartOfAWordIsRefused) {
  const Session session = open("93c46a");
  std::array<Byte, 3> bytes{};
  EXPECT_EQ(Card93c46a(session).read(0, bytes).error(), Error::bad_length);
  EXPECT_EQ(Card93c46a(session).write(0, bytes).error(), Error::bad_length);
}

TEST_F(Cpp, Card45d041HasPages) {
  const Session session = open("45d041");
  const Card45d041 card(session);
  EXPECT_TRUE(card.probe());
  EXPECT_TRUE(card.status());
  const std::array<Byte, 4> bytes = {1, 2, 3, 4};
  std::array<Byte, 4> held{};
  EXPECT_TRUE(card.write(1, 262, bytes));
  EXPECT_TRUE(card.read(1, 262, held));
  EXPECT_EQ(held, bytes);
  EXPECT_EQ(card.read(2048, 0, held).error(), Error::bad_address);
}

TEST_F(Cpp, SecurityCardsAreWrittenErasedAndPersonalised) {
  const Session session = open("101");
  const Card101 card(session);
  const std::array<Byte, 2> transport = {0xFF, 0xFF};
  EXPECT_TRUE(card.present_code(transport));
  EXPECT_TRUE(card.write(32, std::array<Byte, 1>{0x0F}));
  EXPECT_TRUE(card.write_security(33, std::array<Byte, 1>{0xF0}));
  EXPECT_TRUE(card.erase(32, 2));
  EXPECT_EQ(*card.attempts_left(), 8);
  EXPECT_TRUE(card.erasures_left());
  EXPECT_TRUE(card.clear_write_flag());
  EXPECT_TRUE(card.imitate_fuse(true));
  EXPECT_TRUE(card.imitate_fuse(false));
  EXPECT_TRUE(card.personalise());
}

TEST_F(Cpp, ZonedCardsHaveZonesAndCodes) {
  const Session session = open("1604");
  const Card1604 card(session);
  const std::array<Byte, 2> transport = {0xFF, 0xFF};
  const std::array<Byte, 2> bytes = {0x12, 0x34};
  std::array<Byte, 2> held{};
  EXPECT_TRUE(card.probe());
  EXPECT_TRUE(card.present_code(0, transport));
  EXPECT_TRUE(card.write(2, 16, bytes));
  EXPECT_TRUE(card.read(2, 16, held));
  EXPECT_EQ(held, bytes);
  EXPECT_EQ(card.read(5, 0, held).error(), Error::bad_length);
  EXPECT_TRUE(card.erase(2, 16, 2));
  EXPECT_EQ(*card.attempts_left(0), 8);
  EXPECT_EQ(card.attempts_left(2).error(), Error::bad_address);
  EXPECT_EQ(*card.erasures_left(2), 8);
  EXPECT_TRUE(card.change_erase_code(2, bytes));
  EXPECT_TRUE(card.present_erase_code(2, bytes));
  EXPECT_EQ(card.present_erase_code(2, std::array<Byte, 3>{}).error(), Error::bad_length);
  EXPECT_TRUE(card.change_code(1, bytes));
  EXPECT_TRUE(card.read_code(1, held));
  EXPECT_EQ(held, bytes);
}

TEST_F(Cpp, Card4406CountsUnits) {
  const Session session = open("4406");
  const Card4406 card(session);
  EXPECT_TRUE(card.present_code(std::array<Byte, 3>{0xFF, 0xFF, 0xFF}));
  EXPECT_TRUE(card.personalise());
  EXPECT_TRUE(card.carry(11));
  EXPECT_EQ(card.carry(12).error(), Error::bad_address);
}

TEST_F(Cpp, ProcessorCardAnswers) {
  const Session session = open("cpu");
  const ProcessorCard card(session);
  std::vector<Byte> reset(ProcessorCard::longest_answer_to_reset);
  EXPECT_TRUE(card.reset(
      std::span<Byte, ProcessorCard::longest_answer_to_reset>(reset.data(), reset.size())));
  EXPECT_EQ(reset[0], 0x3B);
  std::array<Byte, ProcessorCard::longest_answer> answer{};
  EXPECT_EQ(card.transmit(std::vector<Byte>(251), answer).error(), Error::bad_length);
}

TEST(CppDes, IsTheLibrarys) {
  const std::array<Byte, 8> key = {0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};
  const std::array<Byte, 8> plain = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  const std::array<Byte, 8> enciphered = {0x85, 0xE8, 0x13, 0x54, 0x0F, 0x0A, 0xB4, 0x05};
  std::array<Byte, 8> output{};
  EXPECT_EQ(*des_encrypt(key, plain, output), 8);
  EXPECT_EQ(output, enciphered);
  EXPECT_TRUE(des_decrypt(key, enciphered, output));
  EXPECT_EQ(output, plain);
  EXPECT_EQ(des_encrypt(key, plain, std::span<Byte>(output).first(7)).error(), Error::bad_length);
  EXPECT_EQ(des_decrypt(key, plain, std::span<Byte>(output).first(7)).error(), Error::bad_length);
}

}  // namespace
}  // namespace quorra::testing
