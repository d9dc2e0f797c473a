// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

Status read_93c(Reader& reader, const Request& request, Reply& reply);
Status write_93c(Reader& reader, const Request& request, Reply& reply);
Status erase_all_93c(Reader& reader, const Request& request, Reply& reply);
Status write_all_93c(Reader& reader, const Request& request, Reply& reply);

// The commands for the card types of the 93C series. Both of the commands that write do the same.
inline constexpr std::array commands_93c{
    Command{0x60, data_body, write_93c},     Command{0x61, count_body, read_93c},
    Command{0x62, data_body, write_93c},     Command{0x78, bare_body, erase_all_93c},
    Command{0x79, bare_body, write_all_93c},
};

}  // namespace quorra::simulator
