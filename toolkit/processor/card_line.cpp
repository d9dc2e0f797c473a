// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/processor/card_line.hpp"

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <array>

#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {
namespace {

constexpr Operation exchanging{"sending the APDU"};

constexpr unsigned char first_byte_of_request = 0xAA;
constexpr unsigned char exchange_command = 0x21;
constexpr unsigned char flag = 0x80;
constexpr unsigned char card_slot = 0x20;
constexpr unsigned char sam_slot = 0x21;
constexpr std::size_t body_head_size = 5;  // the slot, and four zeros

constexpr std::size_t longest_reply = 260;
constexpr std::size_t place_of_status = 1;
constexpr std::size_t place_of_reply_length = 3;
constexpr std::size_t place_of_data = 4;

unsigned char check_byte(const Bytes& bytes) {
  return static_cast<unsigned char>(cr_bcc(static_cast<int>(bytes.size()), bytes.data()));
}

// The check byte of a frame to a SAM leaves out the bytes for it.
Bytes make_frame(const SamNumber& sam, const Bytes& bytes) {
  Bytes frame = {first_byte_of_request,
                 exchange_command,
                 flag,
                 static_cast<unsigned char>(body_head_size + bytes.size()),
                 sam ? sam_slot : card_slot,
                 0,
                 0,
                 0,
                 0};
  const unsigned char check_of_head = check_byte(frame);
  frame.insert(frame.end(), bytes.begin(), bytes.end());
  frame.push_back(sam ? check_of_head : check_byte(frame));
  return frame;
}

int exchange_frame(int handle, const Bytes* frame, Wait wait, unsigned char* reply) {
  const int sent = send_com(handle, static_cast<int>(frame->size()), frame->data());
  if (sent < 0) return sent;
  const int received = (wait == Wait::usual ? receive_com : receive_com0)(handle, reply);
  return received < 0 ? received : -reply[place_of_status];
}

}  // namespace

int CardLine::exchange(const Bytes& bytes, Bytes& answer, Wait wait) const {
  const Bytes frame = make_frame(sam_, bytes);
  std::array<unsigned char, longest_reply> reply{};
  const int result = session_.attempt(exchanging, exchange_frame, &frame, wait, reply.data());
  if (result < 0) return result;
  const auto* const data = reply.data() + place_of_data;
  answer.assign(data, data + reply.at(place_of_reply_length));
  return 0;
}

void CardLine::drain() const { session_.drain(exchanging); }

void CardLine::fail(int result) const { session_.fail(exchanging, result); }

void CardLine::fail(std::string_view words) {
  throw Failure(fmt::format("{}: {}", exchanging.doing, words));
}

}  // namespace quorra::toolkit
