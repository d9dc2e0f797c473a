// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "cli/options.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <CLI/Error.hpp>

#include <algorithm>
#include <vector>

#include "toolkit/session/errors.hpp"

namespace quorra::cli {
namespace {

constexpr int highest_sam = 255;

}  // namespace

CLI::Option* add_file(CLI::App& command, const std::string& name, std::optional<std::string>& file,
                      const std::string& description) {
  return command.add_option(name, file, description)
      ->check([](const std::string& value) {
        return value.empty() ? std::string("the name of the file is empty") : std::string();
      })
      ->type_name("FILE");
}

CLI::Option* add_sam(CLI::App& command, SamNumber& sam) {
  return add_number(command, "--sam", sam, "Speak with this SAM inside the reader, not the card")
      ->check([](const std::string& text) {
        const int number = parse_number("--sam", text);
        return number <= highest_sam ? std::string()
                                     : fmt::format("{} is more than {}", number, highest_sam);
      });
}

CLI::Option* add_zone(CLI::App& command, std::optional<int>& zone) {
  return add_number(command, "--zone", zone,
                    "The zone that addresses belong to, on a card with zones; without it, 0");
}

void add_present_code(CLI::App& command, CodeOptions& options) {
  add_secret(command, "code", options.code, "The card's code; it is presented first");
  add_number(command, "--code-number", options.number, "Which code of a 1604 or 1604b --code is");
}

void add_erase_code(CLI::App& command, Secret& code) {
  add_secret(command, "erase-code", code,
             "The erase code of the zone; it is presented after --code");
}

CLI::Option* add_yes(CLI::App& command, bool& yes) {
  return command.add_flag("--yes", yes, "Do not ask");
}

CLI::Option* add_yes(CLI::App& command, std::optional<std::string>& kind) {
  return command
      .add_option("--yes", kind,
                  "The kind of the card, in place of typing it before what cannot be undone")
      ->type_name("KIND");
}

CLI::Option* add_no_verify(CLI::App& command, bool& no_verify) {
  return command.add_flag("--no-verify", no_verify, "Do not read back what was written");
}

void expect_subcommand(const CLI::App& command) {
  const auto all = command.get_subcommands([](const CLI::App*) { return true; });
  if (all.empty() || std::ranges::any_of(all, &CLI::App::parsed)) return;
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const CLI::App* subcommand : all) {
    names.push_back(subcommand->get_name());
  }
  throw CLI::ValidationError(fmt::format("{} wants one of these behind it: {}", command.get_name(),
                                         fmt::join(names, ", ")));
}

void want_subcommand(CLI::App& command) {
  command.require_subcommand(0, 1);
  command.final_callback([&command] { expect_subcommand(command); });
}

void add_examples(CLI::App& command, std::initializer_list<std::string_view> examples) {
  command.footer(
      fmt::format("{}:\n  {}\n\nOptions that name the reader and the card: quorra --help",
                  examples.size() == 1 ? "Example" : "Examples", fmt::join(examples, "\n  ")));
}

}  // namespace quorra::cli
