// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
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
  pull_card,             // the card leaves the slot while its data is being programmed, or at the
                         // rising edge `parameter` of CLK
  lie,                   // the request is answered as done, but all cells keep their content
  partial,               // the same for the second half of the cells that it changes
};

inline constexpr std::size_t fault_kind_count = static_cast<std::size_t>(FaultKind::partial) + 1;

// A fault as it is armed.
struct Fault {
  FaultKind kind = FaultKind::silence;
  // Milliseconds, a status, a number of bytes or of a clock, as the kind says; the kind's usual
  // value, if it has one, if absent.
  std::optional<unsigned> parameter;
  // The command byte of the exchanges that count; any exchange counts if absent.
  std::optional<std::uint8_t> on;
  // How many exchanges are hit, beginning with the next. Not looked at if `every` is not zero.
  unsigned times = 1;
  // If not zero, every so manieth exchange is hit, until the faults are cleared.
  unsigned every = 0;
};

// Faults by chance. They come until the faults are cleared.
struct FaultOdds {
  // The same seed is the same faults, if the same bytes come over the line.
  std::uint32_t seed = 0;
  // For each kind the probability that an exchange is hit.
  std::array<double, fault_kind_count> of_kind{};
  // The probability that a bit on the line is inverted, in either direction.
  double of_bit = 0;
  // The command byte of the exchanges that count; any exchange counts if absent. Only the bits of
  // replies can be told by it.
  std::optional<std::uint8_t> on;
};

inline constexpr std::string_view name_of_bit_errors = "bit_error";

// What can be armed.
using FaultOrder = std::variant<Fault, FaultOdds>;

// What becomes of the cells that a request has changed, after its answer was made.
enum class WriteFate : std::uint8_t { stays, half_stays, taken_back };

// One exchange, as faults can change it.
struct Exchange {
  bool request_is_cut = false;
  std::optional<std::uint8_t> status;
  bool card_slips = false;
  // The rising edge of CLK at which the card leaves, from 1; 0: at none.
  unsigned last_clock = 0;
  WriteFate fate = WriteFate::stays;
  bool line_hangs_up = false;
  // What came of it: some faults need a card that is being programmed.
  bool card_has_left = false;
  bool cells_were_taken_back = false;
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
  std::optional<unsigned> usual_parameter;
  unsigned least_parameter;
  unsigned largest_parameter;
  FaultStage stage;
  // The parameter is 0 if there is none.
  void (*apply)(Exchange& exchange, unsigned parameter);
  // What tells that the fault did its work; null if it always does.
  bool Exchange::*effect = nullptr;
};

std::span<const FaultRule> fault_rules();
const FaultRule& rule_of(FaultKind kind);

// How many faults of a kind did their work, or how many bits were inverted.
struct InjectedFaults {
  std::string_view name;
  std::uint64_t count = 0;
};

// The faults that are armed.
class Faults {
 public:
  // Throws Error when a number is out of range. Odds take the place of the odds before.
  void arm(const Fault& fault);
  void arm(const FaultOdds& odds);
  // Forgets what was injected, too.
  void clear() { *this = Faults(); }
  // What is armed; `times` says how many hits are left.
  std::vector<Fault> list() const;
  std::optional<FaultOdds> odds() const;
  // What was injected since the faults were cleared last, without those that never were.
  std::vector<InjectedFaults> injected() const;

  // What arrives of a byte that comes over the line.
  std::uint8_t receive(std::uint8_t byte) {
    return chance_ && !chance_->odds.on ? inverted_by_chance(byte) : byte;
  }
  // Begins an exchange with that command byte: finds the faults that hit it.
  void begin(std::uint8_t command);
  // Lets those of one stage do their work.
  void apply(FaultStage stage, Exchange& exchange);
  // Counts those that did their work.
  void finish(const Exchange& exchange);
  // Those that hit it, by name: "noise, wrong_check".
  std::string names_of_hits() const;

 private:
  struct Armed {
    Fault fault;
    unsigned matches = 0;
  };
  // Bits have random numbers of their own, so that faults do not depend on how long frames are.
  struct Chance {
    FaultOdds odds;
    std::mt19937_64 of_exchanges;
    std::mt19937_64 of_bits;
    bool counts_this_exchange = false;
  };

  std::uint8_t inverted_by_chance(std::uint8_t byte);
  void hit_by_chance(std::uint8_t command);

  std::vector<Armed> armed_;
  std::vector<Fault> hits_;
  std::optional<Chance> chance_;
  std::array<std::uint64_t, fault_kind_count> injected_{};
  std::uint64_t bits_inverted_ = 0;
  // Since the end of the exchange before.
  std::uint64_t bits_inverted_now_ = 0;
};

}  // namespace quorra::simulator
