// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "simulator/line/faults.hpp"

namespace quorra::simulator {

// How a virtual reader is set up.
struct Options {
  // The image file of the card that is in the slot at the start, or the address of a live card,
  // vicc://HOST:PORT; empty: no card.
  std::filesystem::path card;
  // The image files of the SAMs inside the reader, by their slots 0 to 7.
  std::map<std::size_t, std::filesystem::path> sams;
  // Where the configuration file for hosts is written; empty: a temporary folder.
  std::filesystem::path configuration;
  // Whether there is a control socket.
  bool has_control_socket = true;
  // Where the control socket is; empty: a temporary folder.
  std::filesystem::path socket;
  // The file of waves into which all that happens at the contacts of the card is recorded; empty:
  // none.
  std::filesystem::path waves;
  // The line's speed in bits per second; 0: bytes take no time.
  unsigned speed = 0;
  // The speed at which the reader insists that hosts talk to it, in bits per second: 1200, 2400,
  // 4800, 9600, 19200 or 38400; 0: any speed will do.
  unsigned line_speed = 0;
  // Waits and the pace of the line take no time: time passes as far as they need it, and no
  // further.
  bool has_virtual_time = false;
  // The file in which the reader's memory outlives the program; it is made if there is none. Empty:
  // the memory ends with the program.
  std::filesystem::path reader;
  // The faults that are armed at the start.
  std::vector<FaultOrder> faults;
  // 1 to 18 printable characters.
  std::string version_text = "KWSPC-VIRTUAL V1.0";
  // 16 printable characters.
  std::string serial_number = "VIRTUAL-00000001";
};

// Throws Error if a value is out of range.
void check(const Options& options);

}  // namespace quorra::simulator
