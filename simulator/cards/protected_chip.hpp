// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// The content of a new card of that sort: its answer to reset, and FF everywhere else, also in the
// code and the counter. The bytes are protected that usually are when such a card leaves its
// maker.
void fill_new_card(Image& image, const std::array<std::uint8_t, 4>& answer_to_reset);

// What the chips with protection bits have in common: a command of three bytes, an answer to
// reset, sending, programming that goes on from clock to clock while IO is low, and a security
// code. How a command begins and ends, and which commands there are, is left to each of them.
//
// Bits travel least significant first. An image without a code makes a chip that can always be
// written.
class ProtectedChip : public Chip {
 protected:
  using Command = std::array<std::uint8_t, 3>;

  // How many clocks it takes to program a cell.
  struct Timing {
    unsigned erase_or_write;
    unsigned erase_and_write;
  };

  // What a cell goes through while the chip is processing: the content it has from the first
  // clock on, and the one it gets with the last.
  struct Programming {
    std::uint8_t* cell = nullptr;
    std::uint8_t during = 0;
    std::uint8_t after = 0;
    unsigned clocks = 0;
    // A protection bit that is written with the last clock as well.
    std::uint8_t* protection = nullptr;
    bool allows_comparison = false;
  };

  static constexpr std::uint8_t erased_byte = 0xFF;

  ProtectedChip(Image content, const Timing& timing);

  // Lets this copy, which still points to the cells of its original, have its own.
  void belongs_to_copy_of(const ProtectedChip& original);

  std::span<std::uint8_t> memory() const { return memory_; }
  // For each address 1 if it is protected, and 0 if it is not.
  std::span<std::uint8_t> protection() const { return protection_; }
  std::span<std::uint8_t> code() const { return code_; }
  // One byte, or none on a chip without a code.
  std::span<std::uint8_t> counter() const { return counter_; }

  bool has_code() const { return !code_.empty(); }
  bool is_open() const { return is_open_; }
  bool can_be_written() const { return !has_code() || is_open_; }

  // The chip forgets all but what its cells hold.
  void lose_power();
  // Gives up what is under way and lets IO go; a cell that was being programmed stays as it is.
  void break_off();
  bool is_busy() const { return activity_ != Activity::idle; }

  void begin_command() { command_bits_ = 0; }
  // Takes a bit of the command; those after its 24 bits are ignored.
  void take_bit(bool bit);
  std::size_t command_bits() const { return command_bits_; }
  bool command_is_whole() const { return command_bits_ == bits_of_command; }
  const Command& command() const { return command_; }

  // Sends the first four bytes of the memory, beginning at once.
  void answer_to_reset();
  // Begins to send bytes. With `protection`, a bit follows each byte: 1 if it is not protected.
  void send(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> protection = {});
  // The same for bytes of the memory, from that address on.
  void send_from(std::size_t address, std::span<const std::uint8_t> bytes,
                 std::span<const std::uint8_t> protection = {});
  void process(const Programming& programming);
  // Programs a cell. Bits that have to become 1 need the whole cell erased first.
  void update(std::uint8_t& cell, std::uint8_t content, std::uint8_t erased = erased_byte,
              std::uint8_t* protection = nullptr);
  // Programs the error counter; a bit that is newly written allows one comparison of the code.
  void update_counter(std::uint8_t content, std::uint8_t erased = erased_byte);
  void write_protection_bit(std::size_t address);
  // Compares a byte of the code. All of them must come in order after a bit of the counter was
  // written.
  void compare_code(std::size_t place, std::uint8_t byte);
  // Keeps IO low for a moment and does nothing.
  void refuse();
  // One step of sending or processing.
  void advance();

 private:
  enum class Activity : std::uint8_t { idle, sending, processing };

  static constexpr std::size_t bits_of_command = 24;

  void find_cells();
  void put_out_next_bit();
  void process_one_clock();

  Timing timing_;
  std::span<std::uint8_t> memory_;
  std::span<std::uint8_t> protection_;
  std::span<std::uint8_t> code_;
  std::span<std::uint8_t> counter_;

  Activity activity_ = Activity::idle;
  bool is_open_ = false;
  // The byte of the code that may be compared next.
  std::optional<std::size_t> next_comparison_;

  Command command_{};
  std::size_t command_bits_ = 0;

  std::vector<std::uint8_t> outgoing_;
  std::vector<std::uint8_t> outgoing_protection_;
  std::size_t outgoing_bit_ = 0;
  // Where the first of them stands in the memory; its size or more: elsewhere.
  std::size_t outgoing_address_ = 0;

  Programming programming_;
  unsigned clocks_given_ = 0;
};

}  // namespace quorra::simulator
