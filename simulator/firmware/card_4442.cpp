// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_4442.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/firmware/synchronous_bus.hpp"
#include "simulator/firmware/synchronous_reset.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t memory_size = 256;
constexpr std::size_t protection_size = 4;
constexpr std::size_t protectable_bytes = 32;

using Register = std::array<std::uint8_t, 4>;

// Attempts that are left are 1 bits; the other bits of the counter byte read as 0.
constexpr std::uint8_t all_attempts = 0x07;

// The card's bus as the reader drives it. Between commands CLK is low and IO is let go. Bits
// travel least significant first.
class Bus {
 public:
  explicit Bus(Slot& slot) : slot_(slot) {}

  void read_main(std::size_t address, std::span<std::uint8_t> bytes) {
    send(0x30, address, 0);
    receive(bytes);
    // The card would go on to the end of its memory.
    slot_.set_rst(true);
    slot_.set_rst(false);
  }

  Register read_protection() { return read_register(0x34); }
  Register read_security() { return read_register(0x31); }

  // Each of the following starts an operation that runs until finish().
  void update_main(std::size_t address, std::uint8_t byte) { start(0x38, address, byte); }
  void write_protection(std::size_t address, std::uint8_t byte) { start(0x3C, address, byte); }
  void update_security(std::size_t address, std::uint8_t byte) { start(0x39, address, byte); }
  void compare(std::size_t address, std::uint8_t byte) { start(0x33, address, byte); }

  Status finish() { return finish_processing(slot_); }

 private:
  // Ends with CLK high, as the stop condition leaves it.
  void send(std::uint8_t control, std::size_t address, std::uint8_t data) {
    slot_.set_clk(true);
    slot_.set_io(false);
    slot_.set_clk(false);
    send_byte(slot_, control);
    send_byte(slot_, static_cast<std::uint8_t>(address));
    send_byte(slot_, data);
    slot_.set_io(false);
    slot_.set_clk(true);
    slot_.set_io(true);
  }

  void start(std::uint8_t control, std::size_t address, std::uint8_t data) {
    send(control, address, data);
    slot_.set_clk(false);
  }

  // Each bit is on IO when CLK has fallen. One more fall ends the last bit.
  void receive(std::span<std::uint8_t> bytes) {
    for (std::uint8_t& byte : bytes) {
      byte = 0;
      for (unsigned bit = 0; bit < 8; ++bit) {
        slot_.set_clk(false);
        if (slot_.read_io()) byte |= static_cast<std::uint8_t>(1U << bit);
        slot_.set_clk(true);
      }
    }
    slot_.set_clk(false);
  }

  Register read_register(std::uint8_t control) {
    Register bytes{};
    send(control, 0, 0);
    receive(bytes);
    return bytes;
  }

  Slot& slot_;
};

std::uint8_t reversed(std::uint8_t byte) {
  unsigned result = 0;
  for (unsigned bit = 0; bit < 8; ++bit)
    result = result << 1U | (byte >> bit & 1U);
  return static_cast<std::uint8_t>(result);
}

// Finishes the operation that was started as piece `index` of `count`.
Status finish(Reader& reader, Bus& bus, std::size_t index, std::size_t count) {
  reader.programming(index, count);
  return bus.finish();
}

}  // namespace

void activate_4442(Slot& slot) { power_and_reset(slot); }

Status read_4442(Reader& reader, const Request& request, Reply& reply) {
  const std::size_t count = request.count();
  if (count == 0 || request.address() + count > memory_size) return Status::out_of_range;
  Bus(reader.slot).read_main(request.address(), reply.extend(count));
  return Status::success;
}

Status write_4442(Reader& reader, const Request& request, Reply& /*reply*/) {
  const auto data = request.data();
  if (request.address() + data.size() > memory_size) return Status::out_of_range;

  Bus bus(reader.slot);
  for (std::size_t i = 0; i < data.size(); ++i) {
    bus.update_main(request.address() + i, data[i]);
    if (finish(reader, bus, i, data.size()) == Status::no_answer) return Status::no_answer;
  }
  std::array<std::uint8_t, largest_body> buffer{};
  const auto written = std::span(buffer).first(data.size());
  bus.read_main(request.address(), written);
  return std::ranges::equal(written, data) ? Status::success : Status::not_written;
}

// The card sends the bit of the lowest address first; in the reply it is the most significant one
// of its byte.
Status read_protection_4442(Reader& reader, const Request& request, Reply& reply) {
  if (request.count() != protection_size) return Status::out_of_range;
  for (const std::uint8_t byte : Bus(reader.slot).read_protection())
    reply.append(reversed(byte));
  return Status::success;
}

// The host verifies the result itself.
Status write_protection_4442(Reader& reader, const Request& request, Reply& /*reply*/) {
  const auto data = request.data();
  if (request.address() + data.size() > protectable_bytes) return Status::out_of_range;

  Bus bus(reader.slot);
  for (std::size_t i = 0; i < data.size(); ++i) {
    bus.write_protection(request.address() + i, data[i]);
    if (finish(reader, bus, i, data.size()) == Status::no_answer) return Status::no_answer;
  }
  return Status::success;
}

// One attempt is used up before the comparison; only an open card gives the attempts back.
Status present_code_4442(Reader& reader, const Request& request, Reply& /*reply*/) {
  Bus bus(reader.slot);
  const std::uint8_t attempts = bus.read_security()[0];
  if (attempts > all_attempts) return Status::no_answer;
  if (attempts == 0) return Status::card_blocked;

  bus.update_security(0, static_cast<std::uint8_t>(attempts & (attempts - 1U)));
  if (finish(reader, bus, 0, 1) == Status::no_answer) return Status::no_answer;
  std::size_t address = 0;
  for (const std::uint8_t byte : request.data()) {
    bus.compare(++address, byte);
    if (bus.finish() == Status::no_answer) return Status::no_answer;
  }
  bus.update_security(0, all_attempts);
  if (bus.finish() == Status::no_answer) return Status::no_answer;
  return bus.read_security()[0] == all_attempts ? Status::success : Status::wrong_code;
}

Status write_code_4442(Reader& reader, const Request& request, Reply& /*reply*/) {
  const auto code = request.data();
  Bus bus(reader.slot);
  for (std::size_t i = 0; i < code.size(); ++i) {
    bus.update_security(i + 1, code[i]);
    // Reading back alone would not tell: a closed card reads as zeros, and so may a code.
    const Status status = finish(reader, bus, i, code.size());
    if (status != Status::success) return status;
  }
  const Register written = bus.read_security();
  return std::ranges::equal(std::span(written).subspan(1), code) ? Status::success
                                                                 : Status::not_written;
}

Status read_security_4442(Reader& reader, const Request& request, Reply& reply) {
  if (request.count() != Register{}.size()) return Status::out_of_range;
  reply.append(Bus(reader.slot).read_security());
  return Status::success;
}

}  // namespace quorra::simulator
