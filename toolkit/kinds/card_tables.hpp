// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The rows of data, in two files, and what they share.
#pragma once

#include <span>
#include <type_traits>

#include "toolkit/kinds/card.hpp"

namespace quorra::toolkit {

std::span<const Card> memory_cards();
std::span<const Card> security_cards();

// A code that functions of the library present and change. Where a card has several, the functions
// take its `number`, or its zone, before the length.
template <int size, auto present, auto change, int... number>
constexpr Code code_of_library(std::optional<Counter> counter) {
  return {
      .size = size,
      .counter = counter,
      .present = [](int handle,
                    const unsigned char* code) { return present(handle, number..., size, code); },
      .change = [](int handle,
                   const unsigned char* code) { return change(handle, number..., size, code); },
  };
}

// The same for a code that can be read back.
template <int size, auto present, auto change, auto read>
constexpr Code readable_code_of_library(Counter counter) {
  Code code = code_of_library<size, present, change>(counter);
  code.read = [](int handle, unsigned char* bytes) { return read(handle, size, bytes); };
  return code;
}

// The library counts in different types of integer, and one of its functions adds to what it finds.
template <auto read, int... number>
int read_number(int handle, int* left) {
  using Number =
      std::conditional_t<std::is_invocable_v<decltype(read), int, int*>, int, unsigned int>;
  Number counted = 0;
  const int result = read(handle, number..., &counted);
  *left = static_cast<int>(counted);
  return result;
}

}  // namespace quorra::toolkit
