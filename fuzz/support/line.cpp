// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "fuzz/support/line.hpp"

#include <fcntl.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "fuzz/support/exact_bytes.hpp"

namespace quorra::fuzzing {

Line& Line::instance() {
  static Line line;
  return line;
}

void Line::reset(Peer& peer) {
  peer_ = &peer;
  descriptor = 5;
  flags = O_RDWR;
  can_be_opened = is_a_terminal = has_a_terminal = file_can_be_opened = true;
  file = {};
  file_ends_with_an_error = false;
  now = 0;
  open_sessions = 0;
  tape_ = Tape::off;
  forget();
}

void Line::forget() {
  step_ = first_step;
  sent.clear();
  sent_all = true;
  exchanges_ = 0;
  sending_ = true;
}

bool Line::Received::is_reply() const {
  if (bytes.size() < 5 || bytes[0] != 0x55 || bytes.size() != bytes[3] + std::size_t{5}) {
    return false;
  }
  unsigned check = 0;
  for (const unsigned char byte : bytes)
    check ^= byte;
  return check == 0;
}

void Line::record() {
  record_.clear();
  tape_ = Tape::recording;
}

void Line::play_again() {
  forget();
  played_ = 0;
  tape_ = Tape::playing;
}

void Line::stop_playing() {
  require(played_ == record_.size(), "a call that is made again goes the same way");
  tape_ = Tape::off;
}

template <typename Ask>
Line::Result Line::ask(Ask ask_peer) {
  if (tape_ == Tape::playing) {
    require(played_ < record_.size(), "a call that is made again goes the same way");
    return record_[played_++];
  }
  Result result{};
  result.result = ask_peer(result.byte);
  result.error = errno;
  if (tape_ == Tape::recording) record_.push_back(result);
  return result;
}

ssize_t Line::read(int from, void* buffer, std::size_t size) {
  if (from != descriptor || size != 1) {
    errno = from != descriptor ? EBADF : EINVAL;
    return -1;
  }
  require((flags & O_NONBLOCK) != 0, "a read that does not sleep");
  const auto [result, error, byte] = ask([this](unsigned char& next) { return peer_->read(next); });
  errno = error;
  if (result <= 0) return result;
  *static_cast<unsigned char*>(buffer) = byte;
  if (sending_) {
    sending_ = false;
    if (received_.size() == exchanges_) received_.emplace_back();
    received_[exchanges_++].bytes.clear();
  }
  received_[exchanges_ - 1].bytes.push_back(byte);
  step_ = first_step;
  return result;
}

ssize_t Line::write(int to, const void* buffer, std::size_t size) {
  const Bytes bytes(static_cast<const unsigned char*>(buffer), size);
  require_set(bytes);
  if (to != descriptor) {
    sent_all = false;
    errno = EBADF;
    return -1;
  }
  require((flags & O_NONBLOCK) != 0, "a write that does not sleep");
  sending_ = true;
  const auto [result, error, unused] = ask([&](unsigned char&) { return peer_->write(bytes); });
  errno = error;
  if (result < 0 || static_cast<std::size_t>(result) < size) sent_all = false;
  if (result > 0) sent.insert(sent.end(), bytes.begin(), bytes.begin() + result);
  step_ = first_step;
  return result;
}

std::clock_t Line::clock() {
  now = static_cast<std::clock_t>(static_cast<unsigned long>(now) +
                                  static_cast<unsigned long>(step_));
  step_ = std::min(2 * step_, largest_step);
  return now;
}

}  // namespace quorra::fuzzing

using quorra::fuzzing::Line;

namespace {

// A file of the harness as a stream.
struct Content {
  quorra::fuzzing::Bytes rest;
  bool ends_with_an_error;
};

ssize_t read_content(void* cookie, char* buffer, size_t size) {
  auto& content = *static_cast<Content*>(cookie);
  if (content.rest.empty() && content.ends_with_an_error) {
    errno = EIO;
    return -1;
  }
  const std::size_t count = std::min(size, content.rest.size());
  if (count > 0) std::memcpy(buffer, content.rest.data(), count);
  content.rest = content.rest.subspan(count);
  return static_cast<ssize_t>(count);
}

int done(int descriptor) {
  if (descriptor == Line::instance().descriptor && Line::instance().is_a_terminal) return 0;
  errno = ENOTTY;
  return -1;
}

}  // namespace

extern "C" {

std::clock_t quorra_fuzz_clock() { return Line::instance().clock(); }

int quorra_fuzz_open(const char* path, int /*flags*/, ...) {
  Line& line = Line::instance();
  quorra::fuzzing::require(std::strlen(path) < 60, "a device has a name that ends");
  if (!line.can_be_opened) {
    errno = ENOENT;
    return -1;
  }
  ++line.open_sessions;
  line.flags = O_RDWR;
  return line.descriptor;
}

int quorra_fuzz_fcntl(int descriptor, int command, ...) {
  Line& line = Line::instance();
  if (descriptor != line.descriptor) {
    errno = EBADF;
    return -1;
  }
  if (command == F_GETFL) return line.flags;
  quorra::fuzzing::require(command == F_SETFL, "flags are read and set");
  va_list arguments;
  va_start(arguments, command);
  line.flags = va_arg(arguments, int);
  va_end(arguments);
  return 0;
}

int quorra_fuzz_close(int descriptor) {
  Line& line = Line::instance();
  if (descriptor != line.descriptor || line.open_sessions == 0) {
    errno = EBADF;
    return -1;
  }
  --line.open_sessions;
  return 0;
}

ssize_t quorra_fuzz_read(int descriptor, void* buffer, size_t size) {
  return Line::instance().read(descriptor, buffer, size);
}

ssize_t quorra_fuzz_write(int descriptor, const void* buffer, size_t size) {
  return Line::instance().write(descriptor, buffer, size);
}

int quorra_fuzz_tcgetattr(int descriptor, termios* settings) {
  if (done(descriptor) != 0) return -1;
  *settings = {};
  return 0;
}

int quorra_fuzz_tcsetattr(int descriptor, int /*when*/, const termios* settings) {
  quorra::fuzzing::require_set(
      {reinterpret_cast<const unsigned char*>(&settings->c_cflag), sizeof settings->c_cflag});
  return done(descriptor);
}

int quorra_fuzz_tcflush(int descriptor, int /*queue*/) { return done(descriptor); }

char* quorra_fuzz_ttyname(int /*descriptor*/) {
  static char name[] = "/dev/pts/0";
  return Line::instance().has_a_terminal ? name : nullptr;
}

FILE* quorra_fuzz_fopen(const char* /*path*/, const char* /*mode*/) {
  Line& line = Line::instance();
  if (!line.file_can_be_opened) {
    errno = ENOENT;
    return nullptr;
  }
  // One file is open at a time.
  static Content content;
  content = {line.file, line.file_ends_with_an_error};
  return fopencookie(&content, "r", {read_content, nullptr, nullptr, nullptr});
}
}
