// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A reader for the driver: what it answers, on a line whose time the test makes.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/scripted_reader.hpp"

namespace quorra::testing {

class ModelledReader {
 public:
  ModelledReader();

  ScriptedReader& line() { return line_; }
  const std::string& device() const { return line_.device(); }

  // Its state, for the test to change.
  bool is_on = true;
  bool has_card = true;
  bool has_power = false;
  std::string version = "KWSPC-TEST";
  Bytes answer_to_reset = hex("3B 06 51 55 4F 52 52 41");  // T=0
  std::map<int, Bytes> sams;                               // their answers to reset
  int ignored = -1;                                        // a command that it does not know
  int last = -1;                                           // the command that it is switched off at
  std::map<int, Bytes> instead;  // its replies to these commands, whatever they are for
  std::function<Bytes(const Bytes& command)> card = [](const Bytes&) { return hex("90 00"); };

  // What becomes of the next replies to exchanges with a card.
  std::deque<std::function<Bytes(Bytes reply)>> spoil;

  // The requests since the last call of this; all, or those of one command.
  std::vector<std::string> requests();
  std::size_t count(unsigned char command) const;

 private:
  Bytes answer(const Bytes& request);
  Bytes carry_out(const Bytes& request);

  ScriptedReader line_;
  std::vector<Bytes> requests_;
  int selected_ = 0;
};

}  // namespace quorra::testing
