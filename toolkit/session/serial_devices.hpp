// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The serial devices of this machine, as the system lists them. None is opened for that.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorra::toolkit {

struct SerialDevice {
  std::string path;        // "/dev/ttyUSB0"
  std::string driver;      // "ftdi_sio"
  std::string product;     // maker, product and serial number of a USB adapter; else empty
  std::string usb_number;  // "0403:6001"; else empty
  std::string lasting;  // its name in /dev/serial/by-id, whatever order adapters come in; or empty
};

// Ports without hardware behind them, consoles and pseudo-terminals are not among them. The folders
// are those of the system, unless it is another one's.
std::vector<SerialDevice> serial_devices(const std::filesystem::path& sysfs = "/sys",
                                         const std::filesystem::path& devices = "/dev");

// "FTDI FT232R USB UART A50285BI (0403:6001), ftdi_sio"
std::string describe(const SerialDevice& device);

}  // namespace quorra::toolkit
