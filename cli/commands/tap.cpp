// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra tap

#include <fcntl.h>
#include <fmt/core.h>
#include <quorra.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>

#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/shown_frames.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/output.hpp"
#include "toolkit/session/configuration.hpp"
#include "toolkit/session/descriptor.hpp"
#include "toolkit/wire/pcapng.hpp"
#include "toolkit/wire/tap.hpp"

namespace quorra::cli {
namespace {

struct TapOptions {
  std::string device;
  bool terminal = false;
  std::optional<std::string> link;
  std::optional<std::string> written_configuration;
  std::optional<std::string> recording;
  FrameOptions frames;
};

// The sequences of terminal mode, by their keys in a configuration file.
struct TerminalTexts {
  std::string set_up = "\033[?4i";
  std::string begin = "\033[4i";
  std::string before = "\033[5i";
  std::string after = "\033[4i";
  std::string end = "\033[4i";
};

// In the file a backslash and three characters stand for ESC.
std::string configuration_line(char key, std::string_view text) {
  std::string line = fmt::format("{}=", key);
  for (const char character : text) {
    line += character == '\033' ? std::string("\\033") : std::string(1, character);
  }
  return line + '\n';
}

struct Tapped {
  std::string device;
  std::optional<TerminalTexts> texts;
};

[[noreturn]] void fail_to_tap(const std::string& device, std::string_view why,
                              const Particulars& particulars = {}) {
  throw Failure(fmt::format("tapping {}: {}", device, why), particulars);
}

// What is to be tapped, and how: as the options say, or as the configuration file of the program
// does that is to be listened to.
Tapped what_to_tap(const Settings& settings, const TapOptions& options) {
  if (settings.names_virtual_reader()) {
    throw UsageError(
        "a virtual reader that ends with the command has no line to tap; quorra-sim "
        "is one that goes on");
  }
  if (settings.device && (settings.configuration || !options.device.empty())) {
    throw UsageError("there is one reader: give --device, --config or DEVICE, not several");
  }
  Tapped tapped{.device = settings.device.value_or(options.device), .texts = {}};
  if (options.terminal) tapped.texts.emplace();
  if (settings.configuration) {
    configuration_of(settings).read();
    if (term_flg == 1) {
      if (!options.device.empty()) {
        throw UsageError("--config names a device already; give it or DEVICE, not both");
      }
      if (options.terminal) throw UsageError("--config is not for a serial terminal");
      tapped.device = DRVCOMM;
    } else {
      tapped.texts = TerminalTexts{SETAUX, INITAUX, AUXSTARTWRITE, AUXENDWRITE, CLOSEAUX};
      if (tapped.texts->before.empty() || tapped.texts->after.empty()) {
        throw UsageError("--config: its lines W and A name no sequences");
      }
    }
  }
  if (tapped.device.empty()) throw UsageError("nothing to tap: give DEVICE or --config");
  return tapped;
}

// The configuration file for the program that is listened to.
std::string configuration_for(const std::optional<TerminalTexts>& texts, const std::string& name) {
  if (!texts) return configuration_line('P', name);
  return fmt::format("# The standard output of the program has to be {}\n", name) +
         configuration_line('S', texts->set_up) + configuration_line('I', texts->begin) +
         configuration_line('W', texts->before) + configuration_line('A', texts->after) +
         configuration_line('C', texts->end);
}

// Another name of the pseudo-terminal, as long as it lives.
class NamedLink {
 public:
  NamedLink(std::string path, const std::string& target) : path_(std::move(path)) {
    std::error_code error;
    // What a tap that was killed has left.
    const auto old = std::filesystem::read_symlink(path_, error);
    if (!error && old.native().starts_with("/dev/pts/")) std::filesystem::remove(path_, error);
    std::filesystem::create_symlink(target, path_, error);
    if (error) throw UsageError(fmt::format("--link: {}: {}", path_, error.message()));
  }
  NamedLink(const NamedLink&) = delete;
  NamedLink& operator=(const NamedLink&) = delete;
  ~NamedLink() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

 private:
  std::string path_;
};

// A recording that is whole after each frame: a block is written at once.
class Recorder {
 public:
  Recorder(const std::string& path, const std::string& device)
      : path_(path),
        file_(open_empty(path)) {
    if (file_.number() < 0) {
      throw UsageError(
          fmt::format("--output: {}: {}", path, std::generic_category().message(errno)));
    }
    put(wire::recording_head("quorra " QUORRA_VERSION, device));
  }

  void add(const wire::Decoded& decoded, wire::Codes codes) {
    const wire::Frame& frame = decoded.frame;
    const bool is_for_screen = frame.wholeness == wire::Wholeness::screen;
    const Bytes bytes = codes == wire::Codes::shown ? frame.bytes : wire::without_codes(decoded);
    put(wire::recorded(frame.direction, frame.time, bytes,
                       is_for_screen ? wire::screen_comment : std::string_view()));
  }

 private:
  static int open_empty(const std::string& path) {
    expect_unused(path);
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, 0666);
  }

  void put(const Bytes& block) {
    std::size_t size = 0;
    while (size < block.size()) {
      const ssize_t written = write(file_.number(), block.data() + size, block.size() - size);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        throw Failure(fmt::format("writing {}: {}", path_, std::generic_category().message(errno)));
      }
      size += static_cast<std::size_t>(written);
    }
  }

  std::string path_;
  Descriptor file_;
};

// At once, for somebody may be waiting for it.
void show_now(const std::string& text) {
  print(text);
  flush_standard_output();
}

std::string beginning(const Settings& settings, const std::string& configuration,
                      const std::string& name) {
  if (!settings.json) return configuration;
  return Json{{"schema_version", schema_version},
              {"terminal", name},
              {"configuration", configuration}}
             .dump() +
         '\n';
}

void serve_tap(const Settings& settings, const Tapped& tapped, const TapOptions& options,
               wire::Tap& tap, const Interruption& interruption) {
  std::optional<Recorder> recorder;
  if (options.recording) recorder.emplace(*options.recording, tapped.device);
  std::optional<NamedLink> link;
  if (options.link) link.emplace(*options.link, tap.terminal());
  const std::string name =
      options.link ? std::filesystem::absolute(*options.link).lexically_normal().string()
                   : tap.terminal();
  const std::string configuration = configuration_for(tapped.texts, name);
  if (options.written_configuration) {
    write_file(*options.written_configuration, {configuration.begin(), configuration.end()});
  }
  show_now(beginning(settings, configuration, name));

  wire::Decoder decoder;
  const bool was_stopped = tap.run(interruption.descriptor(), [&](const wire::Frame& frame) {
    const wire::Decoded decoded = decoder.take(frame);
    // Recorded first: showing it may fail.
    if (recorder) recorder->add(decoded, options.frames.codes);
    show_now(told(decoded, settings, options.frames));
  });
  if (!was_stopped) fail_to_tap(tapped.device, "the line hung up");
}

void run_tap(const Settings& settings, const TapOptions& options) {
  const Tapped tapped = what_to_tap(settings, options);
  std::optional<wire::AuxiliaryStream> sequences;
  if (tapped.texts) sequences.emplace(tapped.texts->before, tapped.texts->after);
  if (options.recording) expect_other_file("--output", *options.recording, settings);
  if (options.written_configuration) {
    expect_other_file("--write-config", *options.written_configuration, settings);
  }
  const Interruption interruption;
  try {
    wire::Tap tap(tapped.device, sequences);
    serve_tap(settings, tapped, options, tap, interruption);
  } catch (const DeviceMissing& error) {
    throw NoReader(fmt::format("tapping {}: {}", tapped.device, error.what()),
                   {.word = "no_reader"});
  } catch (const DeviceInUse& error) {
    fail_to_tap(tapped.device, error.what(), {.word = device_in_use, .process = error.process()});
  } catch (const DeviceError& error) {
    fail_to_tap(tapped.device, error.what());
  } catch (const std::system_error& error) {
    fail_to_tap(tapped.device, error.what());
  }
}

}  // namespace

void add_tap(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<TapOptions>();
  CLI::App* command = program.add_subcommand(
      "tap",
      "Stand between any program and its reader, and show what they say to each other. The first "
      "lines are a configuration file for that program");
  command->add_option("DEVICE", options->device, "The serial device of the reader")->type_name("");
  command->add_flag("--terminal", options->terminal,
                    "The device leads to a serial terminal with the reader at its auxiliary port; "
                    "--config can name a file with its sequences");
  add_file(*command, "--link", options->link, "Another name for the program's side, which stays");
  add_file(*command, "--write-config", options->written_configuration,
           "Where to write the configuration file for the program, too");
  add_file(*command, "--output", options->recording, "Record the frames in this pcapng file, too");
  add_frame_options(*command, options->frames);
  add_examples(*command, {"quorra tap /dev/ttyUSB0",
                          "quorra tap /dev/ttyUSB0 --link /tmp/reader --output session.pcapng",
                          "quorra tap --config reader.conf --json"});
  command->callback([&settings, options] { run_tap(settings, *options); });
}

}  // namespace quorra::cli
