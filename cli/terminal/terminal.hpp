// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The person at the terminal: colours and questions.
#pragma once

#include <fmt/color.h>

#include <optional>
#include <string>
#include <string_view>

namespace quorra::cli {

bool is_terminal(int descriptor);

// Whether a descriptor takes output now. A terminal may be stopped, and a pipe full.
bool takes_output(int descriptor);

// The columns of a terminal; 80 if it does not tell.
int terminal_width(int descriptor);

// Whether colours are wanted on this descriptor: it is a terminal, and NO_COLOR is not set.
bool wants_colour(int descriptor);

// Whether there is somebody to ask: standard input and standard error are terminals.
bool can_ask();

// The answers to a question.
enum class Answer { yes, no, interrupted };

// Asks on standard error and waits for a line on standard input; anything but "y" or "yes" is no.
// The wait ends when `interruption` becomes readable.
Answer ask(std::string_view question, int interruption);

// Asks in the same way for the card's kind to be typed, in capitals or not; anything else is no.
Answer ask_for_kind(std::string_view question, std::string_view kind, int interruption);

// Asks on standard error and waits for a line on standard input, which is not shown while it is
// typed. None if the wait ended because `interruption` became readable.
std::optional<std::string> ask_secret(std::string_view question, int interruption);

// Writes one line to standard error: "quorra: " and the text. A program that a signal is to end
// does so without it rather than wait until standard error takes it.
void print_error(std::string_view text);

// Writes to standard error what is no error.
void print_note(std::string_view text);

}  // namespace quorra::cli
