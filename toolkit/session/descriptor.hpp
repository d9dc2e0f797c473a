// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace quorra::toolkit {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { close(); }

  // Negative if there is none.
  int number() const { return number_; }

  // 0, or -1 with errno set.
  int close() {
    const int closed = std::exchange(number_, -1);
    return closed < 0 ? 0 : ::close(closed);
  }

 private:
  int number_;
};

}  // namespace quorra::toolkit
