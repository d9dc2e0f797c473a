// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How many tickets a group needs: a child below the limit needs none.

constexpr int limit = 6;
static_assert(limit > 0);

int tickets(const int* ages, int count) {
  int needed = 0;
  for (int i = 0; i < count; ++i) {
    if (ages[i] >= limit) ++needed;
  }
  return needed;
}
