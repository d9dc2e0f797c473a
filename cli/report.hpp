// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What a command tells: words for people or, with --json, one object for programs.
#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "cli/connection.hpp"
#include "cli/exit_status.hpp"

namespace quorra::cli {

using Json = nlohmann::ordered_json;

inline constexpr int schema_version = 1;

// What a command told, kept back for somebody who judges it first. Text that is a result is not.
struct Heard {
  Json object;        // the one of --json, with or without it; null if there was none
  std::string error;  // why the command ended before it was done; empty if it was done
};

// Tells what a command has done, at its end, on standard output: `text`, or an object with these
// fields. Throws Failure.
void tell(const Settings& settings, std::string_view text, const Json& fields);

// Tells the same of a command that found that something is not as it should be, and ends it with
// this exit status: throws Told.
[[noreturn]] void tell_and_fail(const Settings& settings, std::string_view text, const Json& fields,
                                int status = exit_failed);

// A failure of which all has been told.
class Told : public Failure {
 public:
  explicit Told(int status) : Failure("told before"), status_(status) {}

  int status() const { return status_; }

 private:
  int status_;
};

// Tells what a command has done before it failed, and why it did, and ends it: throws Told.
[[noreturn]] void tell_and_fail(const Settings& settings, std::string_view text, const Json& fields,
                                const std::exception& error);

// Tells what is neither a result nor an error, such as what could not be checked: on standard
// error, or in the array "notes" of the object that `tell` or `tell_error` tells at last.
void note(const Settings& settings, const std::string& text);

// Tells why a command ended before it was done: on standard error, or as an object on standard
// output, with these fields of what was done before. Returns the exit status that stands for it.
int tell_error(const Settings& settings, const std::exception& error, const Json& fields = {});

// What an object begins with. Takes the notes.
Json object_of(const Settings& settings, bool ok);

// Writes an object to standard output, in a line of its own. Throws Failure.
void print_object(const Json& object);

// Which bytes of which card: "card", "zone" if it has zones, "address" and "count".
Json fields_of(const Card& card, const Memory& memory, Range range);

}  // namespace quorra::cli
