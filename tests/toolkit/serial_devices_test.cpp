// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The list of serial devices, of folders laid out as the system lays out its own.
#include "toolkit/session/serial_devices.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.hpp"

namespace quorra::toolkit {
namespace {

namespace fs = std::filesystem;

class SerialDevices : public ::testing::Test {
 protected:
  void put(const std::string& file, const std::string& content) {
    fs::create_directories((root / file).parent_path());
    testing::write_file(root / file, content);
  }
  void link(const std::string& name, const std::string& target) {
    fs::create_directories((root / name).parent_path());
    fs::create_directories(root / target);
    fs::create_symlink(root / target, root / name);
  }
  // A port below this folder of the hardware, whose driver has this name.
  void add_port(const std::string& name, const std::string& hardware, const std::string& driver) {
    put("dev/" + name, "");
    fs::create_directories(root / ("sys/class/tty/" + name));
    link("sys/class/tty/" + name + "/device", hardware);
    link(hardware + "/driver", "sys/bus/drivers/" + driver);
  }
  std::vector<SerialDevice> list() const { return serial_devices(root / "sys", root / "dev"); }

  testing::TemporaryDirectory folder;
  fs::path root = folder / "";
};

TEST_F(SerialDevices, NoneIsListedWhereThereIsNoSystem) { EXPECT_TRUE(list().empty()); }

TEST_F(SerialDevices, PortNeedsHardware) {
  put("sys/class/tty/tty1/dev", "4:1\n");
  add_port("ttyS0", "sys/devices/pnp0/00:05", "serial");
  put("sys/class/tty/ttyS0/type", "4\n");
  add_port("ttyS1", "sys/devices/platform/serial8250", "serial8250");
  put("sys/class/tty/ttyS1/type", "0\n");
  const auto devices = list();
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].path, root / "dev/ttyS0");
  EXPECT_EQ(describe(devices[0]), "serial");
}

TEST_F(SerialDevices, DriverOfTheHardwareCounts) {
  add_port("ttyS0", "sys/devices/pnp0/00:05/00:05:0/00:05:0.0", "port");
  link("sys/devices/pnp0/00:05/00:05:0/00:05:0.0/subsystem", "sys/bus/serial-base");
  link("sys/devices/pnp0/00:05/driver", "sys/bus/drivers/serial");
  const auto devices = list();
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].driver, "serial");
}

TEST_F(SerialDevices, HardwareNeedsNoDriver) {
  put("dev/ttyX0", "");
  link("sys/class/tty/ttyX0/device", "sys/devices/platform/port");
  const auto devices = list();
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].driver, "");
  EXPECT_EQ(describe(devices[0]), "");
}

// It tells only its number, and has no device yet.
TEST_F(SerialDevices, AdapterMayTellLittle) {
  add_port("ttyUSB0", "sys/devices/usb1/1-1/1-1:1.0/ttyUSB0", "ch341");
  fs::remove(root / "dev/ttyUSB0");
  put("sys/devices/usb1/1-1/idVendor", "1a86\n");
  put("sys/devices/usb1/1-1/idProduct", "7523\n");
  put("sys/devices/usb1/1-1/product", "Serial\n");
  fs::create_directories(root / "dev/serial/by-id");
  fs::create_symlink("../../ttyUSB0", root / "dev/serial/by-id/usb-Serial-if00-port0");
  const auto devices = list();
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(describe(devices[0]), "Serial (1a86:7523), ch341");
  EXPECT_EQ(devices[0].lasting, "");
}

TEST_F(SerialDevices, AdapterIsDescribed) {
  add_port("ttyUSB10", "sys/devices/usb1/1-1/1-1:1.0/ttyUSB10", "ftdi_sio");
  add_port("ttyUSB9", "sys/devices/usb1/1-2/1-2:1.0/ttyUSB9", "cp210x");
  put("sys/devices/usb1/1-1/idVendor", "0403\n");
  put("sys/devices/usb1/1-1/idProduct", "6001\n");
  put("sys/devices/usb1/1-1/manufacturer", "Maker\n");
  put("sys/devices/usb1/1-1/product", "Serial Adapter\n");
  put("sys/devices/usb1/1-1/serial", "A1\n");
  fs::create_directories(root / "dev/serial/by-id");
  const fs::path lasting = root / "dev/serial/by-id/usb-Maker_Serial_Adapter_A1-if00-port0";
  fs::create_symlink("../../ttyUSB10", lasting);
  const auto devices = list();
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[0].path, root / "dev/ttyUSB9");
  EXPECT_EQ(describe(devices[0]), "cp210x");
  EXPECT_EQ(devices[0].lasting, "");
  EXPECT_EQ(describe(devices[1]), "Maker Serial Adapter A1 (0403:6001), ftdi_sio");
  EXPECT_EQ(devices[1].lasting, lasting);
}

}  // namespace
}  // namespace quorra::toolkit
