// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string_view>

// What virtual reader and player agree on in a file of waves.
namespace quorra::simulator::waves {

// Those of a card. IO and C8 are the lines, which are high when nobody pulls them low; the two
// behind them tell who lets IO go.
inline constexpr std::string_view vcc = "VCC";
inline constexpr std::string_view rst = "RST";
inline constexpr std::string_view clk = "CLK";
inline constexpr std::string_view io = "IO";
inline constexpr std::string_view c4 = "C4";
inline constexpr std::string_view c8 = "C8";
inline constexpr std::string_view io_of_reader = "IO_reader";
inline constexpr std::string_view io_of_card = "IO_card";

// What the reader is doing, as a string, and what that is between requests.
inline constexpr std::string_view request = "request";
inline constexpr std::string_view idle = "idle";

// A comment of two words, of which the second one is the kind of the card.
inline constexpr std::string_view kind_of_card = "card";

}  // namespace quorra::simulator::waves
