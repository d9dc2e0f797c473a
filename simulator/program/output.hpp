#pragma once

#include <string_view>

namespace quorra::simulator {

// Prints to standard output. Throws Error.
void print(std::string_view text);

}  // namespace quorra::simulator
