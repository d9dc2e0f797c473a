// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cards/cpu/conversation.hpp"

#include <algorithm>
#include <cstring>

namespace quorra {
namespace {

constexpr unsigned char exchange_flag = 0x80;
constexpr int head_size = frame_header_size + body_head_size;

// Bytes that a reply did not bring read as 0xFF up to here.
constexpr int filled_bytes = 100;

// Where a reply has the card's block, and a block its parts.
constexpr std::size_t block_start = frame_header_size;
constexpr std::size_t length_of_block = block_start + 2;
constexpr std::size_t information_start = block_start + 3;
constexpr std::size_t status_words = 2;
constexpr std::size_t prologue_size = 3;

constexpr unsigned char more_data = 0x61;
constexpr unsigned char wrong_length = 0x6C;

constexpr int get_response_size = 9;

int send_message(int handle, Command command, CardType card, const Message& message,
                 Checked checked) {
  const unsigned char head[head_size] = {
      Request::start, static_cast<unsigned char>(command), exchange_flag,
      static_cast<unsigned char>(static_cast<unsigned>(message.size) + unsigned{body_head_size}),
      static_cast<unsigned char>(card)};
  int check = cr_bcc(head_size, head);
  if (const int code = send_com(handle, head_size, head); code != ok) return code;
  for (const Piece& piece : message.pieces) {
    if (piece.count <= 0) continue;
    if (const int code = send_com(handle, piece.count, piece.bytes); code != ok) return code;
    if (checked == Checked::all) check ^= cr_bcc(piece.count, piece.bytes);
  }
  const auto check_byte = static_cast<unsigned char>(check);
  return send_com(handle, 1, &check_byte);
}

bool arguments_are_there(int n, const unsigned char* bytes, const unsigned char* output) {
  return output != nullptr && (n <= 0 || bytes != nullptr);
}

// The blocks of one conversation. Those that are made here end with their check byte, so that they
// add nothing to that of their frame.
class Blocks {
 public:
  Blocks(const Blocks&) = delete;
  Blocks& operator=(const Blocks&) = delete;
  Blocks(int n, const unsigned char* block) : caller_{block, n}, message_{n, {caller_}} {}

  const Message& message() const { return message_; }

  // The next block asks for `length` more bytes of the answer.
  void get_response(unsigned char length) {
    const unsigned char block[get_response_size] = {nad(), pcb(), 5,    0x00,
                                                    0xC0,  0x00,  0x00, length};
    std::memcpy(get_response_, block, sizeof block);
    get_response_[get_response_size - 1] =
        static_cast<unsigned char>(cr_bcc(get_response_size - 1, get_response_));
    message_ = {get_response_size, {{get_response_, get_response_size}}};
  }

  // A block without a byte before its check byte has no length to put right.
  bool has_length() const { return message_.size >= 2; }

  // The next block is the last one again, its length put right. Its information is the caller's as
  // far as the caller gave that many bytes.
  void send_again(unsigned char length) {
    const int size = message_.size;
    const int end = size - 2;  // of what stands before the length
    const int from_caller = std::clamp(caller_.count, 2, std::max(end, 2));
    opening_[0] = nad();
    opening_[1] = pcb();
    Message again{size, {{opening_, std::min(2, end)}}};
    if (from_caller > 2) again.pieces[1] = {caller_.bytes + 2, from_caller - 2};
    // Only a request for more of the answer is longer than what the caller gave.
    if (end > from_caller) again.pieces[2] = {get_response_ + from_caller, end - from_caller};
    int check = length;
    for (const Piece& piece : again.pieces)
      check ^= cr_bcc(piece.count, piece.bytes);
    closing_[0] = length;
    closing_[1] = static_cast<unsigned char>(check);
    again.pieces[3] = {closing_, 2};
    message_ = again;
  }

 private:
  // The caller's node address goes into every block.
  unsigned char nad() const { return caller_.count > 0 ? caller_.bytes[0] : 0; }
  // The other sequence number than the caller's. It does not alternate from block to block.
  unsigned char pcb() const {
    const bool caller_sent_zero = caller_.count < 2 || caller_.bytes[1] == 0;
    return caller_sent_zero ? 0x40 : 0x00;
  }

  Piece caller_;
  Message message_;
  unsigned char get_response_[get_response_size] = {};
  unsigned char opening_[2] = {};
  unsigned char closing_[2] = {};
};

}  // namespace

int exchange_message(int handle, Command command, CardType card, const Message& message,
                     Checked checked, int filled, Attempts& attempts, Reply& reply) {
  for (;;) {
    reply = Reply();
    std::memset(reply.frame(), 0xFF, static_cast<std::size_t>(filled));
    int code = send_message(handle, command, card, message, checked);
    if (code == ok) code = receive_com(handle, reply.frame());
    if (code == ok) code = -reply.status();
    if (code == ok || ++attempts.failed >= attempts.allowed) return code;
  }
}

int exchange_command(int handle, const Slot& slot, int n, const unsigned char* command,
                     unsigned char* output) {
  if (!arguments_are_there(n, command, output)) return bad_length;
  Attempts attempts{slot.attempts};
  Reply reply;
  if (const int code =
          exchange_message(handle, Command::exchange_with_card, slot.card, {n, {{command, n}}},
                           slot.command, filled_bytes, attempts, reply);
      code != ok) {
    return code;
  }
  std::memcpy(output, reply.data(), static_cast<std::size_t>(reply.length()));
  return ok;
}

int exchange_block(int handle, const Slot& slot, int n, const unsigned char* block,
                   unsigned char* output) {
  if (!arguments_are_there(n, block, output)) return bad_length;
  Blocks blocks(n, block);
  Attempts attempts{slot.attempts};
  Reply reply;
  const unsigned char* const frame = reply.frame();
  std::size_t position = prologue_size;
  for (;;) {
    if (const int code =
            exchange_message(handle, Command::exchange_with_card, slot.card, blocks.message(),
                             slot.block, filled_bytes, attempts, reply);
        code != ok) {
      return code;
    }
    const std::size_t length = frame[length_of_block];
    const unsigned char* const after = frame + information_start + length;
    const unsigned char sw1 = *(after - 2);
    const unsigned char sw2 = *(after - 1);
    if (sw1 == wrong_length && slot.wrong_length_sends_again) {
      if (!blocks.has_length()) break;
      blocks.send_again(sw2);
      continue;
    }
    if (sw1 != more_data && sw1 != wrong_length) break;
    if (length > status_words) {
      const std::size_t information = length - status_words;
      std::memcpy(output + position, frame + information_start, information);
      position += information;
    }
    blocks.get_response(sw2);
    if (slot.attempts_start_anew) attempts.failed = 0;
  }
  std::memcpy(output + position, frame + information_start,
              static_cast<std::size_t>(reply.length()));
  output[0] = frame[block_start];
  output[1] = frame[block_start + 1];
  output[2] = static_cast<unsigned char>(frame[length_of_block] + position - prologue_size);
  return ok;
}

}  // namespace quorra
