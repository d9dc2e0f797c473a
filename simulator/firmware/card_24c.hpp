// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

Status read_24c(Reader& reader, const Request& request, Reply& reply);
Status write_24c(Reader& reader, const Request& request, Reply& reply);

// The commands for the card types of the 24C series.
inline constexpr std::array commands_24c{
    Command{0x61, count_body, read_24c},
    Command{0x62, data_body, write_24c},
};

}  // namespace quorra::simulator
