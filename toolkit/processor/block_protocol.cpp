// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/processor/block_protocol.hpp"

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <span>
#include <string_view>

namespace quorra::toolkit {
namespace {

// A block: NAD, PCB, LEN, LEN bytes of information, and the XOR of them all.
constexpr std::size_t prologue_size = 3;
constexpr std::size_t block_overhead = prologue_size + 1;
constexpr std::size_t control_place = 1;
constexpr std::size_t place_of_length = 2;

constexpr std::size_t most_sent = most_bytes_to_card - block_overhead;
constexpr unsigned char most_received = most_bytes_from_card - block_overhead;
constexpr std::size_t largest_block_size = 254;

// An information block has bit 7 clear; bits 6 and 5 are its number and "more to come".
constexpr unsigned not_information = 0x80;
constexpr unsigned sequence_bit = 0x40;
constexpr unsigned more_to_come = 0x20;
// A receipt tells the number of the information block that is expected next, and what was wrong.
constexpr unsigned receipt = 0x80;
constexpr unsigned receipt_of_trouble = 0x82;
constexpr unsigned sequence_bit_of_receipt = 0x10;
// Requests, of which the answer has another bit.
constexpr unsigned begin_anew = 0xC0;
constexpr unsigned set_size = 0xC1;
constexpr unsigned break_off = 0xC2;
constexpr unsigned extend_time = 0xC3;
constexpr unsigned answer_bit = 0x20;

// How often in a row a block goes wrong before the command is given up.
constexpr int attempts = 3;
// A card that asks for time, or for another size, so often within one command never ends.
constexpr int most_requests = 1000;
constexpr std::size_t most_answer_bytes = 65536 + 2;

struct ReceiptWords {
  unsigned error;
  std::string_view words;
};

constexpr ReceiptWords receipt_words[] = {
    {0x80, "the card wants a block again"},
    {0x81, "the card found the check byte of the block wrong"},
    {0x82, "the card found the block wrong"},
};

constexpr std::string_view no_block = "the card sends no block of T=1";

const ReceiptWords* find_receipt(unsigned control) {
  const auto* const found =
      std::ranges::find(receipt_words, control & ~sequence_bit_of_receipt, &ReceiptWords::error);
  return found == std::end(receipt_words) ? nullptr : found;
}

std::string with_control(std::string_view words, unsigned control) {
  return fmt::format("{} (PCB {:02X})", words, control);
}

unsigned char check_byte_of(std::span<const unsigned char> bytes) {
  return static_cast<unsigned char>(cr_bcc(static_cast<int>(bytes.size()), bytes.data()));
}

Bytes make_block(unsigned control, std::span<const unsigned char> information = {}) {
  // Room for all of it, or GCC 12 mistakes the growing for writing out of bounds.
  Bytes block;
  block.reserve(prologue_size + information.size() + 1);
  block.push_back(0);
  block.push_back(static_cast<unsigned char>(control));
  block.push_back(static_cast<unsigned char>(information.size()));
  block.insert(block.end(), information.begin(), information.end());
  block.push_back(check_byte_of(block));
  return block;
}

}  // namespace

bool BlockProtocol::Block::is_information() const { return (control & not_information) == 0; }
bool BlockProtocol::Block::is_receipt() const { return find_receipt(control) != nullptr; }
bool BlockProtocol::Block::is_request() const {
  return control >= set_size && control <= extend_time;
}
bool BlockProtocol::Block::number() const {
  return (control & (is_information() ? sequence_bit : sequence_bit_of_receipt)) != 0;
}
bool BlockProtocol::Block::is_followed() const { return (control & more_to_come) != 0; }

BlockProtocol::BlockProtocol(const CardLine& line, std::size_t card_size)
    : line_(line),
      card_size_(card_size) {}

// The block at the beginning of what came, if that is one.
std::optional<BlockProtocol::Block> BlockProtocol::carry(const Bytes& block, Wait wait,
                                                         Trouble& trouble) const {
  trouble = {};
  Bytes answer;
  trouble.code = line_.exchange(block, answer, wait);
  if (is_unanswered(trouble.code)) line_.drain();
  if (trouble.code < 0) return std::nullopt;
  if (answer.size() < block_overhead) {
    trouble.words = no_block;
    return std::nullopt;
  }
  const std::size_t size = block_overhead + answer[place_of_length];
  if (size > answer.size()) {
    trouble.words = fmt::format("the block says that it has {} bytes, more than came", size);
    return std::nullopt;
  }
  const std::span all(answer);
  if (check_byte_of(all.first(size)) != 0) {
    trouble.words = "the check byte of the card's block is wrong";
    return std::nullopt;
  }
  const auto information = all.subspan(prologue_size, answer[place_of_length]);
  return Block{answer[control_place], {information.begin(), information.end()}};
}

void BlockProtocol::fail(const Trouble& trouble) const {
  if (trouble.code < 0) line_.fail(trouble.code);
  CardLine::fail(trouble.words);
}

bool BlockProtocol::resynchronise() {
  Trouble trouble;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const auto answer = carry(make_block(begin_anew), Wait::usual, trouble);
    if (!answer && trouble.code == 0) return false;
    if (!answer) continue;
    if (answer->control == (begin_anew | answer_bit)) return true;
    trouble.words = with_control("the card does not begin its blocks anew", answer->control);
  }
  fail(trouble);
}

void BlockProtocol::announce_size() const {
  constexpr unsigned char size[] = {most_received};
  Trouble trouble;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const auto answer = carry(make_block(set_size, size), Wait::usual, trouble);
    if (answer && answer->control == (set_size | answer_bit)) return;
  }
  if (trouble.code < 0) fail(trouble);
}

// What the card wants to be done before it goes on.
Bytes BlockProtocol::respond(const Block& request) {
  if (request.control == break_off) {
    CardLine::fail(with_control("the card breaks off", request.control));
  }
  if (request.control == set_size && request.information.size() == 1 &&
      request.information[0] != 0 && request.information[0] <= largest_block_size) {
    card_size_ = request.information[0];
  }
  return make_block(request.control | answer_bit, request.information);
}

// Brings an information block or a receipt and returns what the card answers: a receipt, if the
// block is one of a chain that goes on, and else the next information block. When nothing good
// comes, the card is asked for its last block again. It then sends that, or wants ours once more.
BlockProtocol::Block BlockProtocol::converse(const Bytes& block) {
  const Block ours{block[control_place], {}};
  const bool brings_information = ours.is_information();
  const bool wants_receipt = brings_information && ours.is_followed();
  Bytes next = block;
  Wait wait = Wait::usual;
  Trouble first_trouble;
  int requests = 0;
  for (int failures = 0; failures < attempts;) {
    Trouble trouble;
    const std::optional<Block> answer = carry(next, wait, trouble);
    wait = Wait::usual;
    if (answer && answer->is_request()) {
      if (++requests > most_requests) {
        CardLine::fail(with_control("the card asks for something without end", answer->control));
      }
      next = respond(*answer);
      if (answer->control == extend_time) wait = Wait::extended;
      continue;
    }
    bool wants_ours = false;
    if (answer && answer->is_receipt()) {
      wants_ours = brings_information && answer->number() == ours.number();
      if (wants_receipt && !wants_ours) return *answer;
      trouble.words = with_control(find_receipt(answer->control)->words, answer->control);
    } else if (answer && answer->is_information()) {
      constexpr unsigned meaning = sequence_bit | more_to_come;
      const bool is_block = (answer->control & ~meaning) == 0;
      if (is_block && !wants_receipt && answer->number() == expected_) return *answer;
      trouble.words = with_control(
          is_block ? "the card's block is not the one that is due" : no_block, answer->control);
    } else if (answer) {
      trouble.words = with_control(no_block, answer->control);
    }
    next = wants_ours ? block
                      : make_block(receipt_of_trouble | (expected_ ? sequence_bit_of_receipt : 0U));
    if (failures++ == 0) first_trouble = trouble;
  }
  fail(first_trouble);
}

Bytes BlockProtocol::transmit(const Bytes& command) {
  std::span<const unsigned char> rest = command;
  Block block;
  for (bool has_more = true; has_more; next_ = !next_) {
    const std::size_t count = std::min({rest.size(), card_size_, most_sent});
    has_more = count < rest.size();
    block = converse(make_block((next_ ? sequence_bit : 0U) | (has_more ? more_to_come : 0U),
                                rest.first(count)));
    rest = rest.subspan(count);
  }
  Bytes answer;
  for (;;) {
    expected_ = !expected_;
    answer.insert(answer.end(), block.information.begin(), block.information.end());
    if (answer.size() > most_answer_bytes) {
      CardLine::fail(fmt::format("the answer does not end after {} bytes", most_answer_bytes - 2));
    }
    if (!block.is_followed()) return answer;
    block = converse(make_block(receipt | (expected_ ? sequence_bit_of_receipt : 0U)));
  }
}

}  // namespace quorra::toolkit
