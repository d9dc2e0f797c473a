// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/pcapng.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <utility>

#include "toolkit/wire/table.hpp"

namespace quorra::toolkit::wire {
namespace {

constexpr std::uint32_t section_header = 0x0A0D0D0A;
constexpr std::uint32_t interface_description = 1;
constexpr std::uint32_t simple_packet = 3;
constexpr std::uint32_t enhanced_packet = 6;

constexpr std::uint32_t byte_order_magic = 0x1A2B3C4D;

// The older format, in both byte orders and with both resolutions of time.
constexpr std::uint32_t pcap_magics[] = {0xA1B2C3D4, 0xD4C3B2A1, 0xA1B23C4D, 0x4D3CB2A1};

constexpr std::uint16_t end_of_options = 0;
constexpr std::uint16_t comment_option = 1;
constexpr std::uint16_t packet_flags = 2;
constexpr std::uint16_t interface_name = 2;
constexpr std::uint16_t hardware_of_section = 2;
constexpr std::uint16_t program_of_section = 4;
constexpr std::uint16_t time_resolution = 9;
constexpr std::uint16_t time_offset = 14;

constexpr std::uint32_t inbound = 1;
constexpr std::uint32_t outbound = 2;
constexpr std::uint32_t direction_mask = 3;

// Type and length before the body of a block, and the length behind it.
constexpr std::size_t block_head = 8;
constexpr std::size_t block_frame = 12;
constexpr std::size_t option_head = 4;
constexpr std::size_t packet_head = 20;
constexpr std::size_t interface_head = 8;
constexpr std::size_t smallest_section = 28;

constexpr std::uint64_t nanoseconds_per_second = 1'000'000'000;
constexpr unsigned char nanoseconds_as_power_of_ten = 9;

std::size_t padded(std::size_t size) { return (size + 3) / 4 * 4; }

// Little-endian, whatever the machine is: the same recording is the same bytes everywhere.
class BlockWriter {
 public:
  BlockWriter& put(std::uint32_t number, int size = 4) {
    for (int shift = 0; shift < size * 8; shift += 8) {
      bytes_.push_back(static_cast<unsigned char>(number >> shift));
    }
    return *this;
  }

  BlockWriter& put(std::span<const unsigned char> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    bytes_.resize(padded(bytes_.size()));
    return *this;
  }

  BlockWriter& option(std::uint16_t number, std::span<const unsigned char> value) {
    return put(number, 2).put(static_cast<std::uint32_t>(value.size()), 2).put(value);
  }

  BlockWriter& option(std::uint16_t number, std::string_view text) {
    return option(number, std::span(reinterpret_cast<const unsigned char*>(text.data()),
                                    std::min<std::size_t>(text.size(), 65535)));
  }

  Bytes finish(std::uint32_t type) {
    const Bytes body = std::exchange(bytes_, {});
    const auto length = static_cast<std::uint32_t>(body.size() + block_frame);
    put(type).put(length).put(std::span(body)).put(length);
    return std::move(bytes_);
  }

 private:
  Bytes bytes_;
};

// Not beyond what the type holds, whatever a recording says.
Time time_of(std::uint64_t units, std::uint64_t units_per_second, std::int64_t offset) {
  constexpr std::int64_t most_seconds = std::int64_t{1} << 32;
  const std::uint64_t whole = units / units_per_second;
  const std::uint64_t rest = units % units_per_second;
  const auto fraction = static_cast<std::int64_t>(static_cast<long double>(rest) *
                                                  static_cast<long double>(nanoseconds_per_second) /
                                                  static_cast<long double>(units_per_second));
  const std::int64_t seconds = static_cast<std::int64_t>(std::min<std::uint64_t>(
                                   whole, static_cast<std::uint64_t>(most_seconds))) +
                               std::clamp(offset, -most_seconds, most_seconds);
  return std::chrono::seconds(std::clamp(seconds, -most_seconds, most_seconds)) + Time(fraction);
}

Direction guess(std::span<const unsigned char> bytes) {
  return !bytes.empty() && bytes.front() == request_start ? Direction::request : Direction::reply;
}

}  // namespace

Bytes recording_head(std::string_view program, std::string_view device) {
  constexpr std::uint32_t unknown = 0xFFFFFFFF;
  BlockWriter section;
  section.put(byte_order_magic).put(1, 2).put(0, 2).put(unknown).put(unknown);
  section.option(hardware_of_section, "contact smart-card reader on a serial line");
  section.option(program_of_section, program).put(end_of_options);
  Bytes head = section.finish(section_header);

  BlockWriter interface;
  interface.put(user0, 2).put(0, 2).put(0);
  interface.option(interface_name, device);
  interface.option(time_resolution, std::array{nanoseconds_as_power_of_ten});
  interface.put(end_of_options);
  const Bytes description = interface.finish(interface_description);
  head.insert(head.end(), description.begin(), description.end());
  return head;
}

Bytes recorded(Direction direction, Time time, std::span<const unsigned char> bytes,
               std::string_view comment) {
  const auto units = static_cast<std::uint64_t>(time.count());
  const auto size = static_cast<std::uint32_t>(bytes.size());
  BlockWriter packet;
  packet.put(0).put(static_cast<std::uint32_t>(units >> 32U));
  packet.put(static_cast<std::uint32_t>(units)).put(size).put(size).put(bytes);
  packet.put(packet_flags, 2).put(4, 2).put(direction == Direction::request ? outbound : inbound);
  if (!comment.empty()) packet.option(comment_option, comment);
  packet.put(end_of_options);
  return packet.finish(enhanced_packet);
}

std::uint32_t RecordingReader::number_at(std::span<const unsigned char> bytes,
                                         std::size_t at) const {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number = number << 8U | bytes[is_big_endian_ ? at + i : at + 3 - i];
  }
  return number;
}

std::uint16_t RecordingReader::short_at(std::span<const unsigned char> bytes,
                                        std::size_t at) const {
  const unsigned char high = bytes[is_big_endian_ ? at : at + 1];
  const unsigned char low = bytes[is_big_endian_ ? at + 1 : at];
  return static_cast<std::uint16_t>(high << 8U | low);
}

// Calls use(number, value) for each option; what is cut ends them.
template <typename Use>
void RecordingReader::for_options(std::span<const unsigned char> options, Use use) const {
  while (options.size() >= option_head) {
    const std::uint16_t number = short_at(options, 0);
    const std::size_t size = short_at(options, 2);
    if (number == end_of_options || options.size() - option_head < size) return;
    use(number, options.subspan(option_head, size));
    options = options.subspan(std::min(options.size(), option_head + padded(size)));
  }
}

std::optional<Packet> RecordingReader::next() {
  while (const auto block = next_block()) {
    std::optional<Packet> packet;
    if (block->type == interface_description) add_interface(*block);
    if (block->type == enhanced_packet) packet = packet_of(*block);
    if (block->type == simple_packet) packet = simple_packet_of(*block);
    if (packet) return packet;
  }
  return std::nullopt;
}

std::optional<RecordingReader::Block> RecordingReader::next_block() {
  const std::size_t left = content_.size() - at_;
  if (left == 0 && has_section_) return std::nullopt;
  if (left < block_frame) {
    throw RecordingError(has_section_ ? fmt::format("it ends within the block at byte {}", at_)
                                      : "it is too short for a pcapng file");
  }
  // The same in both byte orders.
  if (number_at(content_, at_) == section_header) begin_section(at_);
  if (!has_section_) {
    const bool is_pcap =
        std::ranges::find(pcap_magics, number_at(content_, at_)) != std::end(pcap_magics);
    throw RecordingError(is_pcap ? "it is a pcap file, the older format; a pcapng file is wanted"
                                 : "it is no pcapng file");
  }
  const std::size_t size = number_at(content_, at_ + 4);
  if (size < block_frame || size % 4 != 0) {
    throw RecordingError(fmt::format("the block at byte {} says that it has {} bytes", at_, size));
  }
  if (size > left) throw RecordingError(fmt::format("it ends within the block at byte {}", at_));
  if (number_at(content_, at_ + size - 4) != size) {
    throw RecordingError(fmt::format("the block at byte {} has two different lengths", at_));
  }
  const Block block{.type = number_at(content_, at_),
                    .body = content_.subspan(at_ + block_head, size - block_frame),
                    .position = at_};
  at_ += size;
  return block;
}

// From here on numbers have the byte order of this section, and interfaces are counted anew.
void RecordingReader::begin_section(std::size_t position) {
  is_big_endian_ = false;
  if (number_at(content_, position + block_head) != byte_order_magic) {
    is_big_endian_ = true;
    if (number_at(content_, position + block_head) != byte_order_magic) {
      throw RecordingError(
          fmt::format("the section at byte {} has no byte order that is known", position));
    }
  }
  if (content_.size() - position < smallest_section) {
    throw RecordingError(fmt::format("it ends within the block at byte {}", position));
  }
  if (const std::uint16_t version = short_at(content_, position + 12); version != 1) {
    throw RecordingError(fmt::format("the section at byte {} has the format {}, which is not known",
                                     position, version));
  }
  has_section_ = true;
  interfaces_.clear();
}

void RecordingReader::add_interface(const Block& block) {
  if (block.body.size() < interface_head) {
    throw RecordingError(fmt::format("the block at byte {} is too short", block.position));
  }
  Interface interface;
  interface.link_type = short_at(block.body, 0);
  for_options(block.body.subspan(interface_head), [&](auto number, auto value) {
    if (number == time_resolution && !value.empty()) {
      const bool is_power_of_two = (value[0] & 0x80U) != 0;
      const unsigned exponent = value[0] & 0x7FU;
      // Finer than these are not in use, and would not fit.
      constexpr unsigned most_of_ten = 19;
      constexpr unsigned most_of_two = 63;
      if (exponent > (is_power_of_two ? most_of_two : most_of_ten)) {
        throw RecordingError(fmt::format(
            "the interface at byte {} has a resolution of time that is not known", block.position));
      }
      interface.units_per_second = 1;
      for (unsigned i = 0; i < exponent; ++i) {
        interface.units_per_second *= is_power_of_two ? 2 : 10;
      }
    }
    if (number == time_offset && value.size() == 8) {
      const std::uint64_t first = number_at(value, 0);
      const std::uint64_t second = number_at(value, 4);
      interface.offset =
          static_cast<std::int64_t>(is_big_endian_ ? first << 32U | second : second << 32U | first);
    }
  });
  interfaces_.push_back(interface);
  has_line_ = has_line_ || interface.link_type == user0;
}

const RecordingReader::Interface& RecordingReader::interface_of(const Block& block,
                                                                std::uint32_t number) const {
  if (number >= interfaces_.size()) {
    throw RecordingError(fmt::format("the packet at byte {} is of interface {}, which is not there",
                                     block.position, number));
  }
  return interfaces_[number];
}

std::optional<Packet> RecordingReader::packet_of(const Block& block) const {
  if (block.body.size() < packet_head) {
    throw RecordingError(fmt::format("the block at byte {} is too short", block.position));
  }
  const Interface& interface = interface_of(block, number_at(block.body, 0));
  const std::size_t size = number_at(block.body, 12);
  if (size > block.body.size() - packet_head) {
    throw RecordingError(
        fmt::format("the packet at byte {} says that it has {} bytes", block.position, size));
  }
  if (interface.link_type != user0) return std::nullopt;
  const std::uint64_t units =
      static_cast<std::uint64_t>(number_at(block.body, 4)) << 32U | number_at(block.body, 8);
  Packet packet{.direction = std::nullopt,
                .time = time_of(units, interface.units_per_second, interface.offset),
                .bytes = block.body.subspan(packet_head, size),
                .comment = {}};
  const std::size_t options = std::min(block.body.size(), packet_head + padded(size));
  for_options(block.body.subspan(options), [&](auto number, auto value) {
    if (number == comment_option) packet.comment.assign(value.begin(), value.end());
    if (number != packet_flags || value.size() != 4) return;
    const std::uint32_t flags = number_at(value, 0) & direction_mask;
    if (flags == inbound) packet.direction = Direction::reply;
    if (flags == outbound) packet.direction = Direction::request;
  });
  return packet;
}

// It has neither time nor direction, and is of the first interface.
std::optional<Packet> RecordingReader::simple_packet_of(const Block& block) const {
  if (block.body.size() < 4) {
    throw RecordingError(fmt::format("the block at byte {} is too short", block.position));
  }
  if (interface_of(block, 0).link_type != user0) return std::nullopt;
  const std::size_t size = std::min<std::size_t>(number_at(block.body, 0), block.body.size() - 4);
  return Packet{
      .direction = std::nullopt, .time = {}, .bytes = block.body.subspan(4, size), .comment = {}};
}

Recording read_recording(std::span<const unsigned char> content) {
  Recording recording;
  Splitter splitter;
  const auto add = [&recording](std::vector<Frame> frames) {
    std::ranges::move(frames, std::back_inserter(recording.frames));
  };
  try {
    RecordingReader reader(content);
    while (const auto packet = reader.next()) {
      if (packet->comment == screen_comment) {
        recording.frames.push_back({.direction = Direction::request,
                                    .wholeness = Wholeness::screen,
                                    .time = packet->time,
                                    .bytes = {packet->bytes.begin(), packet->bytes.end()}});
      } else {
        const Direction direction = packet->direction.value_or(guess(packet->bytes));
        add(splitter.take(direction, packet->bytes, packet->time));
      }
    }
    if (!reader.has_line()) {
      throw RecordingError(
          fmt::format("no line to a reader was recorded: none has the link type {}", user0));
    }
  } catch (const RecordingError& error) {
    recording.error = error.what();
  }
  add(splitter.finish());
  return recording;
}

}  // namespace quorra::toolkit::wire
