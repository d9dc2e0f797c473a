// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra verify

#include <fmt/core.h>

#include <memory>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/data.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation comparing{.doing = "comparing the card", .done = "compared"};

struct VerifyOptions {
  std::optional<int> zone;
  int address = 0;
  DataOptions data;
  CodeOptions code;
  std::optional<std::string> yes;
};

void run_verify(const Settings& settings, const VerifyOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Memory& memory = memory_of(card, options.zone);
  const Bytes data = data_from(options.data, card, memory, "compare");
  const Range range = readable_range(card, memory, options.address, static_cast<int>(data.size()));
  const Keys keys = parse_keys(card, options.code);
  Bytes held;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    held = read_memory(connection, memory, range, comparing);
  }
  if (const auto difference = find_difference(data, held, range.address)) {
    throw Failure(fmt::format("{}: {} of {} differ; {}", comparing.doing, difference->count,
                              counted(range.count, "byte"), describe(*difference)),
                  {.word = "differs", .address = difference->address});
  }
  tell(settings,
       fmt::format("The card holds the same {} at 0x{:04X}.\n", counted(range.count, "byte"),
                   range.address),
       fields_of(card, memory, range));
}

}  // namespace

void add_verify(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* command = program.add_subcommand("verify", "Compare the card with bytes");
  add_zone(*command, options->zone);
  add_address(*command, options->address)->required();
  add_data(*command, options->data);
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command,
               {"quorra verify --config reader.conf --address 0x20 DE AD BE EF",
                "quorra verify --config reader.conf --card 24c64 --address 0 --file card.bin"});
  command->callback([&settings, options] { run_verify(settings, *options); });
}

}  // namespace quorra::cli
