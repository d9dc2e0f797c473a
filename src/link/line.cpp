// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "link/line.hpp"

#include <unistd.h>

#include <cerrno>

#include "link/wait.hpp"

namespace quorra {
namespace {

constexpr Ticks room_limit = 4 * ticks_per_second;

struct Attempt {
  ssize_t written;
  bool may_succeed_later;
};

Attempt try_to_write(int handle, const void* bytes, std::size_t count) {
  errno = 0;
  const ssize_t written = write(handle, bytes, count);
  return {written, written < 0 && (errno == EINTR || errno == EAGAIN)};
}

}  // namespace

ssize_t write_line(int handle, const void* bytes, std::size_t count) {
  Attempt attempt = try_to_write(handle, bytes, count);
  if (!attempt.may_succeed_later) return attempt.written;
  Wait wait(room_limit);
  while (attempt.may_succeed_later && wait.goes_on_for_room(handle)) {
    attempt = try_to_write(handle, bytes, count);
  }
  return attempt.written;
}

}  // namespace quorra
