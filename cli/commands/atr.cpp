// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra atr

#include <fmt/core.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "toolkit/processor/answer_to_reset.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

void run_atr(const Settings& settings, SamNumber sam) {
  Bytes answer;
  {
    const Connection connection(settings, Subject::anything);
    select(connection, sam);
    try {
      answer = reset(connection, sam);
    } catch (const Failure& failure) {
      expect_card_behind(failure, connection, sam);
      throw;
    }
  }
  std::string text = hex_text(answer) + '\n';
  Json fields{{"answer_to_reset", plain_hex(answer)}};
  std::vector<AnswerLine> lines;
  try {
    lines = describe_answer_to_reset(answer);
  } catch (const Failure& error) {
    tell_and_fail(settings, text, fields, error);
  }
  for (const auto& [name, value] : lines) {
    text += fmt::format("{:<15}{}\n", name, value);
    fields["lines"].push_back({{"name", name}, {"value", value}});
  }
  tell(settings, text, fields);
}

}  // namespace

void add_atr(CLI::App& program, const Settings& settings) {
  const auto sam = std::make_shared<SamNumber>();
  CLI::App* command = program.add_subcommand(
      "atr", "Reset a processor card, and tell what its answer to reset says");
  add_sam(*command, *sam);
  add_examples(*command,
               {"quorra atr --config reader.conf", "quorra atr --config reader.conf --sam 0"});
  command->callback([&settings, sam] { run_atr(settings, *sam); });
}

}  // namespace quorra::cli
