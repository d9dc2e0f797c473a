// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The device at which a reader is: looked at before it is opened, and for one program at a time.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/session/descriptor.hpp"

namespace quorra::toolkit {

// A device cannot be used. The text names it and says why.
class DeviceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// There is no such device, or nothing at its other end.
class DeviceMissing : public DeviceError {
 public:
  using DeviceError::DeviceError;
};

// Another program has it.
class DeviceInUse : public DeviceError {
 public:
  DeviceInUse(const std::string& text, std::optional<int> process)
      : DeviceError(text),
        process_(process) {}

  // Its process, if that is known.
  std::optional<int> process() const { return process_; }

 private:
  std::optional<int> process_;
};

// While it lives, no other program that asks for the same device in this way gets it. The end of
// the process releases the device, whatever ends it.
//
// The line may have no carrier: the device is set up so that whoever opens it does not wait for
// one, and gets its settings back in the end.
class Device {
 public:
  // Nothing is written to the device, and what is no terminal device is not even opened. Throws
  // DeviceError.
  explicit Device(const std::string& path);
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device();

 private:
  Descriptor descriptor_;
  std::optional<termios> before_;
};

// Who may use a device, and who does.
struct DeviceUse {
  std::string permissions;  // "rw-rw----"
  std::string owner;        // "root"
  std::string group;        // "dialout"
  bool may_use = false;     // this user may
  std::vector<std::string>
      holders;  // "quorra (process 1234)", of other processes, as far as is told
};

// None if there is no such file.
std::optional<DeviceUse> use_of_device(const std::string& path);

// Whether a character device of this number is a terminal, as a serial line is.
bool is_terminal_device(dev_t number);

// "a regular file", "a directory", of what a file's mode says.
std::string_view kind_of_file(mode_t mode);

}  // namespace quorra::toolkit
