// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The secure access modules inside the reader.

#include <quorra.h>

#include <cstring>

#include "cards/cpu/conversation.hpp"

namespace quorra {
namespace {

// What the check bytes cover is the other way round than in the card slot.
constexpr Slot sam_slot{.card = CardType::sam,
                        .attempts = 3,
                        .command = Checked::first_nine,
                        .block = Checked::all,
                        .wrong_length_sends_again = true};

}  // namespace
}  // namespace quorra

using namespace quorra;

int sam_power_on(int handle) { return exchange(handle, {Command::power_on, CardType::sam}); }

int sam_power_down(int handle) { return exchange(handle, {Command::power_off, CardType::sam}); }

int sam_select(int handle, unsigned char number) {
  return exchange(handle, Request(Command::select_sam, CardType::sam).append(number));
}

int sam_reset(int handle, int* length, unsigned char* buffer) {
  if (length == nullptr) return bad_length;
  *length = 0;
  if (buffer == nullptr) return bad_length;
  Request request(Command::reset_card, CardType::sam);
  Reply reply;
  if (const int code = exchange(handle, request, reply); code != ok) return code;
  std::memcpy(buffer, reply.data(), static_cast<std::size_t>(reply.length()));
  *length = reply.length();
  return ok;
}

int sam_comres(int handle, int n, const unsigned char* command, unsigned char* buffer) {
  return exchange_command(handle, sam_slot, n, command, buffer);
}

int sam_protocol(int handle, int n, const unsigned char* block, unsigned char* buffer) {
  return exchange_block(handle, sam_slot, n, block, buffer);
}
