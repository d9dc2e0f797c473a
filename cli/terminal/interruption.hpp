// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Ctrl-C and its like, held back while something is under way that must not be torn.
#pragma once

#include <csignal>

#include "toolkit/session/descriptor.hpp"

namespace quorra::cli {

// While it lives, SIGINT, SIGTERM and SIGHUP end nothing but the library's waits for the reader,
// and wait to be asked for. Create it before the threads of the session, which inherit that. A
// signal that the program was started to ignore stays ignored. Where one of these has taken a
// signal, it has come to the next one, too.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether a signal has come.
  bool pending() const;

  // Readable once a signal has come.
  int descriptor() const { return descriptor_.number(); }

  // The first signal that came while one of these lived; 0 if there was none. The program is to end
  // by it.
  static int taken() { return taken_; }

 private:
  static int taken_;

  sigset_t signals_;
  sigset_t mask_before_;
  toolkit::Descriptor descriptor_;
};

// Ends the process by a signal, as if it had not been held back: whoever started the program sees
// that, and a shell that runs it in a loop ends the loop. Returns only in a process that this
// signal does not end: the exit status that stands for it.
int end_by(int signal);

}  // namespace quorra::cli
