// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A pseudo-terminal between a program and the line to its reader: bytes pass unchanged, and so do
// the speed of the line, flushes and hang-ups, while what passes is told as frames.
#pragma once

#include <termios.h>

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "toolkit/session/descriptor.hpp"
#include "toolkit/session/device.hpp"
#include "toolkit/wire/auxiliary.hpp"
#include "toolkit/wire/frames.hpp"

namespace quorra::toolkit::wire {

// The master of a pseudo-terminal in raw mode that tells of flushes at the other end. That end is
// kept open, so that one program can follow another.
class TappedTerminal {
 public:
  TappedTerminal();

  int descriptor() const { return tap_side_.number(); }
  const std::string& name() const { return name_; }
  int program_side() const { return program_side_.number(); }

 private:
  Descriptor tap_side_;
  std::string name_;
  Descriptor program_side_;
};

// The device with its settings as they were found, in the end.
class TappedDevice {
 public:
  explicit TappedDevice(const std::string& path);
  TappedDevice(const TappedDevice&) = delete;
  TappedDevice& operator=(const TappedDevice&) = delete;
  ~TappedDevice();

  int descriptor() const { return descriptor_.number(); }
  const termios& settings() const { return settings_; }
  // Takes the speed and the stop bits of these settings.
  void follow(const termios& settings);

 private:
  Device lock_;
  Descriptor descriptor_;
  termios before_{};
  termios settings_{};
};

class Tap {
 public:
  using Listener = std::function<void(const Frame& frame)>;

  // Takes the device for itself. With sequences the device leads to a serial terminal whose
  // auxiliary port the reader is at. Throws DeviceError, and std::system_error.
  Tap(const std::string& device, std::optional<AuxiliaryStream> sequences);

  // Where the program finds its reader.
  const std::string& terminal() const { return terminal_.name(); }

  // Passes bytes until the descriptor `stop` is readable, and tells all frames. False: the device
  // hung up, and so has the line to the program when this object goes.
  bool run(int stop, const Listener& listener);

 private:
  // Bytes on their way to a descriptor that must not be waited for.
  struct Outlet {
    int descriptor;
    Bytes unsent;

    bool send();
    bool has_room() const;
  };

  bool serve(int stop, const Listener& listener);
  bool pass(short from_program, short from_device, const Listener& listener);
  bool pass_the_rest(const Listener& listener);
  void take_from_program(const Listener& listener);
  bool take_from_device(const Listener& listener, bool passes_on);
  void flush(unsigned char what, const Listener& listener);
  void tell_of_program(std::span<const unsigned char> bytes, Time time, const Listener& listener);

  void tell_output(const AuxiliaryStream::Output& output, Time time, const Listener& listener);

  TappedDevice device_;
  TappedTerminal terminal_;
  std::optional<AuxiliaryStream> sequences_;
  Outlet to_device_;
  Outlet to_program_;
  Splitter splitter_;
};

}  // namespace quorra::toolkit::wire
