// What a processor card says of itself in its answer to reset.
#pragma once

#include <string>

#include "cli/parse.hpp"

namespace quorra::cli {

// A line for each of its bytes, and what they mean. Throws Failure if it is no answer to reset: its
// first byte is none, it ends too early or too late, or its check byte is wrong.
std::string describe_answer_to_reset(const Bytes& bytes);

}  // namespace quorra::cli
