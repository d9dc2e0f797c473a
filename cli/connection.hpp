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

#include "cli/parse.hpp"
#include "cli/terminal/interruption.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/memory/refused_codes.hpp"
#include "toolkit/session/configuration.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::cli {

inline constexpr int default_speed = 9600;

// A reader with which a session is open.
class OpenReader;

// What commands that follow one another have in common.
struct SharedSession {
  std::shared_ptr<OpenReader> reader = {};  // opened by the first one that needs it
  RefusedCodes refused_codes = {};
};

// Takes what a command tells.
struct Heard;

// The options that every command has. Of `configuration`, `device`
// and `image`, at most one is given.
struct Settings {
  const Card* card = nullptr;                // the one of --card
  bool force = false;                        // --card counts, whatever the card seems to be
  std::optional<std::string> configuration;  // the reader's configuration file
  std::optional<std::string> device;         // or the device at which it is
  std::optional<int> speed;                  // of the line to the reader
  std::optional<std::string> image;          // the card image for a virtual reader
  std::vector<std::string> sams;             // the SAMs in it: "N=FILE"
  std::optional<std::string> waves;          // the file for what happens at its card's contacts
  bool quiet = false;                        // no progress is shown
  std::optional<int> progress;               // the descriptor that is told the progress
  bool json = false;                         // what is told is for programs
  std::string command = {};                  // the words of the subcommand: "code present"
  SharedSession* shared = nullptr;           // with the commands before and after this one
  Heard* heard = nullptr;                    // gets objects and errors in place of the user
  // What is told besides results and errors, with `json`.
  std::shared_ptr<std::vector<std::string>> notes = std::make_shared<std::vector<std::string>>();

  // Why the file of waves does not hold all that happened; empty while it does.
  std::shared_ptr<std::string> waves_failure = std::make_shared<std::string>();

  bool names_virtual_reader() const { return image || !sams.empty(); }
  bool names_reader() const { return configuration || device || names_virtual_reader(); }
};

// Throws UsageError if the settings name two readers, or none and none is found, either.
void expect_one_reader(const Settings& settings);

// The kind of the card image of a virtual reader. Throws UsageError, also if it is that of a
// processor card.
const Card& card_of_image(const std::string& image);

// The configuration file of the environment, or else of a place where it is found.
std::optional<std::string> found_file();

// That of the reader that is no virtual one: of --device, --config, the environment, or a place
// where it is found. What named the file begins the messages. Throws UsageError.
Configuration configuration_of(const Settings& settings);

// What ends a message about a reader that was found: "; the reader is that of FILE".
std::string where_found(const Settings& settings);

// The speeds at which the library opens the line that a configuration file describes; it takes any
// other for 9600.
std::span<const int> line_speeds(const Configuration& configuration);

// "a serial device", or what else the last configuration file described.
std::string_view line_name();

// What is about to happen, before which the user is asked.
struct Question {
  Operation operation;
  std::string warning;
  const Card* kind = nullptr;  // to be typed, if that cannot be undone; otherwise a yes will do
};

// Throws UsageError if there is nobody who could be asked.
void expect_somebody_to_ask(const Question& question);

// Asks the user; throws UsageError if there is nobody to ask or another kind is typed, and Failure
// if the answer is not yes.
void confirm(const Interruption& interruption, const Question& question);

// Throws Interrupted if the user has interrupted the program.
void stop_if_interrupted(const Interruption& interruption, const Operation& operation);

// What a command is about.
enum class Subject { memory_card, anything };

// A session that is closed when this goes, unless others share it. Its calls throw Interrupted,
// without a call, if the user has interrupted the program, or if that has cut the call short.
class Connection : public Session {
 public:
  // Takes the session that commands share, if it is open. Otherwise starts the virtual reader if
  // there is to be one, and opens the session. Throws UsageError, also if the card of a virtual
  // reader is known not to be the subject, or Failure.
  explicit Connection(const Settings& settings, Subject subject = Subject::memory_card);
  // Shares this one.
  Connection(const Settings& settings, std::shared_ptr<OpenReader> reader);
  ~Connection() override;

  int handle() const override;

  // The session, to be shared.
  const std::shared_ptr<OpenReader>& reader() const { return reader_; }

  // Shows how far a transfer is, unless the user does not want to see it.
  Progress watch(const Operation& operation, int total) const override;

  RefusedCodes* refused_codes() const override;

  // As the function of this name.
  void confirm(const Question& question) const;

 protected:
  void before_call(const Operation& operation) const override;
  void after_call(const Operation& operation, int result) const override;
  // That of a virtual reader is known.
  std::string meaning_of_status(int status) const override;

 private:
  void take_shared(Subject subject);
  void expect_reader() const;

  bool shows_progress_;
  std::optional<int> progress_;
  SharedSession* shared_;
  std::shared_ptr<OpenReader> reader_;
};

}  // namespace quorra::cli
