// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra info

#include <fmt/core.h>
#include <quorra.h>

#include <algorithm>
#include <array>

#include "cli/commands/commands.hpp"
#include "cli/options.hpp"
#include "cli/parse.hpp"
#include "cli/report.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "toolkit/kinds/probing.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr int library_version_size = 19;
constexpr int reader_version_length = 18;
constexpr int serial_number_length = 16;

constexpr Operation reading_version{"reading the reader's version"};
constexpr Operation reading_serial_number{"reading the serial number"};
constexpr Operation asking_status{"asking whether the reader answers"};

// The bytes as text, without zeros at the end, or in hex if they are no text.
std::string text_or_hex(const Bytes& bytes) {
  Bytes text = bytes;
  while (!text.empty() && text.back() == 0) {
    text.pop_back();
  }
  const bool is_text = !text.empty() && std::all_of(text.begin(), text.end(), is_printable);
  return is_text ? std::string(text.begin(), text.end()) : hex_text(bytes);
}

std::string library_version() {
  std::array<char, library_version_size> text{};
  lib_ver(text.data());
  return text.data();
}

std::string read_text(const Connection& connection, const Operation& operation,
                      int (*function)(int, int, unsigned char*), int length) {
  Bytes text(static_cast<std::size_t>(length));
  connection.run(operation, function, length, text.data());
  return text_or_hex(text);
}

// Only probes that write nothing to the card, and a reset, which processor cards answer.
std::string card_in_slot(const Connection& connection) {
  constexpr std::string_view kinds[] = {"4442", "4428", "4404", "4406", "102", "1604", "1604b"};
  const Probed probed = probe_for(connection, kinds);
  if (probed.card == nullptr) {
    const std::string answer = if_possible([&] { return hex_text(reset(connection, {})); });
    if (!answer.empty()) return "processor card, answer to reset " + answer;
  }
  return probed.card == nullptr ? "none recognised" + probed.explanation : names_of(*probed.card);
}

void run_info(const Settings& settings) {
  std::string version;
  std::string serial_number;
  std::string card;
  {
    const Connection connection(settings, Subject::anything);
    version = read_text(connection, reading_version, srd_ver, reader_version_length);
    serial_number = read_text(connection, reading_serial_number, srd_snr, serial_number_length);
    int out = 0;
    connection.run(asking_status, get_status, &out);
    card = card_in_slot(connection);
  }
  tell(settings,
       fmt::format("library        {}\n"
                   "reader         {}\n"
                   "serial number  {}\n"
                   "answers        yes\n"
                   "card           {}\n",
                   library_version(), version, serial_number, card),
       {{"library", library_version()},
        {"reader", version},
        {"serial_number", serial_number},
        {"card", card}});
}

}  // namespace

void add_info(CLI::App& program, const Settings& settings) {
  CLI::App* command =
      program.add_subcommand("info", "Tell which library, reader and card are there");
  add_examples(*command, {"quorra info --config reader.conf"});
  command->callback([&settings] { run_info(settings); });
}

}  // namespace quorra::cli
