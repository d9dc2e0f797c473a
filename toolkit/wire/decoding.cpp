// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/decoding.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <span>
#include <utility>

namespace quorra::toolkit::wire {
namespace {

constexpr std::size_t card_offset = header_size;
constexpr std::size_t variant_offset = header_size + 1;
constexpr std::size_t zone_offset = header_size + 2;
constexpr std::size_t address_high = header_size + address_offset;
constexpr std::size_t arguments_offset = header_size + body_head_size;

// A block of T=1: NAD, PCB, LEN, information, LRC.
constexpr std::size_t block_head_size = 3;
constexpr unsigned char not_information = 0x80;  // in a PCB
constexpr unsigned char goes_on = 0x20;

// A command of a processor card: class, instruction, two parameters, and Lc.
constexpr std::size_t instruction_offset = 1;
constexpr std::size_t length_of_data_offset = 4;
constexpr std::size_t short_head_size = 5;
constexpr std::size_t extended_head_size = 7;

unsigned char exclusive_or(std::span<const unsigned char> bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), static_cast<unsigned char>(0),
                         std::bit_xor<>());
}

bool is_exchange(std::span<const unsigned char> bytes) {
  const Command* command = find_command(bytes[1]);
  return bytes.front() == request_start && command != nullptr &&
         command->arguments == Arguments::for_card;
}

// In an exchange with a processor card the check byte may leave out what is for the card.
bool leaves_out_bytes_for_card(std::span<const unsigned char> bytes) {
  return bytes.size() > arguments_offset + 1 && is_exchange(bytes) &&
         exclusive_or(bytes.first(arguments_offset)) == bytes.back();
}

bool is_right(std::span<const unsigned char> bytes) {
  return exclusive_or(bytes) == 0 || leaves_out_bytes_for_card(bytes);
}

void hide(Decoded& decoded, std::size_t first, std::size_t end, Secrecy as = Secrecy::code) {
  end = std::min(end, decoded.secrecy.size());
  for (std::size_t at = first; at < end; ++at) {
    decoded.secrecy[at] = as;
  }
}

// Where data ends: before the check byte, or with a frame that is not whole.
std::size_t end_of_data(const Frame& frame) {
  return frame.bytes.size() - (frame.wholeness == Wholeness::whole ? 1 : 0);
}

bool overlaps(const CodeArea& area, unsigned address, unsigned count) {
  return address < area.address + area.count && area.address < address + count;
}

template <typename Use>
void for_code_areas(unsigned char card, unsigned char variant, unsigned char command, Use use) {
  const CardType* type = find_card_type(card, variant);
  const unsigned char known_variant = type == nullptr ? 0 : type->variant;
  for (const CodeArea& area : code_areas()) {
    if (area.card == card && area.variant == known_variant &&
        (area.command == 0 || area.command == command)) {
      use(area);
    }
  }
}

// Hides what is a code of `size` bytes at `first` that belong to `address`; each unit of the card
// is `width` bytes there.
void hide_areas(Decoded& decoded, unsigned char card, unsigned char variant, unsigned char command,
                unsigned address, std::size_t first, std::size_t size, std::size_t width) {
  for_code_areas(card, variant, command, [&](const CodeArea& area) {
    const auto units = static_cast<unsigned>((size + width - 1) / width);
    if (!overlaps(area, address, units)) return;
    const std::size_t from = std::max(area.address, address) - address;
    const std::size_t to = std::min(area.address + area.count - address, units);
    hide(decoded, first + from * width, std::min(first + to * width, first + size));
  });
}

// The number of bytes of the head and the data of a command that carries a code; absent if it
// carries none.
struct CarriedCode {
  std::size_t first;
  std::size_t end;
};

std::optional<CarriedCode> find_carried_code(std::span<const unsigned char> apdu) {
  if (apdu.size() <= short_head_size) return std::nullopt;
  if (find_instruction_with_code(apdu[instruction_offset]) == nullptr) return std::nullopt;
  const bool is_extended = apdu[length_of_data_offset] == 0 && apdu.size() > extended_head_size;
  if (is_extended) return CarriedCode{extended_head_size, apdu.size()};
  const std::size_t end = short_head_size + apdu[length_of_data_offset];
  // What has not the length that it says is hidden to its end.
  const bool fits = end == apdu.size() || end + 1 == apdu.size();
  return CarriedCode{short_head_size, fits ? end : apdu.size()};
}

// Whether bytes are a block, or could be one that was spoilt.
bool looks_like_block(std::span<const unsigned char> bytes) {
  return bytes.size() > block_head_size &&
         bytes.size() == block_head_size + bytes[block_head_size - 1] + 1;
}

void name_card(Decoded& decoded, unsigned char number, unsigned char variant) {
  const CardType* type = find_card_type(number, variant);
  decoded.card_words =
      type == nullptr ? fmt::format("card type 0x{:02X}", number) : std::string(type->words);
}

void name_place(Decoded& decoded) {
  const Bytes& bytes = decoded.frame.bytes;
  const CardType* type = find_card_type(bytes[card_offset], bytes[variant_offset]);
  if (type == nullptr) return;
  if (type->place == Place::zone || type->place == Place::variant_and_zone) {
    decoded.zone = bytes[zone_offset];
  }
  if (type->place == Place::page) {
    decoded.page = bytes[variant_offset] * 256U + bytes[zone_offset];
  }
}

}  // namespace

bool Decoded::hides_codes() const {
  return std::ranges::any_of(secrecy, [](Secrecy byte) { return byte != Secrecy::open; });
}

Bytes without_codes(const Decoded& decoded) {
  Bytes bytes = decoded.frame.bytes;
  // Each check byte takes up what is taken away before it.
  unsigned char in_block = 0;
  unsigned char in_frame = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (decoded.secrecy[at] == Secrecy::code) {
      in_block ^= bytes[at];
      in_frame ^= bytes[at];
      bytes[at] = 0;
    } else if (decoded.secrecy[at] == Secrecy::check) {
      const unsigned char change =
          at + 1 == bytes.size() && decoded.has_check_byte ? in_frame : in_block;
      bytes[at] ^= change;
      in_frame ^= change;
    }
  }
  return bytes;
}

bool Decoder::Asked::wants_code() const {
  if (command == nullptr) return false;
  if (command->answer == Answer::code) return true;
  if (command->answer != Answer::data && command->answer != Answer::data_with_marks) return false;
  bool wants = false;
  for_code_areas(card, variant, command->number, [&](const CodeArea& area) {
    wants = wants || overlaps(area, address.value_or(0), std::max(count, 1U));
  });
  return wants;
}

Decoded Decoder::take(Frame frame) {
  Decoded decoded;
  decoded.frame = std::move(frame);
  decoded.secrecy.assign(decoded.frame.bytes.size(), Secrecy::open);
  decoded.number = ++number_;
  if (!start_) start_ = decoded.frame.time;
  decoded.since_start = decoded.frame.time - *start_;
  decoded.data_size = decoded.frame.bytes.size();
  const Wholeness wholeness = decoded.frame.wholeness;
  if (wholeness == Wholeness::screen) return decoded;
  if (wholeness == Wholeness::stray) {
    hide_strays(decoded);
    return decoded;
  }
  decoded.has_check_byte = wholeness == Wholeness::whole;
  decoded.check_byte_is_right = decoded.has_check_byte && is_right(decoded.frame.bytes);
  if (decoded.frame.direction == Direction::request) {
    decode_request(decoded);
  } else {
    decode_reply(decoded);
  }
  // A check byte over a code tells something of it.
  if (decoded.has_check_byte && decoded.hides_codes() &&
      !leaves_out_bytes_for_card(decoded.frame.bytes)) {
    decoded.secrecy.back() = Secrecy::check;
  }
  return decoded;
}

void Decoder::decode_request(Decoded& decoded) {
  const Bytes& bytes = decoded.frame.bytes;
  earlier_request_wanted_code_ = asked_.wants_code();
  request_was_partial_ = decoded.frame.wholeness == Wholeness::partial;
  asked_ = {};
  asked_.time = decoded.frame.time;
  const std::size_t end = end_of_data(decoded.frame);
  decoded.data_offset = std::min(arguments_offset, end);
  decoded.data_size = end - decoded.data_offset;
  if (bytes.size() < 2) return;

  decoded.command = bytes[1];
  asked_.command = find_command(bytes[1]);
  decoded.command_words = asked_.command == nullptr ? fmt::format("command 0x{:02X}", bytes[1])
                                                    : std::string(asked_.command->words);
  if (end <= card_offset) return;
  decoded.card = asked_.card = bytes[card_offset];
  asked_.variant = end > variant_offset ? bytes[variant_offset] : 0;
  name_card(decoded, asked_.card, asked_.variant);
  if (end < arguments_offset) return;
  name_place(decoded);
  asked_.address = bytes[address_high] * 256U + bytes[address_high + 1];
  if (asked_.command != nullptr) decode_arguments(decoded, asked_.command->arguments);
}

void Decoder::decode_arguments(Decoded& decoded, Arguments arguments) {
  const Bytes& bytes = decoded.frame.bytes;
  const std::size_t first = decoded.data_offset;
  const std::size_t size = decoded.data_size;
  switch (arguments) {
    case Arguments::none:
    case Arguments::value:
      break;
    case Arguments::count:
      // A text, or a counter with its code, has none.
      if (asked_.command->answer != Answer::text && asked_.command->answer != Answer::code) {
        decoded.address = asked_.address;
      }
      if (size >= 2) decoded.count = asked_.count = bytes[first + 1];
      if (size == 2) decoded.data_size = 0;
      break;
    case Arguments::data:
      decoded.address = asked_.address;
      decoded.count = static_cast<unsigned>(size);
      hide_areas(decoded, asked_.card, asked_.variant, asked_.command->number, *asked_.address,
                 first, size, 1);
      break;
    case Arguments::code:
      hide(decoded, first, first + size);
      break;
    case Arguments::for_card:
      decode_for_card(decoded);
      break;
  }
}

// The bytes are a block or a command, and spoilt ones could be either.
void Decoder::decode_for_card(Decoded& decoded) {
  const std::size_t first = decoded.data_offset;
  const auto bytes = std::span(decoded.frame.bytes).subspan(first, decoded.data_size);
  const bool is_block = looks_like_block(bytes);
  if (is_block) hide_block(decoded, first);
  if (is_block && exclusive_or(bytes) == 0) return;
  const auto code = find_carried_code(bytes);
  if (!code) return;
  decoded.instruction_words = find_instruction_with_code(bytes[instruction_offset])->words;
  hide(decoded, first + code->first, first + code->end);
}

void Decoder::hide_block(Decoded& decoded, std::size_t begin) {
  const auto block = std::span(decoded.frame.bytes).subspan(begin, decoded.data_size);
  if ((block[1] & not_information) != 0) return;
  const auto information = block.subspan(block_head_size, block.size() - block_head_size - 1);
  const std::size_t first = begin + block_head_size;
  bool has_code = false;
  if (block_with_code_goes_on_) {
    hide(decoded, first, first + information.size());
    has_code = true;
  } else if (const auto code = find_carried_code(information)) {
    const unsigned char instruction = information[instruction_offset];
    decoded.instruction_words = find_instruction_with_code(instruction)->words;
    hide(decoded, first + code->first, first + code->end);
    has_code = true;
  } else {
    has_code = information.size() > instruction_offset &&
               find_instruction_with_code(information[instruction_offset]) != nullptr;
  }
  const bool continues = (block[1] & goes_on) != 0;
  block_with_code_goes_on_ = has_code && continues;
  if (decoded.hides_codes())
    hide(decoded, begin + block.size() - 1, begin + block.size(), Secrecy::check);
}

void Decoder::decode_reply(Decoded& decoded) {
  const Bytes& bytes = decoded.frame.bytes;
  const std::size_t end = end_of_data(decoded.frame);
  decoded.data_offset = std::min(header_size, end);
  decoded.data_size = end - decoded.data_offset;
  if (asked_.time) decoded.took = decoded.frame.time - *std::exchange(asked_.time, std::nullopt);
  if (asked_.command != nullptr) decoded.data_is_text = asked_.command->answer == Answer::text;
  hide_answer(decoded);
  if (bytes.size() < 2) return;

  decoded.status = bytes[1];
  if (decoded.data_is_text && decoded.data_size >= virtual_reader.size()) {
    is_virtual_ = std::equal(virtual_reader.begin(), virtual_reader.end(),
                             bytes.begin() + static_cast<std::ptrdiff_t>(header_size));
  }
  const Status* known = find_status(bytes[1]);
  const bool has_words = known != nullptr && (bytes[1] == 0 || is_virtual_.value_or(true));
  decoded.status_words = has_words ? std::string(known->words) : "refused";
}

void Decoder::hide_answer(Decoded& decoded) const {
  if (asked_.command == nullptr) return;
  const std::size_t first = decoded.data_offset;
  switch (asked_.command->answer) {
    case Answer::code:
      hide(decoded, first + 1, first + decoded.data_size);
      break;
    case Answer::data:
    case Answer::data_with_marks:
      hide_areas(decoded, asked_.card, asked_.variant, asked_.command->number,
                 asked_.address.value_or(0), first, decoded.data_size,
                 asked_.command->answer == Answer::data ? 1 : 2);
      break;
    default:
      break;
  }
}

// Nobody can say where in strays a code is, only that there may be one.
void Decoder::hide_strays(Decoded& decoded) const {
  const bool may_have_code = decoded.frame.direction == Direction::request
                                 ? request_was_partial_
                                 : asked_.wants_code() || earlier_request_wanted_code_;
  if (may_have_code) hide(decoded, 0, decoded.secrecy.size());
}

}  // namespace quorra::toolkit::wire
