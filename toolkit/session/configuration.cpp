// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/configuration.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <quorra.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "toolkit/session/configuration_lines.hpp"

namespace quorra::toolkit {
namespace {

constexpr std::size_t largest_file = std::size_t{64} * 1024;

// The library reads a line in pieces of so many characters, and takes the last one of a piece for
// the line end.
constexpr std::size_t longest_piece = 59;
constexpr char device_key = 'P';

[[noreturn]] void refuse(const std::string& file, std::string_view why) {
  throw UsageError(fmt::format("{} {}", file, why));
}

[[noreturn]] void cannot_read(const std::string& file, int error) {
  throw UsageError(fmt::format("the configuration file {} cannot be read: {}", file,
                               std::generic_category().message(error)));
}

std::string device_line(const std::string& device) { return fmt::format("P={}", device); }

bool has_room(std::string_view line) { return line.size() < longest_piece; }

// The name that a line has for the device: its other name if the one that was given is too long.
std::string name_for_line(const std::string& given) {
  std::string name = std::filesystem::absolute(given).lexically_normal();
  if (has_room(device_line(name))) return name;
  std::error_code error;
  const std::filesystem::path other = std::filesystem::canonical(given, error);
  return error ? name : other.string();
}

void expect_regular_file(const std::string& file, const struct stat& found) {
  if (S_ISREG(found.st_mode)) return;
  if (S_ISCHR(found.st_mode) && is_terminal_device(found.st_rdev)) {
    const std::string line = device_line(name_for_line(file));
    refuse(file, fmt::format("is a terminal device, not a configuration file. Name a file that "
                             "holds the line\n"
                             "  {0}\n"
                             "as it is made by\n"
                             "  echo {0} > reader.conf",
                             line));
  }
  refuse(file, fmt::format("is {}, not a configuration file", kind_of_file(found.st_mode)));
}

}  // namespace

std::string content_of_configuration(const std::string& file) {
  struct stat found {};
  if (stat(file.c_str(), &found) != 0) cannot_read(file, errno);
  expect_regular_file(file, found);
  // Something else may have taken the place of the file in the meantime.
  const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (descriptor.number() < 0 || fstat(descriptor.number(), &found) != 0) cannot_read(file, errno);
  expect_regular_file(file, found);

  std::string content(largest_file + 1, '\0');
  std::size_t size = 0;
  while (size < content.size()) {
    const ssize_t got = read(descriptor.number(), content.data() + size, content.size() - size);
    if (got < 0) cannot_read(file, errno);
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  if (size > largest_file) {
    refuse(file, fmt::format("has more than {} bytes, and is no configuration file", largest_file));
  }
  content.resize(size);
  return content;
}

namespace {

// The library would take another device for the one that the file names.
void expect_whole_device(const std::string& file, std::string_view content) {
  while (!content.empty()) {
    const std::string_view line = content.substr(0, content.find('\n'));
    const std::string_view piece = content.substr(0, std::min(longest_piece, line.size() + 1));
    content.remove_prefix(piece.size());
    if (piece.front() != device_key) continue;
    if (piece.ends_with('\n')) return;
    if (piece.size() < longest_piece) {
      refuse(file,
             fmt::format("has no line end behind \"{}\"; the last line needs one, too", line));
    }
    refuse(file, fmt::format("names a device in a line of {} characters, of which the last ones "
                             "would be lost; up to {} are possible. Perhaps the device has a "
                             "shorter name",
                             line.size(), longest_piece - 1));
  }
}

Descriptor copy_of(const std::string& content) {
  Descriptor copy(memfd_create("configuration", MFD_CLOEXEC));
  const auto size = static_cast<ssize_t>(content.size());
  if (copy.number() < 0 || write(copy.number(), content.data(), content.size()) != size) {
    throw Failure(fmt::format("{}: {}", opening.doing, std::generic_category().message(errno)));
  }
  return copy;
}

std::string checked_content_of(const std::string& file) {
  std::string content = content_of_configuration(file);
  expect_whole_device(file, content);
  return content;
}

// The library would read another name.
void expect_readable_name(const std::string& device, const std::string& name) {
  if (!has_room(device_line(name))) {
    refuse(device, fmt::format("is too long a name for a device: up to {} characters are possible",
                               longest_piece - 1 - device_line("").size()));
  }
  constexpr std::string_view changed = " =\\\r\n";
  if (name.find_first_of(changed) != std::string::npos) {
    refuse(device,
           "is no name that a configuration file could hold: there is a blank, a line end, "
           "'=' or '\\' in it. Give the device another name, by a symbolic link");
  }
}

}  // namespace

Configuration::Configuration(const std::string& file)
    : Configuration(file, checked_content_of(file)) {}

Configuration::Configuration(std::string name, const std::string& content)
    : name_(std::move(name)),
      begins_with_mark_(content.starts_with(byte_order_mark)),
      copy_(copy_of(content)),
      path_(fmt::format("/proc/self/fd/{}", copy_.number())) {}

std::string Configuration::name_in_file(const std::string& device) {
  std::string name = name_for_line(device);
  expect_readable_name(device, name);
  return name;
}

Configuration Configuration::of_device(const std::string& device) {
  return {device, device_line(name_in_file(device)) + '\n'};
}

void Configuration::read() const {
  // The library writes over the name that an earlier file left, without an end behind it.
  std::ranges::fill(DRVCOMM, '\0');
  const int result = getpar(path_.c_str());
  if (result >= 0) return;
  throw UsageError(
      fmt::format("{}: {} ({})", opening.doing, words_for(result, opening.kind), result));
}

std::string Configuration::device() const {
  read();
  if (term_flg == 1) {
    if (DRVCOMM[0] != '\0') return DRVCOMM;
    throw UsageError(fmt::format("{}: the line P= of {} names no device", opening.doing, name_));
  }
  if (const char* terminal = ttyname(STDOUT_FILENO)) return terminal;
  throw UsageError(fmt::format(
      "{}: {} has no line P= with the name of a device, so the reader is at the terminal that is "
      "standard output; but standard output is no terminal{}",
      opening.doing, name_,
      begins_with_mark_ ? ". The file begins with a byte order mark, which hides its first line: "
                          "save it without one"
                        : ""));
}

Device Configuration::open_device() const {
  const std::string name = device();
  try {
    return Device(name);
  } catch (const DeviceMissing& error) {
    throw NoReader(fmt::format("{}: {}", opening.doing, error.what()), {.word = "no_device"});
  } catch (const DeviceInUse& error) {
    throw Failure(fmt::format("{}: {}", opening.doing, error.what()),
                  {.word = device_in_use, .process = error.process()});
  } catch (const DeviceError& error) {
    throw Failure(fmt::format("{}: {}", opening.doing, error.what()));
  }
}

}  // namespace quorra::toolkit
