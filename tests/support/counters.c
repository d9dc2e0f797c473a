// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Part of builds with coverage counters.
// A process that ends by a signal writes its counters only when it is told to.
void __gcov_dump(void);
int __real_raise(int number);
int __wrap_raise(int number);

int __wrap_raise(int number) {
  __gcov_dump();
  return __real_raise(number);
}
