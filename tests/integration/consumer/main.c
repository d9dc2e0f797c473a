// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <quorra.h>
#include <stdio.h>

int main(int argc, char** argv) {
  char version[19];
  lib_ver(version);
  printf("%s %d %d\n", version, ic_init(argc > 1 ? argv[1] : "", 9600), Reader_Type);
  return 0;
}
