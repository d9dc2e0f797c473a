// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What somebody may have meant who mistyped a word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::cli {

// The nearest of the names; empty if none is near. Upper and lower case are alike.
std::string nearest(std::string_view word, const std::vector<std::string>& names);

// "; did you mean 'read'?", or nothing.
std::string suggestion(std::string_view word, const std::vector<std::string>& names);

}  // namespace quorra::cli
