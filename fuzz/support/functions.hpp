// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Every function that the library exports: how it is called with arguments from an input, and what
// is required of it then. The sizes, bounds and results are those that quorra.h promises.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "fuzz/support/input.hpp"
#include "fuzz/support/line.hpp"

namespace quorra::fuzzing {

// The numbers among the arguments of a call, in their order and without the handle.
using Numbers = std::array<std::int64_t, 3>;

// What the arguments lead to. Where both are bad either code is right.
struct Verdict {
  bool address_is_bad = false;
  bool length_is_bad = false;
  std::size_t room = 0;  // of the buffer, if there is one and the arguments are good

  bool refused() const { return address_is_bad || length_is_bad; }
};

struct Zone {
  int addresses = 0;  // the first that is refused
  int reach = 0;      // a transfer that runs past it is refused
};

struct Rule {
  Verdict (*judge)(const Rule& rule, const Numbers& numbers) = nullptr;

  // Of a memory, in its own unit.
  Zone memory{};
  std::span<const Zone> zones{};
  int unit = 1;
  bool past_end_is_bad_address = false;

  int length = 0;  // of a code
  int first = 0;   // the numbers of zones or codes that there are
  int last = 0;
  std::size_t room = 0;

  int also = 0;  // a result besides the usual ones
  int also2 = 0;
  bool hides = false;     // every failure is -133
  bool positive = false;  // a STATUS is not negated
  bool always_talks = true;
  bool keeps = true;  // a buffer that it fills stays as it was when it fails
};

struct Function {
  std::string_view name;
  void (*run)(const Function& function, Input& input, Line& line);
  Rule rule;
};

std::span<const Function> functions();

// The function of that name.
const Function& find_function(std::string_view name);

// Requires the names in the linker's list at `path` to be those of the table and of the session
// globals, neither more nor less.
void require_all_names(const char* path);

// Sets the session globals, as a program may have left them.
void set_globals(Input& input);

}  // namespace quorra::fuzzing
