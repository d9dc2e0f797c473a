// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <string_view>

namespace quorra::simulator {

// The lines of a configuration file that send a host's bytes through the auxiliary port of this
// terminal, each with its line end.
std::string auxiliary_port_lines();

// What a serial terminal does with the bytes that a program writes: they go to the screen, but
// those between two sequences go to the device at the auxiliary port. The sequences themselves go
// nowhere.
class AuxiliaryPort {
 public:
  // Where bytes went.
  struct Output {
    std::string screen;
    std::string port;
  };

  // Takes bytes as they come, also when a sequence is cut.
  Output take(std::string_view bytes);
  // What was held back because it could have become a sequence.
  Output finish();

 private:
  void put_first(Output& output);
  bool is_begun() const;
  bool obey();

  bool is_on_ = false;
  std::string held_;
};

}  // namespace quorra::simulator
