// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Which kind of memory card is in the reader.

#include <quorra.h>

#include "link/codes.hpp"

namespace quorra {
namespace {

struct Probe {
  int (*accepts)(int handle);
  int card_number;
};

// Security cards first; the 24C series from the largest to the smallest.
constexpr Probe probes[] = {
    {chk_4404, 40},  {chk_4406, 41}, {chk_102, 51},    {chk_1604, 52},   {chk_1604b, 53},
    {chk_4428, 31},  {chk_4442, 21}, {chk_45d041, 10}, {chk_93c46a, 60}, {chk_93c46, 61},
    {chk_93c57, 62}, {chk_24c64, 7}, {chk_24c32, 6},   {chk_24c16, 5},   {chk_24c08, 4},
    {chk_24c04, 3},  {chk_24c02, 2}, {chk_24c01a, 1},
};

constexpr int no_known_card = 0;

}  // namespace
}  // namespace quorra

using namespace quorra;

int chk_card(int handle) {
  for (const Probe& probe : probes) {
    if (probe.accepts(handle) == ok) return probe.card_number;
    turn_off(handle);
  }
  return no_known_card;
}
