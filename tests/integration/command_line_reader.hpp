// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The program quorra at a reader that answers whatever the test wants.
#pragma once

#include <termios.h>

#include <string>

#include "tests/integration/command_line.hpp"
#include "tests/support/bytes.hpp"

namespace quorra::testing {

// What opening a session asks for, and a good answer.
extern const Bytes ask_version;
extern const Bytes good_version;

// The line to the program, and a configuration file that names it.
class ReaderLine {
 public:
  ReaderLine();

  std::string configuration() const { return folder_ / "reader.conf"; }
  std::string device() const { return line_.device(); }
  // What is said when nobody answers there.
  std::string no_reader() const {
    return "quorra: opening the session: no reader answers at " + device() + " (-136)\n";
  }

  // Waits for a request and answers it.
  void serve(const Bytes& request, const Bytes& reply) const;
  void expect(const Bytes& request) const;
  void answer(const Bytes& reply) const;
  void serve_opening() const { serve(ask_version, good_version); }
  // What is asked of a reader that refused a command: whether it is a virtual one.
  void serve_identity() const;

  // What more was asked for, without waiting.
  std::string read_all() const { return line_.read_all(); }
  // That nothing more was asked for, and that the line is as it was found.
  void expect_closed() const;
  // That the line is as it was found.
  void expect_restored() const;

 private:
  termios settings() const;

  TemporaryDirectory folder_;
  Terminal line_;
  termios settings_;
};

class ScriptedCommandLine : public CommandLine {
 protected:
  // Starts the program at the line. The card is the one that the test names, or else a 4442, and it
  // is not asked what it is.
  Process start(Arguments arguments);

  ReaderLine reader;
};

}  // namespace quorra::testing
