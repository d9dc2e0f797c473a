// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_secure.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quorra::simulator {
namespace {

// A code as a request names it, and where it lies on the card.
struct Code {
  std::uint8_t zone_byte = 0;
  std::size_t requested_address = 0;
  std::size_t address = 0;
  std::size_t size = 0;
  // Where its attempts are; erase codes and some codes have none.
  std::size_t attempts_address = 0;
  std::uint8_t attempt_bits = 0;
};

struct Range {
  std::size_t first;
  std::size_t last;
};

constexpr std::size_t no_fuse = 0;

// What the reader believes of a card of that type.
struct Type {
  std::uint8_t type;
  // The second byte of a request; the reader looks at it only where a type has variants.
  std::uint8_t variant;
  std::size_t size;
  std::span<const Code> codes;
  std::span<const Code> erase_codes;
  // What only the command for the security area writes.
  std::span<const Range> security_area;
  // Which address personalises the card, and where its fuse lies.
  std::size_t personalisation_address;
  std::size_t fuse_address;
};

constexpr std::array codes_4404{Code{0, 0, 8, 2, 10, 0xF0}};
constexpr std::array erase_codes_4404{Code{0, 0, 40, 4}};

constexpr std::array codes_4406{Code{0, 0, 10, 3, 9, 0xFF}};

constexpr std::size_t first_stage_4406 = 8;
constexpr std::size_t last_stage_with_carry_4406 = 11;

constexpr std::array codes_101{Code{0, 0, 10, 2, 12, 0xFF}};
constexpr std::array erase_codes_101{Code{0, 0, 150, 4}};
constexpr std::array security_area_101{Range{10, 11}, Range{150, 153}};

constexpr std::array codes_102{Code{0, 10, 10, 2, 12, 0xF0}};
constexpr std::array erase_codes_102{Code{1, 86, 86, 6}, Code{2, 156, 156, 4}};
constexpr std::array security_area_102{Range{10, 11}, Range{86, 91}, Range{156, 159}};

// The zone byte of a code is the code's own number, that of an erase code is the zone it lies in.
constexpr std::array codes_1604{
    Code{0, 10, 10, 2, 12, 0xFF}, Code{1, 21, 21, 2, 23, 0xFF}, Code{2, 1222, 1222, 2},
    Code{3, 1483, 1483, 2},       Code{4, 1744, 1744, 2},
};
constexpr std::array erase_codes_1604{
    Code{0, 24, 24, 2},
    Code{1, 1224, 1224, 2},
    Code{2, 1485, 1485, 2},
    Code{3, 1746, 1746, 2},
};
constexpr std::array security_area_1604{
    Range{21, 26},
    Range{1222, 1226},
    Range{1483, 1487},
    Range{1744, 1748},
};

constexpr std::array codes_1604b{
    Code{0, 10, 10, 2, 12, 0xFF},       Code{1, 21, 21, 2, 23, 0xFF},
    Code{2, 539, 539, 2, 541, 0xFF},    Code{3, 1057, 1057, 2, 1059, 0xFF},
    Code{4, 1575, 1575, 2, 1577, 0xFF},
};
constexpr std::array erase_codes_1604b{
    Code{0, 24, 24, 2},
    Code{1, 542, 542, 2},
    Code{2, 1060, 1060, 2},
    Code{3, 1578, 1578, 2},
};
constexpr std::array security_area_1604b{
    Range{21, 26}, Range{539, 544}, Range{1057, 1062}, Range{1575, 1580}, Range{2038, 2041},
};

constexpr std::uint8_t type_1604 = 0x73;

constexpr std::array types{
    Type{0x7A, 0x00, 52, codes_4404, erase_codes_4404, {}, 0, 52},
    Type{0x7B, 0x00, 13, codes_4406, {}, {}, 0, no_fuse},
    Type{0x71, 0x00, 172, codes_101, erase_codes_101, security_area_101, 0, 194},
    Type{0x72, 0x00, 178, codes_102, erase_codes_102, security_area_102, 194, 194},
    Type{type_1604, 0x00, 2007, codes_1604, erase_codes_1604, security_area_1604, 2036, 2036},
    Type{type_1604, 0x0B, 2042, codes_1604b, erase_codes_1604b, security_area_1604b, 2044, 2044},
};

// Null for a variant that does not exist.
const Type* type_of(const Request& request) {
  const auto* const found = std::ranges::find_if(types, [&request](const Type& type) {
    return type.type == request.card_type() &&
           (type.type != type_1604 || type.variant == request.body[1]);
  });
  return found == types.end() ? nullptr : found;
}

bool is_inside(const Type& type, std::size_t address, std::size_t count) {
  return count > 0 && address + count <= type.size;
}

// The card's bus as the reader drives it. Between pulses CLK, RST and C4 are low and IO is let go;
// then IO is the addressed bit. Bits travel most significant first.
class Bus {
 public:
  explicit Bus(Slot& slot) : slot_(slot) { go_to_first_bit(); }

  // Goes on to a byte, or to a bit of it.
  void go_to(std::size_t address, std::size_t bit = 0) {
    const std::size_t target = address * 8 + bit;
    if (target < position_) go_to_first_bit();
    while (position_ < target)
      advance();
  }

  bool bit() const { return slot_.read_io(); }
  void advance() {
    slot_.clock_pulse();
    ++position_;
  }

  std::uint8_t read_byte() {
    unsigned byte = 0;
    for (int i = 0; i < 8; ++i) {
      byte = byte << 1U | (bit() ? 1U : 0U);
      advance();
    }
    return static_cast<std::uint8_t>(byte);
  }

  // Each of the following begins to program the addressed bit, and ends with finish().
  void write() { begin_programming(false); }
  void erase() { begin_programming(true); }

  // Returns whether the card did it.
  bool finish() {
    slot_.set_clk(false);
    return end_with_acknowledge();
  }

  // Returns whether the card found the code right.
  bool compare(std::span<const std::uint8_t> code) {
    slot_.set_rst(true);
    slot_.set_c4(true);
    for (const std::uint8_t byte : code)
      for (unsigned mask = 0x80; mask != 0; mask >>= 1U) {
        slot_.set_io((byte & mask) != 0);
        advance();
      }
    const bool is_right = end_with_acknowledge();
    slot_.set_rst(false);
    return is_right;
  }

 private:
  void go_to_first_bit() {
    slot_.set_rst(true);
    slot_.clock_pulse();
    slot_.set_rst(false);
    position_ = 0;
  }

  void begin_programming(bool level) {
    slot_.set_c4(true);
    slot_.set_io(level);
    slot_.set_clk(true);
  }

  bool end_with_acknowledge() {
    slot_.set_io(true);
    const bool acknowledged = !slot_.read_io();
    slot_.set_c4(false);
    return acknowledged;
  }

  Slot& slot_;
  std::size_t position_ = 0;
};

// Programs what was begun as piece `index` of `count`.
bool finish(Reader& reader, Bus& bus, std::size_t index = 0, std::size_t count = 1) {
  reader.programming(index, count);
  return bus.finish();
}

// Writes each 0, for a card may hide a 1 behind it. A 0 cannot become 1 by writing.
Status write_bytes(Reader& reader, const Request& request) {
  const auto data = request.data();
  bool is_written = true;
  Bus bus(reader.slot);
  bus.go_to(request.address());
  for (std::size_t i = 0; i < data.size(); ++i)
    for (unsigned mask = 0x80; mask != 0; mask >>= 1U) {
      bool bit_is_right = bus.bit();
      if ((data[i] & mask) == 0) {
        bus.write();
        bit_is_right = finish(reader, bus, i, data.size());
      }
      is_written = is_written && bit_is_right;
      bus.advance();
    }
  return is_written ? Status::success : Status::not_written;
}

// Writes the least significant of the bits that are still 1 and stays there.
bool spend_bit(Reader& reader, Bus& bus, std::size_t address, std::uint8_t bits) {
  constexpr int last_bit = 7;
  bus.go_to(address, static_cast<std::size_t>(last_bit - std::countr_zero(bits)));
  bus.write();
  return finish(reader, bus);
}

// One attempt is spent before the comparison; only a right code gives the attempts back.
Status compare_with_attempts(Reader& reader, const Code& code,
                             std::span<const std::uint8_t> presented) {
  Bus bus(reader.slot);
  bus.go_to(code.attempts_address);
  const auto attempts = static_cast<std::uint8_t>(bus.read_byte() & code.attempt_bits);
  if (attempts == 0) return Status::card_blocked;
  if (!spend_bit(reader, bus, code.attempts_address, attempts)) return Status::no_answer;
  bus.go_to(code.address);
  if (!bus.compare(presented)) return Status::wrong_code;
  bus.go_to(code.attempts_address);
  bus.erase();
  return bus.finish() ? Status::success : Status::no_answer;
}

Status compare(Reader& reader, const Code& code, std::span<const std::uint8_t> presented) {
  if (code.attempt_bits != 0) return compare_with_attempts(reader, code, presented);
  Bus bus(reader.slot);
  bus.go_to(code.address);
  return bus.compare(presented) ? Status::success : Status::wrong_code;
}

Status present(Reader& reader, const Request& request, std::span<const Code> codes) {
  const auto found = std::ranges::find_if(codes, [&request](const Code& code) {
    return code.zone_byte == request.body[2] && code.requested_address == request.address();
  });
  if (found == codes.end()) return Status::out_of_range;
  if (found->size != request.data().size()) return Status::wrong_body_length;
  return compare(reader, *found, request.data());
}

// The first bit of the first stage is 1 until then.
bool is_personalised_4406(Slot& slot) {
  Bus bus(slot);
  bus.go_to(first_stage_4406);
  return !bus.bit();
}

}  // namespace

// C8 stands for an intact fuse while it is let go.
void activate_secure(Slot& slot) {
  slot.set_vcc(true);
  slot.set_io(true);
  slot.set_c8(true);
}

Status read_secure(Reader& reader, const Request& request, Reply& reply) {
  const Type* const type = type_of(request);
  if (type == nullptr || !is_inside(*type, request.address(), request.count()))
    return Status::out_of_range;
  Bus bus(reader.slot);
  bus.go_to(request.address());
  for (std::uint8_t& byte : reply.extend(request.count()))
    byte = bus.read_byte();
  return Status::success;
}

Status write_secure(Reader& reader, const Request& request, Reply& reply) {
  const Type* const type = type_of(request);
  if (type == nullptr) return Status::out_of_range;
  const std::size_t first = request.address();
  const std::size_t last = first + request.data().size() - 1;
  const bool touches_security_area = std::ranges::any_of(
      type->security_area,
      [first, last](const Range& range) { return first <= range.last && range.first <= last; });
  return touches_security_area ? Status::out_of_range : write_security_area(reader, request, reply);
}

Status write_security_area(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type* const type = type_of(request);
  if (type == nullptr || !is_inside(*type, request.address(), request.data().size()))
    return Status::out_of_range;
  return write_bytes(reader, request);
}

Status erase_secure(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type* const type = type_of(request);
  const std::size_t count = request.count();
  if (type == nullptr || !is_inside(*type, request.address(), count)) return Status::out_of_range;
  bool is_erased = true;
  Bus bus(reader.slot);
  for (std::size_t i = 0; i < count; ++i) {
    bus.go_to(request.address() + i);
    bus.erase();
    if (!finish(reader, bus, i, count)) is_erased = false;
  }
  return is_erased ? Status::success : Status::not_written;
}

Status present_code_secure(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type* const type = type_of(request);
  if (type == nullptr) return Status::out_of_range;
  return present(reader, request, type->codes);
}

Status present_erase_code(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type* const type = type_of(request);
  if (type == nullptr) return Status::out_of_range;
  return present(reader, request, type->erase_codes);
}

Status imitate_fuse(Reader& reader, const Request& request, Reply& /*reply*/) {
  constexpr std::uint8_t blown = 0xFF;
  constexpr std::uint8_t intact = 0x00;
  const std::uint8_t fuse = request.data().front();
  if (type_of(request) == nullptr || (fuse != blown && fuse != intact)) return Status::out_of_range;
  reader.slot.set_c8(fuse == intact);
  return Status::success;
}

// The fuse is the first bit of its byte.
Status personalise(Reader& reader, const Request& request, Reply& /*reply*/) {
  const Type* const type = type_of(request);
  if (type == nullptr || request.address() != type->personalisation_address)
    return Status::out_of_range;
  Bus bus(reader.slot);
  bus.go_to(type->fuse_address);
  if (!bus.bit()) return Status::success;
  bus.write();
  return finish(reader, bus) ? Status::success : Status::not_written;
}

// A personalised card has no code any more: what were its attempts are units now.
Status present_code_4406(Reader& reader, const Request& request, Reply& reply) {
  if (is_personalised_4406(reader.slot)) return Status::card_blocked;
  return present_code_secure(reader, request, reply);
}

// A bit of the stage is spent, and the stage behind it is erased for it. Before personalisation
// there are no stages.
Status carry_4406(Reader& reader, const Request& request, Reply& /*reply*/) {
  const std::size_t stage = request.address();
  if (stage < first_stage_4406 || stage > last_stage_with_carry_4406) return Status::out_of_range;
  if (!is_personalised_4406(reader.slot)) return Status::not_written;

  Bus bus(reader.slot);
  bus.go_to(stage);
  const std::uint8_t bits = bus.read_byte();
  if (bits == 0 || !spend_bit(reader, bus, stage, bits)) return Status::not_written;
  bus.erase();
  return bus.finish() ? Status::success : Status::not_written;
}

}  // namespace quorra::simulator
