// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Looking for a reader on a line at one speed after the other.
#pragma once

#include <functional>
#include <optional>
#include <span>

#include "toolkit/session/configuration.hpp"

namespace quorra::toolkit {

// Those that a reader can have on the line of the last configuration that was read.
std::span<const int> findable_speeds();

// The speed at which a reader answers when it is asked for its status; none if it is none of these.
// The device is to be open. `before` is called before each attempt, and may throw.
std::optional<int> find_speed(const Configuration& configuration, std::span<const int> speeds,
                              const std::function<void(int speed)>& before);

}  // namespace quorra::toolkit
