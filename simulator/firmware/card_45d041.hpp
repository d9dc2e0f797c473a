// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

void activate_45d041(Slot& slot);

Status read_45d041(Reader& reader, const Request& request, Reply& reply);
Status write_45d041(Reader& reader, const Request& request, Reply& reply);
Status read_status_45d041(Reader& reader, const Request& request, Reply& reply);

// The commands for the card type of the 45D041. The two bytes before the address are the page, and
// the address is an offset in it.
inline constexpr std::array commands_45d041{
    Command{0x60, data_body, write_45d041},
    Command{0x61, count_body, read_45d041},
    Command{0x77, bare_body, read_status_45d041},
};

}  // namespace quorra::simulator
