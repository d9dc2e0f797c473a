// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Which reader the program quorra takes: the one that is named, or else the one that is found.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "tests/integration/command_line_reader.hpp"

namespace quorra::testing {
namespace {

using Environment = std::map<std::string, std::optional<std::string>>;

constexpr char show_two[] =
    "0020  DE AD                                             |..              |\n";

// A virtual reader with a card in it, and a home with no configuration file.
class FoundReader : public CommandLine {
 protected:
  Outcome read(const Arguments& arguments, Environment environment) {
    environment.insert({{"HOME", folder / "home"}, {"XDG_CONFIG_HOME", std::nullopt}});
    return run_quorra(Arguments{"read", "--address", "0x20", "--count", "2"} + arguments,
                      {.input = {}, .streams = {}, .environment = environment});
  }

  // Puts a file for the reader into the home, or into another folder of configurations.
  std::string put_configuration(const std::string& configurations) {
    std::filesystem::create_directories(folder / (configurations + "/quorra"));
    std::string file = folder / (configurations + "/quorra/reader.conf");
    std::filesystem::copy_file(configuration, file);
    return file;
  }

  std::string device() const {
    const std::string content = content_of(configuration);
    const std::size_t begin = content.find("\nP=") + 3;
    return content.substr(begin, content.find('\n', begin) - begin);
  }

  const std::string image = new_card("4442", {"--data", "0x20:DEAD"});
  Process simulator{{QUORRA_SIM_PROGRAM, "--card", image}};
  const std::string configuration = simulator.read_line();
};

TEST_F(FoundReader, DeviceNeedsNoFile) {
  expect_success(read({"--device", device()}, {}), show_two);
  // A name that is too long for a file has another one.
  const std::string long_name = folder / std::string(60, 'x');
  std::filesystem::create_symlink(device(), long_name);
  expect_success(read({"--device", long_name}, {}), show_two);
}

TEST_F(FoundReader, DeviceIsCheckedAndLocked) {
  const std::string file = folder / "file";
  write_file(file, "");
  const auto expect_refused = [&](const std::string& name, int status, const std::string& words) {
    expect_error(read({"--device", name}, {}), status, "quorra: " + words + "\n");
  };
  expect_refused("/nowhere/line", 3,
                 "opening the session: /nowhere/line cannot be opened: No such file or directory: "
                 "there is no such device");
  expect_refused(file, 1,
                 "opening the session: " + file + " is a regular file, not a terminal device");
  expect_refused("", 2, "--device: the name of the file is empty; see quorra --help");
  const std::string no_name =
      " is no name that a configuration file could hold: there is a blank, a line end, '=' or "
      "'\\' in it. Give the device another name, by a symbolic link";
  for (const std::string name : {"/dev/a b", "/dev/a=b", "/dev/a\\b", "/dev/a\nb"}) {
    expect_refused(name, 2, "--device: " + name + no_name);
  }
  expect_refused("/dev/" + std::string(52, 'x'), 2,
                 "--device: /dev/" + std::string(52, 'x') +
                     " is too long a name for a device: up to 56 characters are possible");
  expect_refused("/dev/" + std::string(51, 'x'), 3,
                 "opening the session: /dev/" + std::string(51, 'x') +
                     " cannot be opened: No such file or directory: there is no such device");

  // While another program has it.
  Process holder({"/usr/bin/flock", "-x", device(), "/bin/sh", "-c", "echo held; sleep 60"});
  ASSERT_EQ(holder.read_line(), "held");
  const Outcome outcome = read({"--device", device()}, {});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors.find("quorra: opening the session: " + device() + " is in use by "), 0U)
      << outcome.errors;
}

TEST_F(FoundReader, PlacesCountInTheirOrder) {
  const Environment lost = {{"QUORRA_CONFIG", folder / "nowhere"}};
  const std::string nowhere = "the configuration file " + (folder / "nowhere") +
                              " cannot be read: No such file or directory\n";
  // Neither a place nor the environment counts when an option names a reader.
  put_configuration("home/.config");
  expect_success(read({}, {}), show_two);
  expect_success(read({"--config", configuration}, lost), show_two);
  expect_success(read({"--device", device()}, lost), show_two);
  const std::string other_image = folder / "other.toml";
  std::filesystem::copy_file(image, other_image);
  expect_success(read({"--virtual", other_image}, lost), show_two);
  // The environment goes before the places.
  expect_error(read({}, lost), 2, "quorra: QUORRA_CONFIG: " + nowhere);
  expect_success(read({}, {{"QUORRA_CONFIG", configuration}, {"HOME", "/nowhere"}}), show_two);
  expect_success(read({}, {{"QUORRA_CONFIG", ""}}), show_two);
  // Another folder takes the place of that in the home, unless it is not absolute.
  const Environment elsewhere = {{"XDG_CONFIG_HOME", folder / "xdg"}};
  EXPECT_EQ(read({}, elsewhere).status, 2);
  put_configuration("xdg");
  expect_success(read({}, elsewhere), show_two);
  expect_success(read({}, {{"XDG_CONFIG_HOME", "xdg"}}), show_two);
  expect_success(read({}, {{"XDG_CONFIG_HOME", ""}}), show_two);
}

TEST_F(FoundReader, PlacesAreToldWhenNothingIsThere) {
  expect_error(read({}, {}), 2,
               "quorra: no reader given. No configuration file is there, either: QUORRA_CONFIG is "
               "not set, and there is no\n  " +
                   (folder / "home/.config/quorra/reader.conf") +
                   "\n  /etc/quorra/reader.conf\n"
                   "\"quorra setup\" looks for readers and writes such a file. Or name a reader "
                   "with\n"
                   "  --device DEVICE  the serial device at which it is\n"
                   "  --config FILE    its configuration file\n"
                   "  --virtual IMAGE  the image of a card for a virtual reader, which needs no "
                   "hardware;\n"
                   "                   \"quorra-sim new 4442 IMAGE\" makes one\n");
}

TEST_F(FoundReader, FileThatWasFoundIsNamedInMessages) {
  const std::string file = put_configuration("home/.config");
  write_file(file, "P=/nowhere/line\n");
  expect_error(read({}, {}), 3,
               "quorra: opening the session: /nowhere/line cannot be opened: No such file or "
               "directory: there is no such device; the reader is that of " +
                   file + "\n");
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  expect_error(read({}, {}), 2, "quorra: " + file + " is a directory, not a configuration file\n");
}

TEST_F(FoundReader, FileThatWasFoundIsNotOverwritten) {
  const std::string file = put_configuration("home/.config");
  expect_error(read({"--output", file}, {}), 2,
               "quorra: --output: " + file +
                   " is the file of the reader, which would be lost; name another one\n");
}

TEST_F(FoundReader, ThereIsOneReader) {
  const auto expect_refused = [&](const Arguments& arguments, const std::string& words) {
    expect_error(read(arguments, {}), 2, "quorra: there is one reader: give " + words + "\n");
  };
  expect_refused({"--config", "x", "--device", "x"}, "--config or --device, not both");
  expect_refused({"--virtual", "x", "--device", "x"}, "--device or --virtual, not both");
  expect_refused({"--virtual-sam", "0=x", "--device", "x"}, "--device or --virtual-sam, not both");
  expect_refused({"--config", "x", "--device", "x", "--virtual", "x"},
                 "--config or --device or --virtual, not several");
}

TEST_F(FoundReader, NextCommandNamesTheDevice) {
  expect_success(run_quorra({"speed", "find", "--device", device()}),
                 "The reader answers at 9600 bits per second.\n"
                 "next  quorra info --device " +
                     device() + " --speed 9600\n");
}

}  // namespace
}  // namespace quorra::testing
