// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/auxiliary_port.hpp"

#include <algorithm>
#include <array>

namespace quorra::simulator {
namespace {

constexpr std::string_view start_of_port = "\033[5i";
constexpr std::string_view end_of_port = "\033[4i";
// Keeps what is on the screen from being printed as well.
constexpr std::string_view set_up_of_port = "\033[?4i";

constexpr std::array sequences{start_of_port, end_of_port, set_up_of_port};

// In the file a backslash and three characters stand for ESC.
std::string line_of(char key, std::string_view sequence) {
  return std::string(1, key).append("=\\033").append(sequence.substr(1)).append("\n");
}

}  // namespace

std::string auxiliary_port_lines() {
  return line_of('S', set_up_of_port) + line_of('I', end_of_port) + line_of('W', start_of_port) +
         line_of('A', end_of_port) + line_of('C', end_of_port);
}

AuxiliaryPort::Output AuxiliaryPort::take(std::string_view bytes) {
  Output output;
  for (const char byte : bytes) {
    held_ += byte;
    while (!held_.empty() && !obey() && !is_begun())
      put_first(output);
  }
  return output;
}

AuxiliaryPort::Output AuxiliaryPort::finish() {
  Output output;
  while (!held_.empty())
    put_first(output);
  return output;
}

void AuxiliaryPort::put_first(Output& output) {
  (is_on_ ? output.port : output.screen) += held_.front();
  held_.erase(0, 1);
}

// While bytes go to the port, nothing but the end of that is a sequence.
bool AuxiliaryPort::is_begun() const {
  return std::ranges::any_of(sequences, [this](std::string_view sequence) {
    return sequence.starts_with(held_) && (!is_on_ || sequence == end_of_port);
  });
}

// Carries a whole sequence out; false if what is held is none.
bool AuxiliaryPort::obey() {
  if (!is_begun() || std::ranges::find(sequences, held_) == sequences.end()) return false;
  if (held_ == start_of_port) is_on_ = true;
  if (held_ == end_of_port) is_on_ = false;
  held_.clear();
  return true;
}

}  // namespace quorra::simulator
