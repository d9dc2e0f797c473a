// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a program writes in terminal mode: bytes for the auxiliary port, each or several of them
// between two sequences, and all the rest, which is for the screen.
#pragma once

#include <span>
#include <string>

#include "toolkit/bytes.hpp"

namespace quorra::toolkit::wire {

class AuxiliaryStream {
 public:
  struct Output {
    Bytes port;
    Bytes screen;  // with sequences that do not belong to bytes for the port
  };

  // The sequences before and after bytes for the port, which are not empty.
  AuxiliaryStream(std::string before, std::string after)
      : before_(std::move(before)),
        after_(std::move(after)) {}

  // Takes bytes as they come, also where a sequence is cut.
  Output take(std::span<const unsigned char> bytes);
  // What was held back because it could have become a sequence.
  Output finish();

 private:
  void put_first(Output& output);

  std::string before_;
  std::string after_;
  bool is_on_ = false;
  std::string held_;
};

}  // namespace quorra::toolkit::wire
