// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra security

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <quorra.h>

#include <array>
#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/consent.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_security_code{"reading the reader's security code"};
constexpr Operation comparing_code{"presenting the reader's security code"};
constexpr Operation changing_security_code{"changing the reader's security code",
                                           OperationKind::verified};
constexpr Operation switching{"switching the reader's security mode", OperationKind::verified};

constexpr int code_size = 3;

struct SecurityOptions {
  Secret code;     // that a command is about
  Secret present;  // that is presented first
  bool on = false;
  bool yes = false;
};

Bytes parse_reader_code(const GivenSecret& given) {
  Bytes code = parse_secret_hex(given.name, given.hex);
  if (code.size() != code_size) {
    throw UsageError(fmt::format("{}: the reader's security code is {}, not {}", given.name,
                                 counted(code_size, "byte"), code.size()));
  }
  return code;
}

Bytes parse_reader_code(const SecurityOptions& options) {
  return parse_reader_code(get(options.code));
}

// The code that is to be presented first, if there is one.
std::optional<Bytes> parse_present_reader_code(const SecurityOptions& options) {
  if (!options.present.is_given()) return std::nullopt;
  return parse_reader_code(get(options.present));
}

void present(const Connection& connection, const std::optional<Bytes>& code) {
  if (code) connection.run(comparing_code, cmp_dvsc, code_size, code->data());
}

void show_security_code(const Settings& settings) {
  Bytes code(code_size);
  {
    const Connection connection(settings, Subject::anything);
    connection.run(reading_security_code, srd_dvsc, code_size, code.data());
  }
  tell(settings, hex_text(code) + '\n', {{"code", plain_hex(code)}});
}

void run_compare(const Settings& settings, const SecurityOptions& options) {
  const Bytes code = parse_reader_code(options);
  {
    const Connection connection(settings, Subject::anything);
    present(connection, code);
  }
  tell(settings, "The reader accepts the code.\n", Json::object());
}

void run_set(const Settings& settings, const SecurityOptions& options) {
  const Bytes code = parse_reader_code(options);
  const std::optional<Bytes> old_code = parse_present_reader_code(options);
  const Consent consent({changing_security_code, "The reader's present code becomes invalid."},
                        options.yes);
  {
    const Connection connection(settings, Subject::anything);
    consent.get(connection);
    present(connection, old_code);
    connection.run(changing_security_code, swr_dvsc, code_size, code.data());
  }
  tell(settings, "The reader's security code is changed.\n", Json::object());
}

void run_mode(const Settings& settings, const SecurityOptions& options) {
  const std::optional<Bytes> code = parse_present_reader_code(options);
  {
    const Connection connection(settings, Subject::anything);
    present(connection, code);
    connection.run(switching, setsc_md, options.on ? 1 : 0);
  }
  tell(settings, fmt::format("The reader's security mode is {}.\n", options.on ? "on" : "off"),
       {{"mode", options.on}});
}

void add_code_to_present(CLI::App& command, SecurityOptions& options) {
  add_secret(command, "code", options.present, "The reader's security code; it is presented first");
}

}  // namespace

void add_security(CLI::App& program, const Settings& settings) {
  CLI::App* command =
      program.add_subcommand("security", "Handle the reader's own security code and mode");
  want_subcommand(*command);
  const auto options = std::make_shared<SecurityOptions>();

  CLI::App* show = command->add_subcommand("show", "Show the reader's security code");
  add_examples(*show, {"quorra security show --config reader.conf"});
  show->callback([&settings] { show_security_code(settings); });

  CLI::App* set = command->add_subcommand("set", "Give the reader another security code");
  const auto changes = std::make_shared<SecurityOptions>();
  changes->code.is_new = true;
  add_secret_words(*set, "HEX", "new-code", changes->code, "The new code");
  add_code_to_present(*set, *changes);
  add_yes(*set, changes->yes);
  add_examples(*set, {"quorra security set --config reader.conf --code FFFFFF 12 34 56"});
  set->callback([&settings, changes] { run_set(settings, *changes); });

  CLI::App* compare = command->add_subcommand("compare", "Find out whether a code is the reader's");
  add_secret_words(*compare, "HEX", "code", options->code, "The code");
  add_examples(*compare, {"quorra security compare --config reader.conf 123456"});
  compare->callback([&settings, options] { run_compare(settings, *options); });

  CLI::App* mode = command->add_subcommand("mode", "Switch the reader's security mode");
  mode->add_option_function<std::string>(
          "STATE", [options](const std::string& state) { options->on = state == "on"; },
          "on or off")
      ->check(CLI::IsMember({"on", "off"}))
      ->required()
      ->type_name("");
  add_code_to_present(*mode, *options);
  add_examples(*mode, {"quorra security mode --config reader.conf on",
                       "quorra security mode --config reader.conf --code FFFFFF off"});
  mode->callback([&settings, options] { run_mode(settings, *options); });
  add_examples(*command, {"quorra security show --config reader.conf"});
}

}  // namespace quorra::cli
