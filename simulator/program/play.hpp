// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <vector>

namespace quorra::simulator {

// Plays what the reader does in a file of waves to the card of an image file, and prints where the
// card that was recorded does something else: the exit status. `names` are pairs CONTACT=SIGNAL.
// The image file stays as it is. Throws Error.
int play_waves(const std::string& waves, const std::string& image,
               const std::vector<std::string>& names);

}  // namespace quorra::simulator
