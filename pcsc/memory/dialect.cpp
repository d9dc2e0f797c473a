// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/dialect.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace quorra::pcsc {
namespace {

constexpr int only_code = 0;
constexpr unsigned success_byte = 0x90;

struct Subject {
  const toolkit::Card& card;
  const Cells& cells;
  Codes& codes;
};

void expect_parameters(const Command& command, int wanted) {
  if (command.address() != wanted) throw Refusal{StatusWord::wrong_parameters};
}

// The counter as the reader leaves it: it takes the lowest bit away first.
unsigned char error_counter(const Subject& subject) {
  if (subject.card.codes.empty()) throw Refusal{StatusWord::not_supported};
  const int most = subject.card.codes.front().counter->most;
  const int used = most - subject.codes.attempts_left(only_code);
  const unsigned all = (1U << static_cast<unsigned>(most)) - 1;
  return static_cast<unsigned char>(all >> static_cast<unsigned>(used)
                                               << static_cast<unsigned>(used));
}

// The counter, and a byte without meaning for each byte of the code.
Answer read_error_counter(const Subject& subject, const Command& command) {
  command.expect_only_length();
  expect_parameters(command, 0);
  Bytes bytes{error_counter(subject)};
  bytes.resize(1 + static_cast<std::size_t>(subject.codes.size(only_code)));
  bytes.resize(
      static_cast<std::size_t>(count_to_read(*command.expected, static_cast<int>(bytes.size()))));
  return {.data = bytes};
}

// Eight bytes of the card are one byte, the first of them its lowest bit. 0 means protected.
Bytes protection_bits(const Subject& subject, int address, int bytes) {
  const Bytes flags = subject.cells.protection({address, 8 * bytes});
  Bytes bits(static_cast<std::size_t>(bytes));
  for (std::size_t at = 0; at < flags.size(); ++at) {
    if (flags[at] == 0) bits[at / 8] |= static_cast<unsigned char>(1U << at % 8);
  }
  return bits;
}

Answer read_protection(const Subject& subject, const Command& command) {
  command.expect_only_length();
  if (!subject.card.protection) throw Refusal{StatusWord::not_supported};
  const int left = (subject.card.protection->bytes - command.address()) / 8;
  if (left < 1) throw Refusal{StatusWord::wrong_address};
  return {.data =
              protection_bits(subject, command.address(), count_to_read(*command.expected, left))};
}

Answer protect(const Subject& subject, const Command& command) {
  command.expect_only_data();
  subject.cells.protect(command.address(), command.data);
  return {};
}

// The counter comes as SW2: all bits set after the right code, 0 when the card is locked.
Answer present(const Subject& subject, const Command& command) {
  command.expect_only_data();
  expect_parameters(command, 0);
  try {
    subject.codes.present(only_code, command.data);
  } catch (const Refusal& refusal) {
    const bool was_compared = (static_cast<unsigned>(refusal.word) & 0xFFF0U) ==
                              static_cast<unsigned>(StatusWord::attempts_left);
    if (!was_compared && refusal.word != StatusWord::no_attempt_left) throw;
  }
  return {.data = {}, .word = static_cast<StatusWord>(success_byte << 8U | error_counter(subject))};
}

Answer change_code(const Subject& subject, const Command& command) {
  constexpr int address_of_code = 1;
  command.expect_only_data();
  expect_parameters(command, address_of_code);
  subject.codes.change(only_code, command.data);
  return {};
}

// Applications say how large the pages of a two-wire card are: 3 to 7 for 8 to 128 bytes. This
// reader knows it.
Answer select_page_size(const Subject& /*subject*/, const Command& command) {
  constexpr unsigned char smallest = 0x03;
  constexpr unsigned char largest = 0x07;
  command.expect_only_data();
  expect_parameters(command, 0);
  if (command.data.size() != 1) throw Refusal{StatusWord::wrong_length};
  const unsigned char size = command.data.front();
  if (size < smallest || size > largest) throw Refusal{StatusWord::wrong_data};
  return {};
}

struct Row {
  unsigned char type;
  unsigned char ins;
  Answer (*answer)(const Subject& subject, const Command& command);
};

constexpr Row rows[] = {
    {0x01, 0x01, select_page_size}, {0x02, 0x01, select_page_size},
    {0x05, 0x20, present},          {0x05, 0xB1, read_error_counter},
    {0x05, 0xB2, read_protection},  {0x05, 0xD1, protect},
    {0x06, 0x20, present},          {0x06, 0xB1, read_error_counter},
    {0x06, 0xB2, read_protection},  {0x06, 0xD1, protect},
    {0x06, 0xD2, change_code},
};

}  // namespace

std::optional<Answer> answer_in_dialect(unsigned char type, const Command& command,
                                        const toolkit::Card& card, const Cells& cells,
                                        Codes& codes) {
  const auto* const found = std::ranges::find_if(
      rows, [&](const Row& row) { return row.type == type && row.ins == command.ins; });
  if (found == std::end(rows)) return std::nullopt;
  return found->answer({card, cells, codes}, command);
}

}  // namespace quorra::pcsc
