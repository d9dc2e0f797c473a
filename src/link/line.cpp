// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "link/line.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "link/wait.hpp"

namespace quorra {
namespace {

constexpr Ticks room_limit = 4 * ticks_per_second;

struct Attempt {
  ssize_t written;
  std::size_t left;  // of the text
  bool goes_on;
};

// Writes the last `left` bytes of a text.
Attempt try_to_write(int handle, const unsigned char* end, std::size_t left) {
  errno = 0;
  const ssize_t written = write(handle, end - left, left);
  if (written <= 0) return {written, left, written < 0 && (errno == EINTR || errno == EAGAIN)};
  left -= static_cast<std::size_t>(written);
  return {written, left, left > 0};
}

}  // namespace

void never_block(int handle) {
  // Flags that cannot be read are -1, in which every bit is set; they are left alone.
  const int flags = fcntl(handle, F_GETFL);
  if ((flags & O_NONBLOCK) == 0) fcntl(handle, F_SETFL, flags | O_NONBLOCK);
}

ssize_t write_line(int handle, const void* bytes, std::size_t count) {
  const auto* const end = static_cast<const unsigned char*>(bytes) + count;
  Attempt attempt = try_to_write(handle, end, count);
  if (!attempt.goes_on) return attempt.written;
  Wait wait(room_limit);
  while (attempt.goes_on && wait.goes_on_for_room(handle)) {
    attempt = try_to_write(handle, end, attempt.left);
  }
  return attempt.goes_on ? -1 : attempt.written;
}

}  // namespace quorra
