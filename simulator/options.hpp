#pragma once

#include <filesystem>
#include <string>

namespace quorra::simulator {

// How a virtual reader is set up.
struct Options {
  // The image file of the card that is in the slot at the start; empty: no card.
  std::filesystem::path card;
  // Where the configuration file for hosts is written; empty: a temporary folder.
  std::filesystem::path configuration;
  // The control socket; empty: a temporary folder.
  std::filesystem::path socket;
  // The line's speed in bits per second; 0: bytes take no time.
  unsigned speed = 0;
  // 1 to 18 printable characters.
  std::string version_text = "KWSPC-VIRTUAL V1.0";
  // 16 printable characters.
  std::string serial_number = "VIRTUAL-00000001";
};

// Throws Error if a value is out of range.
void check(const Options& options);

}  // namespace quorra::simulator
