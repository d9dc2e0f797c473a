// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Conversations with a card whose answers nobody chose, compared with a model of what has to be
// sent and what has to be stored.

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>

#include "tests/support/card_slot.hpp"

namespace quorra::testing {
namespace {

constexpr std::size_t prologue = 3;

// A conversation so far: what is sent next, or how it ended.
class Model {
 public:
  Model(const CardSlot& slot, Bytes block)
      : slot_(slot),
        caller_(std::move(block)),
        block_(caller_),
        length_byte_(static_cast<unsigned char>(caller_.size() + 5)),
        covered_(slot.block_covered) {}

  bool ended() const { return result_.has_value(); }
  int result() const { return result_.value(); }
  const Bytes& output() const { return output_; }

  Bytes request() const {
    return card_request(slot_, block_, covered_, static_cast<int>(length_byte_) - 5);
  }

  void fails(int code) {
    if (++failures_ == 3) result_ = code;
  }

  void answers(const Bytes& reply) {
    // As a buffer of 0xFF up to its hundredth byte, and of zeros behind that.
    Bytes r(300, 0);
    std::fill_n(r.begin(), 100, static_cast<unsigned char>(0xFF));
    std::ranges::copy(reply, r.begin());
    const std::size_t k = r[6];
    const unsigned char sw1 = r[k + 5];
    const unsigned char sw2 = r[k + 6];
    if (sw1 == 0x6C && slot_.sends_again_after_6c && block_.size() >= 2) {
      send_again(sw2);
    } else if (sw1 == 0x61 || (sw1 == 0x6C && !slot_.sends_again_after_6c)) {
      if (k > 2) append(r, k - 2);
      ask_for(sw2);
    } else {
      finish(r);
    }
  }

 private:
  unsigned char nad() const { return caller_.empty() ? 0 : caller_[0]; }
  unsigned char pcb() const { return caller_.size() < 2 || caller_[1] == 0 ? 0x40 : 0x00; }

  void append(const Bytes& r, std::size_t count) {
    output_.insert(output_.end(), r.begin() + 7,
                   r.begin() + 7 + static_cast<std::ptrdiff_t>(count));
  }

  void ask_for(unsigned char length) {
    block_ = sealed(Bytes{nad(), pcb(), 0x05, 0x00, 0xC0, 0x00, 0x00, length});
    length_byte_ = 0x0E;
    covered_ = Covered::first_nine;
    if (slot_.counts_failures_anew) failures_ = 0;
  }

  void send_again(unsigned char length) {
    const std::size_t n = block_.size();
    block_[0] = nad();
    block_[1] = pcb();
    for (std::size_t i = 2; i + 2 < n && i < caller_.size(); ++i)
      block_[i] = caller_[i];
    block_[n - 2] = length;
    block_.pop_back();
    block_ = sealed(block_);
    covered_ = Covered::first_nine;
  }

  void finish(const Bytes& r) {
    const std::size_t before = output_.size() - prologue;
    append(r, r[3]);
    output_[0] = r[4];
    output_[1] = r[5];
    output_[2] = static_cast<unsigned char>(r[6] + before);
    result_ = 0;
  }

  const CardSlot& slot_;
  Bytes caller_;
  Bytes block_;
  unsigned char length_byte_;
  Covered covered_;
  int failures_ = 0;
  Bytes output_ = Bytes(prologue, untouched);
  std::optional<int> result_;
};

// Chance, the same in every run and with every compiler: no two draws in one expression whose order
// is open.
class Chance {
 public:
  explicit Chance(unsigned seed) : engine_(seed) {}

  std::size_t below(std::size_t limit) { return engine_() % limit; }
  bool in(std::size_t cases) { return below(cases) == 0; }
  unsigned char byte() { return static_cast<unsigned char>(below(256)); }
  template <typename Values>
  auto one_of(const Values& values) {
    return *(std::begin(values) + static_cast<std::ptrdiff_t>(below(std::size(values))));
  }
  Bytes bytes(std::size_t count) {
    Bytes all(count);
    std::ranges::generate(all, [this] { return byte(); });
    return all;
  }

  // A block as callers give it, good or not.
  Bytes block() {
    Bytes all = bytes(in(8) ? 240 + below(70) : below(14));
    if (all.size() > 1 && !in(3)) all[1] = in(2) ? 0x00 : 0x40;
    return all;
  }

  // A good reply of the reader.
  Bytes reply(bool last) {
    constexpr unsigned char likely[] = {0x61, 0x61, 0x61, 0x6C, 0x6C, 0x90, 0x6A, 0x00};
    constexpr std::size_t lengths[] = {2, 2, 3, 4, 12, 87, 88, 89, 90, 91, 247, 251};
    const unsigned char nad = byte();
    const unsigned char pcb = byte();
    if (last) return answer_of(nad, pcb, bytes(below(20)) + hex("90 00"));
    Bytes data;
    if (in(6)) {
      // No block: what a reader may send as well.
      data = bytes(in(2) ? below(6) : below(256));
      for (unsigned char& value : data) {
        if (in(3)) value = one_of(likely);
      }
    } else {
      const std::size_t length = in(3) ? 2 + below(250) : one_of(lengths);
      Bytes information = bytes(length - 2);
      information.push_back(one_of(likely));
      information.push_back(byte());
      data = block_of(nad, pcb, information);
    }
    const auto length = static_cast<unsigned char>(data.size());
    return sealed(Bytes{0x55, 0x00, in(2) ? byte() : static_cast<unsigned char>(0), length} + data);
  }

 private:
  std::mt19937 engine_;
};

class ConversationModel : public ::testing::TestWithParam<CardSlot> {};

INSTANTIATE_TEST_SUITE_P(, ConversationModel, ::testing::Values(card_slot, sam_slot),
                         [](const auto& row) { return row.param.name; });

TEST_P(ConversationModel, AgreesWithConversationsOfAllKinds) {
  constexpr unsigned conversations = 1500;
  constexpr int longest = 9;
  int ends_of_failure = 0;
  int answers = 0;
  Output output;
  for (unsigned seed = 1; seed <= conversations; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Chance chance(seed);
    const Bytes block = chance.block();
    Model model(GetParam(), block);
    std::vector<Exchange> exchanges;
    for (int answered = 0; !model.ended();) {
      if (chance.in(3)) {
        const FailedAttempt way = chance.one_of(ways_to_fail());
        exchanges.push_back(way.of(model.request()));
        model.fails(way.code);
      } else {
        const Bytes reply = chance.reply(++answered >= longest);
        exchanges.push_back({model.request(), reply});
        model.answers(reply);
        ++answers;
      }
    }
    expect_result(speaking(GetParam().block, block, output, exchanges), Mode::direct,
                  model.result());
    output.expect(model.output());
    if (model.result() != 0) ++ends_of_failure;
    if (HasFailure()) break;
  }
  // Chance gave all that it is there for.
  EXPECT_GT(ends_of_failure, 50);
  EXPECT_GT(answers, 2000);
}

}  // namespace
}  // namespace quorra::testing
