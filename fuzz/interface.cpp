// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Every exported function, with arguments and against a reader as the input has them.

#include <quorra.h>

#include "fuzz/support/adversary.hpp"
#include "fuzz/support/functions.hpp"

using namespace quorra::fuzzing;

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  require_all_names(QUORRA_MAP);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr int most_calls = 8;
  Input input({data, size});
  Adversary adversary(input);
  Line& line = Line::instance();
  line.reset(adversary);
  constexpr std::array clocks{0L, LONG_MAX - 2'000'000, LONG_MIN, -1L};
  line.now = clocks[input.byte() % clocks.size()];
  set_globals(input);
  for (int call = 0; call < most_calls && !input.empty(); ++call) {
    const Function& function = functions()[input.byte() % functions().size()];
    function.run(function, input, line);
  }
  return 0;
}
