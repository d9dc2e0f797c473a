// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/status.hpp"

namespace quorra::simulator {

inline constexpr std::uint8_t request_start = 0xAA;
inline constexpr std::uint8_t reply_start = 0x55;
inline constexpr std::size_t header_size = 4;
// The command that carries bytes to a processor card.
inline constexpr std::uint8_t exchange_command = 0x21;
inline constexpr std::size_t largest_body = 255;
inline constexpr std::size_t largest_frame = header_size + largest_body + 1;

// A request, as far as its frame says. The body stays in the parser.
struct Request {
  std::uint8_t command = 0;
  std::uint8_t flag = 0;
  std::span<const std::uint8_t> body;

  std::uint8_t card_type() const { return body[0]; }
  // The places of the common body: card type, two bytes, address, then data or a zero and a count.
  std::size_t address() const { return static_cast<std::size_t>(body[3] << 8U | body[4]); }
  std::size_t count() const { return body[6]; }
  std::span<const std::uint8_t> data() const { return body.subspan(5); }
};

// Finds requests in the bytes from the line: 0xAA, CMD, flag, LEN, LEN bytes of BODY, and a check
// byte that makes the XOR of all bytes zero. Whatever comes before 0xAA is skipped. In an exchange
// with a processor card the check byte may leave out what is for the card, which has a check of its
// own: then it is the XOR of the first nine bytes alone.
class RequestParser {
 public:
  enum class Result : std::uint8_t { incomplete, complete, wrong_check_byte };

  // Takes one byte. After a result other than `incomplete` the request can be looked at until the
  // next byte, which belongs to the next request.
  Result push(std::uint8_t byte);
  // Forgets the request that has begun.
  void reset() { size_ = 0; }

  bool has_begun() const { return size_ != 0 && !is_whole(); }
  // The next byte will complete the request.
  bool awaits_check_byte() const { return size_ > header_size - 1 && size_ + 1 == frame_size(); }

  std::span<const std::uint8_t> frame() const { return std::span(bytes_).first(size_); }
  Request request() const {
    return {.command = bytes_[1],
            .flag = bytes_[2],
            .body = std::span(bytes_).subspan(header_size, bytes_[3])};
  }

 private:
  std::size_t frame_size() const { return header_size + bytes_[3] + 1; }
  bool check_byte_is_right() const;
  bool is_whole() const { return size_ >= header_size && size_ == frame_size(); }

  std::array<std::uint8_t, largest_frame> bytes_{};
  std::size_t size_ = 0;
};

// A reply under construction: 0x55, STATUS, 0x00, LEN, LEN bytes of DATA, and a check byte.
class Reply {
 public:
  // Adds bytes to DATA and returns them to be filled. There is room for 255 in all.
  std::span<std::uint8_t> extend(std::size_t count);
  void append(std::span<const std::uint8_t> bytes);
  void append(std::uint8_t byte) { append(std::span(&byte, 1)); }

  // Completes the frame. A STATUS other than success goes without DATA.
  std::span<const std::uint8_t> finish(std::uint8_t status);

 private:
  std::array<std::uint8_t, largest_frame> bytes_{};
  std::size_t data_size_ = 0;
};

}  // namespace quorra::simulator
