// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes to a processor card and back, in single frames.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "toolkit/bytes.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::toolkit {

// Where the card is: the number of a SAM; absent for the card slot.
using SamNumber = std::optional<int>;

// What a frame carries to the card: n bytes go as n + 5, which is up to 255; and from it.
inline constexpr std::size_t most_bytes_to_card = 255 - 5;
inline constexpr std::size_t most_bytes_from_card = 255;

// How long the reader may take for the first byte of its reply.
enum class Wait { usual, extended };

// The library's own calls repeat a frame whose reply is lost, and the card may then carry out a
// command twice. Here a frame is sent once.
class CardLine {
 public:
  CardLine(const Session& session, SamNumber sam) : session_(session), sam_(sam) {}

  // Brings up to `most_bytes_to_card` bytes to the card. Returns 0 and what the card said, or the
  // library's code, or the negated STATUS. Throws Interrupted.
  int exchange(const Bytes& bytes, Bytes& answer, Wait wait = Wait::usual) const;

  // Drops what still comes of a reply that was late or spoilt. Throws Interrupted.
  void drain() const;

  // Throws Failure, or Unanswered: for such a result, or with these words.
  [[noreturn]] void fail(int result) const;
  [[noreturn]] static void fail(std::string_view words);

 private:
  const Session& session_;
  SamNumber sam_;
};

}  // namespace quorra::toolkit
