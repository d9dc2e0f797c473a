// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra memory

#include <fmt/core.h>
#include <quorra.h>

#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/data.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/output.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr Operation reading_memory{"reading the reader's memory"};
constexpr Operation writing{"writing the reader's memory"};
constexpr Operation reading_back_memory{"reading back the reader's memory"};

constexpr int memory_size = 384;
constexpr std::string_view memory_name = "the reader's memory";

struct ReadMemoryOptions {
  int address = 0;
  std::optional<int> count;
  OutputOptions output;
};

struct WriteMemoryOptions {
  int address = 0;
  DataOptions data;
  bool no_verify = false;
};

Bytes read_range(const Connection& connection, Range range, const Operation& operation) {
  Bytes bytes(static_cast<std::size_t>(range.count));
  connection.run(operation, srd_eeprom, range.address, range.count, bytes.data());
  return bytes;
}

void run_read_memory(const Settings& settings, const ReadMemoryOptions& options) {
  expect_other_file(options.output, settings);
  const Range range = range_within(memory_size, memory_name, options.address, options.count);
  Bytes bytes;
  {
    const Connection connection(settings, Subject::anything);
    bytes = read_range(connection, range, reading_memory);
  }
  show_or_save(settings, options.output, {{"address", range.address}, {"count", range.count}},
               range.address, bytes);
}

void run_write_memory(const Settings& settings, const WriteMemoryOptions& options) {
  const Bytes data = data_from(options.data, memory_size, memory_name, "write");
  const Range range =
      range_within(memory_size, memory_name, options.address, static_cast<int>(data.size()));
  {
    const Connection connection(settings, Subject::anything);
    connection.run(writing, swr_eeprom, range.address, range.count, data.data());
    if (!options.no_verify) {
      const Bytes held = read_range(connection, range, reading_back_memory);
      if (const auto difference = find_difference(data, held, range.address)) {
        throw Failure(fmt::format("{}: at 0x{:04X} the reader holds {:02X}, not {:02X}",
                                  reading_back_memory.doing, difference->address, difference->held,
                                  difference->wanted));
      }
    }
  }
  tell(settings,
       fmt::format("Wrote {} at 0x{:04X}{}.\n", counted(range.count, "byte"), range.address,
                   options.no_verify ? "" : " and read them back"),
       {{"address", range.address}, {"count", range.count}, {"verified", !options.no_verify}});
}

}  // namespace

void add_memory(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand(
      "memory", fmt::format("Read or write the {} that the reader keeps for applications",
                            counted(memory_size, "byte")));
  want_subcommand(*command);

  CLI::App* read = command->add_subcommand("read", "Show or save the reader's memory");
  const auto reading_options = std::make_shared<ReadMemoryOptions>();
  add_number(*read, "--address", reading_options->address, "Address of the first byte");
  add_number(*read, "--count", reading_options->count,
             "Number of bytes; without it, up to the end");
  add_output(*read, reading_options->output);
  add_examples(*read, {"quorra memory read --config reader.conf --address 0x20 --count 16"});
  read->callback([&settings, reading_options] { run_read_memory(settings, *reading_options); });

  CLI::App* write = command->add_subcommand("write", "Write bytes to the reader's memory");
  const auto writing_options = std::make_shared<WriteMemoryOptions>();
  add_number(*write, "--address", writing_options->address, "Address of the first byte")
      ->required();
  add_data(*write, writing_options->data);
  add_no_verify(*write, writing_options->no_verify);
  add_examples(*write, {"quorra memory write --config reader.conf --address 0 --text 'Till 7'"});
  write->callback([&settings, writing_options] { run_write_memory(settings, *writing_options); });
  add_examples(*command, {"quorra memory read --config reader.conf"});
}

}  // namespace quorra::cli
