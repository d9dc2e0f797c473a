// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What is known of the kinds of memory cards in PC/SC alone.
#pragma once

#include <string_view>

namespace quorra::pcsc {

enum class AnswerForm {
  header,        // 3B 04 and the card's first four bytes
  two_wire,      // 3B 04 and "I2C."
  storage_card,  // the registered application of PC/SC, which names no card
};

struct Traits {
  std::string_view kind;
  AnswerForm answer;
  unsigned char type;  // by which FF A4 selects cards like this one
};

const Traits& traits_of(std::string_view kind);

}  // namespace quorra::pcsc
