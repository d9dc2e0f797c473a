// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Processor cards and SAMs: a card that announces more, less and other than it brings.

#include <quorra.h>

#include "fuzz/support/adversary.hpp"
#include "fuzz/support/functions.hpp"

using namespace quorra::fuzzing;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const Function* const conversations[] = {
      &find_function("cpu_protocol"), &find_function("sam_protocol"), &find_function("cpu_comres"),
      &find_function("sam_comres"),   &find_function("cpu_reset"),    &find_function("sam_reset"),
  };
  constexpr int most_calls = 4;
  Input input({data, size});
  Adversary adversary(input);
  Line& line = Line::instance();
  line.reset(adversary);
  set_globals(input);
  for (int call = 0; call < most_calls && !input.empty(); ++call) {
    // The two that speak in blocks have the long roads.
    constexpr std::size_t kinds[] = {0, 1, 0, 1, 0, 1, 2, 3, 4, 5};
    const Function& function = *conversations[kinds[input.byte() % std::size(kinds)]];
    function.run(function, input, line);
  }
  return 0;
}
