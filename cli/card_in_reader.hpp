// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The memory card that a command is about.
#pragma once

#include <optional>
#include <string>

#include "cli/connection.hpp"
#include "toolkit/kinds/card.hpp"
#include "toolkit/processor/card_line.hpp"

namespace quorra::cli {

// Throws NoCard if the reader says that its slot is empty, or Failure. A reader that does not tell
// has a card.
void expect_card(const Connection& connection);

// Throws NoCard if the reader has refused a command, which is the failure, because its slot is
// empty, or that of the SAM.
void expect_card_behind(const Failure& failure, const Connection& connection, SamNumber sam = {});

// Its kind is the one of --card, or that of the virtual reader's image; otherwise the card is read
// to find it out. Nothing is sent to the reader before that has to be.
class CardInReader {
 public:
  // `yes` is what --yes gave. Throws UsageError, also if that is another kind; where the card has
  // to be read, Failure, NoReader or NoCard as well. No session is open afterwards: a command may
  // wait for its input.
  explicit CardInReader(const Settings& settings, const std::optional<std::string>& yes = {});

  const Card& kind() const { return *kind_; }

  // Opens the session, if it is not open, and makes sure that there is a card and that it is not
  // certainly one of another kind, unless --force is given. What cannot be told by reading is
  // noted. Throws Failure, NoReader or NoCard. To be called once.
  Connection connect();

 private:
  const Settings& settings_;
  const Card* kind_;
};

}  // namespace quorra::cli
