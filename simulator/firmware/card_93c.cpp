// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_93c.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quorra::simulator {
namespace {

// What the reader believes of a card of that type. Addresses and counts are in words.
struct Type {
  std::uint8_t type;
  unsigned address_bits;
  std::size_t bytes_per_word;

  std::size_t words() const { return std::size_t{1} << address_bits; }
};

constexpr std::array types{
    Type{.type = 0x68, .address_bits = 6, .bytes_per_word = 2},
    Type{.type = 0x69, .address_bits = 7, .bytes_per_word = 1},
    Type{.type = 0x6A, .address_bits = 8, .bytes_per_word = 1},
    Type{.type = 0x6B, .address_bits = 9, .bytes_per_word = 1},
};

const Type& type_of(const Request& request) {
  return *std::ranges::find(types, request.card_type(), &Type::type);
}

// What "write all" leaves in each byte of the card.
constexpr std::uint8_t fill_value = 0x00;

// A start bit and two bits of operation code.
constexpr unsigned write_code = 0b101;
constexpr unsigned read_code = 0b110;
// The code of the following is told by the two upper address bits.
constexpr unsigned extended_code = 0b100;
constexpr unsigned disable_writing = 0b00;
constexpr unsigned write_all = 0b01;
constexpr unsigned erase_all = 0b10;
constexpr unsigned enable_writing = 0b11;

// The card's bus as the reader drives it. Between instructions the card is not selected, CLK is
// low and IO is let go. Bits travel most significant first.
class Bus {
 public:
  Bus(Slot& slot, const Type& type) : slot_(slot), type_(type) {}

  // Reads words from the address on. Returns whether the card put its zero before them.
  bool read(std::size_t address, std::span<std::uint8_t> bytes) {
    select();
    send(read_code, address);
    slot_.set_io(true);
    const bool answers = !slot_.read_io();
    if (answers) receive(bytes);
    deselect();
    return answers;
  }

  void enable() { run_extended(enable_writing, {}); }
  void disable() { run_extended(disable_writing, {}); }

  // Each of the following starts an operation that runs until finish().
  void write(std::size_t address, std::span<const std::uint8_t> word) {
    run(write_code, address, word);
  }
  void write_all_words(std::span<const std::uint8_t> word) { run_extended(write_all, word); }
  void erase_all_words() { run_extended(erase_all, {}); }

  // Returns whether the card was busy and then became ready.
  bool finish() {
    constexpr int more_looks_than_any_card_needs = 1000;
    if (!is_busy()) return false;
    for (int look = 0; look < more_looks_than_any_card_needs; ++look)
      if (!is_busy()) return true;
    return false;
  }

 private:
  void select() { slot_.set_rst(true); }
  void deselect() {
    slot_.set_rst(false);
    slot_.set_io(true);
  }

  void send_bits(std::size_t bits, unsigned count) {
    for (; count > 0; --count) {
      slot_.set_io((bits >> (count - 1) & 1U) != 0);
      slot_.clock_pulse();
    }
  }

  void send(unsigned code, std::size_t address) {
    send_bits(code, 3);
    send_bits(address, type_.address_bits);
  }

  void run(unsigned code, std::size_t address, std::span<const std::uint8_t> data) {
    select();
    send(code, address);
    for (const std::uint8_t byte : data)
      send_bits(byte, 8);
    deselect();
  }

  void run_extended(unsigned upper_bits, std::span<const std::uint8_t> data) {
    run(extended_code, upper_bits * type_.words() / 4, data);
  }

  void receive(std::span<std::uint8_t> bytes) {
    for (std::uint8_t& byte : bytes) {
      unsigned bits = 0;
      for (int bit = 0; bit < 8; ++bit) {
        slot_.clock_pulse();
        bits = bits << 1U | (slot_.read_io() ? 1U : 0U);
      }
      byte = static_cast<std::uint8_t>(bits);
    }
  }

  // While it is selected, a card that programs holds its output low.
  bool is_busy() {
    select();
    const bool busy = !slot_.read_io();
    deselect();
    return busy;
  }

  Slot& slot_;
  const Type& type_;
};

// Finishes the operation that was started as piece `index` of `count`.
bool finish(Reader& reader, Bus& bus, std::size_t index, std::size_t count) {
  reader.programming(index, count);
  return bus.finish();
}

Status write_words(Reader& reader, Bus& bus, const Type& type, const Request& request) {
  const auto data = request.data();
  const std::size_t count = data.size() / type.bytes_per_word;
  for (std::size_t i = 0; i < count; ++i) {
    bus.write(request.address() + i, data.subspan(i * type.bytes_per_word, type.bytes_per_word));
    if (!finish(reader, bus, i, count)) return Status::no_answer;
  }
  return Status::success;
}

}  // namespace

Status read_93c(Reader& reader, const Request& request, Reply& reply) {
  const Type& type = type_of(request);
  const std::size_t count = request.count();
  if (count == 0 || request.address() + count > type.words()) return Status::out_of_range;
  Bus bus(reader.slot, type);
  const auto bytes = reply.extend(count * type.bytes_per_word);
  return bus.read(request.address(), bytes) ? Status::success : Status::no_answer;
}

// Nothing is read back: a host that probes for the size of a card compares by itself.
Status write_93c(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type& type = type_of(request);
  const std::size_t size = request.data().size();
  if (size % type.bytes_per_word != 0) return Status::wrong_body_length;
  if (request.address() + size / type.bytes_per_word > type.words()) return Status::out_of_range;

  Bus bus(reader.slot, type);
  bus.enable();
  const Status status = write_words(reader, bus, type, request);
  bus.disable();
  return status;
}

Status erase_all_93c(Reader& reader, const Request& request, Reply& /*reply*/) {
  Bus bus(reader.slot, type_of(request));
  bus.enable();
  bus.erase_all_words();
  const bool finished = finish(reader, bus, 0, 1);
  bus.disable();
  return finished ? Status::success : Status::no_answer;
}

Status write_all_93c(Reader& reader, const Request& request, Reply& /*reply*/) {
  constexpr std::array word{fill_value, fill_value};
  const Type& type = type_of(request);
  Bus bus(reader.slot, type);
  bus.enable();
  bus.write_all_words(std::span(word).first(type.bytes_per_word));
  const bool finished = finish(reader, bus, 0, 1);
  bus.disable();
  return finished ? Status::success : Status::no_answer;
}

}  // namespace quorra::simulator
