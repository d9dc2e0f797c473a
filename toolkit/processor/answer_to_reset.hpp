// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a processor card says of itself in its answer to reset.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

// Something that the answer to reset says: "T=1 check", "LRC".
struct AnswerLine {
  std::string name;
  std::string value;
};

// Each of its bytes, and what they mean. Throws Failure if it is no answer to reset: its first byte
// is none, it ends too early or too late, or its check byte is wrong.
std::vector<AnswerLine> describe_answer_to_reset(const Bytes& bytes);

// The protocol that a card speaks after its reset.
struct ProtocolOffer {
  int protocol = 0;
  // The most information that a block to the card may hold; it counts for T=1.
  std::size_t block_size = 0;
};

// None if it is no answer to reset.
std::optional<ProtocolOffer> read_offer(const Bytes& bytes);

}  // namespace quorra::toolkit
