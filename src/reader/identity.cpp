// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The reader itself: who it is, whether it answers, its buzzer, the card's power and ejection.

#include <quorra.h>

#include <algorithm>
#include <cstring>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "reader/reader_memory.hpp"

namespace quorra {
namespace {

constexpr char library_version[] = "KW###DRVSFT-V6.60B";

constexpr int serial_number_length = 16;

constexpr int beep_default = 2;
constexpr int beep_max = 255;

// What the reader reports is not evaluated: any valid reply means that a reader answers.
int request_status(int handle, int* out, int attempts) {
  if (out == nullptr) return bad_length;
  Request request(Command::read_status, CardType::reader);
  Reply reply;
  for (int attempt = 1;; ++attempt) {
    int code = request.send(handle);
    if (code == ok) code = receive_com(handle, reply.frame());
    if (code == ok) *out = 0;
    if (code == ok || attempt == attempts) return code;
  }
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int lib_ver(char* dst) {
  if (dst == nullptr) return bad_length;
  std::memcpy(dst, library_version, sizeof library_version);
  return ok;
}

int srd_snr(int handle, int len, unsigned char* buf) {
  if (len != serial_number_length || buf == nullptr) return bad_length;
  return read_reader_memory(handle, serial_number_address, serial_number_length, buf);
}

int get_status(int handle, int* out) { return request_status(handle, out, 4); }

int get_status0(int handle, int* out) { return request_status(handle, out, 1); }

int dv_beep(int handle, int t) {
  const int time = t < 0 ? beep_default : std::min(t, beep_max);
  Request request(Command::beep, CardType::reader);
  request.append(0).append(static_cast<unsigned char>(time));
  if (const int code = request.send(handle); code != ok) return code;
  ic_delay(time / 5 * 1000);
  Reply reply;
  return receive(handle, reply);
}

int turn_on(int handle) { return exchange(handle, {Command::power_on, CardType::reader}); }

int turn_off(int handle) { return exchange(handle, {Command::power_off, CardType::reader}); }

int auto_pull(int handle) { return exchange(handle, {Command::eject, CardType::reader}); }
