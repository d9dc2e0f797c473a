// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

void activate_4442(Slot& slot);

Status read_4442(Reader& reader, const Request& request, Reply& reply);
Status write_4442(Reader& reader, const Request& request, Reply& reply);
Status read_protection_4442(Reader& reader, const Request& request, Reply& reply);
Status write_protection_4442(Reader& reader, const Request& request, Reply& reply);
Status present_code_4442(Reader& reader, const Request& request, Reply& reply);
Status write_code_4442(Reader& reader, const Request& request, Reply& reply);
Status read_security_4442(Reader& reader, const Request& request, Reply& reply);

// The commands for the card type of the 4442 and the 4432.
inline constexpr std::array commands_4442{
    Command{0x60, data_body, write_4442},
    Command{0x61, count_body, read_4442},
    Command{0x64, code_body(3), present_code_4442},
    Command{0x65, count_body, read_security_4442},
    Command{0x66, code_body(3), write_code_4442},
    Command{0x67, count_body, read_security_4442},
    Command{0x74, count_body, read_protection_4442},
    Command{0x75, data_body, write_protection_4442},
};

}  // namespace quorra::simulator
