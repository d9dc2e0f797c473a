// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_45d041.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace quorra::simulator {
namespace {

constexpr std::size_t page_size = 264;
constexpr std::size_t page_count = 2048;

// The bits of the status byte that tell the size of the chip, and what they are for this card.
constexpr std::uint8_t size_mask = 0x38;
constexpr std::uint8_t size_of_this_card = 0x18;
constexpr std::uint8_t ready = 0x80;

struct Place {
  std::size_t page;
  std::size_t offset;
};

// The card's bus as the reader drives it. Between commands CLK is low, RST is high, and IO and C8
// are let go. Bits travel most significant first.
class Bus {
 public:
  explicit Bus(Slot& slot) : slot_(slot) {}

  void read_page(const Place& place, std::span<std::uint8_t> bytes) {
    begin(0x52, place);
    send({0, 0, 0, 0});
    for (std::uint8_t& byte : bytes)
      byte = receive_byte();
    end();
  }

  std::uint8_t read_status() {
    slot_.set_rst(false);
    send({0x57});
    const std::uint8_t status = receive_byte();
    end();
    return status;
  }

  void write_buffer(std::size_t offset, std::span<const std::uint8_t> bytes) {
    begin(0x84, {.page = 0, .offset = offset});
    send(bytes);
    end();
  }

  // Each of the following starts an operation that runs until finish().
  void load_buffer(std::size_t page) { run(0x53, page); }
  void program_page(std::size_t page) { run(0x83, page); }

  // Asks for the status until the card is ready; false when it never is, or is another card.
  bool finish() {
    constexpr int more_than_any_operation = 1024;
    for (int attempt = 0; attempt < more_than_any_operation; ++attempt) {
      const std::uint8_t status = read_status();
      if ((status & size_mask) != size_of_this_card) return false;
      if ((status & ready) != 0) return true;
    }
    return false;
  }

 private:
  void begin(std::uint8_t opcode, const Place& place) {
    const std::size_t address = place.page << 9U | place.offset;
    slot_.set_rst(false);
    send({opcode, static_cast<std::uint8_t>(address >> 16U),
          static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)});
  }

  void end() {
    slot_.set_io(true);
    slot_.set_rst(true);
  }

  void run(std::uint8_t opcode, std::size_t page) {
    begin(opcode, {.page = page, .offset = 0});
    end();
  }

  void send(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes)
      for (unsigned bit = 8; bit-- > 0;) {
        slot_.set_io((byte >> bit & 1U) != 0);
        slot_.clock_pulse();
      }
  }
  void send(std::initializer_list<std::uint8_t> bytes) { send(std::span(bytes)); }

  // The first bit is there when CLK has fallen after what was sent.
  std::uint8_t receive_byte() {
    unsigned byte = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      byte = byte << 1U | (slot_.read_c8() ? 1U : 0U);
      slot_.clock_pulse();
    }
    return static_cast<std::uint8_t>(byte);
  }

  Slot& slot_;
};

Place place_in(const Request& request) {
  return {.page = static_cast<std::size_t>(request.body[1] << 8U | request.body[2]),
          .offset = request.address()};
}

bool is_inside(const Place& place, std::size_t count) {
  return place.page < page_count && count > 0 && place.offset + count <= page_size;
}

}  // namespace

void activate_45d041(Slot& slot) {
  slot.set_vcc(true);
  slot.set_rst(true);
  slot.set_io(true);
  slot.set_c8(true);
}

Status read_45d041(Reader& reader, const Request& request, Reply& reply) {
  const Place place = place_in(request);
  const std::size_t count = request.count();
  if (!is_inside(place, count)) return Status::out_of_range;
  Bus(reader.slot).read_page(place, reply.extend(count));
  return Status::success;
}

// The bytes of the page that are not in the request keep their content: the page goes into a
// buffer, changes there, and is programmed as a whole.
Status write_45d041(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Place place = place_in(request);
  const auto data = request.data();
  if (!is_inside(place, data.size())) return Status::out_of_range;

  Bus bus(reader.slot);
  bus.load_buffer(place.page);
  if (!bus.finish()) return Status::no_answer;
  bus.write_buffer(place.offset, data);
  bus.program_page(place.page);
  reader.programming(0, 1);
  return bus.finish() ? Status::success : Status::no_answer;
}

Status read_status_45d041(Reader& reader, const Request& /*request*/, Reply& reply) {
  reply.append(Bus(reader.slot).read_status());
  return Status::success;
}

}  // namespace quorra::simulator
