// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes and frames on the line: sending, receiving with time limits, check bytes.

#include <quorra.h>
#include <unistd.h>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/line.hpp"
#include "link/wait.hpp"

namespace quorra {
namespace {

constexpr unsigned char reply_start = 0x55;

constexpr Ticks next_byte_limit = 1 * ticks_per_second;
constexpr Ticks first_byte_limit = 4 * ticks_per_second;
constexpr Ticks slow_first_byte_limit = 9 * ticks_per_second;

int receive_byte(int handle, unsigned char* p, Ticks limit) {
  if (p == nullptr) return bad_length;
  Wait wait(limit);
  while (read(handle, p, 1) <= 0) {
    if (!wait.goes_on_for_input(handle)) return timeout;
  }
  return ok;
}

int receive_single(int handle, unsigned char* p, Ticks limit) {
  never_block(handle);
  return receive_byte(handle, p, limit);
}

int receive_reply(int handle, unsigned char* reply, Ticks first_limit) {
  never_block(handle);
  if (const int code = receive_byte(handle, reply, first_limit); code != ok) return code;
  if (reply[0] != reply_start) return bad_start_byte;

  int expected = frame_header_size;
  for (int i = 1; i < expected; ++i) {
    if (const int code = receive_byte(handle, reply + i, next_byte_limit); code != ok) return code;
    if (i == frame_length_offset) expected += reply[frame_length_offset] + 1;
  }
  return ck_bcc(expected, reply) == ok ? ok : bad_reply_check;
}

int send_byte(int handle, unsigned char c) {
  if (term_flg == 1) return write_line(handle, &c, 1) < 1 ? int{not_sent} : 1;
  ssize_t written = write_text(handle, AUXSTARTWRITE);
  if (written > 0) written = write_line(handle, &c, 1);
  if (written > 0) written = write_text(handle, AUXENDWRITE);
  return static_cast<int>(written);
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int cr_bcc(int n, const unsigned char* p) {
  unsigned char check = 0;
  if (p == nullptr) return check;
  for (int i = 0; i < n; ++i) {
    check ^= p[i];
  }
  return check;
}

int ck_bcc(int n, const unsigned char* p) { return cr_bcc(n, p) == 0 ? ok : bad_check; }

int sendchar(int handle, unsigned char c) {
  never_block(handle);
  return send_byte(handle, c);
}

int send_com(int handle, int n, const unsigned char* frame) {
  if (frame == nullptr) return bad_length;
  never_block(handle);
  for (int i = 0; i < n; ++i) {
    if (send_byte(handle, frame[i]) < 1) return not_sent;
  }
  return ok;
}

int receive_data(int handle, unsigned char* p) {
  return receive_single(handle, p, next_byte_limit);
}

int receive_data_2k(int handle, unsigned char* p) {
  return receive_single(handle, p, first_byte_limit);
}

int receive_data_8k(int handle, unsigned char* p) {
  return receive_single(handle, p, slow_first_byte_limit);
}

int receive_com(int handle, unsigned char* reply) {
  return receive_reply(handle, reply, first_byte_limit);
}

int receive_com0(int handle, unsigned char* reply) {
  return receive_reply(handle, reply, slow_first_byte_limit);
}

int ic_delay(int ticks) {
  constexpr int done = 10;
  Wait wait(ticks < 0 ? 0 : static_cast<Ticks>(ticks) + 1);
  while (wait.goes_on()) {
  }
  return done;
}
