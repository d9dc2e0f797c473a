// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/scripted_reader.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <quorra.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/session.hpp"

namespace quorra::testing {
namespace {

// How long the kernel may take to carry bytes across a pseudo-terminal. Never waited for in full
// unless something is broken.
constexpr std::chrono::seconds patience{20};

int milliseconds(std::chrono::milliseconds time) { return static_cast<int>(time.count()); }

std::time_t seconds_now() { return system_time(CLOCK_MONOTONIC).tv_sec; }

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

std::string file_text(std::string_view sequence) {
  return "\\033" + std::string(sequence.substr(1));
}

int pending(int descriptor) {
  int count = 0;
  checked(ioctl(descriptor, FIONREAD, &count), "FIONREAD");
  return count;
}

void remove_sequences(Bytes& bytes) {
  for (const std::string_view sequence :
       {start_sequence, end_sequence, set_sequence, init_sequence, close_sequence}) {
    const Bytes unwanted = text(sequence);
    for (auto found = bytes.begin();
         (found = std::search(bytes.begin(), bytes.end(), unwanted.begin(), unwanted.end())) !=
         bytes.end();) {
      bytes.erase(found, found + static_cast<std::ptrdiff_t>(unwanted.size()));
    }
  }
}

// As a serial line that other programs used before.
void make_raw(int descriptor) {
  termios settings{};
  checked(tcgetattr(descriptor, &settings), "tcgetattr");
  cfmakeraw(&settings);
  checked(tcsetattr(descriptor, TCSANOW, &settings), "tcsetattr");
}

// Whether the last byte is the XOR of all before it or, as for a SAM, of the first nine.
bool is_sealed(const Bytes& frame) {
  constexpr std::size_t head_size = 9;
  const auto check_byte = [&frame](std::size_t count) {
    return std::accumulate(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(count), 0,
                           std::bit_xor<>());
  };
  const std::size_t before = frame.size() - 1;
  return frame.back() == check_byte(before) ||
         frame.back() == check_byte(std::min(head_size, before));
}

}  // namespace

const char* name_of(Mode mode) { return mode == Mode::direct ? "Direct" : "Terminal"; }

StandardOutput::StandardOutput(int descriptor) : saved_(checked(dup(STDOUT_FILENO), "dup")) {
  (void)std::fflush(stdout);
  if (descriptor < 0) {
    (void)close(STDOUT_FILENO);
  } else {
    (void)checked(dup2(descriptor, STDOUT_FILENO), "dup2");
  }
}

StandardOutput::~StandardOutput() {
  (void)std::fflush(stdout);
  (void)dup2(saved_, STDOUT_FILENO);
  (void)close(saved_);
}

ScriptedReader::Line::Line()
    : master(checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt")),
      slave(-1),
      configuration(folder / "reader.conf") {
  checked(grantpt(master), "grantpt");
  checked(unlockpt(master), "unlockpt");
  device = ptsname(master);
  slave = checked(open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "opening the line");
  make_raw(slave);
  checked(tcgetattr(slave, &settings), "tcgetattr");
}

ScriptedReader::Line::~Line() {
  (void)close(slave);
  (void)close(master);
}

bool ScriptedReader::Line::renew() const {
  return tcsetattr(slave, TCSANOW, &settings) == 0 && tcflush(slave, TCIOFLUSH) == 0 &&
         tcflush(master, TCIOFLUSH) == 0 && pending(slave) == 0 && pending(master) == 0;
}

std::vector<std::unique_ptr<ScriptedReader::Line>>& ScriptedReader::idle_lines() {
  static std::vector<std::unique_ptr<Line>> lines;
  return lines;
}

std::unique_ptr<ScriptedReader::Line> ScriptedReader::take_line() {
  auto& lines = idle_lines();
  if (lines.empty()) return std::make_unique<Line>();
  auto line = std::move(lines.back());
  lines.pop_back();
  return line->renew() ? std::move(line) : std::make_unique<Line>();
}

ScriptedReader::ScriptedReader(Mode mode) : mode_(mode), line_(take_line()) {
  const std::string settings = mode == Mode::direct
                                   ? "P=" + line_->device + "\n"
                                   : "S=" + file_text(set_sequence) + "\n" +        //
                                         "I=" + file_text(init_sequence) + "\n" +   //
                                         "W=" + file_text(start_sequence) + "\n" +  //
                                         "A=" + file_text(end_sequence) + "\n" +    //
                                         "C=" + file_text(close_sequence) + "\n";
  write_file(line_->configuration, settings);

  forget_sessions();
  System& system = System::instance();
  system.reset();
  struct stat status {};
  checked(fstat(line_->slave, &status), "fstat");
  system.watched = status.st_rdev;
  system.clock = [this] {
    now_ += step_;
    play();
    return now_;
  };
  // What was sent has left before the output queue is emptied.
  system.before_flush = [this] { play(); };
}

ScriptedReader::~ScriptedReader() {
  try {
    play();
    const Bytes rest = receive(System::instance().bytes_written - received_);
    if (!steps_.empty()) {
      ADD_FAILURE() << "the reader still waits to play:\n  "
                    << (answering_ ? "answers to " : "request ") << to_hex(steps_.front().request)
                    << "\nand has of it: " << to_hex(rest);
    } else if (!ignores_rest_ && (!rest.empty() || !frame_.empty())) {
      ADD_FAILURE() << "the library sent more than was expected: " << to_hex(frame_ + rest);
    }
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }
  System::instance().reset();
  if (!::testing::Test::HasFailure()) idle_lines().push_back(std::move(line_));
}

int ScriptedReader::open_session(int (*open)(const char*, int), int baud) {
  int handle = -1;
  if (mode_ == Mode::direct) {
    handle = open(line_->configuration.c_str(), baud);
  } else {
    const StandardOutput on_line(line_->slave);
    handle = open(line_->configuration.c_str(), baud);
  }
  // The next session would flush what is still on its way.
  play();
  return handle;
}

int ScriptedReader::init(int baud) { return open_session(ic_init, baud); }

int ScriptedReader::init0(int baud) { return open_session(ic_init0, baud); }

ScriptedReader& ScriptedReader::expect(const Bytes& frame) {
  if (mode_ == Mode::direct) return expect_raw(frame);
  Bytes wrapped;
  for (const unsigned char byte : frame) {
    wrapped = std::move(wrapped) + text(start_sequence) + Bytes{byte} + text(end_sequence);
  }
  return expect_raw(wrapped);
}

ScriptedReader& ScriptedReader::expect_raw(const Bytes& bytes) {
  steps_.push_back({bytes, {}});
  return *this;
}

ScriptedReader& ScriptedReader::answer(const Bytes& bytes) { return answer_after(0, bytes); }

ScriptedReader& ScriptedReader::answer_after(std::clock_t ticks, const Bytes& bytes) {
  steps_.back().answers.push_back({ticks, bytes});
  return *this;
}

ScriptedReader& ScriptedReader::expect_opening() {
  if (mode_ == Mode::terminal) expect_raw(text(set_sequence) + text(init_sequence));
  return *this;
}

ScriptedReader& ScriptedReader::expect_closing() {
  if (mode_ == Mode::terminal) expect_raw(text(close_sequence));
  return *this;
}

ScriptedReader& ScriptedReader::expect_proof() {
  return expect_opening()
      .expect(hex("AA B0 00 07 80 00 00 00 00 00 0A 97"))
      .answer(reply(0, text("SCRIPTED-1")));
}

void ScriptedReader::set_clock(std::clock_t now, std::clock_t step) {
  now_ = now - step;
  step_ = step;
}

void ScriptedReader::send(const Bytes& bytes) const {
  if (bytes.empty()) return;
  const int before = pending(line_->slave);
  if (system_write(line_->master, bytes.data(), bytes.size()) !=
      static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the line took not all bytes");
  }
  // The kernel carries bytes across on a thread of its own; what was sent has to be there when the
  // library looks next.
  // Sleeping lets the kernel work sooner than asking it again and again does.
  pollfd readable{line_->slave, POLLIN, 0};
  (void)system_poll(&readable, 1, milliseconds(patience));
  const std::time_t deadline = seconds_now() + patience.count();
  while (pending(line_->slave) != before + static_cast<int>(bytes.size())) {
    if (seconds_now() > deadline) throw std::runtime_error("bytes got lost");
    sched_yield();
  }
}

void ScriptedReader::play() {
  while (!steps_.empty()) {
    if (!answering_) {
      if (!receive_request()) return;
      answering_ = true;
      answer_base_ = now_;
    }
    auto& answers = steps_.front().answers;
    while (!answers.empty()) {
      const std::clock_t due = answer_base_ + answers.front().delay;
      if (now_ < due) return;
      send(answers.front().bytes);
      answer_base_ = due;
      answers.pop_front();
    }
    answering_ = false;
    steps_.pop_front();
  }
  if (answer_) answer_frames();
}

void ScriptedReader::answer_frames() {
  constexpr std::size_t length_offset = 3;
  constexpr std::size_t frame_overhead = 5;
  const std::size_t arrived = System::instance().bytes_written - received_;
  frame_ = std::move(frame_) + receive(arrived);
  received_ += arrived;
  if (mode_ == Mode::terminal) remove_sequences(frame_);
  if (frame_.size() <= length_offset || frame_.size() != frame_[length_offset] + frame_overhead) {
    return;
  }
  // A part of a sequence is no check byte.
  if (!is_sealed(frame_)) return;
  const Bytes request = std::exchange(frame_, {});
  send(answer_(request));
}

bool ScriptedReader::receive_request() {
  const Bytes& expected = steps_.front().request;
  if (System::instance().bytes_written - received_ < expected.size()) return false;
  const Bytes request = receive(expected.size());
  received_ += request.size();
  EXPECT_EQ(to_hex(request), to_hex(expected)) << "sent by the library";
  return true;
}

Bytes ScriptedReader::receive(std::size_t count) const {
  Bytes bytes(count);
  for (std::size_t done = 0; done < count;) {
    pollfd readable{line_->master, POLLIN, 0};
    if (system_poll(&readable, 1, milliseconds(patience)) < 1) {
      throw std::runtime_error("bytes got lost");
    }
    const ssize_t got = system_read(line_->master, bytes.data() + done, count - done);
    if (got <= 0) throw std::system_error(errno, std::generic_category(), "reading the line");
    done += static_cast<std::size_t>(got);
  }
  return bytes;
}

}  // namespace quorra::testing
