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
#include "cli/report.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/interruption.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr std::size_t key_size = 8;
constexpr std::size_t block_size = 8;
constexpr int largest_input = 16 * 1024 * 1024;

struct DesOptions {
  Secret key;
  DataOptions data;
  std::optional<std::string> output;
};

Bytes key_from(const DesOptions& options) {
  Secret given = options.key;
  if (!given.is_given()) given.hex = "-";
  const auto [name, hex] = get(given);
  Bytes key = parse_secret_hex(name, hex);
  if (key.size() != key_size) {
    throw UsageError(fmt::format("{}: a key is {}, not {}", name,
                                 counted(static_cast<int>(key_size), "byte"), key.size()));
  }
  return key;
}

void tell_result(const Settings& settings, const DesOptions& options, const Bytes& result,
                 Json fields = Json::object()) {
  const auto count = static_cast<int>(result.size());
  fields["count"] = count;
  if (!options.output) {
    fields["data"] = plain_hex(result);
    return tell(settings, hex_or_dump(result), fields);
  }
  write_file(*options.output, result);
  if (is_standard_output(*options.output)) return;
  fields["file"] = *options.output;
  tell(settings, fmt::format("Wrote {} to {}.\n", counted(count, "byte"), *options.output), fields);
}

// What is encrypted or decrypted.
Bytes input_from(const Settings& settings, const DesOptions& options, std::string_view verb) {
  if (settings.json && options.output && is_standard_output(*options.output)) {
    throw UsageError("--json goes to standard output, and the bytes cannot go there, too");
  }
  return data_from(options.data, largest_input, "this command", verb);
}

void run_encrypt(const Settings& settings, const DesOptions& options) {
  const Bytes input = input_from(settings, options, "encrypt");
  const Bytes key = key_from(options);
  const std::size_t padding = (block_size - input.size() % block_size) % block_size;
  Bytes output(input.size() + padding);
  ic_encrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data());
  const auto filled = static_cast<int>(padding);
  tell_result(settings, options, output, {{"filled", filled}});
  if (filled > 0 && !settings.json) {
    print_note(fmt::format("Filled the last block with {} of 00.\n", counted(filled, "byte")));
  }
}

void run_decrypt(const Settings& settings, const DesOptions& options) {
  const Bytes input = input_from(settings, options, "decrypt");
  if (input.size() % block_size != 0) {
    throw UsageError(fmt::format("{} cannot be split into blocks of {} bytes",
                                 counted(static_cast<int>(input.size()), "byte"), block_size));
  }
  const Bytes key = key_from(options);
  Bytes output(input.size());
  ic_decrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data());
  tell_result(settings, options, output);
}

void add_common(CLI::App& command, DesOptions& options) {
  add_secret(command, "key", options.key,
             "The key, 8 bytes; others can see it in the list of processes. Without one the key is "
             "asked for");
  add_data(command, options.data);
  add_file(command, "--output", options.output,
           "Save the result to this file ('-': standard output)");
}

}  // namespace

void add_des(CLI::App& program, const Settings& settings) {
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
  encrypt->callback([&settings, options] { run_encrypt(settings, *options); });

  CLI::App* decrypt = command->add_subcommand("decrypt", "Decrypt blocks of 8 bytes");
  add_common(*decrypt, *options);
  add_examples(*decrypt, {"quorra des decrypt --key-file key.txt --file in.bin --output out.bin"});
  decrypt->callback([&settings, options] { run_decrypt(settings, *options); });
  add_examples(*command, {"quorra des encrypt --key-file key.txt 0123456789ABCDEF"});
}

}  // namespace quorra::cli
