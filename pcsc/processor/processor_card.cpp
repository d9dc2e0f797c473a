// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/processor/processor_card.hpp"

#include <utility>

#include "toolkit/processor/answer_to_reset.hpp"

namespace quorra::pcsc {
namespace {

const Bytes wrong_length{0x67, 0x00};

constexpr std::size_t header_size = 4;
constexpr std::size_t status_words_size = 2;
// A header, a length, 255 bytes of data, and an expected length.
constexpr std::size_t longest_short_command = header_size + 1 + 255 + 1;

}  // namespace

bool has_extended_length(const Bytes& command) {
  return command.size() > header_size + 1 && command[header_size] == 0;
}

ProcessorCard::ProcessorCard(const toolkit::Session& session, toolkit::SamNumber sam,
                             Bytes answer_to_reset)
    : answer_to_reset_(std::move(answer_to_reset)),
      line_(session, sam) {
  const auto offer = toolkit::read_offer(answer_to_reset_);
  if (offer) protocol_ = offer->protocol;
  if (protocol_ != 1) return;
  blocks_.emplace(line_, offer->block_size);
  blocks_->announce_size();
}

Bytes ProcessorCard::transmit_in_blocks(const Bytes& command) {
  if (out_of_step_ && !blocks_->resynchronise()) {
    toolkit::CardLine::fail("the card does not begin its blocks anew");
  }
  out_of_step_ = true;
  Bytes answer = blocks_->transmit(command);
  out_of_step_ = false;
  return answer;
}

Bytes ProcessorCard::transmit(const Bytes& command) {
  if (has_extended_length(command) || command.size() > longest_short_command) return wrong_length;
  Bytes answer;
  if (blocks_) {
    answer = transmit_in_blocks(command);
  } else {
    if (command.size() > toolkit::most_bytes_to_card) return wrong_length;
    const int result = line_.exchange(command, answer);
    if (result < 0) line_.fail(result);
  }
  if (answer.size() < status_words_size) {
    toolkit::CardLine::fail("the answer ends without status words");
  }
  return answer;
}

}  // namespace quorra::pcsc
