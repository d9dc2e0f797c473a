#include "simulator/cards/cpu/block_link.hpp"

#include <algorithm>
#include <array>
#include <bit>

#include "simulator/exclusive_or.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t header_of_block = 3;
constexpr std::size_t smallest_block = header_of_block + 1;

// An information block has bit 7 clear; bits 6 and 5 are its number and "more to come".
constexpr unsigned not_information = 0x80;
constexpr unsigned sequence_bit = 0x40;
constexpr unsigned more_to_come = 0x20;
// Of the others, bit 6 tells supervisory blocks, in which bit 5 tells answers from requests.
constexpr unsigned supervisory = 0xC0;
constexpr unsigned kind_mask = 0xC0;
constexpr unsigned supervisory_answer = 0x20;
constexpr unsigned last_supervisory_request = 0xC2;

// Blocks that say that something was wrong.
constexpr unsigned wrong_check_byte = 0x81;
constexpr unsigned other_error = 0x82;
constexpr unsigned sequence_bit_of_error = 0x10;

bool has_length_of_block(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= smallest_block && bytes[2] == bytes.size() - smallest_block;
}

// Information without a meaningless bit, or one of the few others there are.
bool is_control_byte(unsigned byte) {
  if ((byte & not_information) == 0) return (byte & ~(sequence_bit | more_to_come)) == 0;
  if ((byte & kind_mask) == supervisory) return (byte & ~supervisory_answer) <= 0xC3;
  return (byte & ~sequence_bit_of_error) <= other_error;
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

}  // namespace

// T0 says which interface bytes follow it; the lower half of TD1 is the first protocol, and where
// TD1 is missing that is T=0.
void BlockLink::reset(std::span<const std::uint8_t> answer_to_reset) {
  constexpr unsigned before_td1 = 0x70;
  constexpr unsigned td1 = 0x80;
  constexpr unsigned protocol_mask = 0x0F;
  last_answer_.clear();
  card_speaks_blocks_ = false;
  if (answer_to_reset.size() < 2 || (answer_to_reset[1] & td1) == 0) return;
  const std::size_t place =
      2 + static_cast<std::size_t>(std::popcount(answer_to_reset[1] & before_td1));
  card_speaks_blocks_ =
      place < answer_to_reset.size() && (answer_to_reset[place] & protocol_mask) == 1;
}

bool BlockLink::takes(std::span<const std::uint8_t> bytes) const {
  if (!has_length_of_block(bytes)) return false;
  return exclusive_or(bytes) == 0 || (card_speaks_blocks_ && is_control_byte(bytes[1]));
}

std::optional<BlockLink::Bytes> BlockLink::exchange(ProcessorCard& card,
                                                    std::span<const std::uint8_t> block) {
  const std::uint8_t address = block[0];
  const unsigned control = block[1];
  const auto information = block.subspan(header_of_block, block[2]);
  const unsigned sequence = (control & sequence_bit) != 0 ? sequence_bit_of_error : 0;

  if (exclusive_or(block) != 0) return make_block(address, wrong_check_byte | sequence);
  if ((control & kind_mask) == supervisory) {
    if (control > last_supervisory_request) return make_block(address, other_error);
    return make_block(address, control | supervisory_answer, information);
  }
  if ((control & not_information) != 0)
    return last_answer_.empty() ? make_block(address, other_error) : last_answer_;
  if ((control & more_to_come) != 0) return make_block(address, other_error | sequence);

  const auto answer = card.transmit(information);
  if (!answer) return std::nullopt;
  last_answer_ = make_block(address, control & sequence_bit, *answer);
  return last_answer_;
}

}  // namespace quorra::simulator
