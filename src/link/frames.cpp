// Bytes and frames on the line: sending, receiving with time limits, check bytes.

#include <quorra.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/session.hpp"
#include "link/wait.hpp"

namespace quorra {
namespace {

constexpr unsigned char reply_start = 0x55;

// A wait ends when the elapsed time, cut to whole seconds, exceeds its limit. For the bytes within
// a reply the limit is 0.8, which whole seconds exceed from 1 on.
constexpr double next_byte_limit = 0.8;
constexpr double first_byte_limit = 3;
constexpr double slow_first_byte_limit = 8;

int receive_byte(int handle, unsigned char* p, double limit) {
  if (p == nullptr) return bad_length;
  const std::clock_t start = std::clock();
  while (read(handle, p, 1) <= 0) {
    const Ticks whole_seconds = elapsed_since(start) / ticks_per_second;
    if (static_cast<double>(whole_seconds) > limit) return timeout;
  }
  return ok;
}

int receive_reply(int handle, unsigned char* reply, double first_limit) {
  if (reply == nullptr) return bad_length;
  if (const int code = receive_byte(handle, reply, first_limit); code != ok) return code;
  if (reply[0] != reply_start) return bad_start_byte;

  int expected = frame_header_size;
  for (int i = 1; i < expected; ++i) {
    if (const int code = receive_byte(handle, reply + i, next_byte_limit); code != ok) return code;
    if (i == frame_length_offset) expected += reply[frame_length_offset] + 1;
  }
  return ck_bcc(expected, reply) == ok ? ok : bad_reply_check;
}

int write_text(int handle, const char* text) {
  return static_cast<int>(write(handle, text, text_length(text)));
}

int write_byte(int handle, unsigned char c) { return static_cast<int>(write(handle, &c, 1)); }

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
  if (term_flg == 1) {
    const int written = write_byte(handle, c);
    return written < 1 ? not_sent : written;
  }
  // The part of a sequence that a write took is enough to go on; the rest is not sent again.
  int written = write_text(handle, AUXSTARTWRITE);
  if (written > 0) written = write_byte(handle, c);
  if (written > 0) written = write_text(handle, AUXENDWRITE);
  return written;
}

int send_com(int handle, int n, const unsigned char* frame) {
  if (frame == nullptr) return bad_length;
  for (int i = 0; i < n; ++i) {
    if (sendchar(handle, frame[i]) < 1) return not_sent;
  }
  return ok;
}

int receive_data(int handle, unsigned char* p) { return receive_byte(handle, p, next_byte_limit); }

int receive_data_2k(int handle, unsigned char* p) {
  return receive_byte(handle, p, first_byte_limit);
}

int receive_data_8k(int handle, unsigned char* p) {
  return receive_byte(handle, p, slow_first_byte_limit);
}

int receive_com(int handle, unsigned char* reply) {
  return receive_reply(handle, reply, first_byte_limit);
}

int receive_com0(int handle, unsigned char* reply) {
  return receive_reply(handle, reply, slow_first_byte_limit);
}

int ic_delay(int ticks) {
  constexpr int done = 10;
  const std::clock_t start = std::clock();
  if (ticks < 0) return done;
  while (elapsed_since(start) <= static_cast<Ticks>(ticks)) {
  }
  return done;
}
