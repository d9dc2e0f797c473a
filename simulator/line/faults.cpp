// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/faults.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr unsigned longest_delay = 3'600'000;
constexpr unsigned most_bytes = 1024;

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

void pull_card(Exchange& exchange, unsigned /*none*/) { exchange.card_slips = true; }

constexpr std::array rules{
    FaultRule{FaultKind::silence, "silence", "", 0, 0, FaultStage::reply, silence},
    FaultRule{FaultKind::late_first_byte, "late_first_byte", "ms", 100, longest_delay,
              FaultStage::reply, delay_first_byte},
    FaultRule{FaultKind::late_middle_byte, "late_middle_byte", "ms", 100, longest_delay,
              FaultStage::reply, delay_middle_byte},
    FaultRule{FaultKind::wrong_start, "wrong_start", "", 0, 0, FaultStage::reply, spoil_start},
    FaultRule{FaultKind::wrong_check, "wrong_check", "", 0, 0, FaultStage::reply, spoil_check_byte},
    FaultRule{FaultKind::short_reply, "short_reply", "count", 1, most_bytes, FaultStage::reply,
              shorten},
    FaultRule{FaultKind::long_reply, "long_reply", "count", 1, most_bytes, FaultStage::reply,
              add_behind},
    FaultRule{FaultKind::noise, "noise", "count", 1, most_bytes, FaultStage::reply, add_before},
    FaultRule{FaultKind::status, "status", "status", 5, 255, FaultStage::request, force_status},
    FaultRule{FaultKind::dropped_request_byte, "dropped_request_byte", "", 0, 0,
              FaultStage::request, cut_request},
    FaultRule{FaultKind::hang_up, "hang_up", "", 0, 0, FaultStage::reply, hang_up},
    FaultRule{FaultKind::pull_card, "pull_card", "", 0, 0, FaultStage::request, pull_card},
};

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
  if (fault.parameter && *fault.parameter > rule.largest_parameter)
    throw Error(fmt::format("{} must be at most {}", rule.parameter, rule.largest_parameter));
  armed_.push_back({.fault = fault});
  armed_.back().fault.parameter = fault.parameter.value_or(rule.usual_parameter);
}

std::vector<Fault> Faults::list() const {
  std::vector<Fault> faults;
  for (const Armed& armed : armed_)
    faults.push_back(armed.fault);
  return faults;
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
}

void Faults::apply(FaultStage stage, Exchange& exchange) const {
  for (const Fault& fault : hits_) {
    const FaultRule& rule = rule_of(fault.kind);
    if (rule.stage == stage) rule.apply(exchange, fault.parameter.value_or(rule.usual_parameter));
  }
}

std::string Faults::names_of_hits() const {
  std::string names;
  for (const Fault& fault : hits_) {
    if (!names.empty()) names += ", ";
    names += rule_of(fault.kind).name;
  }
  return names;
}

}  // namespace quorra::simulator
