// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Codes that a card has refused: presenting one of them again would cost an attempt, and nothing
// else.
#pragma once

#include <vector>

#include "toolkit/bytes.hpp"
#include "toolkit/kinds/card.hpp"

namespace quorra::toolkit {

// A code and what the user gave for it.
struct Key {
  const Code* code;
  Bytes bytes;
};

// Of one card, as long as its codes stay what they are.
class RefusedCodes {
 public:
  bool contains(const Key& key) const;
  void add(const Key& key) { keys_.push_back(key); }
  bool empty() const { return keys_.empty(); }
  void clear() { keys_.clear(); }

 private:
  std::vector<Key> keys_;
};

}  // namespace quorra::toolkit
