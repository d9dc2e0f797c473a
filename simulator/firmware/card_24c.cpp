// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_24c.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quorra::simulator {
namespace {

// What the reader believes of a card of that type.
struct Type {
  std::uint8_t type;
  std::size_t size;
  std::size_t page;
  unsigned word_address_bytes;
};

constexpr std::array types{
    Type{.type = 0x60, .size = 128, .page = 8, .word_address_bytes = 1},
    Type{.type = 0x61, .size = 256, .page = 8, .word_address_bytes = 1},
    Type{.type = 0x62, .size = 1024, .page = 16, .word_address_bytes = 1},
    Type{.type = 0x64, .size = 2048, .page = 16, .word_address_bytes = 1},
    Type{.type = 0x65, .size = 4096, .page = 32, .word_address_bytes = 2},
    Type{.type = 0x66, .size = 8192, .page = 32, .word_address_bytes = 2},
};

const Type& type_of(const Request& request) {
  return *std::ranges::find(types, request.card_type(), &Type::type);
}

// The card's bus as the reader drives it. Between operations CLK is low and IO is let go. Bits
// travel most significant first.
class Bus {
 public:
  Bus(Slot& slot, const Type& type) : slot_(slot), type_(type) {}

  // Returns whether the card acknowledged.
  bool read(std::size_t address, std::span<std::uint8_t> bytes) {
    bool answers = send_address(address);
    // The address is set by a write that ends before its data.
    if (answers) {
      start();
      answers = send(device_select(address, read_bit));
    }
    if (answers) receive(bytes);
    stop();
    return answers;
  }

  // Sends bytes of one page; the stop condition makes the card program them. Returns whether the
  // card acknowledged all of them.
  bool write(std::size_t address, std::span<const std::uint8_t> bytes) {
    const bool answers = send_address(address) &&
                         std::ranges::all_of(bytes, [this](auto byte) { return send(byte); });
    stop();
    return answers;
  }

  // A card that is programming does not acknowledge. Returns whether it ever did again.
  bool finish(std::size_t address) {
    constexpr int more_attempts_than_any_card_needs = 200;
    for (int attempt = 0; attempt < more_attempts_than_any_card_needs; ++attempt) {
      start();
      const bool answers = send(device_select(address, write_bit));
      stop();
      if (answers) return true;
    }
    return false;
  }

 private:
  static constexpr unsigned read_bit = 1;
  static constexpr unsigned write_bit = 0;

  // Where a single byte of address follows, the bits above it travel in the device-select byte.
  std::uint8_t device_select(std::size_t address, unsigned direction) const {
    const std::size_t block = type_.word_address_bytes == 1 ? address >> 8U : 0;
    return static_cast<std::uint8_t>(0b1010'0000U | block << 1U | direction);
  }

  bool send_address(std::size_t address) {
    start();
    if (!send(device_select(address, write_bit))) return false;
    for (unsigned left = type_.word_address_bytes; left > 0; --left)
      if (!send(static_cast<std::uint8_t>(address >> (left - 1) * 8))) return false;
    return true;
  }

  void start() {
    slot_.set_io(true);
    slot_.set_clk(true);
    slot_.set_io(false);
    slot_.set_clk(false);
  }

  void stop() {
    slot_.set_io(false);
    slot_.set_clk(true);
    slot_.set_io(true);
    slot_.set_clk(false);
  }

  void send_bit(bool bit) {
    slot_.set_io(bit);
    slot_.clock_pulse();
  }

  bool receive_bit() {
    slot_.set_io(true);
    slot_.set_clk(true);
    const bool bit = slot_.read_io();
    slot_.set_clk(false);
    return bit;
  }

  bool send(std::uint8_t byte) {
    for (unsigned bit = 8; bit > 0; --bit)
      send_bit((byte >> (bit - 1) & 1U) != 0);
    return !receive_bit();
  }

  // The last byte is not acknowledged, which makes the card let IO go.
  void receive(std::span<std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      unsigned byte = 0;
      for (int bit = 0; bit < 8; ++bit)
        byte = byte << 1U | (receive_bit() ? 1U : 0U);
      bytes[i] = static_cast<std::uint8_t>(byte);
      send_bit(i + 1 == bytes.size());
    }
  }

  Slot& slot_;
  const Type& type_;
};

}  // namespace

Status read_24c(Reader& reader, const Request& request, Reply& reply) {
  const Type& type = type_of(request);
  const std::size_t count = request.count();
  if (count == 0 || request.address() + count > type.size) return Status::out_of_range;
  const bool answers = Bus(reader.slot, type).read(request.address(), reply.extend(count));
  return answers ? Status::success : Status::no_answer;
}

// Nothing is read back: a host that probes for the size of a card compares by itself.
Status write_24c(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type& type = type_of(request);
  const auto data = request.data();
  if (request.address() + data.size() > type.size) return Status::out_of_range;

  Bus bus(reader.slot, type);
  std::size_t done = 0;
  while (done < data.size()) {
    const std::size_t address = request.address() + done;
    const std::size_t left_in_page = type.page - address % type.page;
    const std::size_t count = std::min(left_in_page, data.size() - done);
    if (!bus.write(address, data.subspan(done, count))) return Status::no_answer;
    for (std::size_t i = done; i < done + count; ++i)
      reader.programming(i, data.size());
    if (!bus.finish(address)) return Status::no_answer;
    done += count;
  }
  return Status::success;
}

}  // namespace quorra::simulator
