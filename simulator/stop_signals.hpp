// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <csignal>

namespace quorra::simulator {

// The signals that end the program.
inline constexpr std::array stop_signals{SIGINT, SIGTERM, SIGHUP};

inline bool is_ignored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// All of them but those that were ignored when the program was started, as nohup does it: they stay
// so. To block them would make them count.
inline sigset_t set_of_stop_signals() {
  sigset_t signals{};
  sigemptyset(&signals);
  for (const int signal : stop_signals)
    if (!is_ignored(signal)) sigaddset(&signals, signal);
  return signals;
}

}  // namespace quorra::simulator
