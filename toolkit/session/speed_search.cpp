// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/session/speed_search.hpp"

#include <quorra.h>

namespace quorra::toolkit {
namespace {

constexpr int serial_speeds[] = {9600, 19200, 38400};
constexpr int terminal_speeds[] = {9600, 19200, 4800, 2400, 1200};

// In this time a reader that got something at another speed is ready again.
constexpr int recovery = 200'000;

bool answers(const Configuration& configuration, int speed) {
  const int handle = ic_init0(configuration.path().c_str(), speed);
  if (handle < 0) return false;
  int status = 0;
  const int result = get_status0(handle, &status);
  ic_exit(handle);
  return result == 0;
}

}  // namespace

std::span<const int> findable_speeds() {
  if (term_flg == 1) return serial_speeds;
  return terminal_speeds;
}

std::optional<int> find_speed(const Configuration& configuration, std::span<const int> speeds,
                              const std::function<void(int speed)>& before) {
  for (const int& speed : speeds) {
    if (&speed != speeds.data()) ic_delay(recovery);
    before(speed);
    if (answers(configuration, speed)) return speed;
  }
  return std::nullopt;
}

}  // namespace quorra::toolkit
