// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/tear.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "simulator/cards/chip.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/firmware/frame.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

// Stands in the slot for a chip. Whenever CLK rises, a copy of the chip loses its power before it
// sees that.
class WatchedChip final : public Chip {
 public:
  explicit WatchedChip(const Image& content)
      : Chip(content),
        chip_(content.kind().make_chip(content)) {}

  void begin() { is_watched_ = true; }
  // What it holds without a cut is a state, too.
  void end() {
    is_watched_ = false;
    find_state(content());
  }

  void contacts_changed(const Contacts& before, const Contacts& now) override {
    if (is_watched_ && now.clk && !before.clk) cut(before);
    chip_->contacts_changed(before, now);
    pull_io_low(chip_->pulls_io_low());
    pull_c8_low(chip_->pulls_c8_low());
  }
  ProcessorCard* processor() override { return chip_->processor(); }

  const Image& content() const { return std::as_const(*chip_).image(); }
  unsigned clocks() const { return clocks_; }
  std::vector<TornState> take_states() { return std::move(states_); }

 private:
  void cut(const Contacts& before) {
    ++clocks_;
    const std::unique_ptr<Chip> torn = chip_->copy();
    torn->contacts_changed(before, Contacts{});
    // Whatever is programmed is counted, so the same count is the same content.
    if (!latest_ || latest_changes_ != torn->changes()) {
      latest_ = find_state(std::as_const(*torn).image());
      latest_changes_ = torn->changes();
    }
    auto& ranges = states_[*latest_].clocks;
    if (!ranges.empty() && ranges.back().last + 1 == clocks_) {
      ranges.back().last = clocks_;
    } else {
      ranges.push_back({clocks_, clocks_});
    }
  }

  std::size_t find_state(const Image& content) {
    const auto found = std::ranges::find(states_, content, &TornState::content);
    if (found != states_.end()) return static_cast<std::size_t>(found - states_.begin());
    states_.push_back({.content = content, .clocks = {}});
    return states_.size() - 1;
  }

  std::unique_ptr<Chip> chip_;
  bool is_watched_ = false;
  unsigned clocks_ = 0;
  std::vector<TornState> states_;
  std::optional<std::size_t> latest_;
  std::uint64_t latest_changes_ = 0;
};

}  // namespace

Tear tear(const Image& card, std::span<const Order> orders) {
  WatchedChip chip(card);
  Reader reader;
  reader.slot.insert(chip);
  const auto carry_out = [&reader](const Order& order) {
    Reply reply;
    return execute(reader, {.command = order.command, .flag = 0, .body = order.body}, reply);
  };
  for (const Order& order : orders.first(orders.size() - 1))
    if (const Status status = carry_out(order); status != Status::success)
      throw Error(fmt::format("{:02X} {}: STATUS 0x{:02X}, {}", order.command, to_hex(order.body),
                              static_cast<unsigned>(status),
                              status_name(static_cast<std::uint8_t>(status))));
  Image before = chip.content();
  chip.begin();
  const Status status = carry_out(orders.back());
  chip.end();
  return {.before = std::move(before),
          .after = chip.content(),
          .status = status,
          .clocks = chip.clocks(),
          .states = chip.take_states()};
}

std::vector<CellChange> changes_between(const Image& before, const Image& found) {
  std::vector<CellChange> changes;
  for (const Field& field : before.kind().fields) {
    const auto old_cells = before.field(field.name);
    const auto new_cells = found.field(field.name);
    bool goes_on = false;
    for (std::size_t address = 0; address < old_cells.size(); ++address) {
      const bool differs = old_cells[address] != new_cells[address];
      if (differs && !goes_on)
        changes.push_back({.field = field.name, .address = address, .before = {}, .found = {}});
      if (differs) {
        changes.back().before.push_back(old_cells[address]);
        changes.back().found.push_back(new_cells[address]);
      }
      goes_on = differs;
    }
  }
  return changes;
}

Order parse_order(std::string_view text) {
  const auto bytes = parse_hex(text);
  if (!bytes || bytes->size() < 2)
    throw Error(fmt::format("a command byte and a body in hexadecimal, or a frame, is expected: {}",
                            on_one_line(text)));
  if (bytes->front() != request_start) {
    if (bytes->size() > 1 + largest_body)
      throw Error(fmt::format("a body has at most {} bytes", largest_body));
    return {.command = bytes->front(), .body = {bytes->begin() + 1, bytes->end()}};
  }
  RequestParser parser;
  auto result = RequestParser::Result::incomplete;
  std::size_t taken = 0;
  while (taken < bytes->size() && result == RequestParser::Result::incomplete)
    result = parser.push((*bytes)[taken++]);
  if (result != RequestParser::Result::complete || taken != bytes->size())
    throw Error(fmt::format("this begins like a frame, but is none: {}", to_hex(*bytes)));
  const Request request = parser.request();
  return {.command = request.command, .body = {request.body.begin(), request.body.end()}};
}

}  // namespace quorra::simulator
