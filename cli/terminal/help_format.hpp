// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The help, in the width of the terminal.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>

#include <string>

namespace quorra::cli {

class HelpFormat : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  std::string make_subcommand(const CLI::App* subcommand) const override;
  std::string make_description(const CLI::App* command) const override;
  std::string make_usage(const CLI::App* command, std::string name) const override;
  std::string make_footer(const CLI::App* command) const override;
};

}  // namespace quorra::cli
