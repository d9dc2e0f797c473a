// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "toolkit/wire/auxiliary.hpp"

namespace quorra::toolkit::wire {

AuxiliaryStream::Output AuxiliaryStream::take(std::span<const unsigned char> bytes) {
  Output output;
  for (const unsigned char byte : bytes) {
    held_ += static_cast<char>(byte);
    while (!held_.empty()) {
      const std::string& awaited = is_on_ ? after_ : before_;
      if (held_ == awaited) {
        is_on_ = !is_on_;
        held_.clear();
      } else if (awaited.starts_with(held_)) {
        break;
      } else {
        put_first(output);
      }
    }
  }
  return output;
}

AuxiliaryStream::Output AuxiliaryStream::finish() {
  Output output;
  while (!held_.empty()) {
    put_first(output);
  }
  return output;
}

void AuxiliaryStream::put_first(Output& output) {
  (is_on_ ? output.port : output.screen).push_back(static_cast<unsigned char>(held_.front()));
  held_.erase(0, 1);
}

}  // namespace quorra::toolkit::wire
