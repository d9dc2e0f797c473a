// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Prints the table of the wire in Lua: the beginning of the dissector for Wireshark.

#include <fmt/core.h>

#include <iterator>
#include <string_view>

#include "toolkit/wire/table.hpp"

namespace quorra::toolkit::wire {
namespace {

// By their places in the types.
constexpr std::string_view arguments[] = {"none", "count", "data", "code", "value", "for_card"};
constexpr std::string_view answers[] = {
    "none", "data", "data_with_marks", "code", "text", "answer_to_reset", "from_card"};
constexpr std::string_view places[] = {"none", "zone", "variant_and_zone", "page"};

static_assert(std::size(arguments) == static_cast<std::size_t>(Arguments::for_card) + 1);
static_assert(std::size(answers) == static_cast<std::size_t>(Answer::from_card) + 1);
static_assert(std::size(places) == static_cast<std::size_t>(Place::page) + 1);

void print_table() {
  // REUSE-IgnoreStart
  fmt::print("-- SPDX-FileCopyrightText: 2026 The quorra authors\n");
  fmt::print("-- SPDX-License-Identifier: BSD-2-Clause\n\n");
  // REUSE-IgnoreEnd
  fmt::print("local commands = {{\n");
  for (const Command& row : commands()) {
    fmt::print("  [{}] = {{ words = \"{}\", arguments = \"{}\", answer = \"{}\" }},\n", row.number,
               row.words, arguments[static_cast<std::size_t>(row.arguments)],
               answers[static_cast<std::size_t>(row.answer)]);
  }
  fmt::print("}}\n\nlocal card_types = {{\n");
  for (const CardType& row : card_types()) {
    fmt::print("  {{ number = {}, variant = {}, words = \"{}\", place = \"{}\" }},\n", row.number,
               row.variant, row.words, places[static_cast<std::size_t>(row.place)]);
  }
  fmt::print("}}\n\nlocal code_areas = {{\n");
  for (const CodeArea& row : code_areas()) {
    fmt::print(
        "  {{ card = {}, variant = {}, command = {}, address = {}, count = {}, words = \"{}\" "
        "}},\n",
        row.card, row.variant, row.command, row.address, row.count, row.words);
  }
  fmt::print("}}\n\nlocal statuses = {{\n");
  for (const Status& row : statuses()) {
    fmt::print("  [{}] = \"{}\",\n", row.number, row.words);
  }
  fmt::print("}}\n\nlocal virtual_reader = \"{}\"\n\n", virtual_reader);
}

}  // namespace
}  // namespace quorra::toolkit::wire

int main() { quorra::toolkit::wire::print_table(); }
