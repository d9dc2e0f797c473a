/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/*
 * Has a security access module (SAM) prove that it knows a key: sam_challenge reader.conf
 *
 * It is sent eight bytes that nobody could know before, and enciphers them with the key that it
 * keeps. Whoever has the key does the same and compares. The module speaks T=0.
 */
#include <quorra.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>

enum { block = 8 };

static const unsigned char key[block] = {0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};

static int authenticate(int reader, const unsigned char* challenge, unsigned char* answer) {
  unsigned char reset[255];
  unsigned char reply[255];
  int length = 0;
  int result = sam_power_on(reader);
  if (result == 0) result = sam_select(reader, 0);
  if (result == 0) result = sam_reset(reader, &length, reset);
  if (result != 0) return result;
  printf("the module is there: answer to reset of %d bytes\n", length);

  unsigned char command[5 + block] = {0x00, 0x88, 0x00, 0x00, block}; /* INTERNAL AUTHENTICATE */
  memcpy(command + 5, challenge, block);
  result = sam_comres(reader, sizeof command, command, reply);
  if (result != 0) return result;
  if (reply[0] != 0x61 || reply[1] != block) return 1; /* 61 08: eight bytes are ready */

  const unsigned char get_response[5] = {0x00, 0xC0, 0x00, 0x00, block};
  result = sam_comres(reader, sizeof get_response, get_response, reply);
  if (result != 0) return result;
  if (reply[block] != 0x90 || reply[block + 1] != 0x00) return 1;
  memcpy(answer, reply, block);
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: sam_challenge reader.conf\n");
    return 2;
  }
  unsigned char challenge[block];
  unsigned char answer[block];
  unsigned char wanted[block];
  if (getrandom(challenge, sizeof challenge, 0) != (ssize_t)sizeof challenge) return 1;
  const int reader = ic_init(argv[1], 9600);
  if (reader < 0) {
    fprintf(stderr, "no reader: %d\n", reader);
    return 1;
  }
  const int result = authenticate(reader, challenge, answer);
  sam_power_down(reader);
  ic_exit(reader);
  if (result != 0) {
    fprintf(stderr, "no answer: %d\n", result);
    return 1;
  }
  ic_encrypt(key, challenge, sizeof challenge, wanted);
  const int is_right = memcmp(answer, wanted, block) == 0;
  puts(is_right ? "it knows the key" : "it does not know the key");
  return !is_right;
}
