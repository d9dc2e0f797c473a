// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/connection.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <span>
#include <utility>

#include "cli/parse.hpp"
#include "cli/terminal/progress.hpp"
#include "cli/terminal/terminal.hpp"
#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/cpu/live_card.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/status.hpp"
#include "toolkit/session/configuration.hpp"
#include "toolkit/session/configuration_places.hpp"

namespace quorra::cli {
namespace {

// The library takes any other speed for 9600.
constexpr int direct_speeds[] = {9600, 19200, 38400, 57600, 115200};
constexpr int terminal_speeds[] = {1200, 2400, 4800, 9600, 19200};

// What the library says when a session does not open because its first request was not answered.
constexpr int no_reader = -136;

// To ic_init0, which makes no request, a line that cannot be opened is the same.
[[noreturn]] void cannot_open(int result) {
  if (result == no_reader) {
    throw NoReader(fmt::format("{}: the line cannot be opened ({})", opening.doing, result),
                   particulars_of(result, opening.kind));
  }
  // The file was named on the command line.
  throw UsageError(
      fmt::format("{}: {} ({})", opening.doing, words_for(result, opening.kind), result));
}

void check_speed(const Configuration& configuration, int speed) {
  const std::span<const int> speeds = line_speeds(configuration);
  if (std::ranges::find(speeds, speed) != speeds.end()) return;
  throw UsageError(fmt::format("--speed: {} is none of the speeds of {}: {}", speed, line_name(),
                               fmt::join(speeds, ", ")));
}

// That of a reader that is no virtual one.
std::optional<Configuration> read_configuration(const Settings& settings) {
  expect_one_reader(settings);
  if (settings.names_virtual_reader()) return std::nullopt;
  Configuration configuration = configuration_of(settings);
  check_speed(configuration, settings.speed.value_or(default_speed));
  return configuration;
}

[[noreturn]] void refuse_no_reader() {
  throw UsageError(fmt::format(
      "no reader given. No configuration file is there, either: {} is not set, and there is no\n"
      "  {}\n"
      "\"quorra setup\" looks for readers and writes such a file. Or name a reader with\n"
      "  --device DEVICE  the serial device at which it is\n"
      "  --config FILE    its configuration file\n"
      "  --virtual IMAGE  the image of a card for a virtual reader, which needs no hardware;\n"
      "                   \"quorra-sim new 4442 IMAGE\" makes one",
      configuration_variable, fmt::join(configuration_places(), "\n  ")));
}

// What `make` makes of a name. What gave the name begins the messages.
template <typename Make>
Configuration named_by(std::string_view origin, const std::string& name, Make make) {
  try {
    return make(name);
  } catch (const UsageError& error) {
    throw UsageError(fmt::format("{}: {}", origin, error.what()));
  }
}

// What `open` returns. If it fails, the message says where the reader was found.
template <typename Open>
auto saying_where_found(const Settings& settings, Open open) {
  try {
    return open();
  } catch (const Interrupted&) {
    throw;
  } catch (const NoReader& error) {
    throw NoReader(error.what() + where_found(settings), error.particulars());
  } catch (const Failure& error) {
    throw Failure(error.what() + where_found(settings), error.particulars());
  }
}

// Reads N=FILE.
void add_virtual_sam(simulator::Options& options, std::string_view text) {
  const std::size_t sign = text.find('=');
  if (sign == std::string_view::npos || sign + 1 == text.size()) {
    throw UsageError(fmt::format("--virtual-sam: '{}' is not N=FILE, such as 0=sam.toml", text));
  }
  const int number = parse_number("--virtual-sam", text.substr(0, sign));
  if (!options.sams.emplace(number, text.substr(sign + 1)).second) {
    throw UsageError(fmt::format("--virtual-sam: there are two SAMs with the number {}", number));
  }
}

// A processor card has no memory that the reader could show.
[[noreturn]] void refuse_processor_card(const std::string& image) {
  throw UsageError(fmt::format("{} is a processor card: quorra apdu sends it commands", image));
}

[[noreturn]] void cannot_start(const simulator::Error& error) {
  throw UsageError(fmt::format("starting the virtual reader: {}", error.what()));
}

std::unique_ptr<simulator::RunningReader> start_virtual_reader(const Settings& settings) {
  if (!settings.names_virtual_reader()) return nullptr;
  simulator::Options options;
  options.card = settings.image.value_or("");
  options.has_control_socket = false;
  options.waves = settings.waves.value_or("");
  for (const std::string& sam : settings.sams) {
    add_virtual_sam(options, sam);
  }
  try {
    return std::make_unique<simulator::RunningReader>(options);
  } catch (const simulator::Error& error) {
    cannot_start(error);
  }
}

[[noreturn]] void throw_interrupted(const Operation& operation) {
  throw Interrupted(fmt::format("{}: interrupted", operation.doing));
}

// Whether a reader calls itself the virtual one of this version, so that its STATUS is known. While
// the card in it cannot be saved, it refuses this request like every other.
bool answers_as_virtual_reader(int handle) {
  const std::string expected = simulator::Options().version_text;
  std::string version(expected.size(), '\0');
  const int result = srd_ver(handle, static_cast<int>(version.size()),
                             reinterpret_cast<unsigned char*>(version.data()));
  constexpr int not_saved = -static_cast<int>(simulator::Status::image_not_saved);
  return result == not_saved || (result == 0 && version == expected);
}

// "The card is blocked." as part of another sentence: "the card is blocked".
std::string as_clause(std::string_view sentence) {
  sentence.remove_suffix(1);
  std::string clause(sentence);
  clause.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(clause.front())));
  return clause;
}

}  // namespace

const Card& card_of_image(const std::string& image) {
  const Card* card = nullptr;
  if (!image.starts_with(simulator::LiveCard::scheme)) {
    try {
      card = find_card(simulator::load_image(image).kind().name);
    } catch (const simulator::Error& error) {
      cannot_start(error);
    }
  }
  if (card == nullptr) refuse_processor_card(image);
  return *card;
}

std::optional<std::string> found_file() {
  auto file = configuration_of_environment();
  return file ? file : find_configuration();
}

void expect_one_reader(const Settings& settings) {
  std::vector<std::string_view> named;
  if (settings.configuration) named.emplace_back("--config");
  if (settings.device) named.emplace_back("--device");
  if (settings.image) named.emplace_back("--virtual");
  if (!settings.image && !settings.sams.empty()) named.emplace_back("--virtual-sam");
  if (named.size() > 1) {
    throw UsageError(fmt::format("there is one reader: give {}, not {}", fmt::join(named, " or "),
                                 named.size() == 2 ? "both" : "several"));
  }
  if (settings.speed && settings.names_virtual_reader()) {
    throw UsageError("--speed belongs to --config; a virtual reader has no speed");
  }
  if (settings.waves && !settings.names_virtual_reader()) {
    throw UsageError("--waves belongs to --virtual: the contacts of no other card are seen");
  }
  if (!settings.names_reader() && !found_file()) refuse_no_reader();
}

Configuration configuration_of(const Settings& settings) {
  if (settings.device) return named_by("--device", *settings.device, Configuration::of_device);
  const auto read = [](const std::string& file) { return Configuration(file); };
  if (settings.configuration) return named_by("--config", *settings.configuration, read);
  if (const auto file = configuration_of_environment()) {
    return named_by(configuration_variable, *file, read);
  }
  const auto file = find_configuration();
  if (!file) refuse_no_reader();
  return Configuration(*file);
}

std::string where_found(const Settings& settings) {
  const auto file = settings.names_reader() ? std::nullopt : found_file();
  return file ? fmt::format("; the reader is that of {}", *file) : std::string();
}

std::span<const int> line_speeds(const Configuration& configuration) {
  configuration.read();
  if (term_flg == 1) return direct_speeds;
  return terminal_speeds;
}

std::string_view line_name() {
  return term_flg == 1 ? "a serial device" : "a terminal's auxiliary port";
}

void expect_somebody_to_ask(const Question& question) {
  if (can_ask()) return;
  const std::string kind = question.kind == nullptr ? "" : fmt::format(" {}", question.kind->name);
  throw UsageError(fmt::format("{}: {} Confirm with --yes{}.", question.operation.doing,
                               question.warning, kind));
}

void confirm(const Interruption& interruption, const Question& question) {
  expect_somebody_to_ask(question);
  const std::string_view doing = question.operation.doing;
  const Card* kind = question.kind;
  const Answer answer =
      kind == nullptr ? ask(fmt::format("{} Go on?", question.warning), interruption.descriptor())
                      : ask_for_kind(question.warning, kind->name, interruption.descriptor());
  switch (answer) {
    case Answer::yes:
      return;
    case Answer::no:
      if (kind == nullptr) throw Failure(fmt::format("{}: not confirmed", doing));
      throw UsageError(fmt::format("{}: not confirmed with {}", doing, kind->name));
    case Answer::interrupted:
      throw_interrupted(question.operation);
  }
}

void stop_if_interrupted(const Interruption& interruption, const Operation& operation) {
  if (interruption.pending()) throw_interrupted(operation);
}

// What is open, and in which order it is closed.
class OpenReader {
 public:
  OpenReader(const Settings& settings, Subject subject)
      : image_(settings.image.value_or("")),
        speed_(settings.speed.value_or(default_speed)),
        configuration_(read_configuration(settings)),
        waves_failure_(settings.waves_failure),
        virtual_(start_virtual_reader(settings)) {
    if (virtual_ != nullptr) configuration_.emplace((*virtual_)->configuration().string());
    expect_subject(subject);
    line_.emplace(*configuration_, speed_);
    is_on_terminal_ = term_flg != 1;
    if (!is_on_terminal_ && virtual_ == nullptr) device_ = DRVCOMM;
  }

  OpenReader(const OpenReader&) = delete;
  OpenReader& operator=(const OpenReader&) = delete;
  ~OpenReader() {
    line_.reset();
    if (virtual_ != nullptr) end_waves();
  }

  int handle() const { return line_->handle(); }
  bool is_virtual() const { return virtual_ != nullptr; }
  const Interruption& interruption() const { return interruption_; }

  // Whether the line is the terminal that also shows what commands tell.
  bool is_on_terminal() const { return is_on_terminal_; }

  // The serial device; empty if the reader is at none, or a virtual one.
  const std::string& device() const { return device_; }

  // Throws UsageError if a virtual reader is known to hold something else.
  void expect_subject(Subject subject) const {
    if (subject != Subject::memory_card || virtual_ == nullptr) return;
    const simulator::State state = (*virtual_)->state();
    if (state.card && state.card->kind().name == "cpu") refuse_processor_card(image_);
  }

  // The reader may have answered too late, or still do so: its replies would be taken for those to
  // what is asked next. What comes before the session is opened anew is dropped.
  void note_trouble() { is_in_step_ = false; }
  // Whether that had to be done.
  bool get_in_step() {
    if (is_in_step_) return false;
    line_.reset();
    line_.emplace(*configuration_, speed_);
    is_in_step_ = true;
    return true;
  }

 private:
  class Line {
   public:
    Line(const Configuration& configuration, int speed)
        : device_(configuration.open_device()),
          handle_(ic_init0(configuration.path().c_str(), speed)) {
      if (handle_ < 0) cannot_open(handle_);
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() { ic_exit(handle_); }

    int handle() const { return handle_; }

   private:
    Device device_;
    int handle_;
  };

  void end_waves() {
    try {
      (*virtual_)->stop_waves();
    } catch (const simulator::Error& error) {
      *waves_failure_ = error.what();
    }
  }

  std::string image_;
  int speed_;
  std::optional<Configuration> configuration_;
  Interruption interruption_;
  std::shared_ptr<std::string> waves_failure_;
  std::unique_ptr<simulator::RunningReader> virtual_;
  std::optional<Line> line_;
  bool is_on_terminal_ = false;
  std::string device_;
  bool is_in_step_ = true;
};

Connection::Connection(const Settings& settings, Subject subject)
    : shows_progress_(!settings.quiet),
      progress_(settings.progress),
      shared_(settings.shared) {
  saying_where_found(settings, [&] {
    if (shared_ != nullptr && shared_->reader != nullptr) return take_shared(subject);
    reader_ = std::make_shared<OpenReader>(settings, subject);
    expect_reader();
    if (shared_ != nullptr && !reader_->is_on_terminal()) shared_->reader = reader_;
  });
}

Connection::Connection(const Settings& settings, std::shared_ptr<OpenReader> reader)
    : shows_progress_(!settings.quiet),
      progress_(settings.progress),
      shared_(settings.shared),
      reader_(std::move(reader)) {}

Connection::~Connection() = default;

int Connection::handle() const { return reader_->handle(); }

// A session that cannot be had any more is not shared any more: the next command opens one.
void Connection::take_shared(Subject subject) {
  shared_->reader->expect_subject(subject);
  reader_ = std::exchange(shared_->reader, nullptr);
  if (reader_->get_in_step()) expect_reader();
  shared_->reader = reader_;
}

// ic_init asks the same, but does not tell a reader that refuses from none.
void Connection::expect_reader() const {
  std::array<unsigned char, 10> version{};
  const auto ask = [&] {
    return attempt(opening, srd_ver, static_cast<int>(version.size()), version.data());
  };
  int result = ask();
  // The request may have gone to the end of a frame that a program had begun when it was killed.
  if (is_status(result, opening.kind)) result = ask();
  if (result >= 0) return;
  if (is_status(result, opening.kind)) fail(opening, result);
  const std::string& device = reader_->device();
  throw NoReader(device.empty() ? describe(opening, no_reader)
                                : fmt::format("{}: no reader answers at {} ({})", opening.doing,
                                              device, no_reader),
                 particulars_of(no_reader, opening.kind));
}

Progress Connection::watch(const Operation& operation, int total) const {
  const auto display = std::make_shared<ProgressDisplay>(operation.done, total, shows_progress_);
  return [display, doing = operation.doing, total, descriptor = progress_](int done) {
    display->advance(done);
    if (descriptor) tell_progress(*descriptor, doing, done, total);
  };
}

RefusedCodes* Connection::refused_codes() const {
  return shared_ == nullptr ? nullptr : &shared_->refused_codes;
}

void Connection::before_call(const Operation& operation) const {
  stop_if_interrupted(reader_->interruption(), operation);
}

void Connection::after_call(const Operation& operation, int result) const {
  if (result >= 0 || is_status(result, operation.kind)) return;
  reader_->note_trouble();
  stop_if_interrupted(reader_->interruption(), operation);
}

std::string Connection::meaning_of_status(int status) const {
  if (!reader_->is_virtual() && !answers_as_virtual_reader(handle())) return {};
  return as_clause(simulator::status_text(static_cast<std::uint8_t>(status)));
}

void Connection::confirm(const Question& question) const {
  cli::confirm(reader_->interruption(), question);
}

}  // namespace quorra::cli
