// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A program on a serial terminal that looks for the speed of the reader at the auxiliary port. Its
// arguments are the control socket of the reader and the speeds to change to. It shows what it
// found at the end, for its standard output is the line.

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/integration/speed_search.hpp"

namespace quorra::testing {
namespace {

// The program that is the terminal returns a signal when it has read what there is on its lines,
// and then sends that on. So the first signal can overtake bytes that have come in between, and the
// second can be back before they are sent on. The third is not.
class TerminalCarries {
 public:
  TerminalCarries() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  void operator()() const {
    for (int i = 0; i < 3; ++i) {
      int signal = 0;
      kill(terminal_, SIGTERM);
      sigwait(&signals_, &signal);
    }
  }

 private:
  pid_t terminal_ = getppid();
  sigset_t signals_{};
};

}  // namespace
}  // namespace quorra::testing

int main(int argument_count, char** arguments) {
  using namespace quorra::testing;
  const std::vector<std::string> texts(arguments + 1, arguments + argument_count);
  const UnhurriedTime time(texts.at(0), TerminalCarries());
  std::vector<int> speeds;
  for (std::size_t i = 1; i < texts.size(); ++i)
    speeds.push_back(std::stoi(texts[i]));
  std::fputs(search(std::getenv("QUORRA_CONFIG"), speeds).c_str(), stdout);
  return 0;
}
