// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Which kind of card a command found in a reader, for the commands after it: reading the card anew
// would switch its power off, and with that a code that was presented would be forgotten.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "toolkit/kinds/card.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// A note in the user's own folder for running programs. Where there is none to write it to, each
// command reads the card.
class KnownKind {
 public:
  // Of the card in this reader.
  explicit KnownKind(const Session& session);

  // Null if it is not known. It counts only as long as the card has kept its power, and whoever
  // gives power to a card without reading what it is forgets it.
  const Card* get() const;
  // What else the last `set` said, if nobody has set or forgotten it since: whose card it is.
  std::string tag() const;
  // Why it may be another one, in a line, as the last `set` said; empty if it is certain.
  std::string doubt() const;
  void set(const Card& card, std::string_view tag = {}, std::string_view doubt = {}) const;
  void forget() const;

 private:
  struct Note {
    std::string card;
    std::string tag;
    std::string doubt;
  };

  // Empty if there is none about this device.
  Note read() const;

  std::filesystem::path note_;  // empty if there is no folder
  // When the device came to be: another one, plugged in or made later, may have its number.
  std::string device_;
};

}  // namespace quorra::toolkit
