// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/frames.hpp"

#include <quorra.h>

#include <array>
#include <cstddef>

namespace quorra::toolkit {
namespace {

constexpr Operation reading_state{"asking the reader whether there is a card"};
constexpr Operation resetting{"resetting the card"};

// A request without parameters; four zeros stand behind the card type.
constexpr std::size_t request_size = 10;
constexpr unsigned char first_byte = 0xAA;
constexpr unsigned char body_size = 5;

constexpr unsigned char reset_command = 0x20;
constexpr unsigned char state_command = 0xB9;
constexpr unsigned char processor_card = 0x20;
constexpr unsigned char reader_itself = 0x80;

constexpr std::size_t longest_reply = 260;
constexpr std::size_t place_of_status = 1;
constexpr std::size_t place_of_length = 3;
constexpr std::size_t place_of_data = 4;

constexpr unsigned present_flag = 0x01;
constexpr unsigned power_flag = 0x02;

int exchange_frame(int handle, unsigned char command, unsigned char card, Bytes* data) {
  std::array<unsigned char, request_size> request{first_byte, command, 0, body_size, card};
  request.back() =
      static_cast<unsigned char>(cr_bcc(static_cast<int>(request_size - 1), request.data()));
  std::array<unsigned char, longest_reply> reply{};
  if (const int sent = send_com(handle, request_size, request.data()); sent < 0) return sent;
  if (const int received = receive_com(handle, reply.data()); received < 0) return received;
  const auto* const begin = reply.data() + place_of_data;
  data->assign(begin, begin + reply.at(place_of_length));
  return -reply.at(place_of_status);
}

}  // namespace

int read_card_state(const Session& session, CardState& state) {
  Bytes data;
  const int result =
      session.attempt(reading_state, exchange_frame, state_command, reader_itself, &data);
  const unsigned flags = data.empty() ? 0U : data.front();
  state = {(flags & present_flag) != 0, (flags & power_flag) != 0};
  return result;
}

int reset_processor_card(const Session& session, Bytes& answer_to_reset) {
  return session.attempt(resetting, exchange_frame, reset_command, processor_card,
                         &answer_to_reset);
}

}  // namespace quorra::toolkit
