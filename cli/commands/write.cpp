// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra write

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

constexpr Operation writing{.doing = "writing the card", .done = "written"};

struct WriteOptions {
  std::optional<int> zone;
  int address = 0;
  DataOptions data;
  CodeOptions code;
  bool security = false;
  std::optional<std::string> yes;
  bool no_verify = false;
};

// The memory as the command for security areas reaches it.
Memory with_security_areas(const Card& card, const Memory& memory) {
  if (memory.write_security == nullptr) {
    throw UsageError(
        fmt::format("--security: {} has no command of its own for writing security areas",
                    name_of(card, memory)));
  }
  Memory result = memory;
  result.write = memory.write_security;
  result.writable = memory.size;
  return result;
}

void run_write(const Settings& settings, const WriteOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Memory& plain = memory_of(card, options.zone);
  const Memory memory = options.security ? with_security_areas(card, plain) : plain;
  const Bytes data = data_from(options.data, card, memory, "write");
  const Range range = writable_range(card, memory, options.address, static_cast<int>(data.size()));
  const Keys keys = parse_keys(card, options.code);
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    write_memory(connection, memory, range, data, writing, !options.no_verify);
  }
  Json fields = fields_of(card, memory, range);
  fields["verified"] = !options.no_verify;
  tell(settings,
       fmt::format("Wrote {} at 0x{:04X}{}.\n", counted(range.count, "byte"), range.address,
                   options.no_verify ? "" : " and read them back"),
       fields);
}

}  // namespace

void add_write(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<WriteOptions>();
  CLI::App* command = program.add_subcommand("write", "Write bytes to the card");
  add_zone(*command, options->zone);
  add_address(*command, options->address)->required();
  add_data(*command, options->data);
  add_present_code(*command, options->code);
  command->add_flag(
      "--security", options->security,
      "Write with the command that reaches codes and counters (101, 102, 1604, 1604b)");
  add_yes(*command, options->yes);
  add_no_verify(*command, options->no_verify);
  add_examples(*command,
               {"quorra write --config reader.conf --address 0x20 --code FFFFFF DE AD BE EF",
                "quorra write --virtual card.toml --address 64 --code FFFFFF --text 'Good morning'",
                "quorra write --config reader.conf --card 24c64 --address 0 --file card.bin"});
  command->callback([&settings, options] { run_write(settings, *options); });
}

}  // namespace quorra::cli
