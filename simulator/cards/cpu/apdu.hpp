// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace quorra::simulator {

// A command as it comes to a processor card: CLA INS P1 P2, then Lc and so many bytes of data, then
// Le; data and Le can be missing.
struct Apdu {
  std::uint8_t command_class = 0;
  std::uint8_t instruction = 0;
  std::uint8_t parameter_1 = 0;
  std::uint8_t parameter_2 = 0;
  std::span<const std::uint8_t> data;
  // How many bytes are expected, 0 for as many as there are.
  std::optional<std::uint8_t> expected;

  std::uint16_t parameters() const {
    return static_cast<std::uint16_t>(parameter_1 << 8U | parameter_2);
  }
};

inline constexpr std::size_t apdu_header_size = 4;

// Absent if the lengths do not fit the bytes; lengths of more than one byte do not.
constexpr std::optional<Apdu> parse_apdu(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < apdu_header_size) return std::nullopt;
  Apdu apdu{.command_class = bytes[0],
            .instruction = bytes[1],
            .parameter_1 = bytes[2],
            .parameter_2 = bytes[3],
            .data = {},
            .expected = std::nullopt};
  const auto rest = bytes.subspan(apdu_header_size);
  if (rest.size() <= 1) {
    if (!rest.empty()) apdu.expected = rest[0];
    return apdu;
  }
  const std::size_t count = rest[0];
  if (count == 0 || rest.size() < 1 + count || rest.size() > 2 + count) return std::nullopt;
  apdu.data = rest.subspan(1, count);
  if (rest.size() == 2 + count) apdu.expected = rest.back();
  return apdu;
}

}  // namespace quorra::simulator
