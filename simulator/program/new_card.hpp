// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorra::simulator {

// The content that the options of "new" give to a card.
struct NewCard {
  std::string kind;
  std::string file;
  bool overwrite = false;
  std::optional<std::string> code;
  std::optional<std::string> answer_to_reset;
  std::optional<std::string> key;
  std::optional<std::string> counter;
  std::optional<std::string> memory;
  std::vector<std::string> data;
  std::vector<std::string> protect;
};

// Makes the image file. The exit status. Throws Error.
int make_card(const NewCard& card);

}  // namespace quorra::simulator
