// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

void activate_4428(Slot& slot);

Status read_4428(Reader& reader, const Request& request, Reply& reply);
Status read_with_protection_4428(Reader& reader, const Request& request, Reply& reply);
Status write_4428(Reader& reader, const Request& request, Reply& reply);
Status write_with_protection_4428(Reader& reader, const Request& request, Reply& reply);
Status write_protection_4428(Reader& reader, const Request& request, Reply& reply);
Status present_code_4428(Reader& reader, const Request& request, Reply& reply);
Status read_counter_4428(Reader& reader, const Request& request, Reply& reply);

// The commands for the card type of the 4418.
inline constexpr std::array commands_4418{
    Command{0x60, data_body, write_4428},
    Command{0x61, count_body, read_4428},
    Command{0x6D, data_body, write_with_protection_4428},
    Command{0x6E, count_body, read_with_protection_4428},
    Command{0x6F, data_body, write_protection_4428},
};

// The commands for the card type of the 4428. Its code is written as the memory is.
inline constexpr std::array commands_4428{
    Command{0x60, data_body, write_4428},
    Command{0x61, count_body, read_4428},
    Command{0x64, code_body(2), present_code_4428},
    Command{0x67, count_body, read_counter_4428},
    Command{0x6D, data_body, write_with_protection_4428},
    Command{0x6E, count_body, read_with_protection_4428},
    Command{0x6F, data_body, write_protection_4428},
};

}  // namespace quorra::simulator
