/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/*
 * Spends units of a personalised 4406, the card of telephones: count_down reader.conf UNITS
 *
 * The counter has five stages, bytes 8 to 12. A bit that is 1 is worth 1 in the last stage, and
 * eight times as much in each stage before it. Writing clears bits and never sets one, so spending
 * a unit is writing the byte with one bit less. When the last stage is used up, one unit of the
 * stage before it is changed into eight: eswc_4406.
 */
#include <quorra.h>
#include <stdio.h>
#include <stdlib.h>

enum { first_stage = 8, stages = 5, last_stage = first_stage + stages - 1 };

static int units_of(unsigned char stage) {
  int units = 0;
  for (; stage != 0; stage = (unsigned char)(stage & (stage - 1)))
    ++units;
  return units;
}

static int worth_of(const unsigned char* counter) {
  int worth = 0;
  for (int stage = 0; stage < stages; ++stage)
    worth = worth * 8 + units_of(counter[stage]);
  return worth;
}

static int spend_one(int reader) {
  unsigned char counter[stages];
  int result = srd_4406(reader, first_stage, stages, counter);
  if (result != 0) return result;
  int stage = stages - 1;
  while (stage > 0 && counter[stage] == 0)
    --stage;
  /* From the last stage that has any, towards the end. */
  for (; stage < stages - 1; ++stage) {
    result = eswc_4406(reader, first_stage + stage);
    if (result != 0) return result;
  }
  result = srd_4406(reader, last_stage, 1, &counter[stages - 1]);
  if (result != 0) return result;
  const unsigned char spent = (unsigned char)(counter[stages - 1] & (counter[stages - 1] - 1));
  return swr_4406(reader, last_stage, 1, &spent);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: count_down reader.conf UNITS\n");
    return 2;
  }
  const int reader = ic_init(argv[1], 9600);
  if (reader < 0) {
    fprintf(stderr, "no reader: %d\n", reader);
    return 1;
  }
  unsigned char counter[stages];
  int result = srd_4406(reader, first_stage, stages, counter);
  if (result == 0) printf("%d units before\n", worth_of(counter));
  for (int left = atoi(argv[2]); result == 0 && left > 0; --left) {
    if (worth_of(counter) == 0) {
      fprintf(stderr, "the card is used up\n");
      break;
    }
    result = spend_one(reader);
    if (result == 0) result = srd_4406(reader, first_stage, stages, counter);
  }
  if (result == 0) printf("%d units left\n", worth_of(counter));
  ic_exit(reader);
  if (result != 0) fprintf(stderr, "the reader or the card refused: %d\n", result);
  return result != 0;
}
