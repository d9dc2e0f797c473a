// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_4428.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/firmware/synchronous_bus.hpp"
#include "simulator/firmware/synchronous_reset.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t memory_size = 1024;
constexpr std::size_t counter_address = 1021;
constexpr std::size_t code_address = 1022;

// Attempts that are left are 1 bits.
constexpr std::uint8_t all_attempts = 0xFF;

// A card byte and its protection bit travel to the host as two bytes.
constexpr std::size_t most_bytes_with_protection = largest_body / 2;
constexpr std::uint8_t still_writable = 1;
constexpr std::uint8_t no_longer_writable = 0;

// The card's bus as the reader drives it. Between commands RST and CLK are low and IO is let go.
// Bits travel least significant first.
class Bus {
 public:
  explicit Bus(Slot& slot) : slot_(slot) {}

  void read(std::size_t address, std::span<std::uint8_t> bytes) {
    send(0x0E, address, 0);
    for (std::uint8_t& byte : bytes)
      byte = receive_byte();
    stop();
  }

  std::uint8_t read_counter() {
    std::uint8_t counter = 0;
    read(counter_address, std::span(&counter, 1));
    return counter;
  }

  // Adds each byte, and after it whether it is still writable.
  void read_with_protection(std::size_t address, std::size_t count, Reply& reply) {
    send(0x0C, address, 0);
    for (std::size_t i = 0; i < count; ++i) {
      reply.append(receive_byte());
      reply.append(receive_bit() ? still_writable : no_longer_writable);
    }
    stop();
  }

  // Each of the following starts an operation that runs until finish().
  void write(std::size_t address, std::uint8_t byte) { send(0x33, address, byte); }
  void write_with_protection(std::size_t address, std::uint8_t byte) { send(0x31, address, byte); }
  void write_protection(std::size_t address, std::uint8_t byte) { send(0x30, address, byte); }
  void write_counter(std::uint8_t byte) { send(0x32, counter_address, byte); }
  void compare(std::size_t address, std::uint8_t byte) { send(0x0D, address, byte); }

  Status finish() { return finish_processing(slot_); }

 private:
  // The control byte carries bits 8 and 9 of the address.
  void send(std::uint8_t control, std::size_t address, std::uint8_t data) {
    slot_.set_rst(true);
    send_byte(slot_, static_cast<std::uint8_t>(control | address >> 8U << 6U));
    send_byte(slot_, static_cast<std::uint8_t>(address));
    send_byte(slot_, data);
    slot_.set_io(true);
    slot_.set_rst(false);
  }

  // The bit is there; the clock pulse brings the next one.
  bool receive_bit() {
    const bool bit = slot_.read_io();
    slot_.clock_pulse();
    return bit;
  }

  std::uint8_t receive_byte() {
    unsigned byte = 0;
    for (unsigned bit = 0; bit < 8; ++bit)
      if (receive_bit()) byte |= 1U << bit;
    return static_cast<std::uint8_t>(byte);
  }

  // The card would go on to the end of its memory.
  void stop() {
    slot_.set_rst(true);
    slot_.set_rst(false);
  }

  Slot& slot_;
};

using WriteByte = void (Bus::*)(std::size_t address, std::uint8_t byte);

bool is_inside(std::size_t address, std::size_t count) {
  return count > 0 && address + count <= memory_size;
}

// Writes all bytes of the request, one after the other; not_written when the card refused one.
Status write_bytes(Reader& reader, const Request& request, WriteByte write_byte) {
  const auto data = request.data();
  if (!is_inside(request.address(), data.size())) return Status::out_of_range;

  Bus bus(reader.slot);
  Status result = Status::success;
  for (std::size_t i = 0; i < data.size(); ++i) {
    (bus.*write_byte)(request.address() + i, data[i]);
    reader.programming(i, data.size());
    const Status status = bus.finish();
    if (status == Status::no_answer) return status;
    if (status != Status::success) result = status;
  }
  return result;
}

// Writes all bytes of the request and looks whether the card has them then.
Status write_and_verify(Reader& reader, const Request& request, WriteByte write_byte) {
  const Status status = write_bytes(reader, request, write_byte);
  if (status != Status::success && status != Status::not_written) return status;
  std::array<std::uint8_t, largest_body> buffer{};
  const auto written = std::span(buffer).first(request.data().size());
  Bus(reader.slot).read(request.address(), written);
  if (!std::ranges::equal(written, request.data())) return Status::not_written;
  // A byte may be refused and yet hold what was to be written. But zeros read from the code prove
  // nothing: that is what a closed card shows.
  const bool reaches_code = request.address() + written.size() > code_address;
  return reaches_code && written.back() == 0 ? status : Status::success;
}

}  // namespace

void activate_4428(Slot& slot) { power_and_reset(slot); }

Status read_4428(Reader& reader, const Request& request, Reply& reply) {
  const std::size_t count = request.count();
  if (!is_inside(request.address(), count)) return Status::out_of_range;
  Bus(reader.slot).read(request.address(), reply.extend(count));
  return Status::success;
}

Status read_with_protection_4428(Reader& reader, const Request& request, Reply& reply) {
  const std::size_t count = request.count();
  if (count > most_bytes_with_protection || !is_inside(request.address(), count))
    return Status::out_of_range;
  Bus(reader.slot).read_with_protection(request.address(), count, reply);
  return Status::success;
}

Status write_4428(Reader& reader, const Request& request, Reply& /*reply*/) {
  return write_and_verify(reader, request, &Bus::write);
}

// The data is verified, the protection is not.
Status write_with_protection_4428(Reader& reader, const Request& request, Reply& /*reply*/) {
  return write_and_verify(reader, request, &Bus::write_with_protection);
}

Status write_protection_4428(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Status status = write_bytes(reader, request, &Bus::write_protection);
  return status == Status::not_written ? Status::success : status;
}

// One attempt is used up before the comparison; only an open card gives the attempts back.
Status present_code_4428(Reader& reader, const Request& request, Reply& /*reply*/) {
  Bus bus(reader.slot);
  const std::uint8_t attempts = bus.read_counter();
  if (attempts == 0) return Status::card_blocked;

  const auto fewer = static_cast<std::uint8_t>(attempts & (attempts - 1U));
  bus.write_counter(fewer);
  reader.programming(0, 1);
  if (bus.finish() == Status::no_answer || bus.read_counter() != fewer) return Status::no_answer;
  std::size_t address = code_address;
  for (const std::uint8_t byte : request.data()) {
    bus.compare(address, byte);
    if (bus.finish() == Status::no_answer) return Status::no_answer;
    ++address;
  }
  bus.write(counter_address, all_attempts);
  if (bus.finish() == Status::no_answer) return Status::no_answer;
  return bus.read_counter() == all_attempts ? Status::success : Status::wrong_code;
}

Status read_counter_4428(Reader& reader, const Request& request, Reply& reply) {
  if (request.count() != 1) return Status::out_of_range;
  reply.append(Bus(reader.slot).read_counter());
  return Status::success;
}

}  // namespace quorra::simulator
