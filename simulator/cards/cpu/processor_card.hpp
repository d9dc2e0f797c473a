// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quorra::simulator {

// A card with a processor, as the reader's asynchronous interface sees it: whole commands go in,
// whole answers come out.
class ProcessorCard {
 public:
  using Bytes = std::vector<std::uint8_t>;

  ProcessorCard() = default;
  ProcessorCard& operator=(const ProcessorCard&) = delete;
  virtual ~ProcessorCard() = default;

  // Whether the card is there at this moment.
  virtual bool is_present() { return true; }
  // Power comes or goes. A card without power forgets all that it does not keep.
  virtual void set_power(bool on) = 0;
  // Resets the card, which has power. The answer to reset; absent if the card is silent.
  virtual std::optional<Bytes> reset() = 0;
  // The answer to a command: data, SW1 and SW2; absent if the card is silent.
  virtual std::optional<Bytes> transmit(std::span<const std::uint8_t> command) = 0;

 protected:
  ProcessorCard(const ProcessorCard&) = default;
};

}  // namespace quorra::simulator
