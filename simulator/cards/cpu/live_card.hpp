// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "simulator/cards/cpu/processor_card.hpp"
#include "simulator/files.hpp"

namespace quorra::simulator {

// What stands for the kind of a live card.
inline constexpr std::string_view live_card_kind = "live";

// A processor card that another program emulates, the card emulator vicc or one that speaks as it
// does. The emulator connects to an address; while it is connected the card is present.
//
// Each message is its length in two bytes, the upper one first, and that many bytes. A message of
// one byte to the emulator is a control, a longer one a command. Only commands and the question
// for the answer to reset are answered.
class LiveCard final : public ProcessorCard {
 public:
  // What addresses begin with.
  static constexpr std::string_view scheme = "vicc://";
  static constexpr std::chrono::milliseconds usual_patience{3000};

  // Listens at vicc://HOST:PORT; port 0 is any that is free. An emulator that needs longer than
  // `patience` for a message is given up, and so is every one once the descriptor `stop` is
  // readable; negative: there is none. Throws Error.
  explicit LiveCard(std::string_view address, std::chrono::milliseconds patience = usual_patience,
                    int stop = -1);

  // With the number of the port.
  const std::string& address() const { return address_; }

  bool is_present() override;
  void set_power(bool on) override;
  std::optional<Bytes> reset() override;
  std::optional<Bytes> transmit(std::span<const std::uint8_t> command) override;

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  void control(std::uint8_t code);
  std::optional<Bytes> exchange(std::span<const std::uint8_t> message);
  bool becomes_ready(short events, Deadline deadline) const;
  bool send(std::span<const std::uint8_t> message, Deadline deadline);
  bool receive(std::span<std::uint8_t> bytes, Deadline deadline);
  void hang_up() { connection_ = FileDescriptor(); }

  std::string address_;
  std::chrono::milliseconds patience_;
  int stop_;
  FileDescriptor listening_;
  FileDescriptor connection_;
  bool has_power_ = false;
};

}  // namespace quorra::simulator
