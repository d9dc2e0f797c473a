// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/apdu.hpp"

#include <algorithm>
#include <cstddef>

namespace quorra::pcsc {
namespace {

constexpr std::size_t header = 4;
constexpr int most_expected = 256;

}  // namespace

void Command::expect_only_length() const {
  if (!data.empty() || !expected) throw Refusal{StatusWord::wrong_length};
}

void Command::expect_only_data() const {
  if (data.empty() || expected) throw Refusal{StatusWord::wrong_length};
}

Command parse_command(const Bytes& bytes) {
  if (bytes.size() < header) throw Refusal{StatusWord::wrong_length};
  Command command{.cla = bytes[0],
                  .ins = bytes[1],
                  .p1 = bytes[2],
                  .p2 = bytes[3],
                  .data = {},
                  .expected = std::nullopt};
  std::size_t behind = header;
  if (bytes.size() > header + 1) {
    const std::size_t count = bytes[header];
    behind = header + 1 + count;
    // A count of 0 begins an extended length.
    if (count == 0 || bytes.size() < behind) throw Refusal{StatusWord::wrong_length};
    command.data.assign(bytes.begin() + header + 1,
                        bytes.begin() + static_cast<std::ptrdiff_t>(behind));
  }
  if (bytes.size() > behind + 1) throw Refusal{StatusWord::wrong_length};
  if (bytes.size() == behind + 1) {
    command.expected = bytes[behind] == 0 ? most_expected : bytes[behind];
  }
  return command;
}

Bytes to_bytes(const Answer& answer) {
  Bytes bytes = answer.data;
  const auto word = static_cast<unsigned>(answer.word);
  bytes.push_back(static_cast<unsigned char>(word >> 8U));
  bytes.push_back(static_cast<unsigned char>(word & 0xFFU));
  return bytes;
}

int count_to_read(int expected, int most) {
  if (expected == most_expected) return std::min(expected, most);
  if (expected > most) throw Refusal{StatusWord::shorter_length + most};
  return expected;
}

}  // namespace quorra::pcsc
