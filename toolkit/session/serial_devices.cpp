// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/serial_devices.hpp"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <tuple>

namespace quorra::toolkit {
namespace {

namespace fs = std::filesystem;

// The first line of a file; empty if there is none.
std::string line_of(const fs::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

// The name of what a link leads to; empty if there is no link.
std::string name_behind(const fs::path& link) {
  std::error_code error;
  return fs::read_symlink(link, error).filename();
}

fs::path real_path(const fs::path& path) {
  std::error_code error;
  return fs::canonical(path, error);
}

// The driver of the hardware. Newer systems put devices of a bus of their own, "serial-base",
// between a port and its hardware.
std::string driver_of(fs::path hardware) {
  for (; hardware.has_relative_path(); hardware = hardware.parent_path()) {
    if (name_behind(hardware / "subsystem") == "serial-base") continue;
    if (std::string driver = name_behind(hardware / "driver"); !driver.empty()) return driver;
  }
  return {};
}

// The folder of the USB device that this hardware is a part of; empty if it is none.
fs::path usb_device_of(fs::path hardware) {
  while (hardware.has_relative_path() && !fs::exists(hardware / "idVendor")) {
    hardware = hardware.parent_path();
  }
  return hardware.has_relative_path() ? hardware : fs::path();
}

void describe_usb(const fs::path& usb, SerialDevice& device) {
  device.usb_number = line_of(usb / "idVendor") + ':' + line_of(usb / "idProduct");
  for (const char* file : {"manufacturer", "product", "serial"}) {
    const std::string text = line_of(usb / file);
    if (text.empty()) continue;
    if (!device.product.empty()) device.product += ' ';
    device.product += text;
  }
}

// A port for which the kernel has found no hardware is of type 0.
bool has_hardware(const fs::path& entry) {
  return fs::exists(entry / "device") && line_of(entry / "type") != "0";
}

std::string lasting_name(const fs::path& device, const fs::path& folder) {
  const fs::path target = real_path(device);
  std::error_code error;
  for (const auto& link : fs::directory_iterator(folder, error)) {
    if (!target.empty() && real_path(link.path()) == target) return link.path();
  }
  return {};
}

// ttyUSB2 before ttyUSB10.
auto order_of(const SerialDevice& device) {
  const std::size_t digits = device.path.find_last_not_of("0123456789") + 1;
  return std::tuple(device.path.substr(0, digits), device.path.size(), device.path);
}

}  // namespace

std::vector<SerialDevice> serial_devices(const fs::path& sysfs, const fs::path& devices) {
  std::vector<SerialDevice> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(sysfs / "class/tty", error)) {
    if (!has_hardware(entry.path())) continue;
    const fs::path node = devices / entry.path().filename();
    const fs::path hardware = real_path(entry.path() / "device");
    SerialDevice device{.path = node,
                        .driver = driver_of(hardware),
                        .product = {},
                        .usb_number = {},
                        .lasting = lasting_name(node, devices / "serial/by-id")};
    if (const fs::path usb = usb_device_of(hardware); !usb.empty()) describe_usb(usb, device);
    found.push_back(std::move(device));
  }
  std::ranges::sort(found, {}, order_of);
  return found;
}

std::string describe(const SerialDevice& device) {
  std::string text = device.product;
  const auto append = [&text](std::string_view separator, const std::string& more) {
    if (more.empty()) return;
    if (!text.empty()) text += separator;
    text += more;
  };
  append(" ", device.usb_number.empty() ? "" : '(' + device.usb_number + ')');
  append(", ", device.driver);
  return text;
}

}  // namespace quorra::toolkit
