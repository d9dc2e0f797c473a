// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Ctrl-C and its like, held back while something is under way that must not be torn.
#pragma once

#include <memory>

namespace quorra::cli {

// While one of these lives, SIGINT, SIGTERM and SIGHUP end nothing but the library's waits for the
// reader, and wait to be asked for. Create the first one before the threads of the session, which
// inherit that. A signal that the program was started to ignore stays ignored. Several that live at
// the same time see the same signals. Where the last one of them has taken a signal, it has come to
// the next one, too.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether a signal has come.
  bool pending() const;

  // Readable once a signal has come.
  int descriptor() const;

  // Takes the SIGINT that has come, if one has: it ended what was under way, and not the program.
  void forget_interrupt() const;

  // The first signal that came while one of these lived; 0 if there was none. The program is to end
  // by it.
  static int taken() { return taken_; }

  // The descriptor of those that live; -1 if none does.
  static int current_descriptor();

 private:
  class Held;

  static int taken_;
  static std::weak_ptr<Held> current_;

  std::shared_ptr<Held> held_;
};

// Ends the process by a signal, as if it had not been held back: whoever started the program sees
// that, and a shell that runs it in a loop ends the loop. Returns only in a process that this
// signal does not end: the exit status that stands for it.
int end_by(int signal);

}  // namespace quorra::cli
