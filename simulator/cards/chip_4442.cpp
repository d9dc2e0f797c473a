#include "simulator/cards/chip_4442.hpp"

#include <algorithm>
#include <utility>

namespace quorra::simulator {
namespace {

constexpr std::size_t bits_of_command = 24;
constexpr std::uint8_t erased_byte = 0xFF;
constexpr std::uint8_t erased_counter = 0x07;

constexpr unsigned clocks_to_refuse = 2;
constexpr unsigned clocks_to_compare = 2;
constexpr unsigned clocks_to_erase_or_write = 124;
constexpr unsigned clocks_to_erase_and_write = 255;

// Addresses that a new card carries protected: the answer to reset, the chip's own bytes, and the
// application's identifier.
constexpr std::array protected_at_delivery{0, 1, 2, 3, 6, 7, 21, 22, 23, 24, 25, 26};

}  // namespace

void blank_4432(Image& image) {
  const auto memory = image.field("memory");
  std::ranges::fill(memory, erased_byte);
  std::ranges::copy(std::array<std::uint8_t, 4>{0xA2, 0x13, 0x10, 0x91}, memory.begin());
  memory[6] = 0x81;
  memory[7] = 0x15;
  for (const int address : protected_at_delivery)
    image.field("protected")[static_cast<std::size_t>(address)] = 1;
}

void blank_4442(Image& image) {
  blank_4432(image);
  std::ranges::fill(image.field("code"), erased_byte);
  image.field("counter").front() = erased_counter;
}

std::unique_ptr<Chip> make_chip_4442(Image image) {
  return std::make_unique<Chip4442>(std::move(image));
}

const std::array<Chip4442::Command, 4> Chip4442::commands{{
    {0x30, &Chip4442::read_main},
    {0x38, &Chip4442::update_main},
    {0x34, &Chip4442::read_protection},
    {0x3C, &Chip4442::write_protection},
}};

const std::array<Chip4442::Command, 3> Chip4442::security_commands{{
    {0x31, &Chip4442::read_security},
    {0x39, &Chip4442::update_security},
    {0x33, &Chip4442::compare},
}};

Chip4442::Chip4442(Image content)
    : Chip(std::move(content)),
      memory_(image().field("memory")),
      protected_(image().field("protected")),
      code_(image().field("code")),
      counter_(image().field("counter")) {}

void Chip4442::contacts_changed(const Contacts& before, const Contacts& now) {
  if (!now.vcc) {
    break_off();
    is_open_ = false;
    next_comparison_ = 0;
    clocked_in_reset_ = false;
  } else if (now.clk != before.clk) {
    now.clk ? clock_rises(now.rst, now.io) : clock_falls(now.rst);
  } else if (now.rst != before.rst) {
    reset_changed(now.rst, now.clk);
  } else if (now.io != before.io && now.clk && !now.rst) {
    now.io ? stop_condition() : start_condition();
  }
}

void Chip4442::reset_changed(bool rst, bool clk) {
  if (rst) {
    clocked_in_reset_ = false;
    if (!clk) break_off();
  } else if (clocked_in_reset_) {
    break_off();
    send(memory_.first(4));
    put_out_next_bit();
  }
}

void Chip4442::clock_rises(bool rst, bool io) {
  if (rst) {
    clocked_in_reset_ = true;
  } else if (state_ == State::command && command_bits_ < bits_of_command) {
    // The clock pulse of the stop condition comes after the 24 bits and brings none.
    std::uint8_t& byte = command_.at(command_bits_ / 8);
    byte = static_cast<std::uint8_t>(byte >> 1U | (io ? 0x80U : 0U));
    ++command_bits_;
  }
}

void Chip4442::clock_falls(bool rst) {
  if (rst) return;
  if (state_ == State::outgoing) put_out_next_bit();
  if (state_ == State::processing) process_one_clock();
}

void Chip4442::start_condition() {
  if (state_ == State::outgoing || state_ == State::processing) return;
  state_ = State::command;
  command_bits_ = 0;
}

void Chip4442::stop_condition() {
  if (state_ != State::command) return;
  state_ = State::idle;
  if (command_bits_ < bits_of_command) return;
  const auto [control, address, data] = command_;
  for (const Command& command : commands)
    if (command.control == control) return (this->*command.run)(address, data);
  if (!has_code()) return;
  for (const Command& command : security_commands)
    if (command.control == control) return (this->*command.run)(address, data);
}

// An operation that is under way is given up; a cell that was being programmed stays as it is.
void Chip4442::break_off() {
  state_ = State::idle;
  pull_io_low(false);
}

void Chip4442::read_main(std::uint8_t address, std::uint8_t /*data*/) {
  send(memory_.subspan(address));
}

void Chip4442::update_main(std::uint8_t address, std::uint8_t data) {
  const bool is_protected = address < protected_.size() && protected_[address] != 0;
  if (is_protected || (has_code() && !is_open_)) return refuse();
  update(memory_[address], data, erased_byte);
}

void Chip4442::read_protection(std::uint8_t /*address*/, std::uint8_t /*data*/) {
  registers_.fill(0);
  for (std::size_t address = 0; address < protected_.size(); ++address)
    if (protected_[address] == 0)
      registers_.at(address / 8) |= static_cast<std::uint8_t>(1U << address % 8);
  send(registers_);
}

void Chip4442::write_protection(std::uint8_t address, std::uint8_t data) {
  if (address >= protected_.size() || data != memory_[address] || (has_code() && !is_open_))
    return refuse();
  std::uint8_t& cell = protected_[address];
  process({.cell = &cell, .during = cell, .after = 1, .clocks = clocks_to_erase_or_write});
}

void Chip4442::read_security(std::uint8_t /*address*/, std::uint8_t /*data*/) {
  registers_.fill(0);
  registers_.front() = counter_.front();
  if (is_open_) std::ranges::copy(code_, registers_.begin() + 1);
  send(registers_);
}

void Chip4442::update_security(std::uint8_t address, std::uint8_t data) {
  const std::size_t cell = address % registers_.size();
  if (cell == 0) return update_counter(data);
  if (!is_open_) return refuse();
  update(code_[cell - 1], data, erased_byte);
}

// Attempts can be used up at any time, but only the right code gives them back.
void Chip4442::update_counter(std::uint8_t data) {
  const std::uint8_t wanted = data & erased_counter;
  std::uint8_t& cell = counter_.front();
  const auto possible = static_cast<std::uint8_t>(is_open_ ? wanted : wanted & cell);
  update(cell, possible, erased_counter);
  programming_.allows_comparison = (cell & ~possible) != 0;
}

// Each newly written bit of the counter allows one comparison of the three bytes, in order.
void Chip4442::compare(std::uint8_t address, std::uint8_t data) {
  if (next_comparison_ == 0) return refuse();
  is_open_ = false;
  const bool is_right = address == next_comparison_ && data == code_[address - 1U];
  if (!is_right) {
    next_comparison_ = 0;
  } else if (next_comparison_ < code_.size()) {
    ++next_comparison_;
  } else {
    next_comparison_ = 0;
    is_open_ = true;
  }
  process({.clocks = clocks_to_compare});
}

// Bits that have to become 1 need the whole cell erased first.
void Chip4442::update(std::uint8_t& cell, std::uint8_t content, std::uint8_t erased) {
  const bool erase = (content & ~cell) != 0;
  const bool write = content != (erase ? erased : cell);
  process({.cell = &cell,
           .during = erase ? erased : cell,
           .after = content,
           .clocks = erase && write ? clocks_to_erase_and_write : clocks_to_erase_or_write});
}

void Chip4442::refuse() { process({.clocks = clocks_to_refuse}); }

void Chip4442::send(std::span<const std::uint8_t> bytes) {
  state_ = State::outgoing;
  outgoing_ = bytes;
  outgoing_bit_ = 0;
}

void Chip4442::put_out_next_bit() {
  if (outgoing_bit_ == outgoing_.size() * 8) return break_off();
  const bool bit = (outgoing_[outgoing_bit_ / 8] >> outgoing_bit_ % 8 & 1U) != 0;
  pull_io_low(!bit);
  ++outgoing_bit_;
}

void Chip4442::process(const Programming& programming) {
  state_ = State::processing;
  programming_ = programming;
  clocks_given_ = 0;
}

// IO goes low when CLK falls after the stop condition, and high again with the last clock.
void Chip4442::process_one_clock() {
  if (clocks_given_ == 0) {
    pull_io_low(true);
    if (programming_.cell != nullptr) program(*programming_.cell, programming_.during);
  }
  if (clocks_given_ == programming_.clocks) {
    if (programming_.cell != nullptr) program(*programming_.cell, programming_.after);
    if (programming_.allows_comparison) next_comparison_ = 1;
    break_off();
  }
  ++clocks_given_;
}

}  // namespace quorra::simulator
