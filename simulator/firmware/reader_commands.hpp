// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"
#include "simulator/firmware/reader_memory.hpp"

namespace quorra::simulator {

// Bits of the DATA byte that answers the status command.
inline constexpr std::uint8_t card_present_flag = 0x01;
inline constexpr std::uint8_t card_powered_flag = 0x02;

Status read_version(Reader& reader, const Request& request, Reply& reply);
Status power_on(Reader& reader, const Request& request, Reply& reply);
Status power_off(Reader& reader, const Request& request, Reply& reply);
Status sound_buzzer(Reader& reader, const Request& request, Reply& reply);
Status eject(Reader& reader, const Request& request, Reply& reply);
Status read_status(Reader& reader, const Request& request, Reply& reply);

// The commands that are addressed to the reader itself.
inline constexpr std::array reader_commands{
    Command{0xB0, count_body, read_version},
    Command{0xB1, code_body(1), set_line_speed},
    Command{0xB2, bare_body, power_on},
    Command{0xB3, bare_body, power_off},
    Command{0xB4, count_body, sound_buzzer},
    Command{0xB5, code_body(3), present_reader_code},
    Command{0xB6, data_body, write_reader_memory},
    Command{0xB7, count_body, read_reader_memory},
    Command{0xB8, bare_body, eject},
    Command{0xB9, bare_body, read_status},
};

}  // namespace quorra::simulator
