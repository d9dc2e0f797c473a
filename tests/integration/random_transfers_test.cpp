// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The library against the virtual reader: random transfers to every kind of memory card, some of
// which must be refused, compared with what an array of bytes would hold.

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <quorra.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "simulator/cards/kinds.hpp"
#include "simulator/status.hpp"
#include "tests/integration/virtual_bench.hpp"

namespace quorra::testing {
namespace {

using simulator::Status;
using Bytes = std::vector<unsigned char>;

constexpr int bad_length = -143;
constexpr int bad_address = -144;

int refused(Status status) { return -static_cast<int>(status); }

enum class Effect : unsigned char {
  read,
  read_at_doubled_low_byte,  // the frames carry the low byte of the address twice
  read_with_protection,      // each byte is followed by 1, or by 0 when it is protected
  write,
  write_with_protection,
  protect,
  erase_all,  // to FF
  write_all,  // with 00
};

using Run = int (*)(int handle, int address, int count, unsigned char* data);

// A function of the library, for a run of units that lie inside `end`.
struct Operation {
  const char* name;
  Effect effect;
  Run run;
  int end;
  int past_end = bad_length;   // the code for more units than there are
  int last_address = end - 1;  // the last address whose code is not that of a bad address
};

struct Card {
  const char* kind;
  int unit_bytes;
  std::vector<Operation> operations;
  // The count is checked before the address.
  bool checks_count_first = false;
};

std::ostream& operator<<(std::ostream& stream, const Card& card) { return stream << card.kind; }

template <auto function>
constexpr Run call = [](int handle, int address, int count, unsigned char* data) {
  return function(handle, address, count, data);
};

template <auto function>
constexpr Run call_for_all = [](int handle, int, int, unsigned char*) { return function(handle); };

// Addresses count on from page to page.
template <auto function>
constexpr Run call_with_page = [](int handle, int address, int count, unsigned char* data) {
  constexpr int page_size = 264;
  return address < 0 ? function(handle, 0, address, count, data)
                     : function(handle, address / page_size, address % page_size, count, data);
};

template <auto read, auto write>
Card plain_card(const char* kind, int size) {
  return {.kind = kind,
          .unit_bytes = 1,
          .operations = {{"srd", Effect::read, call<read>, size},
                         {"swr", Effect::write, call<write>, size}}};
}

template <auto read, auto write, auto erase_all, auto write_all>
Card card_93c(const char* kind, int size, int unit_bytes = 1) {
  Card card = plain_card<read, write>(kind, size);
  card.unit_bytes = unit_bytes;
  card.operations.push_back({"eral", Effect::erase_all, call_for_all<erase_all>, size});
  card.operations.push_back({"wral", Effect::write_all, call_for_all<write_all>, size});
  return card;
}

Card with_code_for_end(Card card, std::size_t operation, int code) {
  card.operations.at(operation).past_end = code;
  return card;
}

// Writing checks one address further than reading does.
template <auto read, auto write>
Card card_4442(const char* kind) {
  Card card = plain_card<read, write>(kind, 256);
  card.operations.back().last_address = 256;
  return card;
}

const std::vector<Card>& cards() {
  static const std::vector<Card> all = {
      card_4442<srd_4442, swr_4442>("4442"),
      card_4442<srd_4432, swr_4432>("4432"),
      {.kind = "4428",
       .unit_bytes = 1,
       .operations = {{"srd", Effect::read, call<srd_4428>, 1024},
                      {"swr", Effect::write, call<swr_4428>, 1021},
                      {"rdwpb", Effect::read_with_protection, call<rdwpb_4428>, 1021},
                      {"wrwpb", Effect::write_with_protection, call<wrwpb_4428>, 1021},
                      {"pwr", Effect::protect, call<pwr_4428>, 1021}}},
      {.kind = "4418",
       .unit_bytes = 1,
       .operations = {{"srd", Effect::read_at_doubled_low_byte, call<srd_4418>, 1024},
                      {"swr", Effect::write, call<swr_4418>, 1024},
                      {"rdwpb", Effect::read_with_protection, call<rdwpb_4418>, 1024},
                      {"wrwpb", Effect::write_with_protection, call<wrwpb_4418>, 1024},
                      {"pwr", Effect::protect, call<pwr_4418>, 1024}}},
      plain_card<srd_24c01a, swr_24c01a>("24c01a", 128),
      plain_card<srd_24c02, swr_24c02>("24c02", 256),
      with_code_for_end(plain_card<srd_24c04, swr_24c04>("24c04", 512), 1, bad_address),
      plain_card<srd_24c08, swr_24c08>("24c08", 1024),
      plain_card<srd_24c16, swr_24c16>("24c16", 2048),
      plain_card<srd_24c32, swr_24c32>("24c32", 4096),
      plain_card<srd_24c64, swr_24c64>("24c64", 8192),
      card_93c<srd_93c46a, swr_93c46a, eral_93c46a, wral_93c46a>("93c46a", 64, 2),
      card_93c<srd_93c46, swr_93c46, eral_93c46, wral_93c46>("93c46", 128),
      with_code_for_end(card_93c<srd_93c57, swr_93c57, eral_93c57, wral_93c57>("93c57", 256), 0,
                        bad_address),
      card_93c<srd_93c66, swr_93c66, eral_93c66, wral_93c66>("93c66", 512),
      {.kind = "45d041",
       .unit_bytes = 1,
       .operations = {{"srd", Effect::read, call_with_page<srd_45d041>, 2048 * 264},
                      {"swr", Effect::write, call_with_page<swr_45d041>, 2048 * 264}},
       .checks_count_first = true},
  };
  return all;
}

struct Range {
  int address;
  int count;
};

// A card as an array of bytes, each of which may be protected.
class Model {
 public:
  // What lies behind the memory of the image, the counter and the code of a 4428, reads as FF.
  Model(const Card& card, const simulator::Image& image) : card_(card) {
    const auto units = std::ranges::max_element(card.operations, {}, &Operation::end)->end;
    memory_.assign(static_cast<std::size_t>(units * card.unit_bytes), 0xFF);
    is_protected_.assign(memory_.size(), 0);
    std::ranges::copy(image.field("memory"), memory_.begin());
    std::ranges::copy(image.field("protected"), is_protected_.begin());
  }

  const Bytes& memory() const { return memory_; }

  // Whether the card is what the array says.
  bool is_like(const simulator::Image& image) const {
    return begins_with(memory_, image.field("memory")) &&
           begins_with(is_protected_, image.field("protected"));
  }

  // Does to the array and to `data` what the function does to the card and to its buffer, and
  // returns what the function returns.
  int apply(const Operation& operation, const Range& range, Bytes& data) {
    if (operation.effect == Effect::erase_all || operation.effect == Effect::write_all) {
      std::ranges::fill(memory_, operation.effect == Effect::erase_all ? 0xFF : 0x00);
      return 0;
    }
    if (const int code = check(operation, range); code != 0) return code;
    const int bytes_per_frame = operation.effect == Effect::read_with_protection ? 72 : 144;
    const int size = range.count * card_.unit_bytes;
    for (int done = 0; done < size; done += bytes_per_frame) {
      const Range frame = {.address = range.address * card_.unit_bytes + done,
                           .count = std::min(bytes_per_frame, size - done)};
      if (const int code = apply_frame(operation.effect, frame, data, done); code != 0) return code;
    }
    return 0;
  }

 private:
  static bool begins_with(const Bytes& bytes, std::span<const std::uint8_t> begin) {
    return std::ranges::equal(std::span(bytes).first(begin.size()), begin);
  }

  int check(const Operation& operation, const Range& range) const {
    if (card_.checks_count_first && range.count < 1) return bad_length;
    if (range.address < 0 || range.address > operation.last_address) return bad_address;
    if (range.count < 1) return bad_length;
    return range.count > operation.end - range.address ? operation.past_end : 0;
  }

  // The range is in bytes here. The data of the frame begins behind that of `place` bytes.
  int apply_frame(Effect effect, const Range& frame, Bytes& data, int place) {
    const auto at = static_cast<std::size_t>(frame.address);
    const auto count = static_cast<std::size_t>(frame.count);
    const auto from = static_cast<std::size_t>(place);
    switch (effect) {
      case Effect::read:
        return read(at, count, data, from);
      case Effect::read_at_doubled_low_byte:
        return read(at % 256 * 257, count, data, from);
      case Effect::read_with_protection:
        for (std::size_t i = 0; i < count; ++i) {
          data.at((from + i) * 2) = memory_.at(at + i);
          data.at((from + i) * 2 + 1) = is_protected_.at(at + i) == 0 ? 1 : 0;
        }
        return 0;
      case Effect::protect:
        for (std::size_t i = 0; i < count; ++i)
          if (memory_.at(at + i) == data.at(from + i)) is_protected_.at(at + i) = 1;
        return 0;
      default:
        return write(at, count, data, from, effect == Effect::write_with_protection);
    }
  }

  int read(std::size_t at, std::size_t count, Bytes& data, std::size_t from) const {
    if (at + count > memory_.size()) return refused(Status::out_of_range);
    for (std::size_t i = 0; i < count; ++i)
      data.at(from + i) = memory_.at(at + i);
    return 0;
  }

  int write(std::size_t at, std::size_t count, const Bytes& data, std::size_t from, bool protects) {
    bool all_took = true;
    for (std::size_t i = 0; i < count; ++i) {
      if (is_protected_.at(at + i) == 0) {
        memory_.at(at + i) = data.at(from + i);
        is_protected_.at(at + i) = protects ? 1 : 0;
      }
      all_took = all_took && memory_.at(at + i) == data.at(from + i);
    }
    return all_took ? 0 : refused(Status::not_written);
  }

  const Card& card_;
  Bytes memory_;
  Bytes is_protected_;  // a 1 for each byte that is, a 0 for each that is not
};

class RandomTransfers {
 public:
  RandomTransfers(const Card& card, unsigned seed)
      : card_(card),
        image_(simulator::find_kind(card.kind)),
        bench_(image_),
        model_(card, image_),
        random_(seed) {
    const Bytes code(3, 0xFF);
    const std::string_view kind = card.kind;
    if (kind == "4442") {
      EXPECT_EQ(csc_4442(bench_.handle(), 3, code.data()), 0);
    } else if (kind == "4428") {
      EXPECT_EQ(csc_4428(bench_.handle(), 2, code.data()), 0);
    }
  }

  // Does one thing to the card and to its model, and compares all there is to compare.
  void transfer() {
    const Operation& operation = some_operation();
    const Range range = some_range(operation.end);
    Bytes data = some_data(range);
    Bytes expected_data = data;
    SCOPED_TRACE(
        fmt::format("{}_{} {} {}", operation.name, card_.kind, range.address, range.count));
    const int expected = model_.apply(operation, range, expected_data);
    EXPECT_EQ(operation.run(bench_.handle(), range.address, range.count, data.data()), expected);
    EXPECT_TRUE(data == expected_data);
    EXPECT_TRUE(model_.is_like(bench_.card()));
  }

 private:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

  // The first two, reading and writing, most of the time: the others leave little to be written.
  const Operation& some_operation() {
    const auto choice = static_cast<std::size_t>(below(24));
    return card_.operations[choice < card_.operations.size() ? choice : choice % 2];
  }

  // Most often inside the card, and often at its end.
  Range some_range(int end) {
    const int address = below(4) == 0 ? end - 1 - below(std::min(end, 16)) : below(end);
    const int most = end - address;
    switch (below(12)) {
      case 0:
        return {.address = -1 - below(2), .count = 1 + below(8)};
      case 1:
        return {.address = end + below(3), .count = 1 + below(8)};
      case 2:
        return {.address = address, .count = -below(2)};
      case 3:
        return {.address = address, .count = most + 1 + below(3)};
      case 4:
        return {.address = address, .count = std::min(most, 1024)};
      case 5:
        return {.address = address, .count = 1 + below(std::min(most, 300))};
      default:
        return {.address = address, .count = 1 + below(std::min(most, 16))};
    }
  }

  // Room for twice as many bytes as units. Now and then what the card holds already.
  Bytes some_data(const Range& range) {
    Bytes data(static_cast<std::size_t>(2 * std::max(range.count, 1)));
    std::ranges::generate(data, [this] { return static_cast<unsigned char>(random_()); });
    const Bytes& memory = model_.memory();
    const auto begin = static_cast<std::size_t>(std::max(range.address * card_.unit_bytes, 0));
    if (begin < memory.size() && below(3) == 0)
      std::copy_n(memory.begin() + static_cast<std::ptrdiff_t>(begin),
                  std::min(data.size(), memory.size() - begin), data.begin());
    return data;
  }

  const Card& card_;
  simulator::Image image_;
  VirtualBench bench_;
  Model model_;
  std::mt19937 random_;
};

class RandomTransfersTest : public ::testing::TestWithParam<Card> {};

TEST_P(RandomTransfersTest, do_to_the_card_what_they_do_to_an_array) {
  constexpr unsigned lives = 10;
  constexpr int transfers_in_a_life = 150;
  for (unsigned seed = 1; seed <= lives; ++seed) {
    RandomTransfers card(GetParam(), seed);
    for (int i = 0; i < transfers_in_a_life && !HasFailure(); ++i) {
      SCOPED_TRACE(fmt::format("seed {}, transfer {}", seed, i));
      card.transfer();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Card, RandomTransfersTest, ::testing::ValuesIn(cards()),
                         [](const auto& row) { return std::string(row.param.kind); });

}  // namespace
}  // namespace quorra::testing
