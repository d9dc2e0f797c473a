#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// "counter" has a 1 bit for each attempt that is left.
inline constexpr std::array fields_4442{
    Field{"code", FieldForm::bytes, 3},
    Field{"counter", FieldForm::number, 7},
    Field{"protected", FieldForm::addresses, 32},
    Field{"memory", FieldForm::memory, 256},
};

inline constexpr std::array fields_4432{
    Field{"protected", FieldForm::addresses, 32},
    Field{"memory", FieldForm::memory, 256},
};

void blank_4442(Image& image);
void blank_4432(Image& image);
std::unique_ptr<Chip> make_chip_4442(Image image);

// The chip of the 4442, and of the 4432: an image without a code makes a chip that is always open
// and does not know the commands of the security memory.
//
// Bits travel least significant first. The chip takes a bit in when CLK rises and puts one out
// when CLK falls. A command is three bytes between a start condition (IO falls while CLK is high)
// and a stop condition (IO rises while CLK is high).
class Chip4442 final : public Chip {
 public:
  explicit Chip4442(Image content);

  void contacts_changed(const Contacts& before, const Contacts& now) override;

 private:
  enum class State : std::uint8_t { idle, command, outgoing, processing };

  // What a cell goes through while the chip is processing: the content it has from the first
  // clock on, and the one it gets with the last.
  struct Programming {
    std::uint8_t* cell = nullptr;
    std::uint8_t during = 0;
    std::uint8_t after = 0;
    unsigned clocks = 0;
    bool allows_comparison = false;
  };

  struct Command {
    std::uint8_t control;
    void (Chip4442::*run)(std::uint8_t address, std::uint8_t data);
  };
  static const std::array<Command, 4> commands;
  static const std::array<Command, 3> security_commands;

  bool has_code() const { return !code_.empty(); }

  void reset_changed(bool rst, bool clk);
  void clock_rises(bool rst, bool io);
  void clock_falls(bool rst);
  void start_condition();
  void stop_condition();
  void break_off();

  void read_main(std::uint8_t address, std::uint8_t data);
  void update_main(std::uint8_t address, std::uint8_t data);
  void read_protection(std::uint8_t address, std::uint8_t data);
  void write_protection(std::uint8_t address, std::uint8_t data);
  void read_security(std::uint8_t address, std::uint8_t data);
  void update_security(std::uint8_t address, std::uint8_t data);
  void compare(std::uint8_t address, std::uint8_t data);

  void send(std::span<const std::uint8_t> bytes);
  void put_out_next_bit();
  void update(std::uint8_t& cell, std::uint8_t content, std::uint8_t erased);
  void update_counter(std::uint8_t data);
  void process(const Programming& programming);
  void refuse();
  void process_one_clock();

  std::span<std::uint8_t> memory_;
  std::span<std::uint8_t> protected_;
  std::span<std::uint8_t> code_;
  std::span<std::uint8_t> counter_;

  State state_ = State::idle;
  bool clocked_in_reset_ = false;
  bool is_open_ = false;
  // The code byte (1 to 3) that may be compared next; 0 when no comparison is allowed.
  std::uint8_t next_comparison_ = 0;

  std::array<std::uint8_t, 3> command_{};
  std::size_t command_bits_ = 0;

  std::array<std::uint8_t, 4> registers_{};
  std::span<const std::uint8_t> outgoing_;
  std::size_t outgoing_bit_ = 0;

  Programming programming_;
  unsigned clocks_given_ = 0;
};

}  // namespace quorra::simulator
