// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The two slots in which the reader has processor cards, and the frames that go there.
#pragma once

#include <quorra.h>

#include <cstddef>
#include <ostream>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/operation.hpp"

namespace quorra::testing {

// What the check byte of a request covers: the nine bytes before those for the card, or these too.
enum class Covered { first_nine, all };

using CardFunction = int (*)(int handle, int n, const unsigned char* bytes, unsigned char* output);

struct CardSlot {
  const char* name;
  unsigned char card;
  CardFunction command;
  CardFunction block;
  Covered command_covered;
  Covered block_covered;      // by the first frame only
  bool counts_failures_anew;  // after each answer that leads to a get-response
  bool sends_again_after_6c;  // the block, instead of a get-response
};

std::ostream& operator<<(std::ostream& stream, const CardSlot& slot);

inline constexpr CardSlot card_slot{.name = "Card",
                                    .card = 0x20,
                                    .command = cpu_comres,
                                    .block = cpu_protocol,
                                    .command_covered = Covered::all,
                                    .block_covered = Covered::first_nine,
                                    .counts_failures_anew = true,
                                    .sends_again_after_6c = false};

inline constexpr CardSlot sam_slot{.name = "Sam",
                                   .card = 0x21,
                                   .command = sam_comres,
                                   .block = sam_protocol,
                                   .command_covered = Covered::first_nine,
                                   .block_covered = Covered::all,
                                   .counts_failures_anew = false,
                                   .sends_again_after_6c = true};

// The request with these bytes for the card. Its LEN byte is that of n bytes.
Bytes card_request(const CardSlot& slot, const Bytes& bytes, Covered covered, int n);
Bytes card_request(const CardSlot& slot, const Bytes& bytes, Covered covered);

// A block: NAD, PCB, the length of the information, the information, and the LRC of all of that.
Bytes block_of(unsigned char nad, unsigned char pcb, const Bytes& information);

// The same as the answer of a card, in a good reply.
Bytes answer_of(unsigned char nad, unsigned char pcb, const Bytes& information);

// The request that asks for `length` more bytes of an answer.
Bytes get_response(const CardSlot& slot, unsigned char nad, unsigned char pcb,
                   unsigned char length);

// What a caller has to see when nothing of it was written.
inline constexpr unsigned char untouched = 0xEE;

// The buffer of a caller, larger than what is written to it.
class Output {
 public:
  unsigned char* data() { return bytes_.data(); }
  // Expects these bytes at its beginning and the rest untouched; starts anew.
  void expect(const Bytes& written);

 private:
  Bytes bytes_ = Bytes(70'000, untouched);
};

// One call of `function` with the n bytes, behind which nothing can be read.
Operation speaking(CardFunction function, int n, const Bytes& bytes, Output& output,
                   std::vector<Exchange> exchanges);
Operation speaking(CardFunction function, const Bytes& bytes, Output& output,
                   std::vector<Exchange> exchanges);

// A way in which one attempt fails, and which leaves nothing on the line.
struct FailedAttempt {
  const char* name;
  int code;
  Bytes reply;
  bool sent = true;

  Exchange of(const Bytes& request) const {
    return {.request = request, .reply = reply, .sent = sent};
  }
};

const std::vector<FailedAttempt>& ways_to_fail();

// Expects `operation`, which has one exchange, to be attempted so many times: after the last
// failure its code is the result and the output is untouched, and a good reply before ends it with
// 0.
void expect_attempts(const Operation& operation, Mode mode, std::size_t attempts, Output& output,
                     const Bytes& written);

}  // namespace quorra::testing
