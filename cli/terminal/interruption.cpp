// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/terminal/interruption.hpp"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <system_error>

#include "link/stop.hpp"
#include "simulator/stop_signals.hpp"
#include "toolkit/session/descriptor.hpp"

namespace quorra::cli {

int Interruption::taken_ = 0;
std::weak_ptr<Interruption::Held> Interruption::current_;

// The signals, held back.
class Interruption::Held {
 public:
  Held()
      : signals_(simulator::set_of_stop_signals()),
        mask_before_(),
        descriptor_(signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK)) {
    if (descriptor() < 0) {
      throw std::system_error(errno, std::generic_category(), "holding signals back");
    }
    pthread_sigmask(SIG_BLOCK, &signals_, &mask_before_);
    // The program was told to end while the last one of these lived, and may have begun something
    // new before it knew.
    if (taken_ != 0) kill(getpid(), taken_);
    stop_waits_when_readable(descriptor());
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    constexpr int none = -1;
    stop_waits_when_readable(none);
    signalfd_siginfo received{};
    while (read(descriptor(), &received, sizeof received) > 0) {
      if (taken_ == 0) taken_ = static_cast<int>(received.ssi_signo);
    }
    pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
  }

  int descriptor() const { return descriptor_.number(); }

 private:
  sigset_t signals_;
  sigset_t mask_before_;
  toolkit::Descriptor descriptor_;
};

Interruption::Interruption() : held_(current_.lock()) {
  if (held_ != nullptr) return;
  held_ = std::make_shared<Held>();
  current_ = held_;
}

Interruption::~Interruption() = default;

bool Interruption::pending() const {
  pollfd waited = {descriptor(), POLLIN, 0};
  return poll(&waited, 1, 0) > 0;
}

int Interruption::descriptor() const { return held_->descriptor(); }

void Interruption::forget_interrupt() const {
  sigset_t only{};
  sigemptyset(&only);
  sigaddset(&only, SIGINT);
  constexpr timespec no_wait{};
  while (sigtimedwait(&only, nullptr, &no_wait) > 0) {
  }
  // Waits that it ended may go on.
  stop_waits_when_readable(descriptor());
}

int Interruption::current_descriptor() {
  const std::shared_ptr<Held> held = current_.lock();
  return held == nullptr ? -1 : held->descriptor();
}

int end_by(int signal) {
  constexpr int exit_by_signal = 128;
  static_cast<void>(std::fflush(stdout));
  static_cast<void>(std::signal(signal, SIG_DFL));
  sigset_t only{};
  sigemptyset(&only);
  sigaddset(&only, signal);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  static_cast<void>(std::raise(signal));
  return exit_by_signal + signal;
}

}  // namespace quorra::cli
