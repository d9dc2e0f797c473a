// Ctrl-C and its like, held back while a session is open.
#pragma once

#include <csignal>

namespace quorra::cli {

// While it lives, SIGINT, SIGTERM and SIGHUP end nothing but wait to be asked for. Create it before
// the threads of the session, which inherit that. Signals that came too late to interrupt anything
// are dropped at its end. A signal that the program was started to ignore stays ignored.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether a signal has come.
  bool pending() const;

  // Readable once a signal has come.
  int descriptor() const { return descriptor_; }

 private:
  sigset_t signals_;
  sigset_t mask_before_;
  int descriptor_ = -1;
};

}  // namespace quorra::cli
