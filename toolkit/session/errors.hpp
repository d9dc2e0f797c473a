// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What can go wrong, and the words for it.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "toolkit/range.hpp"

namespace quorra::toolkit {

// What became of the bytes that were to be written.
struct Extent {
  std::vector<Range> written = {};
  std::vector<Range> erased = {};  // and not written again
  std::vector<Range> unknown = {};
  std::vector<Range> not_written = {};
};

// What is known of a failure, for programs.
struct Particulars {
  std::optional<int> code = {};           // what the library returned
  std::string_view word = {};             // a name for what went wrong: "timeout"
  std::optional<int> address = {};        // of the first byte that it concerns
  std::optional<int> attempts_left = {};  // at the code that was presented
  std::optional<int> process = {};        // that has the reader
  std::optional<Extent> extent = {};      // of a writing that ended before its time
};

// The operation failed. The text is "<what was being done>: <what went wrong>".
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& text, Particulars particulars = {})
      : std::runtime_error(text),
        particulars_(std::move(particulars)) {}

  const Particulars& particulars() const { return particulars_; }

 private:
  Particulars particulars_;
};

// No reader answers where one should be.
class NoReader : public Failure {
 public:
  using Failure::Failure;
};

// The reader says that its slot is empty.
class NoCard : public Failure {
 public:
  using Failure::Failure;
};

// The reader's reply is lost or spoilt, so nobody knows whether the reader did what it was told.
class Unanswered : public Failure {
 public:
  using Failure::Failure;
};

// The user ended the operation, by Ctrl-C for example.
class Interrupted : public Failure {
 public:
  using Failure::Failure;
};

// What is asked for cannot be done.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Some numbers of the library mean one thing in these operations and another elsewhere. The guarded
// ones begin with a check that the card is there.
enum class OperationKind {
  ordinary,
  opening,
  probing,
  protecting,
  guarded_reading,
  guarded_writing,
  presenting,   // a code, and comparing it with what the card holds
  verified,     // what was written to the reader is read back
  subtracting,  // the same, from the value register
};

// What the program is doing when it calls the library.
struct Operation {
  std::string_view doing;  // "reading the card"
  OperationKind kind = OperationKind::ordinary;
  std::string_view done = "done";  // of a transfer, what becomes of its bytes: "read"
};

// The result of probing for a card that is not there.
inline constexpr int not_this_card = -133;

// Whether a result stands for the reader's STATUS, because the library has no such code of its own
// in this operation.
bool is_status(int result, OperationKind kind);

// A name for what a result below 0 means in this operation: "timeout", "bad_address"; "status" for
// the reader's STATUS.
std::string_view word_for(int result, OperationKind kind);

// The two of them.
Particulars particulars_of(int result, OperationKind kind);

// The words for a result below 0: what the library's code means in this operation, or the number of
// the reader's STATUS.
std::string words_for(int result, OperationKind kind);

// Whether such a result means that the reader's reply is lost or spoilt.
bool is_unanswered(int result);

// What `step` returns. If it fails, `words` end its message: they say what was done before.
template <typename Step>
auto with_progress(std::string_view words, Step step) {
  try {
    return step();
  } catch (const Failure& error) {
    throw Failure(error.what() + std::string(words), error.particulars());
  }
}

// The words that `tell` finds for an addition to an error message. If it fails in turn, there are
// none: the error counts more.
template <typename Tell>
std::string if_possible(Tell tell) {
  try {
    return tell();
  } catch (const Failure&) {
    return {};
  }
}

}  // namespace quorra::toolkit
