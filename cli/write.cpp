// quorra write

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"

namespace quorra::cli {
namespace {

constexpr Operation writing{"writing the card"};
constexpr Operation reading_back{"reading back what was written"};

struct WriteOptions {
  int address = 0;
  std::vector<std::string> hex;
  std::optional<std::string> text;
  std::optional<std::string> file;
  std::optional<std::string> code;
  bool yes = false;
  bool no_verify = false;
};

Bytes data_to_write(const WriteOptions& options, const Card& card) {
  const int sources =
      (options.hex.empty() ? 0 : 1) + (options.text ? 1 : 0) + (options.file ? 1 : 0);
  if (sources == 0) throw UsageError("nothing to write: give HEX, --text or --file");
  if (sources > 1) throw UsageError("give one of HEX, --text and --file, not several");
  if (options.text) return {options.text->begin(), options.text->end()};
  if (!options.file) return parse_hex("HEX", fmt::format("{}", fmt::join(options.hex, " ")));
  const auto size = static_cast<std::size_t>(card.size);
  Bytes data = read_file(*options.file, size + 1);
  if (data.size() > size) {
    throw UsageError(fmt::format("--file: {} holds more than the {} of a {} card", *options.file,
                                 counted(card.size, "byte"), card.name));
  }
  return data;
}

// Reads back what was written: where the first byte is that differs, in words; empty if none does.
std::string difference(const Connection& connection, const Card& card, const Bytes& data,
                       Range range) {
  const Bytes held = read_memory(connection, card, range, reading_back);
  const auto [wanted, found] = std::mismatch(data.begin(), data.end(), held.begin());
  if (wanted == data.end()) return {};
  return fmt::format(": at 0x{:04X} the card holds {:02X}, not {:02X}",
                     range.address + (wanted - data.begin()), *found, *wanted);
}

void write_data(const Connection& connection, const Card& card, const Bytes& data, Range range,
                bool verify) {
  const int result =
      connection.attempt(writing, card.write, range.address, range.count, data.data());
  const auto compare = [&] { return difference(connection, card, data, range); };
  if (result != 0) {
    std::string error = connection.describe(writing, result);
    if (verify && is_status(result, writing.kind)) error += if_possible(compare);
    throw Failure(error);
  }
  if (!verify) return;
  if (const std::string found = compare(); !found.empty()) {
    throw Failure(std::string(reading_back.doing) + found);
  }
}

void run_write(const Settings& settings, const WriteOptions& options) {
  const Card& card = *settings.card;
  const Bytes data = data_to_write(options, card);
  if (data.empty()) throw UsageError("nothing to write: there is not one byte");
  const Range range =
      range_within(card.size, memory_of(card), options.address, static_cast<int>(data.size()));
  const std::optional<Bytes> code = parse_present_code(card, options.code);
  {
    const Connection connection(settings);
    if (code) present_code(connection, card, *code, options.yes);
    write_data(connection, card, data, range, !options.no_verify);
  }
  print(fmt::format("Wrote {} at 0x{:04X}{}.\n", counted(range.count, "byte"), range.address,
                    options.no_verify ? "" : " and read them back"));
}

}  // namespace

void add_write(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<WriteOptions>();
  CLI::App* command = program.add_subcommand("write", "Write bytes to the card");
  add_address(*command, options->address)->required();
  command->add_option("HEX", options->hex, "The bytes, two hex digits each")->type_name("");
  command->add_option("--text", options->text, "Or: the bytes of this text")->type_name("TEXT");
  command->add_option("--file", options->file, "Or: the bytes of this file ('-': standard input)")
      ->type_name("FILE");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  command->add_flag("--no-verify", options->no_verify, "Do not read back what was written");
  add_examples(
      *command,
      {"quorra write --config reader.conf --address 0x20 --code FFFFFF DE AD BE EF",
       "quorra write --virtual card.toml --address 64 --code FFFFFF --text 'Good morning'"});
  command->callback([&settings, options] { run_write(settings, *options); });
}

}  // namespace quorra::cli
