// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library against the virtual reader: random operations on a virtual card, compared with what a
// plain model of the card says.

#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "simulator/cards/kinds.hpp"
#include "simulator/status.hpp"
#include "tests/integration/virtual_bench.hpp"

namespace quorra::testing {
namespace {

using simulator::Status;
using Bytes = std::vector<unsigned char>;

int refused(Status status) { return -static_cast<int>(status); }

// A 4442 or 4432 card as its user knows it.
struct Model {
  bool has_code = true;
  std::array<unsigned char, 256> memory{};
  std::array<bool, 32> is_protected{};
  Bytes code = {0xFF, 0xFF, 0xFF};
  int attempts = 3;
  bool was_presented = false;

  Model() {
    memory.fill(0xFF);
    const std::array<unsigned char, 8> first = {0xA2, 0x13, 0x10, 0x91, 0xFF, 0xFF, 0x81, 0x15};
    std::copy(first.begin(), first.end(), memory.begin());
    for (const std::size_t address : {0U, 1U, 2U, 3U, 6U, 7U, 21U, 22U, 23U, 24U, 25U, 26U}) {
      is_protected.at(address) = true;
    }
  }

  bool is_open() const { return !has_code || was_presented; }
  bool can_write(std::size_t address) const {
    return is_open() && (address >= is_protected.size() || !is_protected.at(address));
  }

  int write(std::size_t address, const Bytes& data) {
    // Frames of 144 bytes; the first whose bytes do not all take ends the transfer.
    for (std::size_t done = 0; done < data.size();) {
      const std::size_t size = std::min<std::size_t>(144, data.size() - done);
      bool all_took = true;
      for (std::size_t i = done; i < done + size; ++i) {
        if (can_write(address + i)) memory.at(address + i) = data[i];
        all_took = all_took && memory.at(address + i) == data[i];
      }
      if (!all_took) return refused(Status::not_written);
      done += size;
    }
    return 0;
  }

  int protect(std::size_t address, const Bytes& data) {
    bool good = true;
    for (std::size_t i = 0; i < data.size(); ++i) {
      const bool equal = memory.at(address + i) == data[i];
      if (is_open() && equal) is_protected.at(address + i) = true;
      good = good && equal && is_protected.at(address + i);
    }
    return good ? 0 : -129;
  }

  Bytes protection() const {
    Bytes bits(4);
    for (std::size_t a = 0; a < is_protected.size(); ++a) {
      if (!is_protected.at(a))
        bits[a / 8] = static_cast<unsigned char>(bits[a / 8] | 0x80U >> a % 8);
    }
    return bits;
  }

  int present(const Bytes& presented) {
    if (!has_code) return refused(Status::no_answer);
    if (attempts == 0) return refused(Status::card_blocked);
    was_presented = presented == code;
    attempts = was_presented ? 3 : attempts - 1;
    return was_presented ? 0 : refused(Status::wrong_code);
  }
};

class RandomCard {
 public:
  RandomCard(const std::string& kind, unsigned seed)
      : bench_(simulator::Image(simulator::find_kind(kind))),
        random_(seed) {
    model.has_code = kind == "4442";
  }

  void operate() {
    const int h = bench_.handle();
    switch (below(12)) {
      case 0:
      case 1:
        return read();
      case 2:
      case 3:
      case 4:
        return write();
      case 5:
        return protect();
      case 6: {
        Bytes bits(4);
        EXPECT_EQ(prd_4442(h, 4, bits.data()), 0);
        EXPECT_EQ(bits, model.protection());
        return;
      }
      case 7:
        return present();
      case 8:
        return change_code();
      case 9:
        return read_code();
      case 10:
        if (below(4) != 0) return;
        EXPECT_EQ(below(2) == 0 ? turn_off(h) : turn_on(h), 0);
        model.was_presented = false;
        return;
      default:
        EXPECT_EQ(chk_4442(h), model.memory[6] == 0x81 && model.memory[7] == 0x15 ? 0 : -133);
        return;
    }
  }

  // So that a life does not end with three wrong codes at its beginning.
  bool presents_wrong_codes = true;
  Model model;

 private:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

  struct Range {
    int address;
    int count;
  };
  Range range(int size) {
    const int address = below(size);
    const int most = size - address;
    return {address, 1 + below(below(4) == 0 ? most : std::min(most, 8))};
  }

  // Bytes of which some are those that the card holds.
  Bytes bytes_for(const Range& range) {
    Bytes bytes;
    const int kept = below(3);
    for (int i = 0; i < range.count; ++i) {
      const bool keep = kept == 0 || (kept == 1 && below(2) == 0);
      bytes.push_back(keep ? model.memory.at(static_cast<std::size_t>(range.address + i))
                           : static_cast<unsigned char>(random_()));
    }
    return bytes;
  }

  Bytes some_code() {
    static const std::vector<Bytes> codes = {
        {0x00, 0x00, 0x00}, {0xFF, 0xFF, 0xFF}, {0x12, 0x34, 0x56}, {0x12, 0x34, 0x57}};
    return codes[random_() % codes.size()];
  }

  void read() {
    const Range r = range(256);
    Bytes held(static_cast<std::size_t>(r.count));
    EXPECT_EQ(srd_4442(bench_.handle(), r.address, r.count, held.data()), 0);
    const auto* begin = model.memory.begin() + r.address;
    EXPECT_EQ(held, Bytes(begin, begin + r.count));
  }

  void write() {
    const Range r = range(256);
    const Bytes data = bytes_for(r);
    EXPECT_EQ(swr_4442(bench_.handle(), r.address, r.count, data.data()),
              model.write(static_cast<std::size_t>(r.address), data));
  }

  void protect() {
    if (below(8) != 0) return;
    const Range r = range(32);
    const Bytes data = bytes_for(r);
    EXPECT_EQ(pwr_4442(bench_.handle(), r.address, r.count, data.data()),
              model.protect(static_cast<std::size_t>(r.address), data));
  }

  void present() {
    const Bytes code = presents_wrong_codes && below(3) == 0 ? some_code() : model.code;
    EXPECT_EQ(csc_4442(bench_.handle(), 3, code.data()), model.present(code));
  }

  void change_code() {
    if (!model.has_code) return;
    const Bytes code = some_code();
    const int result = wsc_4442(bench_.handle(), 3, code.data());
    if (model.was_presented) {
      model.code = code;
      EXPECT_EQ(result, 0);
    } else {
      EXPECT_EQ(result, refused(Status::not_written)) << "the card is closed";
    }
  }

  void read_code() {
    int counter = -1;
    EXPECT_EQ(rsct_4442(bench_.handle(), &counter), 0);
    Bytes code(3);
    EXPECT_EQ(rsc_4442(bench_.handle(), 3, code.data()), 0);
    if (!model.has_code) {
      EXPECT_EQ(counter, 8) << "nobody answers, and the line stays high";
      return;
    }
    EXPECT_EQ(counter, model.attempts);
    EXPECT_EQ(code, model.was_presented ? model.code : Bytes(3));
  }

  VirtualBench bench_;
  std::mt19937 random_;
};

TEST(VirtualCard, Behaves4442WhateverIsDoneToIt) {
  for (unsigned life = 1; life <= 6; ++life) {
    RandomCard card("4442", life);
    for (int i = 0; i < 600 && !::testing::Test::HasFailure(); ++i) {
      card.presents_wrong_codes = i > 300;
      card.operate();
    }
  }
}

TEST(VirtualCard, Behaves4432WhateverIsDoneToIt) {
  for (unsigned life = 1; life <= 3; ++life) {
    RandomCard card("4432", life);
    for (int i = 0; i < 600 && !::testing::Test::HasFailure(); ++i)
      card.operate();
  }
}

// The life of a card from its delivery to its end.
TEST(VirtualCard, LivesUntilItsLastAttemptIsGone) {
  const Bytes code = {0xC0, 0xFF, 0xEE};
  simulator::Image image(simulator::find_kind("4442"));
  std::ranges::copy(code, image.field("code").begin());
  const VirtualBench bench(image);
  const int h = bench.handle();
  const Bytes wrong = {0xC0, 0xFF, 0xEF};
  Bytes data = {1, 2, 3};
  int counter = 0;
  EXPECT_EQ(chk_4442(h), 0);
  EXPECT_EQ(swr_4442(h, 64, 3, data.data()), refused(Status::not_written)) << "closed";
  EXPECT_EQ(csc_4442(h, 3, code.data()), 0);
  EXPECT_EQ(swr_4442(h, 64, 3, data.data()), 0);
  EXPECT_EQ(swr_4442(h, 8, 3, data.data()), 0);
  EXPECT_EQ(pwr_4442(h, 8, 3, data.data()), 0);
  data = {4, 5, 6};
  EXPECT_EQ(swr_4442(h, 8, 3, data.data()), refused(Status::not_written)) << "protected";

  for (const int left : {2, 1}) {
    EXPECT_EQ(csc_4442(h, 3, wrong.data()), refused(Status::wrong_code));
    EXPECT_EQ(rsct_4442(h, &counter), 0);
    EXPECT_EQ(counter, left);
  }
  EXPECT_EQ(csc_4442(h, 3, code.data()), 0) << "the right code restores the attempts";
  EXPECT_EQ(rsct_4442(h, &counter), 0);
  EXPECT_EQ(counter, 3);

  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(csc_4442(h, 3, wrong.data()), refused(Status::wrong_code));
  }
  EXPECT_EQ(csc_4442(h, 3, code.data()), refused(Status::card_blocked));
  EXPECT_EQ(rsct_4442(h, &counter), 0);
  EXPECT_EQ(counter, 0);
  EXPECT_EQ(swr_4442(h, 64, 3, data.data()), refused(Status::not_written)) << "closed for good";
  EXPECT_EQ(srd_4442(h, 64, 3, data.data()), 0) << "but it can be read";
  EXPECT_EQ(data, (Bytes{1, 2, 3}));
}

}  // namespace
}  // namespace quorra::testing
