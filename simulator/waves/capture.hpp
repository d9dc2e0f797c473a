// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "simulator/cards/chip.hpp"
#include "simulator/waves/vcd_reader.hpp"

namespace quorra::simulator {

// The names that the contacts have in a capture, where they have others than ours.
using SignalNames = std::map<std::string, std::string, std::less<>>;

// While the reader did not change anything from one time to the other, the card that was recorded
// left a line at another level than the chip does.
struct Difference {
  std::string signal;
  bool recorded = false;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct Judgement {
  std::vector<Difference> first_differences;
  std::uint64_t differences = 0;
  std::uint64_t comparisons = 0;
};

// Drives the chip with what the reader did in the capture, and compares what the chip does with
// what the card did. Throws Error if the capture cannot be read to its end, lacks a contact of the
// chip, was recorded with another kind of card, or has nothing to be compared.
Judgement judge(Chip& chip, VcdReader& capture, const SignalNames& names);

// A time of the capture: "#1234 (1.234 ms)", or "#1234" if it does not say how long that is.
std::string time_in_words(const VcdReader& capture, std::uint64_t time);

}  // namespace quorra::simulator
