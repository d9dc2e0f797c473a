#include "cli/interruption.hpp"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "simulator/stop_signals.hpp"

namespace quorra::cli {

Interruption::Interruption() : signals_(simulator::set_of_stop_signals()), mask_before_() {
  descriptor_ = signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  pthread_sigmask(SIG_BLOCK, &signals_, &mask_before_);
}

Interruption::~Interruption() {
  signalfd_siginfo received{};
  while (read(descriptor_, &received, sizeof received) > 0) {
  }
  close(descriptor_);
  pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
}

bool Interruption::pending() const {
  pollfd waited = {descriptor_, POLLIN, 0};
  return poll(&waited, 1, 0) > 0;
}

}  // namespace quorra::cli
