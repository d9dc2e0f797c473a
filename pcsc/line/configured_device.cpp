// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/line/configured_device.hpp"

#include <quorra.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <system_error>

#include "toolkit/session/configuration.hpp"

namespace quorra::pcsc {
namespace {

constexpr int serial_lines = 1;

// Every reader is at a serial line, whatever a configuration file says.
class SerialMode {
 public:
  SerialMode() : lock_(library_mode()) {}
  SerialMode(const SerialMode&) = delete;
  SerialMode& operator=(const SerialMode&) = delete;
  ~SerialMode() { term_flg = serial_lines; }

 private:
  std::unique_lock<std::shared_mutex> lock_;
};

}  // namespace

std::shared_mutex& library_mode() {
  static std::shared_mutex mode;
  return mode;
}

std::string find_device(const std::string& path) {
  static std::once_flag at_the_beginning;
  std::call_once(at_the_beginning, [] { const SerialMode mode; });
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return path;

  const toolkit::Configuration configuration(path);
  const SerialMode mode;
  // A shorter name keeps the end of a longer one that was there before.
  std::fill(std::begin(DRVCOMM), std::end(DRVCOMM), '\0');
  configuration.read();
  if (term_flg == serial_lines && DRVCOMM[0] != '\0') return DRVCOMM;
  throw toolkit::Failure(path + " has no line P= with the name of a serial device");
}

}  // namespace quorra::pcsc
