// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "simulator/files.hpp"

namespace quorra::simulator {

// A pseudo-terminal in raw mode: hosts open device() like a serial line, the reader sits at the
// other end. The terminal keeps its device open as well, so that the line does not hang up when
// a host closes it. The destructor hangs the line up.
class PseudoTerminal {
 public:
  // Throws Error.
  PseudoTerminal();

  // The path of the host's side.
  const std::string& device() const { return device_; }
  // To be polled.
  int descriptor() const { return reader_side_.get(); }

  // Whether the host has set its side to that speed, in bits per second: 1200, 2400, 4800, 9600,
  // 19200 or 38400.
  bool host_has_speed(unsigned speed) const;

  // Takes what the host has sent, without waiting: returns how many bytes are in `buffer` now.
  // Throws Error.
  std::size_t read(std::span<std::uint8_t> buffer) const;
  // Sends to the host as many bytes as fit, without waiting, and returns how many. Throws Error.
  std::size_t write(std::span<const std::uint8_t> bytes) const;

 private:
  FileDescriptor reader_side_;
  FileDescriptor host_side_;
  std::string device_;
};

}  // namespace quorra::simulator
