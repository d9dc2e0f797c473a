// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

inline constexpr std::uint8_t cpu_type = 0x20;
inline constexpr std::uint8_t sam_type = 0x21;

Status reset_processor(Reader& reader, const Request& request, Reply& reply);
Status exchange_with_processor(Reader& reader, const Request& request, Reply& reply);
Status set_processor_speed(Reader& reader, const Request& request, Reply& reply);
Status select_sam(Reader& reader, const Request& request, Reply& reply);
Status power_sams_on(Reader& reader, const Request& request, Reply& reply);
Status power_sams_off(Reader& reader, const Request& request, Reply& reply);

// The commands for a processor card in the card slot.
inline constexpr std::array commands_cpu{
    Command{0x20, bare_body, reset_processor},
    Command{exchange_command, data_body, exchange_with_processor},
    Command{0x22, code_body(1), set_processor_speed},
};

// The commands for the SAMs inside the reader.
inline constexpr std::array commands_sam{
    Command{0x20, bare_body, reset_processor},
    Command{exchange_command, data_body, exchange_with_processor},
    Command{0x22, code_body(1), set_processor_speed},
    Command{0x23, code_body(1), select_sam},
    Command{0xB2, bare_body, power_sams_on},
    Command{0xB3, bare_body, power_sams_off},
};

}  // namespace quorra::simulator
