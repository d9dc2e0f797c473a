// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What commands that write to a card share: their options, what they leave out, and telling what
// they would do.
#pragma once

#include <CLI/App.hpp>

#include <string>
#include <string_view>
#include <vector>

#include "cli/keys.hpp"
#include "cli/report.hpp"
#include "toolkit/memory/plan.hpp"

namespace quorra::cli {

struct WritingOptions {
  bool all = false;             // frames that would change nothing, too
  bool plan = false;            // nothing is written
  bool skip_protected = false;  // bytes that are read-only for good are left out
  bool no_verify = false;
};

// --all, --plan, --skip-protected and --no-verify
void add_writing(CLI::App& command, WritingOptions& options);

// " and read it back", " and read them back"; nothing if that is not done.
std::string read_back(int count, bool no_verify);

// If bytes that identify the card would become others: has the user type the card's kind, unless it
// was given with --yes. Throws what `confirm` throws.
void confirm_identification(const Connection& connection, const Operation& operation,
                            const Card& card, const Segments& bytes,
                            const std::optional<std::string>& yes);

// What a plan cannot know or do without a code: it is not presented, because that writes to the
// card.
struct WithoutCode {
  bool lacks_code = false;               // to write, and none was given or is presented
  std::vector<std::string> hidden = {};  // regions that read as if they were empty
};

// Looks at what was read for a plan. Throws Failure.
WithoutCode look_without_code(const Connection& connection, const Card& card, const Keys& keys,
                              const Held& held, const Plan& plan);

// Reads what the plan needs to know. Throws Failure.
Held read_for_plan(const Connection& connection, const Card& card, const Segments& wanted,
                   const PlanOptions& how, bool only_plans, int told_from);

// The same in words, and as members of the field "plan".
std::string words_without_code(const WithoutCode& without);
void add_fields(Json& fields, const WithoutCode& without);

// Throws Failure if bytes cannot become what they should and the options do not leave them out.
// Nothing has been sent then.
void expect_possible(const Operation& operation, const Card& card, const Plan& plan,
                     const WritingOptions& options, int told_from);

// Tells what would be done, and ends the command with status 1 if the card would not become what is
// wanted. `fields` have what the command says of itself.
void tell_plan(const Settings& settings, const Plan& plan, const WithoutCode& without,
               const WritingOptions& options, Json fields, int told_from);

}  // namespace quorra::cli
