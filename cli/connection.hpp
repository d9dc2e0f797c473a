// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The way to a reader, real or virtual, for the time of one command.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/terminal/interruption.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/session/configuration.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::simulator {
class RunningReader;
}

namespace quorra::cli {

inline constexpr int default_speed = 9600;

// The options that every command has. One of `configuration` and `image` is to be given.
struct Settings {
  const Card* card = nullptr;                // the one of --card
  std::optional<std::string> configuration;  // the reader's configuration file
  std::optional<int> speed;                  // of the line to the reader
  std::optional<std::string> image;          // the card image for a virtual reader
  std::vector<std::string> sams;             // the SAMs in it: "N=FILE"
  bool quiet = false;                        // no progress is shown

  bool names_virtual_reader() const { return image || !sams.empty(); }
};

// The kind of card: the one of --card, or else the one of the virtual reader's image, or else a
// 4442. Throws UsageError, also if the image is that of a processor card.
const Card& card_of(const Settings& settings);

// The speeds at which the library opens the line that a configuration file describes; it takes any
// other for 9600.
std::span<const int> line_speeds(const Configuration& configuration);

// "a serial device", or what else the last configuration file described.
std::string_view line_name();

// Throws UsageError if there is nobody who could be asked. `warning` says what is about to happen.
void expect_somebody_to_ask(const Operation& operation, std::string_view warning);

// Asks the user; throws Failure if the answer is not yes, or UsageError if there is nobody to ask.
void confirm(const Interruption& interruption, const Operation& operation,
             std::string_view warning);

// Throws Interrupted if the user has interrupted the program.
void stop_if_interrupted(const Interruption& interruption, const Operation& operation);

// What a command is about.
enum class Subject { memory_card, anything };

// A session that is closed when this goes.
class Connection {
 public:
  // Starts the virtual reader if there is to be one, and opens the session. Throws UsageError, also
  // if the card of a virtual reader is known not to be the subject, or Failure.
  explicit Connection(const Settings& settings, Subject subject = Subject::memory_card);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  // Calls a function of the library and returns its result. Throws Interrupted, without a call, if
  // the user has interrupted the program, or if that has cut the call short.
  template <typename... Parameters, typename... Arguments>
  int attempt(const Operation& operation, int (*function)(int handle, Parameters...),
              Arguments... arguments) const {
    stop_if_interrupted(interruption_, operation);
    const int result = function(session_.handle(), arguments...);
    stop_if_cut_short(operation, result);
    return result;
  }

  // The same, and throws Failure if the function fails; Unanswered if it may have succeeded.
  template <typename... Parameters, typename... Arguments>
  void run(const Operation& operation, int (*function)(int handle, Parameters...),
           Arguments... arguments) const {
    const int result = attempt(operation, function, arguments...);
    if (result < 0) fail(operation, result);
  }

  // Throws Failure for such a result below 0; Unanswered if the function may have succeeded.
  [[noreturn]] void fail(const Operation& operation, int result) const;

  // "<words> (<result>)", for a result below 0. What the STATUS of a virtual reader means is known.
  std::string explain(OperationKind kind, int result) const;

  // The same with what was being done before it.
  std::string describe(const Operation& operation, int result) const;

  // As the function of this name.
  void confirm(const Operation& operation, std::string_view warning) const;

  // Whether the user wants to see how far a long transfer is.
  bool shows_progress() const { return shows_progress_; }

 private:
  class Session {
   public:
    Session(const Configuration& configuration, int speed);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    int handle() const { return handle_; }

   private:
    Device device_;
    int handle_;
  };

  void expect_reader() const;
  void stop_if_cut_short(const Operation& operation, int result) const;

  bool shows_progress_;
  std::optional<Configuration> configuration_;
  Interruption interruption_;
  std::unique_ptr<simulator::RunningReader> reader_;
  Session session_;
};

}  // namespace quorra::cli
