// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "simulator/firmware/command.hpp"

namespace quorra::simulator {

// Carries out a request whose frame is right, and adds to the reply what it asks for. The request
// alone says which type of card is addressed; whatever chip is in the slot gets to see the bus
// procedures of that type.
Status execute(Reader& reader, const Request& request, Reply& reply);

}  // namespace quorra::simulator
