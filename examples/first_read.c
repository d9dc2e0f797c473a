/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/* Reads the first bytes of a 4442 card: first_read reader.conf */
#include <quorra.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: first_read reader.conf\n");
    return 2;
  }
  const int reader = ic_init(argv[1], 9600);
  if (reader < 0) {
    fprintf(stderr, "no reader: %d\n", reader);
    return 1;
  }
  unsigned char bytes[8];
  const int result = srd_4442(reader, 0, sizeof bytes, bytes);
  ic_exit(reader);
  if (result != 0) {
    fprintf(stderr, "not read: %d\n", result);
    return 1;
  }
  for (unsigned i = 0; i < sizeof bytes; ++i) {
    printf("%02X%c", bytes[i], i + 1 < sizeof bytes ? ' ' : '\n');
  }
  return 0;
}
