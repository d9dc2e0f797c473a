// quorra write

#include <fmt/format.h>

#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/data.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"

namespace quorra::cli {
namespace {

constexpr Operation writing{.doing = "writing the card", .done = "written"};

struct WriteOptions {
  int address = 0;
  DataOptions data;
  std::optional<std::string> code;
  bool yes = false;
  bool no_verify = false;
};

void run_write(const Settings& settings, const WriteOptions& options) {
  const Card& card = *settings.card;
  const Bytes data = data_from(options.data, card, "write");
  const Range range = writable_range(card, options.address, static_cast<int>(data.size()));
  const std::optional<Bytes> code = parse_present_code(card, options.code);
  {
    const Connection connection(settings);
    if (code) present_code(connection, card, *code, options.yes);
    write_memory(connection, card, range, data, writing, !options.no_verify);
  }
  print(fmt::format("Wrote {} at 0x{:04X}{}.\n", counted(range.count, "byte"), range.address,
                    options.no_verify ? "" : " and read them back"));
}

}  // namespace

void add_write(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<WriteOptions>();
  CLI::App* command = program.add_subcommand("write", "Write bytes to the card");
  add_address(*command, options->address)->required();
  add_data(*command, options->data);
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_no_verify(*command, options->no_verify);
  add_examples(*command,
               {"quorra write --config reader.conf --address 0x20 --code FFFFFF DE AD BE EF",
                "quorra write --virtual card.toml --address 64 --code FFFFFF --text 'Good morning'",
                "quorra write --config reader.conf --card 24c64 --address 0 --file card.bin"});
  command->callback([&settings, options] { run_write(settings, *options); });
}

}  // namespace quorra::cli
