// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The speed of the line: changing it, and finding the one at which a reader answers.

#include <quorra.h>

#include <algorithm>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "reader/reader_memory.hpp"

namespace quorra {
namespace {

constexpr int second = 1'000'000;
constexpr int reader_switches = 2 * second;
constexpr int first_pause = 2 * second;
constexpr int short_pause = second / 5;

struct SpeedCode {
  int baud;
  unsigned char code;
};

constexpr SpeedCode speed_codes[] = {{1200, 1}, {2400, 2}, {4800, 3}, {19200, 5}, {38400, 7}};
constexpr unsigned char code_of_9600 = 4;

unsigned char speed_code(int baud) {
  const auto* found = std::ranges::find(speed_codes, baud, &SpeedCode::baud);
  return found == std::end(speed_codes) ? code_of_9600 : found->code;
}

struct Candidate {
  int baud;
  int pause;          // before the line is opened, in ticks
  bool must_be_open;  // a line that cannot be opened ends the search
};

// In the order in which they are tried.
constexpr Candidate candidates[] = {
    {9600, 0, true},
    {19200, first_pause, true},
    {38400, short_pause, false},
    {4800, short_pause, false},
    {2400, short_pause, false},
    {1200, short_pause, false},
};

bool reader_answers(int handle) {
  int status{};
  return get_status0(handle, &status) == ok;
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int set_baud(int handle, int baud) {
  unsigned char setting{};
  if (const int code = read_reader_memory(handle, speed_address, 1, &setting, value_missing);
      code != ok) {
    return code;
  }
  Request request(Command::set_speed, CardType::reader);
  request.append(static_cast<unsigned char>((setting & 0xF0) | speed_code(baud)));
  if (const int code = exchange(handle, request); code != ok) return code;
  ic_delay(reader_switches);
  return ok;
}

int chk_baud(const char* path) {
  int handle = no_reader;
  for (const Candidate& candidate : candidates) {
    if (candidate.pause != 0) {
      ic_exit(handle);
      ic_delay(candidate.pause);
    }
    handle = ic_init0(path, candidate.baud);
    if (handle < 0 && candidate.must_be_open) return handle;
    if (!reader_answers(handle)) continue;
    ic_delay(short_pause);
    ic_exit(handle);
    return candidate.baud;
  }
  ic_delay(short_pause);
  ic_exit(handle);
  return no_speed;
}

int auto_init(const char* path, int baud) {
  // Handle 0 is not taken for a session here.
  if (const int handle = ic_init(path, baud); handle > 0) return handle;
  ic_delay(second);
  const int found = chk_baud(path);
  if (found < 1) return no_reader;
  int handle = ic_init(path, found);
  if (handle < 0) return no_reader;
  if (set_baud(handle, baud) != ok) {
    ic_exit(handle);
    return no_reader;
  }
  ic_delay(second);
  ic_exit(handle);
  handle = ic_init(path, baud);
  return handle < 0 ? no_reader : handle;
}
