// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// One call of a function that takes a handle, numbers and at most one buffer.
#pragma once

#include <quorra.h>

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "fuzz/support/exact_bytes.hpp"
#include "fuzz/support/functions.hpp"

namespace quorra::fuzzing {

// The name of a function, as the compiler spells it.
template <auto function>
constexpr std::string_view name_of() {
  constexpr std::string_view text = __PRETTY_FUNCTION__;
  constexpr std::string_view mark = "function = ";
  std::string_view name = text.substr(text.find(mark) + mark.size());
  name = name.substr(0, name.find_first_of(";]"));
  return name.starts_with('&') ? name.substr(1) : name;
}

// The results that a call may have.
void require_result(const Function& function, const Line& line, int result);
// All that a call sent were whole request frames.
void require_frames(const Function& function, const Line& line);
// A refused call neither sends nor returns anything but the code.
void require_refusal(const Function& function, const Line& line, const Verdict& verdict,
                     int result);

// Mostly the handle of the session.
int take_handle(Input& input, const Line& line);

template <typename T>
constexpr bool is_source = std::is_pointer_v<T>&& std::is_const_v<std::remove_pointer_t<T>>;

// The next argument: a number, or the buffer.
template <typename T>
T take(const Numbers& numbers, std::size_t& next, void* buffer) {
  if constexpr (std::is_pointer_v<T>) {
    return static_cast<T>(buffer);
  } else {
    return static_cast<T>(numbers.at(next++));
  }
}

template <typename... Parameters>
void call(int (*callee)(int, Parameters...), const Function& function, Input& input, Line& line) {
  const Rule& rule = function.rule;
  const int handle = take_handle(input, line);
  Numbers numbers{};
  std::size_t count = 0;
  [[maybe_unused]] const auto draw = [&]<typename T>(std::type_identity<T>) {
    if constexpr (!std::is_pointer_v<T>) {
      numbers.at(count++) = static_cast<std::int64_t>(static_cast<T>(input.number()));
    }
  };
  (draw(std::type_identity<Parameters>{}), ...);

  Verdict verdict = rule.judge(rule, numbers);
  constexpr bool has_buffer = (std::is_pointer_v<Parameters> || ...);
  constexpr bool fills = ((std::is_pointer_v<Parameters> && !is_source<Parameters>) || ...);
  const unsigned char flags = input.byte();
  const bool buffer_is_null = has_buffer && flags >= 0xF8;
  if (buffer_is_null) verdict.length_is_bad = true;

  // No more than this is ever touched: an input has no replies for more.
  constexpr std::size_t most = std::size_t{1} << 20;
  ExactBytes buffer(verdict.refused() ? 0 : std::min(verdict.room, most));
  if (!fills) {
    unsigned char value = flags;
    for (unsigned char& byte : buffer.bytes())
      byte = value++;
  }
  const unsigned char first_before = buffer.size() > 0 ? buffer.data()[0] : 0;

  line.forget();
  [[maybe_unused]] std::size_t next = 0;
  [[maybe_unused]] void* const place = buffer_is_null ? nullptr : buffer.data();
  const std::tuple<Parameters...> arguments{take<Parameters>(numbers, next, place)...};
  const int result =
      std::apply([&](Parameters... rest) { return callee(handle, rest...); }, arguments);

  require_set(buffer.bytes());
  if (verdict.refused()) return require_refusal(function, line, verdict, result);
  require_result(function, line, result);
  require_frames(function, line);
  if (fills && rule.keeps && result != 0) {
    for (const unsigned char byte : buffer.bytes())
      require(byte == ExactBytes::untouched, "a failure leaves the buffer alone:", function.name);
  }
  if (!fills) {
    unsigned char value = first_before;
    for (const unsigned char byte : buffer.bytes())
      require(byte == value++, "what is sent stays as it was:", function.name);
  }
}

template <auto callee>
Function entry(const Rule& rule) {
  return {name_of<callee>(),
          [](const Function& function, Input& input, Line& line) {
            call(callee, function, input, line);
          },
          rule};
}

}  // namespace quorra::fuzzing
