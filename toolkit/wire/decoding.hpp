// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a frame says, and which of its bytes are a code. A reply is understood by its request, so
// frames are decoded in their order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/wire/frames.hpp"
#include "toolkit/wire/table.hpp"

namespace quorra::toolkit::wire {

// What may be shown of a byte.
enum class Secrecy : std::uint8_t {
  open,
  code,
  check,  // it is computed from a code
};

// What a frame says is absent if the frame ends before it, or has no such thing.
struct Decoded {
  Frame frame;
  std::vector<Secrecy> secrecy;  // of each byte

  std::uint64_t number = 0;  // of the frame, from 1
  Time since_start{0};       // since the first frame

  std::optional<unsigned char> command;
  std::optional<unsigned char> card;  // type
  std::string command_words;
  std::string card_words;
  std::string instruction_words;  // of a processor card, if it carries a code
  std::optional<unsigned> zone;
  std::optional<unsigned> page;
  std::optional<unsigned> address;
  std::optional<unsigned> count;

  std::optional<unsigned char> status;
  std::string status_words;
  std::optional<Time> took;  // from the end of the request to the beginning of the reply

  std::size_t data_offset = 0;  // within the frame
  std::size_t data_size = 0;
  bool data_is_text = false;

  bool has_check_byte = false;
  bool check_byte_is_right = false;

  bool hides_codes() const;
};

// The bytes with zeros where the code is. Check bytes that depend on it are such that they are as
// right, or as wrong, as they were.
Bytes without_codes(const Decoded& decoded);

class Decoder {
 public:
  Decoded take(Frame frame);

 private:
  void decode_request(Decoded& decoded);
  void decode_arguments(Decoded& decoded, Arguments arguments);
  void decode_for_card(Decoded& decoded);
  void hide_block(Decoded& decoded, std::size_t begin);
  void decode_reply(Decoded& decoded);
  void hide_answer(Decoded& decoded) const;
  void hide_strays(Decoded& decoded) const;

  // What is known of the last request.
  struct Asked {
    const Command* command = nullptr;
    unsigned char card = 0;
    unsigned char variant = 0;
    std::optional<unsigned> address;
    unsigned count = 0;
    std::optional<Time> time;  // until it is answered

    bool wants_code() const;
  };

  std::uint64_t number_ = 0;
  std::optional<Time> start_;
  Asked asked_;
  bool earlier_request_wanted_code_ = false;
  bool request_was_partial_ = false;
  bool block_with_code_goes_on_ = false;
  // Whether the reader's version text is that of a virtual one; absent before it was read.
  std::optional<bool> is_virtual_;
};

}  // namespace quorra::toolkit::wire
