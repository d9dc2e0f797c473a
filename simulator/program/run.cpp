// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/run.hpp"

#include <fmt/core.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <utility>

#include "simulator/bench/configuration_file.hpp"
#include "simulator/bench/virtual_reader.hpp"
#include "simulator/control/fault_order.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/line/auxiliary_port.hpp"
#include "simulator/line/serial_terminal.hpp"
#include "simulator/program/output.hpp"
#include "simulator/stop_signals.hpp"
#include "simulator/web/web_server.hpp"

namespace quorra::simulator {
namespace {

VirtualReader* reader_to_stop = nullptr;

extern "C" void stop_reader(int /*signal*/) { reader_to_stop->stop(); }

// SIG_BLOCK or SIG_UNBLOCK for the signals that end the program.
void mask_stop_signals(int how) {
  const sigset_t signals = set_of_stop_signals();
  ::pthread_sigmask(how, &signals, nullptr);
}

// As long as it lives, the signals that end the program stop the reader.
class SignalsStop {
 public:
  explicit SignalsStop(VirtualReader& reader) {
    reader_to_stop = &reader;
    for (const int signal : stop_signals)
      if (!is_ignored(signal)) static_cast<void>(std::signal(signal, stop_reader));
    mask_stop_signals(SIG_UNBLOCK);
  }
  SignalsStop(const SignalsStop&) = delete;
  SignalsStop& operator=(const SignalsStop&) = delete;
  ~SignalsStop() { mask_stop_signals(SIG_BLOCK); }
};

// A card that cannot be saved now is lost.
void save_for_the_last_time(VirtualReader& reader) {
  try {
    reader.save();
  } catch (const Error& error) {
    throw Error(fmt::format("{}; what changed on the card is lost", error.what()));
  }
}

// Whoever wants the same faults again needs their seed.
void tell_seed(const VirtualReader& reader) {
  if (const auto odds = reader.state().fault_odds)
    complain(fmt::format("random faults: seed {}", odds->seed));
}

void tell_injected_faults(const VirtualReader& reader) {
  const State state = reader.state();
  if (state.fault_odds)
    complain(fmt::format("random faults: seed {}, {} exchanges, injected: {}",
                         state.fault_odds->seed, state.exchanges, to_text(state.injected_faults)));
}

// Both are tried: a card that cannot be saved is told of, and not that there are no waves of it.
void finish(VirtualReader& reader) {
  std::optional<Error> failure;
  try {
    reader.stop_waves();
  } catch (const Error& error) {
    failure = error;
  }
  save_for_the_last_time(reader);
  if (failure) throw Error(*failure);
}

}  // namespace

int run(const Options& options, std::optional<std::uint16_t> web_port) {
  // While the reader comes and goes, a signal would leave its files behind.
  mask_stop_signals(SIG_BLOCK);
  // When nobody reads standard output any more, that is an error like others.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  VirtualReader reader(options);
  std::optional<WebServer> web;
  if (web_port) web.emplace(reader, *web_port);
  print(fmt::format("{}\ncontrol socket: {}\n", reader.configuration().string(),
                    reader.socket().string()));
  if (web) print(fmt::format("web page: {}\n", web->address()));
  tell_seed(reader);
  const SignalsStop signals_stop(reader);
  reader.run();
  tell_injected_faults(reader);
  finish(reader);
  return 0;
}

int run_on_terminal(Options options, std::optional<std::uint16_t> web_port,
                    std::vector<std::string> command) {
  if (command.empty()) throw Error("--terminal needs a program: quorra-sim --terminal -- PROGRAM");
  // Of a program whose end is ignored nobody is told.
  static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
  // The terminal takes them as they come, whichever thread they are meant for.
  sigset_t signals = set_of_stop_signals();
  sigaddset(&signals, SIGCHLD);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));

  const TemporaryFolder folder;
  ConfigurationFile configuration(options.configuration.empty() ? folder.path() / "terminal.conf"
                                                                : options.configuration);
  configuration.write(auxiliary_port_lines());
  if (::setenv("QUORRA_CONFIG", configuration.path().c_str(), 1) != 0)
    throw Error(fmt::format("environment: {}", system_error_text()));
  options.configuration.clear();
  RunningReader reader(options);
  tell_seed(*reader);
  SerialTerminal terminal(std::move(command), reader->state().device);
  // Not before: the program is not to have its sockets.
  std::optional<WebServer> web;
  if (web_port) web.emplace(*reader, *web_port);
  if (web && *web_port == 0) complain(fmt::format("web page: {}", web->address()));
  const int status = terminal.run();
  tell_injected_faults(*reader);
  finish(*reader);
  return status;
}

}  // namespace quorra::simulator
