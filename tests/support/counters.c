// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Part of builds with coverage counters, which each process writes when it ends.
#include <sys/resource.h>

void __gcov_dump(void);
int __real_raise(int number);
int __wrap_raise(int number);

// Tests let files grow only so far. That is not meant for the counters, which are written behind
// this.
__attribute__((destructor)) static void lift_the_limit_of_files(void) {
  struct rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
}

// A process that ends by a signal writes its counters only when it is told to.
int __wrap_raise(int number) {
  lift_the_limit_of_files();
  __gcov_dump();
  return __real_raise(number);
}
