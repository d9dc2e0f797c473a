// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The status words SW1 SW2 that a processor card puts behind its answer.
#pragma once

#include <string>

namespace quorra::toolkit {

inline constexpr unsigned status_words_done = 0x9000;

// "9000: done", "63C2: 2 attempts left", "6A82: file or application not found"
std::string describe_status_words(unsigned status_words);

}  // namespace quorra::toolkit
