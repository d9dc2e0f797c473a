// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

// The commands on the reader's own memory. While the security mode is on, nothing can change the
// settings until the reader's security code has been presented.

Status read_reader_memory(Reader& reader, const Request& request, Reply& reply);
// All bytes are written or none.
Status write_reader_memory(Reader& reader, const Request& request, Reply& reply);
// A wrong code takes back what an earlier right one has allowed.
Status present_reader_code(Reader& reader, const Request& request, Reply& reply);
// The line changes its speed when the reply has gone out.
Status set_line_speed(Reader& reader, const Request& request, Reply& reply);

}  // namespace quorra::simulator
