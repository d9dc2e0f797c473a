// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Codes and keys, which need not be arguments that others can see in the list of processes.
#pragma once

#include <CLI/App.hpp>

#include <optional>
#include <string>

namespace quorra::cli {

// The ways to give a code; at most one of them is taken.
struct Secret {
  std::string name = {};                 // as messages call it: "--code"
  std::string noun = {};                 // as a question calls it: "code"
  std::optional<std::string> hex = {};   // "-": to be asked for
  std::optional<std::string> file = {};  // holds it in hex
  std::optional<int> descriptor = {};    // from which a line with it in hex is read
  bool is_new = false;                   // asked for twice
  bool is_given() const { return hex || file || descriptor; }
};

// --NOUN HEX, --NOUN-file FILE and --NOUN-fd N.
void add_secret(CLI::App& command, const std::string& noun, Secret& secret,
                const std::string& description);

// NAME HEX..., which may be several words, with --NOUN-file FILE and --NOUN-fd N.
void add_secret_words(CLI::App& command, const std::string& name, const std::string& noun,
                      Secret& secret, const std::string& description);

// Whether that is an option or argument of these, and a code was typed there.
bool is_secret(const CLI::Option* option);

// What was given, and as what.
struct GivenSecret {
  std::string name;  // "--code-file"
  std::string hex;
};

// Asks for it or reads it if need be. Throws UsageError, also if nothing was given or there is
// nobody to ask, or Interrupted. To be called once.
GivenSecret get(const Secret& secret);

// Throws UsageError if none, or more than one, of the ways was taken.
void expect_given(const Secret& secret);

}  // namespace quorra::cli
