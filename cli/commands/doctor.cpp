// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra doctor

#include <fmt/color.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cli/commands/commands.hpp"
#include "cli/exit_status.hpp"
#include "cli/files.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "cli/terminal/wrap.hpp"
#include "toolkit/kinds/recognition.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/session/configuration_lines.hpp"
#include "toolkit/session/configuration_places.hpp"
#include "toolkit/session/frames.hpp"
#include "toolkit/session/serial_devices.hpp"
#include "toolkit/session/speed_search.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation examining{"examining the reader"};
constexpr Operation asking_version{"reading the reader's version"};
constexpr Operation asking_serial_number{"reading the serial number"};
constexpr Operation asking_whether_ready{"asking whether the reader answers"};

enum class State { good, trouble, missing, unusable };

struct StateWords {
  std::string_view shown;
  std::string_view name;
  fmt::terminal_color colour;
  int exit_status;
};

constexpr StateWords state_words[] = {
    {"ok", "ok", fmt::terminal_color::green, exit_success},
    {"TROUBLE", "trouble", fmt::terminal_color::red, exit_failed},
    {"MISSING", "missing", fmt::terminal_color::red, exit_nothing},
    {"TROUBLE", "trouble", fmt::terminal_color::red, exit_usage},
};

const StateWords& words_of(State state) { return state_words[static_cast<int>(state)]; }

// What was found out, step by step.
class Diagnosis {
 public:
  void add(std::string_view step, State state, std::string_view found,
           std::string_view remedy = {}) {
    const StateWords& words = words_of(state);
    exit_status_ = std::max(exit_status_, words.exit_status);
    constexpr std::size_t begin = 24;
    const auto style = wants_colour(STDOUT_FILENO) ? fg(words.colour) : fmt::text_style();
    text_ += fmt::format("{}  {:<13}  {}\n", fmt::format(style, "{:<7}", words.shown), step,
                         wrap(found, width_, begin, begin));
    if (!remedy.empty()) append_indented("-> ", remedy);
    Json object{{"step", step}, {"state", words.name}, {"text", found}};
    if (!remedy.empty()) object["remedy"] = remedy;
    steps_.push_back(std::move(object));
  }

  void add_line(const ConfigurationLine& line) {
    std::string shown = fmt::format("line {}: {}", line.number, visible(line.text));
    if (line.key != '\0') shown += fmt::format(" = {} \"{}\"", line.key, visible(line.value));
    append_indented("", fmt::format("{}: {}", shown, line.remark));
    lines_.push_back({{"line", line.number},
                      {"text", line.text},
                      {"key", line.key == '\0' ? Json() : Json(std::string(1, line.key))},
                      {"value", line.key == '\0' ? Json() : Json(line.value)},
                      {"remark", line.remark},
                      {"trouble", line.is_trouble}});
  }

  // Tells all of it. Throws what ends the program with its exit status, unless all is well.
  void tell_all(const Settings& settings) const {
    Json fields{{"steps", steps_}};
    if (!lines_.empty()) fields["configuration"] = lines_;
    if (exit_status_ != exit_success) tell_and_fail(settings, text_, fields, exit_status_);
    tell(settings, text_, fields);
  }

 private:
  void append_indented(std::string_view sign, std::string_view words) {
    constexpr std::size_t indent = 9;
    text_ += fmt::format("{}{}{}\n", std::string(indent, ' '), sign,
                         wrap(words, width_, indent + sign.size(), indent + sign.size()));
  }

  std::size_t width_ = text_width();
  std::string text_;
  Json steps_ = Json::array();
  Json lines_ = Json::array();
  int exit_status_ = exit_success;
};

// What names the reader.
struct Origin {
  std::string words;  // "--config"
  std::string file;   // empty if it is a device
};

Origin origin_of(const Settings& settings) {
  if (settings.device) return {"--device", {}};
  if (settings.configuration) return {"--config", *settings.configuration};
  if (auto file = configuration_of_environment()) return {configuration_variable, *file};
  return {"found", *find_configuration()};
}

constexpr std::string_view wrong_file =
    "Correct the file, or have \"quorra setup\" write another one";

// Why the configuration file leads to no device; empty if it leads to one.
std::string problem_with(const Settings& settings) {
  try {
    static_cast<void>(configuration_of(settings).device());
    return {};
  } catch (const UsageError& error) {
    return error.what();
  }
}

// The configuration file, line by line; whether the reader can be looked for.
bool examine_configuration(Diagnosis& diagnosis, const Settings& settings) {
  constexpr std::string_view step = "configuration";
  if (!settings.names_reader() && !found_file()) {
    diagnosis.add(step, State::missing,
                  fmt::format("no reader is named: {} is not set, and there is no {}",
                              configuration_variable, fmt::join(configuration_places(), ", no ")),
                  "\"quorra setup\" looks for readers and writes such a file; --device names the "
                  "device without one");
    return false;
  }
  const Origin origin = origin_of(settings);
  try {
    if (origin.file.empty()) {
      static_cast<void>(configuration_of(settings));
      diagnosis.add(step, State::good,
                    fmt::format("none is needed: --device {}", *settings.device));
      return true;
    }
    const auto lines = explain_configuration(content_of_configuration(origin.file));
    const bool has_trouble = std::ranges::any_of(lines, &ConfigurationLine::is_trouble);
    const std::string problem = problem_with(settings);
    if (!problem.empty()) {
      diagnosis.add(step, State::unusable, problem, wrong_file);
    } else {
      diagnosis.add(
          step, has_trouble ? State::trouble : State::good,
          fmt::format("{} ({}){}", origin.file, origin.words,
                      term_flg == 1 ? "" : "; no line P=: the reader is at this terminal"),
          has_trouble ? "Correct the lines that are ignored, cut or read otherwise than they look"
                      : "");
    }
    for (const ConfigurationLine& line : lines)
      diagnosis.add_line(line);
    return problem.empty();
  } catch (const UsageError& error) {
    diagnosis.add(step, State::unusable, error.what(), wrong_file);
    return false;
  }
}

std::string present_devices() {
  std::vector<std::string> names;
  for (const SerialDevice& device : serial_devices()) {
    const std::string description = describe(device);
    names.push_back(description.empty() ? device.path
                                        : fmt::format("{} ({})", device.path, description));
  }
  return names.empty() ? "This machine has no serial device"
                       : fmt::format("This machine has {}", fmt::join(names, ", "));
}

std::string who_uses(const std::string& path) {
  const auto use = use_of_device(path);
  if (!use) return {};
  std::string text =
      fmt::format("{}, owner {}, group {}; ", use->permissions, use->owner, use->group);
  text += use->may_use ? "you may use it" : "you may not use it";
  if (!use->holders.empty()) {
    text += fmt::format("; opened by {}", fmt::join(use->holders, ", "));
  }
  return text;
}

bool is_terminal_at(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISCHR(found.st_mode) &&
         is_terminal_device(found.st_rdev);
}

// The device, which is opened and closed again; whether that went well.
bool examine_device(Diagnosis& diagnosis, const Configuration& configuration) {
  constexpr std::string_view step = "device";
  const std::string name = configuration.device();
  // Whoever has something else open is in nobody's way.
  const std::string use = is_terminal_at(name) ? who_uses(name) : "";
  const std::string and_use = use.empty() ? "" : fmt::format(" ({})", use);
  try {
    const Device device = configuration.open_device();
  } catch (const NoReader& error) {
    diagnosis.add(step, State::missing, error.what() + and_use,
                  fmt::format("The adapter may be unplugged, or have another name since it was "
                              "plugged in again. {}; \"quorra setup\" tries them",
                              present_devices()));
    return false;
  } catch (const Failure& error) {
    diagnosis.add(step, State::trouble, error.what() + and_use,
                  error.particulars().word == device_in_use
                      ? "End the program that has opened it, or wait for its end"
                      : "Name the serial device at which the reader is, one that you may use");
    return false;
  }
  diagnosis.add(step, State::good, use.empty() ? name : fmt::format("{}: {}", name, use));
  return true;
}

// The speed at which the reader answers; none if it is none.
std::optional<int> search_speed(const Configuration& configuration,
                                const Interruption& interruption) {
  const Device device = configuration.open_device();
  const auto found = find_speed(configuration, findable_speeds(),
                                [&](int) { stop_if_interrupted(interruption, examining); });
  stop_if_interrupted(interruption, examining);
  return found;
}

// Whether a reader answers; `settings` have its speed then.
bool examine_speed(Diagnosis& diagnosis, const Configuration& configuration, Settings& settings) {
  constexpr std::string_view step = "speed";
  const int wanted = settings.speed.value_or(default_speed);
  try {
    const Connection connection(settings, Subject::anything);
    diagnosis.add(step, State::good,
                  fmt::format("the reader answers at {} bits per second", wanted));
    return true;
  } catch (const NoReader&) {
  }
  const Interruption interruption;
  if (const auto speed = search_speed(configuration, interruption)) {
    settings.speed = *speed;
    diagnosis.add(
        step, State::trouble,
        fmt::format("the reader answers at {} bits per second, not at {}", *speed, wanted),
        fmt::format("Give --speed {}, or give the reader the other speed with: {} {}", *speed,
                    next_command("speed set", settings), wanted));
    return true;
  }
  diagnosis.add(
      step, State::missing,
      fmt::format("no reader answers, at none of the speeds {}",
                  fmt::join(findable_speeds(), ", ")),
      "Has the reader power? Is its cable in this port, and the right one (a null modem "
      "cable crosses the lines)? Is something else at this device? \"quorra setup\" tries "
      "the others");
  return false;
}

// Has `examine` done; what it throws is trouble.
template <typename Examine>
void examine_step(Diagnosis& diagnosis, std::string_view step, std::string_view remedy,
                  Examine examine) {
  try {
    examine();
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& error) {
    diagnosis.add(step, State::trouble, error.what(), remedy);
  }
}

std::string text_of(const Bytes& bytes) {
  const auto end = std::ranges::find(bytes, 0);
  const Bytes text(bytes.begin(), end);
  const bool is_text = !text.empty() && std::ranges::all_of(text, is_printable);
  return is_text ? std::string(text.begin(), text.end()) : hex_text(bytes);
}

void examine_identity(Diagnosis& diagnosis, const Connection& connection) {
  constexpr std::string_view disturbed =
      "The reader answered before: a loose cable or disturbance on the line may be the cause. Try "
      "again";
  examine_step(diagnosis, "version", disturbed, [&] {
    Bytes version(18);
    connection.run(asking_version, srd_ver, static_cast<int>(version.size()), version.data());
    diagnosis.add("version", State::good, text_of(version));
  });
  examine_step(diagnosis, "serial number", disturbed, [&] {
    Bytes number(16);
    connection.run(asking_serial_number, srd_snr, static_cast<int>(number.size()), number.data());
    diagnosis.add("serial number", State::good, text_of(number));
  });
  examine_step(diagnosis, "status", disturbed, [&] {
    int out = 0;
    connection.run(asking_whether_ready, get_status, &out);
    diagnosis.add("status", State::good, "the reader is ready");
  });
}

std::string names_of_kinds(const Recognition& found) {
  std::vector<std::string_view> names = {found.card->name};
  for (const Card* other : found.others)
    names.push_back(other->name);
  return fmt::format("{}", fmt::join(names, " or "));
}

void diagnose_memory_card(Diagnosis& diagnosis, const Settings& settings,
                          const Recognition& found) {
  const bool fits = settings.card == nullptr || settings.card == found.card ||
                    std::ranges::find(found.others, settings.card) != found.others.end();
  const std::string names = names_of_kinds(found);
  if (!fits) {
    return diagnosis.add("card", State::trouble,
                         fmt::format("this is a {}, not a {}", names, settings.card->name),
                         fmt::format("Give --card {}, or put the other card in", found.card->name));
  }
  diagnosis.add("card", State::good, fmt::format("a memory card, {}", names),
                settings.card != nullptr || found.others.empty()
                    ? ""
                    : "Reading cannot tell these kinds apart: give --card");
}

// A card that reading does not tell: a processor card, or one that nobody can speak with.
void diagnose_other_card(Diagnosis& diagnosis, const Connection& connection,
                         const Settings& settings) {
  Bytes answer;
  const int result = reset_processor_card(connection, answer);
  if (result == 0 && !answer.empty()) {
    const std::string words = fmt::format("a processor card, answer to reset {}", hex_text(answer));
    if (settings.card == nullptr) return diagnosis.add("card", State::good, words);
    return diagnosis.add(
        "card", State::trouble,
        fmt::format("{}; it was taken for a memory card: --card {}", words, settings.card->name),
        "quorra atr tells more about it, and quorra apdu sends it commands");
  }
  diagnosis.add("card", State::trouble,
                "a card is in the slot, but it answers neither as a memory card nor to a reset",
                "It may be in upside down or the wrong way round: its contacts belong where those "
                "of the reader are. Or its contacts are dirty, or reading does not tell its kind: "
                "name it with --card in the other commands");
}

void examine_card(Diagnosis& diagnosis, const Connection& connection, const Settings& settings) {
  examine_step(diagnosis, "card", "Take the card out, put it in again, and try again", [&] {
    CardState state{};
    const int result = read_card_state(connection, state);
    if (result == 0 && !state.is_present) {
      return diagnosis.add("card", State::missing, "no card is in the reader",
                           "Push a card in to the stop, with its contacts first");
    }
    if (result < 0 && !is_status(result, examining.kind)) connection.fail(examining, result);
    const Recognition found = recognise(connection);
    if (found.card != nullptr) return diagnose_memory_card(diagnosis, settings, found);
    diagnose_other_card(diagnosis, connection, settings);
  });
}

void examine_reader(Diagnosis& diagnosis, const Settings& settings) {
  const Connection connection(settings, Subject::anything);
  if (settings.names_virtual_reader()) {
    diagnosis.add("reader", State::good,
                  settings.image
                      ? fmt::format("a virtual one, with the card image {}", *settings.image)
                      : "a virtual one, with an empty slot");
  }
  examine_identity(diagnosis, connection);
  examine_card(diagnosis, connection, settings);
}

void examine_all(Diagnosis& diagnosis, const Settings& settings) {
  Settings at_speed = settings;
  if (!settings.names_virtual_reader()) {
    if (!examine_configuration(diagnosis, settings)) return;
    const Configuration configuration = configuration_of(settings);
    if (!examine_device(diagnosis, configuration)) return;
    bool answers = false;
    examine_step(diagnosis, "speed", "Try again, or switch the reader off and on",
                 [&] { answers = examine_speed(diagnosis, configuration, at_speed); });
    if (!answers) return;
  }
  examine_step(diagnosis, "reader", "Try again", [&] { examine_reader(diagnosis, at_speed); });
}

void run_doctor(const Settings& settings) {
  if (settings.names_virtual_reader() ||
      (settings.configuration.has_value() && settings.device.has_value())) {
    expect_one_reader(settings);
  }
  Diagnosis diagnosis;
  examine_all(diagnosis, settings);
  diagnosis.tell_all(settings);
}

}  // namespace

void add_doctor(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "doctor",
      "Examine the way to the reader and the card step by step, and tell what to do where it ends: "
      "configuration file, device, speed, reader, card. Nothing is written");
  add_examples(*command, {"quorra doctor", "quorra doctor --device /dev/ttyUSB0"});
  command->callback([&settings] { run_doctor(settings); });
}

}  // namespace quorra::cli
