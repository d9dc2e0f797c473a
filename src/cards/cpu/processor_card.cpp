// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The processor card in the card slot.

#include <quorra.h>

#include <algorithm>
#include <cstring>

#include "cards/cpu/conversation.hpp"

namespace quorra {
namespace {

constexpr Slot card_slot{.card = CardType::processor_card,
                         .attempts = 3,
                         .command = Checked::all,
                         .block = Checked::first_nine,
                         .attempts_start_anew = true};

// A reset gets one attempt more than an exchange.
constexpr int reset_attempts = 4;

}  // namespace
}  // namespace quorra

using namespace quorra;

int cpu_reset(int handle, unsigned char* buffer) {
  if (buffer == nullptr) return bad_length;
  Attempts attempts{reset_attempts};
  Reply reply;
  if (const int code = exchange_message(handle, Command::reset_card, CardType::processor_card, {},
                                        Checked::all, 0, attempts, reply);
      code != ok) {
    return code;
  }
  // The length has two bytes, of which the frame itself counts one. What it announces beyond the
  // frame's data is the frame's check byte and then zeros.
  const auto brought = static_cast<std::size_t>(reply.length());
  const std::size_t announced = reply.frame()[2] * std::size_t{256} + brought;
  const std::size_t copied = std::min(announced, brought + 1);
  std::memcpy(buffer, reply.data(), copied);
  std::memset(buffer + copied, 0, announced - copied);
  return ok;
}

int cpu_comres(int handle, int n, const unsigned char* command, unsigned char* buffer) {
  return exchange_command(handle, card_slot, n, command, buffer);
}

int cpu_protocol(int handle, int n, const unsigned char* block, unsigned char* buffer) {
  return exchange_block(handle, card_slot, n, block, buffer);
}

int set_card_baud(int handle, unsigned char slot, unsigned char code) {
  const CardType card = slot != 0 ? CardType::sam : CardType::processor_card;
  return exchange(handle, Request(Command::set_card_speed, card).append(code));
}
