// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra des

#include <fmt/core.h>
#include <quorra.h>

#include <memory>

#include "cli/commands/commands.hpp"
#include "cli/data.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr std::size_t key_size = 8;
constexpr std::size_t block_size = 8;
constexpr int largest_input = 16 * 1024 * 1024;
// Room for a key with blanks between its bytes.
constexpr std::size_t largest_key_file = 256;

struct DesOptions {
  std::optional<std::string> key;
  std::optional<std::string> key_file;
  DataOptions data;
  std::optional<std::string> output;
};

std::string asked_key() {
  if (!can_ask()) throw UsageError("no key: give --key-file or --key");
  const Interruption interruption;
  const auto key = ask_secret("Key: ", interruption.descriptor());
  if (!key) throw Interrupted("asking for the key: interrupted");
  return *key;
}

Bytes parse_key(std::string_view name, std::string_view text) {
  Bytes key = parse_hex(name, text);
  if (key.size() != key_size) {
    throw UsageError(fmt::format("{}: a key is {}, not {}", name,
                                 counted(static_cast<int>(key_size), "byte"), key.size()));
  }
  return key;
}

Bytes key_from(const DesOptions& options) {
  if (options.key && options.key_file) {
    throw UsageError("give one of --key and --key-file, not both");
  }
  if (options.key) return parse_key("--key", *options.key);
  if (!options.key_file) return parse_key("key", asked_key());
  const Bytes content = read_file(*options.key_file, largest_key_file);
  return parse_key("--key-file", {reinterpret_cast<const char*>(content.data()), content.size()});
}

void write_result(const DesOptions& options, const Bytes& result) {
  if (!options.output) {
    print(hex_or_dump(result));
    return;
  }
  write_file(*options.output, result);
  if (!is_standard_output(*options.output)) {
    print(fmt::format("Wrote {} to {}.\n", counted(static_cast<int>(result.size()), "byte"),
                      *options.output));
  }
}

Bytes input_from(const DesOptions& options, std::string_view verb) {
  return data_from(options.data, largest_input, "this command", verb);
}

void run_encrypt(const DesOptions& options) {
  const Bytes input = input_from(options, "encrypt");
  const Bytes key = key_from(options);
  const std::size_t padding = (block_size - input.size() % block_size) % block_size;
  Bytes output(input.size() + padding);
  ic_encrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data());
  write_result(options, output);
  if (padding > 0) {
    print_note(fmt::format("Filled the last block with {} of 00.\n",
                           counted(static_cast<int>(padding), "byte")));
  }
}

void run_decrypt(const DesOptions& options) {
  const Bytes input = input_from(options, "decrypt");
  if (input.size() % block_size != 0) {
    throw UsageError(fmt::format("{} cannot be split into blocks of {} bytes",
                                 counted(static_cast<int>(input.size()), "byte"), block_size));
  }
  const Bytes key = key_from(options);
  Bytes output(input.size());
  ic_decrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data());
  write_result(options, output);
}

void add_common(CLI::App& command, DesOptions& options) {
  command
      .add_option("--key", options.key,
                  "The key, 8 bytes; others can see it in the list of processes. Without it and "
                  "--key-file the key is asked for")
      ->type_name("HEX");
  add_file(command, "--key-file", options.key_file, "Or: the file that holds the key in hex");
  add_data(command, options.data);
  add_file(command, "--output", options.output,
           "Save the result to this file ('-': standard output)");
}

}  // namespace

void add_des(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "des",
      "Encrypt or decrypt with single DES, block by block (ECB), without a reader. It is here for "
      "cards that use it, and protects nothing else");
  want_subcommand(*command);
  const auto options = std::make_shared<DesOptions>();

  CLI::App* encrypt =
      command->add_subcommand("encrypt", "Encrypt bytes; bytes of 00 fill the last block up to 8");
  add_common(*encrypt, *options);
  add_examples(*encrypt, {"quorra des encrypt --key-file key.txt 0123456789ABCDEF"});
  encrypt->callback([options] { run_encrypt(*options); });

  CLI::App* decrypt = command->add_subcommand("decrypt", "Decrypt blocks of 8 bytes");
  add_common(*decrypt, *options);
  add_examples(*decrypt, {"quorra des decrypt --key-file key.txt --file in.bin --output out.bin"});
  decrypt->callback([options] { run_decrypt(*options); });
  add_examples(*command, {"quorra des encrypt --key-file key.txt 0123456789ABCDEF"});
}

}  // namespace quorra::cli
