// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The words of DEVICENAME: where a reader is, and options.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "toolkit/kinds/card.hpp"

namespace quorra::pcsc {

// The most SAMs of one reader.
inline constexpr int most_sams = 8;

// What is taken to be in the card slot.
enum class CardChoice { automatic, processor, memory };

struct DeviceName {
  std::string path;  // a configuration file, or a serial device
  int speed = 9600;
  CardChoice card = CardChoice::automatic;
  const toolkit::Card* kind = nullptr;  // of a memory card
  std::optional<int> sams;              // none: those that answer
  bool always_present = false;          // the reader does not tell whether there is a card
};

// The text says what is wrong with a DEVICENAME.
class BadDeviceName : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads "/dev/ttyS0:speed=38400:card=4442". Nothing may stand behind a colon. Throws BadDeviceName.
DeviceName parse_device_name(std::string_view text);

}  // namespace quorra::pcsc
