// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <filesystem>

namespace quorra::simulator {

// Plays a recording back as a reader, until a signal ends it: the exit status. `configuration` is
// where the file for hosts is written; empty: a temporary folder. Throws Error.
int replay(const std::filesystem::path& recording, const std::filesystem::path& configuration);

}  // namespace quorra::simulator
