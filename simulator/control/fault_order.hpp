// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <span>
#include <string_view>

#include "simulator/control/fields.hpp"
#include "simulator/line/faults.hpp"

namespace quorra::simulator {

// The fault that the fields of a command describe. Throws Error.
FaultOrder parse_fault(const Fields& fields);

// The same from a command line: a JSON object, or the kind and fields after commas, such as
// "status,status=6,on=0x61". Throws Error.
FaultOrder parse_fault(std::string_view text);

Json to_json(const Fault& fault);
Json to_json(const FaultOdds& odds);
Json to_json(std::span<const InjectedFaults> injected);

// For people: "silence 3, bit_error 12", or "none".
std::string to_text(std::span<const InjectedFaults> injected);

}  // namespace quorra::simulator
