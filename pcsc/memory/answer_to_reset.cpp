// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/answer_to_reset.hpp"

#include <functional>
#include <numeric>

#include "pcsc/memory/traits.hpp"

namespace quorra::pcsc {
namespace {

constexpr int header_size = 4;

// T=0, and as many historical bytes as the header has.
const Bytes direct_with_four = {0x3B, 0x04};
const Bytes two_wire_name = {'I', '2', 'C', '.'};

// T=0 and T=1, fifteen historical bytes: a status indicator, and the registered identifier of PC/SC
// with its standard byte, two bytes of the card's name, and four that are reserved. No card of ours
// has a standard or a name there.
const Bytes storage_card = {0x3B, 0x8F, 0x80, 0x01, 0x80, 0x4F, 0x0C, 0xA0, 0x00, 0x00,
                            0x03, 0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};

Bytes with_historical_bytes(const Bytes& bytes) {
  Bytes answer = direct_with_four;
  answer.insert(answer.end(), bytes.begin(), bytes.end());
  return answer;
}

// All bytes but the first one, and the check byte, have an exclusive or of 0.
Bytes with_check_byte(Bytes bytes) {
  const unsigned check = std::accumulate(bytes.begin() + 1, bytes.end(), 0U, std::bit_xor<>());
  bytes.push_back(static_cast<unsigned char>(check));
  return bytes;
}

}  // namespace

Bytes answer_to_reset_of(const toolkit::Card& card, const Cells& cells) {
  // Reading also gives the card its power.
  const Bytes first = cells.read({0, header_size});
  switch (traits_of(card.name).answer) {
    case AnswerForm::header:
      return with_historical_bytes(first);
    case AnswerForm::two_wire:
      return with_historical_bytes(two_wire_name);
    case AnswerForm::storage_card:
      break;
  }
  return with_check_byte(storage_card);
}

}  // namespace quorra::pcsc
