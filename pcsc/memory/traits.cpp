// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/traits.hpp"

#include <algorithm>
#include <iterator>

namespace quorra::pcsc {
namespace {

using enum AnswerForm;

constexpr unsigned char no_type = 0;

// The last row stands for all kinds that have none.
constexpr Traits table[] = {
    {"4442", header, 0x06},       {"4432", header, 0x06},      {"4428", header, 0x05},
    {"4418", header, 0x05},       {"24c01a", two_wire, 0x01},  {"24c02", two_wire, 0x01},
    {"24c04", two_wire, 0x01},    {"24c08", two_wire, 0x01},   {"24c16", two_wire, 0x01},
    {"24c32", two_wire, 0x02},    {"24c64", two_wire, 0x02},   {"4406", storage_card, 0x07},
    {"4404", storage_card, 0x08}, {"101", storage_card, 0x09}, {"102", storage_card, 0x09},
    {"", storage_card, no_type},
};

}  // namespace

const Traits& traits_of(std::string_view kind) {
  const auto* const found = std::ranges::find(table, kind, &Traits::kind);
  return found == std::end(table) ? *std::prev(std::end(table)) : *found;
}

}  // namespace quorra::pcsc
