/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/*
 * Reads all of a 24c16 card on a line that loses replies: lost_line reader.conf
 *
 * After a timeout, a reply that does not begin as it should, or a wrong check byte, the rest of
 * that reply may still be on its way, and would be taken for the answer to the next request. So the
 * session is closed, and a new one is opened: only that empties the line. What was read before
 * stays read.
 */
#include <quorra.h>
#include <stdio.h>

enum { size = 2048, piece = 128, most_losses = 10 };

static int is_lost(int result) {
  return result == -128 || result == -129 || result == -132 || result == -133;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: lost_line reader.conf\n");
    return 2;
  }
  static unsigned char memory[size];
  int reader = ic_init(argv[1], 9600);
  int losses = 0;
  int done = 0;
  while (done < size) {
    const int result = reader < 0 ? reader : srd_24c16(reader, done, piece, memory + done);
    if (result == 0) {
      done += piece;
      continue;
    }
    const int may_pass = reader < 0 || is_lost(result);
    if (!may_pass || losses == most_losses) {
      fprintf(stderr, "given up after %d bytes: %d\n", done, result);
      if (reader >= 0) ic_exit(reader);
      return 1;
    }
    ++losses;
    if (reader >= 0) ic_exit(reader);
    reader = ic_init(argv[1], 9600);
  }
  ic_exit(reader);
  printf("read %d bytes, the line was lost %d times\n", done, losses);
  return 0;
}
