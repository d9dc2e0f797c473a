// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

void activate_secure(Slot& slot);

Status read_secure(Reader& reader, const Request& request, Reply& reply);
Status write_secure(Reader& reader, const Request& request, Reply& reply);
Status write_security_area(Reader& reader, const Request& request, Reply& reply);
Status erase_secure(Reader& reader, const Request& request, Reply& reply);
Status present_code_secure(Reader& reader, const Request& request, Reply& reply);
Status present_erase_code(Reader& reader, const Request& request, Reply& reply);
Status imitate_fuse(Reader& reader, const Request& request, Reply& reply);
Status personalise(Reader& reader, const Request& request, Reply& reply);
Status present_code_4406(Reader& reader, const Request& request, Reply& reply);
Status carry_4406(Reader& reader, const Request& request, Reply& reply);

inline constexpr std::array commands_4404{
    Command{0x60, data_body, write_secure},
    Command{0x61, count_body, read_secure},
    Command{0x64, code_body(2), present_code_secure},
    Command{0x68, code_body(4), present_erase_code},
    Command{0x71, bare_body, personalise},
    Command{0x76, count_body, erase_secure},
    Command{0x80, code_body(1), imitate_fuse},
};

inline constexpr std::array commands_4406{
    Command{0x60, data_body, write_secure},
    Command{0x61, count_body, read_secure},
    Command{0x64, code_body(3), present_code_4406},
    Command{0x70, bare_body, carry_4406},
};

// The commands for the card types of the 101, of the 102, and of the 1604 and 1604b. An erase code
// has 2, 4 or 6 bytes.
inline constexpr std::array commands_of_zoned_cards{
    Command{0x60, data_body, write_secure},           Command{0x61, count_body, read_secure},
    Command{0x64, code_body(2), present_code_secure}, Command{0x66, data_body, write_security_area},
    Command{0x68, {7, 11}, present_erase_code},       Command{0x73, bare_body, personalise},
    Command{0x76, count_body, erase_secure},          Command{0x80, code_body(1), imitate_fuse},
};

}  // namespace quorra::simulator
