// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Where the reader's configuration file is when nobody names it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorra::toolkit {

// The environment variable that names a file, which goes before all places.
inline constexpr char configuration_variable[] = "QUORRA_CONFIG";

// The file that the variable names; none if it is not set, or empty.
std::optional<std::string> configuration_of_environment();

// The user's own, quorra/reader.conf in the folder that XDG_CONFIG_HOME names or else in ~/.config;
// none if there is no home.
std::optional<std::string> own_configuration();

// The places in the order in which they count: the user's own, and that of the machine.
std::vector<std::string> configuration_places();

// The first of these places at which there is something; also what cannot be looked at.
std::optional<std::string> find_configuration();

}  // namespace quorra::toolkit
