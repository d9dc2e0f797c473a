// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/cards/cpu/block_link.hpp"

#include <algorithm>
#include <bit>
#include <utility>

#include "simulator/exclusive_or.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t header_of_block = 3;
constexpr std::size_t smallest_block = header_of_block + 1;
constexpr std::size_t largest_size = 254;

// An information block has bit 7 clear; bits 6 and 5 are its number and "more to come".
constexpr unsigned not_information = 0x80;
constexpr unsigned sequence_bit = 0x40;
constexpr unsigned more_to_come = 0x20;
// Of the others, bit 6 tells supervisory blocks, in which bit 5 tells answers from requests.
constexpr unsigned supervisory = 0xC0;
constexpr unsigned supervisory_answer = 0x20;
constexpr unsigned last_kind_of_request = 0xC3;
constexpr unsigned resynchronise = 0xC0;
constexpr unsigned set_size = 0xC1;
constexpr unsigned abort_chain = 0xC2;

// The rest are receipts. They tell the number of the information block that is expected next, and
// what was wrong with the last block.
constexpr unsigned receipt = 0x80;
constexpr unsigned wrong_check_byte = 0x81;
constexpr unsigned other_error = 0x82;
constexpr unsigned sequence_bit_of_receipt = 0x10;

// No command is longer. One that is, is cut there, and the card finds its length wrong.
constexpr std::size_t longest_command = 0x10000;

constexpr unsigned half_byte = 0x0F;

bool is_receipt(unsigned control) {
  const unsigned without_number = control & ~sequence_bit_of_receipt;
  return without_number >= receipt && without_number <= other_error;
}

// Information without a meaningless bit, or one of the few others there are.
bool is_control_byte(unsigned control) {
  if ((control & not_information) == 0) return (control & ~(sequence_bit | more_to_come)) == 0;
  if ((control & supervisory) == supervisory)
    return (control & ~supervisory_answer) <= last_kind_of_request;
  return is_receipt(control);
}

unsigned number_of_receipt(bool expected) { return expected ? sequence_bit_of_receipt : 0U; }

std::span<const std::uint8_t> information_of(std::span<const std::uint8_t> block) {
  return block.subspan(header_of_block, block[2]);
}

// The address of the sender and that of the receiver change places.
std::uint8_t answering(std::uint8_t address) {
  return static_cast<std::uint8_t>(std::rotl(address, 4));
}

ProcessorCard::Bytes make_block(std::uint8_t address, unsigned control,
                                std::span<const std::uint8_t> information = {}) {
  ProcessorCard::Bytes block;
  block.reserve(smallest_block + information.size());
  block.push_back(answering(address));
  block.push_back(static_cast<std::uint8_t>(control));
  block.push_back(static_cast<std::uint8_t>(information.size()));
  block.insert(block.end(), information.begin(), information.end());
  block.push_back(exclusive_or(block));
  return block;
}

// What an answer to reset says of the protocol.
struct Offer {
  unsigned protocol = 0;
  std::size_t size = 0;  // 0: it says nothing of it
};

// The upper half of T0, and of each TD, tells which of the bytes TA, TB, TC and TD follow. The
// lower half of a TD names a protocol. The first one is that of the card, unless TA2 names it;
// without TD1 it is T=0. The first TA behind a TD2, or a later one, that names T=1 is the size.
Offer read_offer(std::span<const std::uint8_t> answer) {
  constexpr unsigned bit_of_td = 3;
  Offer offer;
  unsigned behind = 0;
  unsigned there = answer.size() < 2 ? 0U : answer[1] >> 4U;
  auto rest = answer.subspan(std::min<std::size_t>(2, answer.size()));
  for (int number = 1; there != 0; ++number) {
    unsigned next = 0;
    for (unsigned letter = 0; letter <= bit_of_td; ++letter) {
      if ((there >> letter & 1U) == 0) continue;
      if (rest.empty()) return offer;
      const unsigned byte = rest.front();
      rest = rest.subspan(1);
      if (letter == bit_of_td) {
        behind = byte & half_byte;
        next = byte >> 4U;
        if (number == 1) offer.protocol = behind;
      } else if (letter == 0 && number == 2) {
        offer.protocol = byte & half_byte;
      } else if (letter == 0 && number > 2 && behind == 1 && offer.size == 0) {
        offer.size = byte;
      }
    }
    there = next;
  }
  return offer;
}

}  // namespace

void BlockLink::reset(std::span<const std::uint8_t> answer_to_reset) {
  const Offer offer = read_offer(answer_to_reset);
  card_speaks_blocks_ = offer.protocol == 1;
  card_size_ = offer.size == 0 || offer.size > largest_size ? usual_size : offer.size;
  begin_anew();
}

void BlockLink::begin_anew() {
  host_size_ = usual_size;
  expected_ = false;
  next_ = false;
  command_.clear();
  unsent_.clear();
  last_block_.clear();
  last_answer_.clear();
}

bool BlockLink::takes(std::span<const std::uint8_t> bytes) const {
  return card_speaks_blocks_ && bytes.size() >= smallest_block &&
         bytes[2] == bytes.size() - smallest_block &&
         (exclusive_or(bytes) == 0 || is_control_byte(bytes[1]));
}

std::optional<BlockLink::Bytes> BlockLink::exchange(ProcessorCard& card,
                                                    std::span<const std::uint8_t> block) {
  if (exclusive_or(block) != 0) return refuse(block[0], wrong_check_byte);
  const unsigned control = block[1];
  if ((control & not_information) == 0) return take_information(card, block);
  return (control & supervisory) == supervisory ? take_request(block) : take_receipt(block);
}

// A block that comes again, because the host has not seen the answer, gets it once more.
std::optional<BlockLink::Bytes> BlockLink::take_information(ProcessorCard& card,
                                                            std::span<const std::uint8_t> block) {
  const std::uint8_t address = block[0];
  const auto information = information_of(block);
  const bool number = (block[1] & sequence_bit) != 0;
  if (number != expected_ && !last_answer_.empty() && std::ranges::equal(block, last_block_))
    return last_answer_;
  const bool has_answer_left = !unsent_.empty();
  if (!is_control_byte(block[1]) || number != expected_ || information.size() > card_size_ ||
      has_answer_left)
    return refuse(address, other_error);

  expected_ = !expected_;
  last_block_.assign(block.begin(), block.end());
  last_answer_.clear();
  const std::size_t room = longest_command - command_.size();
  const auto taken = information.first(std::min(information.size(), room));
  command_.insert(command_.end(), taken.begin(), taken.end());
  if ((block[1] & more_to_come) != 0)
    return last_answer_ = make_block(address, receipt | number_of_receipt(expected_));

  auto answer = card.transmit(std::exchange(command_, {}));
  if (!answer) return std::nullopt;
  unsent_ = std::move(*answer);
  return send_next(address);
}

// The next block of the answer, which may be empty.
BlockLink::Bytes BlockLink::send_next(std::uint8_t address) {
  const std::size_t count = std::min(unsent_.size(), host_size_);
  const unsigned more = count < unsent_.size() ? more_to_come : 0;
  last_answer_ =
      make_block(address, (next_ ? sequence_bit : 0U) | more, std::span(unsent_).first(count));
  unsent_.erase(unsent_.begin(), unsent_.begin() + static_cast<std::ptrdiff_t>(count));
  next_ = !next_;
  return last_answer_;
}

// The host wants the last block again, or has it and wants what follows.
BlockLink::Bytes BlockLink::take_receipt(std::span<const std::uint8_t> block) {
  const std::uint8_t address = block[0];
  if (!is_receipt(block[1]) || block[2] != 0 || last_answer_.empty())
    return refuse(address, other_error);
  const bool wants_next = ((block[1] & sequence_bit_of_receipt) != 0) == next_;
  const bool has_sent_information = (last_answer_[1] & not_information) == 0;
  if (wants_next != has_sent_information) return last_answer_;
  if (!wants_next || unsent_.empty()) return refuse(address, other_error);
  return send_next(address);
}

BlockLink::Bytes BlockLink::take_request(std::span<const std::uint8_t> block) {
  const auto information = information_of(block);
  const unsigned control = block[1];
  if (control == resynchronise && information.empty()) {
    begin_anew();
  } else if (control == set_size && information.size() == 1 && information[0] != 0 &&
             information[0] <= largest_size) {
    host_size_ = information[0];
  } else if (control == abort_chain && information.empty()) {
    command_.clear();
    unsent_.clear();
    last_answer_.clear();
  } else {
    return refuse(block[0], other_error);
  }
  return make_block(block[0], control | supervisory_answer, information);
}

BlockLink::Bytes BlockLink::refuse(std::uint8_t address, unsigned error) const {
  return make_block(address, error | number_of_receipt(expected_));
}

}  // namespace quorra::simulator
