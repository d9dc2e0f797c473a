// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes whose end is guarded: whoever touches what lies behind them crashes.
#pragma once

#include <cstddef>

#include "tests/support/bytes.hpp"

namespace quorra::testing {

class GuardedBytes {
 public:
  explicit GuardedBytes(const Bytes& bytes);
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;
  ~GuardedBytes();

  // The first byte. The page behind the last one can be neither read nor written.
  unsigned char* data() { return data_; }
  const unsigned char* data() const { return data_; }
  int size() const { return static_cast<int>(size_); }
  Bytes content() const { return {data_, data_ + size_}; }

 private:
  std::size_t size_;
  std::size_t mapped_;
  unsigned char* pages_;
  unsigned char* data_;
};

}  // namespace quorra::testing
