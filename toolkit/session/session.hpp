// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How programs call the library while a session with a reader is open.
#pragma once

#include <functional>
#include <string>

#include "toolkit/session/errors.hpp"

namespace quorra::toolkit {

class RefusedCodes;

// Tells how far a transfer is: that so many of its bytes are through.
using Progress = std::function<void(int done)>;

// An open session. A program says what it does before and after a call, and what it knows of its
// reader, by deriving from it.
class Session {
 public:
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  virtual ~Session() = default;

  // What functions of the library take.
  virtual int handle() const = 0;

  // Calls a function of the library and returns its result. Throws what the program throws before
  // or after a call: Interrupted, for example.
  template <typename... Parameters, typename... Arguments>
  int attempt(const Operation& operation, int (*function)(int handle, Parameters...),
              Arguments... arguments) const {
    before_call(operation);
    const int result = function(handle(), arguments...);
    after_call(operation, result);
    return result;
  }

  // The same, and throws Failure if the function fails; Unanswered if it may have succeeded.
  template <typename... Parameters, typename... Arguments>
  void run(const Operation& operation, int (*function)(int handle, Parameters...),
           Arguments... arguments) const {
    const int result = attempt(operation, function, arguments...);
    if (result < 0) fail(operation, result);
  }

  // Drops what still comes of a reply that was late or spoilt: it would be taken for the next one.
  // Throws what the program throws before or after a call.
  virtual void drain(const Operation& operation) const;

  // Throws Failure for such a result below 0; Unanswered if the function may have succeeded.
  [[noreturn]] void fail(const Operation& operation, int result) const;

  // "<words> (<result>)", for a result below 0.
  std::string explain(OperationKind kind, int result) const;

  // The same with what was being done before it.
  std::string describe(const Operation& operation, int result) const;

  // Who is told how far a transfer of `total` bytes is; nobody, if empty.
  virtual Progress watch(const Operation& operation, int total) const;

  // The codes that the card has refused in this session; a null pointer if nobody keeps them.
  virtual RefusedCodes* refused_codes() const;

 protected:
  Session() = default;

  virtual void before_call(const Operation& operation) const;
  virtual void after_call(const Operation& operation, int result) const;

  // What the reader means by this STATUS; empty if that is not known.
  virtual std::string meaning_of_status(int status) const;
};

}  // namespace quorra::toolkit
