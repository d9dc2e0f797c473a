// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A reader that answers as the input says: rightly, wrongly, in part, late or never.
#pragma once

#include <array>
#include <cstddef>

#include "fuzz/support/line.hpp"

namespace quorra::fuzzing {

class Adversary final : public Peer {
 public:
  // The input is that of the whole run: whoever makes a call takes its arguments from it first.
  explicit Adversary(Input& input);

  ssize_t read(unsigned char& byte) override;
  ssize_t write(Bytes bytes) override;

 private:
  static constexpr std::size_t longest_reply = 300;

  void answer();
  void reply(unsigned char status, Bytes data);
  void reply_with_pattern(unsigned char status);
  void reply_with_block();
  void reply_with_flaw();
  Bytes last_written() const;

  Input& input_;

  std::array<unsigned char, longest_reply> outgoing_{};
  std::size_t outgoing_size_ = 0;
  std::size_t outgoing_taken_ = 0;
  bool silent_ = false;  // until the next request
  int error_ = 0;        // what a read meets in silence, 0: just nothing
  int late_ = 0;         // reads that find nothing before the next one

  // The last request, and what the last one carried that carried data.
  std::array<unsigned char, 260> request_{};
  std::size_t request_size_ = 0;
  std::array<unsigned char, 256> written_{};
  std::size_t written_size_ = 0;
  bool request_is_over_ = false;

  unsigned writes_before_failure_;
  unsigned char failure_;
};

// The operations of answer(), which the first byte of each answer names.
enum class Answer : unsigned char {
  pattern,  // a good reply: LEN and a first byte are given
  bytes,    // a good reply: LEN and all of its bytes are given
  written,  // a good reply with what was last written
  status,   // a reply with a STATUS
  block,    // a good reply with a block of a processor card
  flaw,     // a reply that is wrong somewhere
  raw,      // some bytes
  silence,
  late,
  count
};

}  // namespace quorra::fuzzing
