#pragma once

#include <array>
#include <csignal>

namespace quorra::simulator {

// The signals that end the program.
inline constexpr std::array stop_signals{SIGINT, SIGTERM, SIGHUP};

inline sigset_t set_of_stop_signals() {
  sigset_t signals{};
  sigemptyset(&signals);
  for (const int signal : stop_signals)
    sigaddset(&signals, signal);
  return signals;
}

}  // namespace quorra::simulator
