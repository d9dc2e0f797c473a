// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/firmware/frame.hpp"
#include "simulator/firmware/reader.hpp"
#include "simulator/status.hpp"

namespace quorra::simulator {

// How many bytes of BODY a command takes, the card type included.
struct BodyLength {
  std::size_t least;
  std::size_t most;
};

// The card type and four zero bytes.
inline constexpr BodyLength bare_body{5, 5};
// The card type, two bytes, the address, a zero byte and a count.
inline constexpr BodyLength count_body{7, 7};
// The card type, two bytes, the address and at least one byte of data.
inline constexpr BodyLength data_body{6, largest_body};
// The same with exactly `count` bytes of data.
constexpr BodyLength code_body(std::size_t count) { return {5 + count, 5 + count}; }

// Carries a request out and adds to the reply what it asks for. The length of the body is right.
using Handler = Status (*)(Reader& reader, const Request& request, Reply& reply);

struct Command {
  std::uint8_t code;
  BodyLength length;
  Handler handle;
};

// What a request can be addressed to: the reader itself or one type of card.
struct Target {
  std::uint8_t type;
  // Powers and resets a memory card of this type; null where the commands see to that themselves.
  void (*activate)(Slot& slot);
  std::span<const Command> commands;
};

}  // namespace quorra::simulator
