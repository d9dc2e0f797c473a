// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library's functions for processor cards and SAMs at the virtual reader.

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/process.hpp"
#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

constexpr std::string_view select_file = "00 A4 00 0C 02 00 01";

// A reader with the same card, whose memory counts up, in its slot and as SAM 0. The SAMs have
// power.
class ProcessorCards {
 public:
  explicit ProcessorCards(std::string_view answer_to_reset) : reader_(options(answer_to_reset)) {
    EXPECT_EQ(sam_power_on(handle()), 0);
  }

  int handle() const { return session_.handle(); }

 private:
  simulator::Options options(std::string_view answer_to_reset) const {
    simulator::Image card(simulator::find_kind("cpu"));
    card.assign("atr", hex(answer_to_reset));
    std::ranges::copy(counting(card.field("memory").size(), 0), card.field("memory").begin());
    simulator::Options options;
    options.card = folder_ / "card";
    options.sams[0] = folder_ / "sam";
    save_image(card, options.card);
    save_image(card, options.sams[0]);
    return options;
  }

  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  Session session_{reader_->configuration()};
};

using Exchange = int (*)(int handle, int n, const unsigned char* bytes, unsigned char* buffer);

// Sends bytes and expects these, from the beginning of the buffer on.
void expect_answer(const ProcessorCards& cards, Exchange exchange, const Bytes& bytes,
                   const Bytes& answer) {
  std::array<unsigned char, 1024> buffer{};
  EXPECT_EQ(exchange(cards.handle(), static_cast<int>(bytes.size()), bytes.data(), buffer.data()),
            0);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(answer.size())),
            answer);
}

TEST(ProcessorCardsOfT0, TakeCommandsAsTheyAre) {
  const ProcessorCards cards("3B 06 51 55 4F 52 52 41");
  for (const Exchange exchange : {cpu_comres, sam_comres}) {
    expect_answer(cards, exchange, hex(select_file), hex("90 00"));
    // The last three bytes could be those of a block: a length, and the XOR of all before.
    expect_answer(cards, exchange, hex("00 B0 01 B0 01"), hex("B0 90 00"));
    expect_answer(cards, exchange, hex("00 B0 01 A1 10"), counting(16, 0xA1) + hex("90 00"));
  }
}

TEST(ProcessorCardsOfT1, SendTheirAnswersInBlocks) {
  const ProcessorCards cards("3B 86 01 51 55 4F 52 52 41 8D");
  for (const Exchange exchange : {cpu_protocol, sam_protocol}) {
    expect_answer(cards, exchange, sealed("00 C1 01 FB"), hex("00 E1 01 FB"));
    // No expected length: the answer is fetched with a block of the number 1.
    expect_answer(cards, exchange, sealed("00 00 07 00 A4 00 00 02 00 01"),
                  hex("00 40 0F 6F 0B 80 02 02 00 82 01 01 83 02 00 01 90 00"));
    // 130 bytes in two answers, the second of which is fetched again with a block of the number 1.
    expect_answer(cards, exchange, sealed("00 00 05 00 B0 00 00 82"),
                  hex("00 40 84") + counting(130, 0) + hex("90 00"));
  }
}

// 2 bytes of the file are left. The slot for cards then fetches them, that of the SAMs repeats the
// command with this length.
TEST(ProcessorCardsOfT1, GiveTheRightLength) {
  const ProcessorCards cards("3B 86 01 51 55 4F 52 52 41 8D");
  for (const Exchange exchange : {cpu_protocol, sam_protocol}) {
    expect_answer(cards, exchange, sealed("00 00 07 00 A4 00 0C 02 00 01"), hex("00 00 02 90 00"));
    expect_answer(cards, exchange, sealed("00 40 05 00 B0 01 FE 10"), hex("00 00 04 FE FF 90 00"));
  }
}

TEST(ProcessorCardsOfT1, BeginTheirNumbersAnewWhenTheyAreReset) {
  const ProcessorCards cards("3B 86 01 51 55 4F 52 52 41 8D");
  const Bytes verify = sealed("00 00 09 00 20 00 01 04 00 00 00 00");
  std::array<unsigned char, 64> answer{};
  for (const char* attempts_left : {"00 00 02 63 C2", "00 00 02 63 C1", "00 00 02 63 C0"}) {
    ASSERT_EQ(cpu_reset(cards.handle(), answer.data()), 0);
    expect_answer(cards, cpu_protocol, verify, hex(attempts_left));
    // The same block again spends nothing.
    expect_answer(cards, cpu_protocol, verify, hex(attempts_left));
  }
}

}  // namespace
}  // namespace quorra::testing
