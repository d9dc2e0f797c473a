// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Recordings of a line: pcapng with the link type USER0. A packet is a frame, and its direction
// stands in the flags of its block: outbound is a request, inbound a reply.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/wire/frames.hpp"

namespace quorra::toolkit::wire {

inline constexpr unsigned user0 = 147;

// The comment of a packet that went to the screen of a serial terminal.
inline constexpr std::string_view screen_comment = "to the screen";

// The beginning of a recording of the line `device`, made by a program of this name.
Bytes recording_head(std::string_view program, std::string_view device);

// One packet.
Bytes recorded(Direction direction, Time time, std::span<const unsigned char> bytes,
               std::string_view comment = {});

// A recording cannot be read, or not to its end. The text says why, and where.
class RecordingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Packet {
  // Absent where the recording does not tell it.
  std::optional<Direction> direction;
  Time time{0};
  std::span<const unsigned char> bytes;
  std::string comment;
};

// Reads recordings of this and of other programs. What is recorded of other lines is passed over.
class RecordingReader {
 public:
  // `content` outlives the reader.
  explicit RecordingReader(std::span<const unsigned char> content) : content_(content) {}

  // Absent at the end. Throws RecordingError; what came before is good then.
  std::optional<Packet> next();
  // Whether a line to a reader was among what was recorded, up to here.
  bool has_line() const { return has_line_; }

 private:
  struct Interface {
    unsigned link_type = 0;
    std::uint64_t units_per_second = 1'000'000;
    std::int64_t offset = 0;  // in seconds
  };

  struct Block {
    std::uint32_t type = 0;
    std::span<const unsigned char> body;
    std::size_t position = 0;
  };

  std::optional<Block> next_block();
  void begin_section(std::size_t position);
  void add_interface(const Block& block);
  std::optional<Packet> packet_of(const Block& block) const;
  std::optional<Packet> simple_packet_of(const Block& block) const;
  const Interface& interface_of(const Block& block, std::uint32_t number) const;
  std::uint32_t number_at(std::span<const unsigned char> bytes, std::size_t at) const;
  std::uint16_t short_at(std::span<const unsigned char> bytes, std::size_t at) const;
  template <typename Use>
  void for_options(std::span<const unsigned char> options, Use use) const;

  std::span<const unsigned char> content_;
  std::size_t at_ = 0;
  bool has_section_ = false;
  bool has_line_ = false;
  bool is_big_endian_ = false;
  std::vector<Interface> interfaces_;
};

// All of a recording: its frames in order, as a line would have brought them.
struct Recording {
  std::vector<Frame> frames;
  std::string error;  // why the rest cannot be read; empty if all was
};

Recording read_recording(std::span<const unsigned char> content);

}  // namespace quorra::toolkit::wire
