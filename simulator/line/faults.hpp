// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorra::simulator {

// What arrives where no byte was sent, or none could be understood. It begins
// neither a request nor a reply.
inline constexpr std::uint8_t stray_byte = 0xC3;

enum class FaultKind : std::uint8_t {
  silence,               // the request is carried out, but no reply comes
  late_first_byte,       // the reply comes `parameter` milliseconds late
  late_middle_byte,      // the reply stops for `parameter` milliseconds in the middle
  wrong_start,           // the reply begins with another byte than 0x55
  wrong_check,           // the check byte of the reply is wrong
  short_reply,           // the last `parameter` bytes of the reply are missing
  long_reply,            // `parameter` more bytes follow the reply
  noise,                 // `parameter` stray bytes come before the reply
  status,                // the reply is the STATUS `parameter`; nothing is carried out
  dropped_request_byte,  // the reader never gets the last byte of the request
  hang_up,               // the request is carried out, but the line hangs up before the reply
  pull_card,             // the card leaves the slot while its data is being programmed
};

// A fault as it is armed.
struct Fault {
  FaultKind kind = FaultKind::silence;
  // Milliseconds, a status or a number of bytes, as the kind says; the kind's usual value if
  // absent.
  std::optional<unsigned> parameter;
  // The command byte of the exchanges that count; any exchange counts if absent.
  std::optional<std::uint8_t> on;
  // How many exchanges are hit, beginning with the next. Not looked at if `every` is not zero.
  unsigned times = 1;
  // If not zero, every so manieth exchange is hit, until the faults are cleared.
  unsigned every = 0;
};

// One exchange, as faults can change it.
struct Exchange {
  bool request_is_cut = false;
  std::optional<std::uint8_t> status;
  bool card_slips = false;
  bool line_hangs_up = false;
  // What goes out, and what it waits for. Filled when the reply is ready.
  std::vector<std::uint8_t> reply;
  std::chrono::milliseconds pause_before{0};
  std::size_t middle = 0;
  std::chrono::milliseconds pause_in_the_middle{0};
};

// When in an exchange a fault does its work.
enum class FaultStage : std::uint8_t {
  request,  // before the last byte of the request is taken
  reply,    // when the reply is ready to go out
};

// One row of the table of all kinds.
struct FaultRule {
  FaultKind kind;
  std::string_view name;
  // The name of the parameter, empty if the kind has none.
  std::string_view parameter;
  unsigned usual_parameter;
  unsigned largest_parameter;
  FaultStage stage;
  void (*apply)(Exchange& exchange, unsigned parameter);
};

std::span<const FaultRule> fault_rules();
const FaultRule& rule_of(FaultKind kind);

// The faults that are armed.
class Faults {
 public:
  // Throws Error when a number is out of range.
  void arm(const Fault& fault);
  void clear() { armed_.clear(); }
  // What is armed; `times` says how many hits are left.
  std::vector<Fault> list() const;

  // Begins an exchange with that command byte: finds the faults that hit it.
  void begin(std::uint8_t command);
  // Lets those of one stage do their work.
  void apply(FaultStage stage, Exchange& exchange) const;
  // Those that hit it, by name: "noise, wrong_check".
  std::string names_of_hits() const;

 private:
  struct Armed {
    Fault fault;
    unsigned matches = 0;
  };

  std::vector<Armed> armed_;
  std::vector<Fault> hits_;
};

}  // namespace quorra::simulator
