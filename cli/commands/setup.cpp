// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra setup

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/next_command.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/session/configuration_places.hpp"
#include "toolkit/session/serial_devices.hpp"
#include "toolkit/session/speed_search.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation looking_for_reader{"looking for a reader"};
constexpr Operation writing_configuration{"writing the configuration file"};

struct SetupOptions {
  bool try_devices = false;
  std::optional<std::string> output;
  bool yes = false;
};

// A device, and what came of trying it.
struct Candidate {
  SerialDevice device;
  bool was_tried = false;
  std::optional<int> speed = {};  // at which a reader answers
  std::string version = {};       // what it calls itself
  std::string problem = {};       // why there is no answer
  Particulars particulars = {};   // of the problem
};

std::vector<Candidate> candidates_of(const Settings& settings) {
  std::vector<Candidate> candidates;
  for (SerialDevice& device : serial_devices()) {
    if (!settings.device || device.path == *settings.device || device.lasting == *settings.device) {
      candidates.push_back({.device = std::move(device)});
    }
  }
  if (settings.device && candidates.empty()) {
    candidates.push_back({.device = {.path = *settings.device,
                                     .driver = {},
                                     .product = {},
                                     .usb_number = {},
                                     .lasting = {}}});
  }
  if (candidates.empty()) {
    throw NoReader(
        "looking for a reader: this machine has no serial device. Plug the adapter in; --device "
        "names any other terminal device",
        {.word = "no_device"});
  }
  return candidates;
}

// The version text of the reader at this speed; empty if it does not tell.
std::string version_at(const Configuration& configuration, int speed) {
  const int handle = ic_init0(configuration.path().c_str(), speed);
  if (handle < 0) return {};
  std::string version(18, '\0');
  const int result = srd_ver(handle, static_cast<int>(version.size()),
                             reinterpret_cast<unsigned char*>(version.data()));
  ic_exit(handle);
  if (result != 0) return {};
  version.erase(std::ranges::find_if_not(version, is_printable), version.end());
  return version;
}

void try_candidate(Candidate& candidate, const Interruption& interruption, bool shows) {
  candidate.was_tried = true;
  try {
    const Configuration configuration = Configuration::of_device(candidate.device.path);
    const Device device = configuration.open_device();
    candidate.speed = find_speed(configuration, findable_speeds(), [&](int speed) {
      stop_if_interrupted(interruption, looking_for_reader);
      if (shows) print_note(fmt::format("{} at {}...\n", candidate.device.path, speed));
    });
    stop_if_interrupted(interruption, looking_for_reader);
    if (candidate.speed) candidate.version = version_at(configuration, *candidate.speed);
    if (!candidate.speed) candidate.problem = "no reader answers at any speed";
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& error) {
    candidate.problem = error.what();
    candidate.particulars = error.particulars();
  } catch (const UsageError& error) {
    candidate.problem = error.what();
  }
}

// Bytes that are sent to something else than a reader may do anything there.
bool wants_trial(const SetupOptions& options, const Settings& settings,
                 const Interruption& interruption) {
  if (options.try_devices) return true;
  if (settings.json || !can_ask()) return false;
  switch (
      ask("Trying sends bytes to whatever is connected: a modem, a printer or a machine, too. "
          "Ask each of these devices for a reader?",
          interruption.descriptor())) {
    case Answer::yes:
      return true;
    case Answer::no:
      return false;
    case Answer::interrupted:
      stop_if_interrupted(interruption, looking_for_reader);
  }
  return false;
}

std::string line_about(const Candidate& candidate) {
  const std::string description = describe(candidate.device);
  std::string line = candidate.device.path;
  if (!description.empty()) line += "  " + description;
  if (!candidate.was_tried) return line + '\n';
  if (candidate.speed) {
    return line + fmt::format("\n  a reader answers at {} bits per second{}{}\n", *candidate.speed,
                              candidate.version.empty() ? "" : ": ", candidate.version);
  }
  return line + fmt::format("\n  {}\n", candidate.problem);
}

Json object_of(const Candidate& candidate) {
  Json object{{"path", candidate.device.path}};
  const auto add = [&object](const char* name, const std::string& text) {
    if (!text.empty()) object[name] = text;
  };
  add("driver", candidate.device.driver);
  add("product", candidate.device.product);
  add("usb", candidate.device.usb_number);
  add("lasting_name", candidate.device.lasting);
  object["tried"] = candidate.was_tried;
  if (candidate.was_tried) object["answers"] = candidate.speed.has_value();
  if (candidate.speed) object["speed"] = *candidate.speed;
  add("version", candidate.version);
  add("problem", candidate.problem);
  return object;
}

bool can_be_in_file(const std::string& name) {
  try {
    return Configuration::name_in_file(name) == name;
  } catch (const UsageError&) {
    return false;
  }
}

// The name that lasts, if a file can hold it.
std::string name_for_file(const SerialDevice& device) {
  const bool has_lasting_name = !device.lasting.empty() && can_be_in_file(device.lasting);
  return has_lasting_name ? device.lasting : Configuration::name_in_file(device.path);
}

std::string content_for(const Candidate& candidate) {
  std::string content = "# Made by quorra setup.\n";
  if (candidate.speed.value_or(default_speed) != default_speed) {
    content += fmt::format("# The reader has another speed: --speed {}\n", *candidate.speed);
  }
  return content + fmt::format("P={}\n", name_for_file(candidate.device));
}

std::string file_to_write(const SetupOptions& options) {
  if (options.output) return *options.output;
  if (auto own = own_configuration()) return std::move(*own);
  throw UsageError("there is no home for a configuration file: name one with --output FILE");
}

void make_folder_of(const std::string& file) {
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  std::error_code error;
  if (std::filesystem::exists(folder, error)) return;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw UsageError(fmt::format("making the folder {}: {}", folder.string(), error.message()));
  }
}

bool is_in_use(const Candidate& candidate) { return candidate.particulars.word == device_in_use; }

// A reader may be where another program is.
[[noreturn]] void fail_to_find(const std::vector<Candidate>& candidates) {
  std::string problems;
  for (const Candidate& candidate : candidates) {
    problems += fmt::format("\n  {}: {}", candidate.device.path, candidate.problem);
  }
  problems += "\nquorra doctor --device DEVICE tells more";
  if (std::ranges::all_of(candidates, is_in_use)) {
    throw Failure(
        fmt::format("{}: another program has each device{}", looking_for_reader.doing, problems),
        candidates.size() == 1 ? candidates.front().particulars
                               : Particulars{.word = device_in_use});
  }
  throw NoReader(fmt::format("{}: none answers{}", looking_for_reader.doing, problems),
                 {.word = "no_reader"});
}

// What is there already is replaced only if that is wanted.
void write_configuration(const std::string& file, const std::string& content,
                         const SetupOptions& options, const Interruption& interruption) {
  std::error_code error;
  if (std::filesystem::exists(std::filesystem::symlink_status(file, error)) &&
      !is_standard_output(file) && !options.yes) {
    confirm(interruption, {writing_configuration,
                           fmt::format("{} is there already and will be replaced.", file)});
  }
  if (!options.output) make_folder_of(file);
  write_file(file, {content.begin(), content.end()});
}

// The candidate for which the file is written: the first one at which a reader answers or, if none
// was tried, the one that was named.
const Candidate* chosen_of(const std::vector<Candidate>& candidates, const Settings& settings) {
  const auto answering = std::ranges::find_if(
      candidates, [](const Candidate& candidate) { return candidate.speed.has_value(); });
  if (answering != candidates.end()) return &*answering;
  const bool is_named = settings.device && !candidates.front().was_tried;
  return is_named ? &candidates.front() : nullptr;
}

void expect_no_reader_but_device(const Settings& settings) {
  if (settings.configuration || settings.names_virtual_reader() || settings.speed) {
    throw UsageError("setup looks for readers at serial devices; only --device may name one");
  }
}

std::string next_words(const Candidate& candidate, const SetupOptions& options) {
  Settings found;
  if (options.output) found.configuration = options.output;
  if (candidate.speed.value_or(default_speed) != default_speed) found.speed = candidate.speed;
  return fmt::format("next  {}\n", next_command("info", found));
}

void run_setup(const Settings& settings, const SetupOptions& options) {
  expect_no_reader_but_device(settings);
  const Interruption interruption;
  std::vector<Candidate> candidates = candidates_of(settings);
  std::string text;
  const auto describe_all = [&] {
    std::string lines;
    for (const Candidate& candidate : candidates)
      lines += line_about(candidate);
    return lines;
  };
  const bool asks = !options.try_devices && !settings.json && can_ask();
  if (asks) print_note(describe_all());
  if (wants_trial(options, settings, interruption)) {
    for (Candidate& candidate : candidates) {
      try_candidate(candidate, interruption, !settings.quiet && !settings.json);
    }
  }
  const bool was_tried = candidates.front().was_tried;
  if (!asks || was_tried) text += describe_all();
  Json fields{{"devices", Json::array()}};
  for (const Candidate& candidate : candidates)
    fields["devices"].push_back(object_of(candidate));

  const Candidate* chosen = chosen_of(candidates, settings);
  if (chosen == nullptr && was_tried) fail_to_find(candidates);
  if (chosen == nullptr) {
    text +=
        "next  quorra setup --try, which asks at each of them for a reader, or\n"
        "      quorra setup --device DEVICE, which writes the file for this one\n";
    return tell(settings, text, fields);
  }
  const std::string file = file_to_write(options);
  const std::string content = content_for(*chosen);
  write_configuration(file, content, options, interruption);
  fields["device"] = chosen->device.path;
  fields["configuration"] = file;
  if (!is_standard_output(file)) {
    text += fmt::format("Wrote {} for {}.\n", file, name_for_file(chosen->device));
    text += next_words(*chosen, options);
    tell(settings, text, fields);
  }
}

}  // namespace

void add_setup(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<SetupOptions>();
  CLI::App* command = program.add_subcommand("setup",
                                             "Look for readers at the serial devices of this "
                                             "machine, or at the one of --device, and write "
                                             "the configuration file for the first one");
  command->add_flag("--try", options->try_devices,
                    "Ask at each device for a reader, without a question. That sends bytes to "
                    "whatever is connected, and takes up to 13 seconds for each device");
  add_file(*command, "--output", options->output,
           "The configuration file; without it, ~/.config/quorra/reader.conf, which is found by "
           "itself");
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra setup", "quorra setup --try --device /dev/ttyUSB0"});
  command->callback([&settings, options] { run_setup(settings, *options); });
}

}  // namespace quorra::cli
