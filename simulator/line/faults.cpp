// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/faults.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr unsigned longest_delay = 3'600'000;
constexpr unsigned most_bytes = 1024;
constexpr unsigned last_clock = 1'000'000'000;

void silence(Exchange& exchange, unsigned /*none*/) { exchange.reply.clear(); }

void delay_first_byte(Exchange& exchange, unsigned milliseconds) {
  exchange.pause_before = std::chrono::milliseconds(milliseconds);
}

void delay_middle_byte(Exchange& exchange, unsigned milliseconds) {
  exchange.middle = exchange.reply.size() / 2;
  exchange.pause_in_the_middle = std::chrono::milliseconds(milliseconds);
}

void spoil_start(Exchange& exchange, unsigned /*none*/) {
  if (!exchange.reply.empty()) exchange.reply.front() ^= 0xFFU;
}

void spoil_check_byte(Exchange& exchange, unsigned /*none*/) {
  if (!exchange.reply.empty()) exchange.reply.back() ^= 0xFFU;
}

void shorten(Exchange& exchange, unsigned count) {
  auto& reply = exchange.reply;
  const auto missing = static_cast<std::ptrdiff_t>(std::min<std::size_t>(count, reply.size()));
  reply.erase(reply.end() - missing, reply.end());
}

void add_behind(Exchange& exchange, unsigned count) {
  exchange.reply.insert(exchange.reply.end(), count, stray_byte);
}

void add_before(Exchange& exchange, unsigned count) {
  exchange.reply.insert(exchange.reply.begin(), count, stray_byte);
}

void force_status(Exchange& exchange, unsigned status) {
  exchange.status = static_cast<std::uint8_t>(status);
}

void cut_request(Exchange& exchange, unsigned /*none*/) { exchange.request_is_cut = true; }

void hang_up(Exchange& exchange, unsigned /*none*/) { exchange.line_hangs_up = true; }

void pull_card(Exchange& exchange, unsigned clock) {
  if (clock == 0) {
    exchange.card_slips = true;
  } else {
    exchange.last_clock = clock;
  }
}

void lie(Exchange& exchange, unsigned /*none*/) { exchange.fate = WriteFate::taken_back; }

// A lie is the worse of the two.
void write_partially(Exchange& exchange, unsigned /*none*/) {
  exchange.fate = std::max(exchange.fate, WriteFate::half_stays);
}

constexpr std::array rules{
    FaultRule{FaultKind::silence, "silence", "", {}, 0, 0, FaultStage::reply, silence},
    FaultRule{FaultKind::late_first_byte, "late_first_byte", "ms", 100, 0, longest_delay,
              FaultStage::reply, delay_first_byte},
    FaultRule{FaultKind::late_middle_byte, "late_middle_byte", "ms", 100, 0, longest_delay,
              FaultStage::reply, delay_middle_byte},
    FaultRule{FaultKind::wrong_start, "wrong_start", "", {}, 0, 0, FaultStage::reply, spoil_start},
    FaultRule{
        FaultKind::wrong_check, "wrong_check", "", {}, 0, 0, FaultStage::reply, spoil_check_byte},
    FaultRule{FaultKind::short_reply, "short_reply", "count", 1, 0, most_bytes, FaultStage::reply,
              shorten},
    FaultRule{FaultKind::long_reply, "long_reply", "count", 1, 0, most_bytes, FaultStage::reply,
              add_behind},
    FaultRule{FaultKind::noise, "noise", "count", 1, 0, most_bytes, FaultStage::reply, add_before},
    FaultRule{FaultKind::status, "status", "status", 5, 0, 255, FaultStage::request, force_status},
    FaultRule{FaultKind::dropped_request_byte,
              "dropped_request_byte",
              "",
              {},
              0,
              0,
              FaultStage::request,
              cut_request},
    FaultRule{FaultKind::hang_up, "hang_up", "", {}, 0, 0, FaultStage::reply, hang_up},
    FaultRule{FaultKind::pull_card,
              "pull_card",
              "clock",
              {},
              1,
              last_clock,
              FaultStage::request,
              pull_card,
              &Exchange::card_has_left},
    FaultRule{FaultKind::lie,
              "lie",
              "",
              {},
              0,
              0,
              FaultStage::request,
              lie,
              &Exchange::cells_were_taken_back},
    FaultRule{FaultKind::partial,
              "partial",
              "",
              {},
              0,
              0,
              FaultStage::request,
              write_partially,
              &Exchange::cells_were_taken_back},
};

// True with that probability. What the standard library makes of random numbers is not the same
// everywhere; the numbers themselves are.
bool happens(std::mt19937_64& random, double probability) {
  constexpr double one_in_2_to_53 = 1.0 / 9007199254740992.0;
  return static_cast<double>(random() >> 11U) * one_in_2_to_53 < probability;
}

void check_probability(std::string_view name, double probability) {
  if (!(probability >= 0 && probability <= 1))
    throw Error(fmt::format("\"{}\" must be a probability from 0 to 1", name));
}

}  // namespace

std::span<const FaultRule> fault_rules() { return rules; }

const FaultRule& rule_of(FaultKind kind) {
  return *std::ranges::find(rules, kind, &FaultRule::kind);
}

void Faults::arm(const Fault& fault) {
  const FaultRule& rule = rule_of(fault.kind);
  if (fault.every == 0 && fault.times == 0) throw Error("times must be at least 1");
  if (fault.parameter && rule.parameter.empty())
    throw Error(fmt::format("{} has no parameter", rule.name));
  if (fault.parameter &&
      (*fault.parameter < rule.least_parameter || *fault.parameter > rule.largest_parameter))
    throw Error(fmt::format("{} must be {} to {}", rule.parameter, rule.least_parameter,
                            rule.largest_parameter));
  armed_.push_back({.fault = fault});
  if (!fault.parameter) armed_.back().fault.parameter = rule.usual_parameter;
}

void Faults::arm(const FaultOdds& odds) {
  for (const FaultRule& rule : rules)
    check_probability(rule.name, odds.of_kind.at(static_cast<std::size_t>(rule.kind)));
  check_probability(name_of_bit_errors, odds.of_bit);
  constexpr std::uint64_t of_bits = std::uint64_t{1} << 32U;
  chance_ = Chance{.odds = odds,
                   .of_exchanges = std::mt19937_64(odds.seed),
                   .of_bits = std::mt19937_64(odds.seed | of_bits)};
}

std::vector<Fault> Faults::list() const {
  std::vector<Fault> faults;
  for (const Armed& armed : armed_)
    faults.push_back(armed.fault);
  return faults;
}

std::optional<FaultOdds> Faults::odds() const {
  if (!chance_) return std::nullopt;
  return chance_->odds;
}

std::vector<InjectedFaults> Faults::injected() const {
  std::vector<InjectedFaults> all;
  all.reserve(rules.size() + 1);
  for (const FaultRule& rule : rules)
    all.push_back({rule.name, injected_.at(static_cast<std::size_t>(rule.kind))});
  all.push_back({name_of_bit_errors, bits_inverted_});
  std::erase_if(all, [](const InjectedFaults& faults) { return faults.count == 0; });
  return all;
}

void Faults::begin(std::uint8_t command) {
  hits_.clear();
  for (Armed& armed : armed_) {
    Fault& fault = armed.fault;
    if (fault.on && *fault.on != command) continue;
    ++armed.matches;
    if (fault.every != 0 && armed.matches % fault.every != 0) continue;
    if (fault.every == 0) --fault.times;
    hits_.push_back(fault);
  }
  std::erase_if(
      armed_, [](const Armed& armed) { return armed.fault.every == 0 && armed.fault.times == 0; });
  if (chance_) hit_by_chance(command);
}

// A number is drawn for each kind, so that one probability does not change what others do.
void Faults::hit_by_chance(std::uint8_t command) {
  Chance& chance = *chance_;
  chance.counts_this_exchange = !chance.odds.on || *chance.odds.on == command;
  if (!chance.counts_this_exchange) return;
  for (const FaultRule& rule : rules) {
    const double probability = chance.odds.of_kind.at(static_cast<std::size_t>(rule.kind));
    if (!happens(chance.of_exchanges, probability)) continue;
    Fault fault;
    fault.kind = rule.kind;
    fault.parameter = rule.usual_parameter;
    hits_.push_back(fault);
  }
}

std::uint8_t Faults::inverted_by_chance(std::uint8_t byte) {
  if (chance_->odds.of_bit == 0) return byte;
  for (unsigned mask = 1; mask <= 0x80; mask <<= 1U) {
    if (!happens(chance_->of_bits, chance_->odds.of_bit)) continue;
    byte = static_cast<std::uint8_t>(byte ^ mask);
    ++bits_inverted_;
    ++bits_inverted_now_;
  }
  return byte;
}

void Faults::apply(FaultStage stage, Exchange& exchange) {
  for (const Fault& fault : hits_) {
    const FaultRule& rule = rule_of(fault.kind);
    if (rule.stage == stage) rule.apply(exchange, fault.parameter.value_or(0));
  }
  if (stage == FaultStage::request || !chance_ || !chance_->counts_this_exchange) return;
  for (std::uint8_t& byte : exchange.reply)
    byte = inverted_by_chance(byte);
}

void Faults::finish(const Exchange& exchange) {
  for (const Fault& fault : hits_) {
    const FaultRule& rule = rule_of(fault.kind);
    if (rule.effect == nullptr || exchange.*rule.effect)
      ++injected_.at(static_cast<std::size_t>(fault.kind));
  }
  bits_inverted_now_ = 0;
}

std::string Faults::names_of_hits() const {
  std::vector<std::string_view> names;
  for (const Fault& fault : hits_)
    names.push_back(rule_of(fault.kind).name);
  if (bits_inverted_now_ != 0) names.push_back(name_of_bit_errors);
  return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace quorra::simulator
