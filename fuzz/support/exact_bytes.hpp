// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Bytes between two guards. A sanitizer that knows addresses sees each access to the guards;
// without one, what was written there is seen afterwards.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

#include "fuzz/support/check.hpp"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUORRA_ADDRESSES_ARE_CHECKED 1
#endif
#if __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#define QUORRA_VALUES_ARE_CHECKED 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QUORRA_ADDRESSES_ARE_CHECKED 1
#endif
#ifdef QUORRA_ADDRESSES_ARE_CHECKED
#include <sanitizer/asan_interface.h>
#endif

namespace quorra::fuzzing {

// Where values are checked, bytes that nobody has set are a finding.
inline void require_set([[maybe_unused]] std::span<const unsigned char> bytes) {
#ifdef QUORRA_VALUES_ARE_CHECKED
  __msan_check_mem_is_initialized(bytes.data(), bytes.size());
#endif
}

class ExactBytes {
 public:
  // What bytes are that nobody has given a value.
  static constexpr unsigned char untouched = 0xEE;

  explicit ExactBytes(std::size_t size) : size_(size), all_(2 * guard + size, untouched) {
    protect(true);
  }
  explicit ExactBytes(std::span<const unsigned char> content) : ExactBytes(content.size()) {
    std::ranges::copy(content, data());
  }
  ExactBytes(const ExactBytes&) = delete;
  ExactBytes& operator=(const ExactBytes&) = delete;
  ~ExactBytes() {
    protect(false);
    require(guard_is_whole(all_.data()) && guard_is_whole(data() + size_),
            "nothing is written before or behind a buffer");
  }

  std::size_t size() const { return size_; }
  unsigned char* data() { return all_.data() + guard; }
  const unsigned char* data() const { return all_.data() + guard; }
  std::span<unsigned char> bytes() { return {data(), size_}; }

  template <typename T>
  T* as() {
    return static_cast<T*>(static_cast<void*>(data()));
  }
  // The first `size` bytes as a number.
  template <typename T>
  T value() const {
    T value{};
    std::memcpy(&value, data(), sizeof value);
    return value;
  }

 private:
  static constexpr std::size_t guard = 64;

  static bool guard_is_whole(const unsigned char* bytes) {
    return std::all_of(bytes, bytes + guard, [](unsigned char byte) { return byte == untouched; });
  }

  void protect([[maybe_unused]] bool on) const {
#ifdef QUORRA_ADDRESSES_ARE_CHECKED
    for (const unsigned char* place : {all_.data(), data() + size_}) {
      if (on) {
        __asan_poison_memory_region(place, guard);
      } else {
        __asan_unpoison_memory_region(place, guard);
      }
    }
#endif
  }

  std::size_t size_;
  std::vector<unsigned char> all_;
};

}  // namespace quorra::fuzzing
