// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/files.hpp"
#include "simulator/line/auxiliary_port.hpp"

namespace quorra::simulator {

// A program on a serial terminal with a device at its auxiliary port. What the program writes goes
// to standard output or to the device; what comes from the device and from standard input is what
// is typed on the keyboard.
class SerialTerminal {
 public:
  // Starts the program; the device is opened like a serial line. SIGCHLD and the signals that end
  // this program must be blocked, and SIGCHLD not be ignored. Throws Error.
  SerialTerminal(std::vector<std::string> command, const std::string& device);
  SerialTerminal(const SerialTerminal&) = delete;
  SerialTerminal& operator=(const SerialTerminal&) = delete;
  // Hangs the terminal up if the program is still running, and kills a program that goes on.
  ~SerialTerminal();

  // Serves the terminal until the program has ended: its exit status, or 128 and the number of the
  // signal that ended it. Signals that are to end this program go to that one, Ctrl-C to the
  // foreground of its terminal. Throws Error.
  int run();

 private:
  // Bytes on their way to a descriptor that must not be waited for.
  struct Outlet {
    FileDescriptor descriptor;
    std::string unsent;

    void send();
    void close();
  };

  void start(std::vector<std::string>& command);
  void serve();
  void show(std::string_view text);
  bool wait_for_room(bool mistaken);
  std::size_t take_from_program();
  void take_from_device();
  void take_from_user();
  void take_signal();
  void pass_on(int signal) const;
  void give_device_the_speed_of_the_terminal() const;

  FileDescriptor own_terminal_;  // standard output, if that is a terminal
  int screen_;
  Outlet keyboard_;  // also what the program writes
  Outlet device_;
  FileDescriptor signals_;
  AuxiliaryPort port_;
  bool user_has_ended_ = false;
  bool was_stopped_ = false;  // by a signal that came to this program
  pid_t program_ = -1;
  std::optional<int> status_;
};

}  // namespace quorra::simulator
