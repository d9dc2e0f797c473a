// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The road of every card and reader function: build a request, exchange it for a reply, map the
// outcome to a return code.
#pragma once

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "link/codes.hpp"

namespace quorra {

// Requests and replies alike: start, command or STATUS, one more byte, LEN, LEN bytes, check byte.
inline constexpr int frame_header_size = 4;
inline constexpr int frame_length_offset = 3;
inline constexpr int frame_max = 260;

// What the body of every request begins with: card type, two bytes, address.
inline constexpr int body_head_size = 5;

enum class Command : unsigned char {
  reset_card = 0x20,
  exchange_with_card = 0x21,
  set_card_speed = 0x22,
  select_sam = 0x23,
  write = 0x60,
  read = 0x61,
  write_pages = 0x62,
  present_code = 0x64,
  read_code = 0x65,
  write_security = 0x66,
  read_error_counter = 0x67,
  present_erase_code = 0x68,
  write_with_protection = 0x6D,
  read_with_protection = 0x6E,
  write_protection_bits = 0x6F,
  erase_stage = 0x70,
  personalise_4404 = 0x71,
  personalise = 0x73,
  read_protection = 0x74,
  write_protection = 0x75,
  erase = 0x76,
  read_status_register = 0x77,
  erase_all = 0x78,
  write_all = 0x79,
  set_fake_fuse = 0x80,
  read_version = 0xB0,
  set_speed = 0xB1,
  power_on = 0xB2,
  power_off = 0xB3,
  beep = 0xB4,
  compare_reader_code = 0xB5,
  write_reader_memory = 0xB6,
  read_reader_memory = 0xB7,
  eject = 0xB8,
  read_status = 0xB9,
};

enum class CardType : unsigned char {
  processor_card = 0x20,
  sam = 0x21,
  card_24c01a = 0x60,
  card_24c02 = 0x61,
  card_24c04 = 0x62,
  card_24c16 = 0x64,
  card_24c32 = 0x65,
  card_24c64 = 0x66,
  card_93c46a = 0x68,
  card_93c46 = 0x69,
  card_93c57 = 0x6A,
  card_93c66 = 0x6B,
  card_45d041 = 0x6E,
  card_101 = 0x71,
  card_102 = 0x72,
  card_1604 = 0x73,
  card_4418 = 0x76,
  card_4428 = 0x77,
  card_4442 = 0x79,
  card_4404 = 0x7A,
  card_4406 = 0x7B,
  reader = 0x80,
};

// A request frame under construction. Its body begins with the card type, two bytes that are zero
// for most cards, and the address; a request without parameters consists of just these.
class Request {
 public:
  static constexpr unsigned char start = 0xAA;

  // `place` stands in the two bytes before the address, like the address with its high byte first.
  Request(Command command, CardType card, int address = 0, int place = 0)
      : bytes_{start,
               static_cast<unsigned char>(command),
               0,
               0,
               static_cast<unsigned char>(card),
               high_byte(place),
               low_byte(place),
               high_byte(address),
               low_byte(address)} {}

  // A frame takes up to 250 bytes behind its head.
  Request& append(unsigned char byte) { return append(&byte, 1); }

  Request& append(const unsigned char* bytes, int count) {
    std::copy_n(bytes, count, bytes_.begin() + size_);
    size_ += count;
    return *this;
  }

  // Fills in LEN and the check byte and sends the frame: 0 or -129.
  int send(int handle) {
    bytes_[frame_length_offset] = static_cast<unsigned char>(size_ - frame_header_size);
    bytes_[static_cast<std::size_t>(size_)] =
        static_cast<unsigned char>(cr_bcc(size_, bytes_.data()));
    return send_com(handle, size_ + 1, bytes_.data());
  }

 private:
  static unsigned char high_byte(int value) { return static_cast<unsigned char>(value / 256); }
  static unsigned char low_byte(int value) { return static_cast<unsigned char>(value % 256); }

  std::array<unsigned char, frame_max> bytes_;
  int size_ = frame_header_size + body_head_size;
};

// A reply frame. All of it is zero until received, and it has room for the longest frame that a
// reader can announce, and some more.
class Reply {
 public:
  unsigned char* frame() { return bytes_.data(); }
  // Whoever reads more data than a reply brought finds zeros, not the check byte.
  void clear_check_byte() { bytes_[frame_header_size + static_cast<std::size_t>(length())] = 0; }
  int status() const { return bytes_[1]; }
  int length() const { return bytes_[frame_length_offset]; }
  const unsigned char* data() const { return bytes_.data() + frame_header_size; }

 private:
  std::array<unsigned char, frame_max + 4> bytes_{};
};

// How a reply is received: receive_com, or receive_com0 for commands that take their time.
using Receive = int (*)(int handle, unsigned char* reply);

// Receives the reply to a request already sent: 0, a link code, or the negated STATUS.
inline int receive(int handle, Reply& reply, Receive receive_frame = receive_com) {
  if (const int code = receive_frame(handle, reply.frame()); code != ok) return code;
  reply.clear_check_byte();
  return -reply.status();
}

// Sends a request and receives its reply: 0, a link code, or the negated STATUS.
inline int exchange(int handle, Request& request, Reply& reply,
                    Receive receive_frame = receive_com) {
  const int code = request.send(handle);
  return code != ok ? code : receive(handle, reply, receive_frame);
}

// The same for a command whose reply brings nothing but its STATUS.
inline int exchange(int handle, Request request) {
  Reply reply;
  return exchange(handle, request, reply);
}

// Cuts a long transfer: calls transfer(offset, size) for each chunk of at most `limit` of the
// `count` bytes, in order, until one returns something else than 0, and returns that.
template <typename Transfer>
int for_each_chunk(int count, int limit, Transfer transfer) {
  for (int offset = 0; offset < count;) {
    const int size = std::min(limit, count - offset);
    if (const int code = transfer(offset, size); code != ok) return code;
    offset += size;
  }
  return ok;
}

}  // namespace quorra
