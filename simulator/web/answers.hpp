// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

#include "simulator/bench/state.hpp"
#include "simulator/web/feed.hpp"

namespace quorra::simulator {

// What the page is told, as JSON.

// The card in the slot with all of its cells, and its contacts.
std::string card_as_json(const State& state);

// One event of a stream of events (text/event-stream).
std::string streamed(const Feed::Event& event);

}  // namespace quorra::simulator
