// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Completing lines of commands as shells complete them.
#pragma once

#include <string_view>

#include "cli/script/series.hpp"
#include "cli/terminal/line_editor.hpp"

namespace quorra::cli {

// What may take the place of the last word of a line that was typed so far.
Completions completions_for(const Series& series, std::string_view line);

}  // namespace quorra::cli
