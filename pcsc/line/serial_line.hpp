// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The serial line to one reader.
#pragma once

#include <termios.h>

#include <string>

#include "toolkit/session/descriptor.hpp"
#include "toolkit/session/device.hpp"

namespace quorra::pcsc {

// Opened, set up and locked against other programs as long as it lives; then it has the settings
// that it had.
class SerialLine {
 public:
  // Throws toolkit::DeviceError.
  SerialLine(const std::string& path, int speed);
  SerialLine(const SerialLine&) = delete;
  SerialLine& operator=(const SerialLine&) = delete;
  ~SerialLine();

  int descriptor() const { return descriptor_.number(); }

  // Drops what has come.
  void drop_input() const;
  // The same, and what still comes, until the line is silent.
  void drop_until_silent() const;

 private:
  toolkit::Device device_;
  toolkit::Descriptor descriptor_;
  termios before_{};
};

}  // namespace quorra::pcsc
