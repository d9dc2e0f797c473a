// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The virtual reader without its pseudo-terminal: bytes of requests in, bytes of replies out.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "fuzz/support/check.hpp"
#include "simulator/cards/chip.hpp"
#include "simulator/cards/cpu/processor_card.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/firmware/frame.hpp"
#include "simulator/firmware/reader.hpp"

namespace quorra::fuzzing {

class SimulatorLine {
 public:
  SimulatorLine() { reader.memory = simulator::new_reader_memory(9600, "VIRTUAL-00000001"); }

  // A new card of that kind, in the place of the one in the slot.
  void insert(const simulator::Kind& kind) {
    remove();
    card = kind.make_chip(simulator::Image(kind));
    reader.slot.insert(*card);
  }
  void remove() {
    reader.slot.remove();
    card.reset();
  }
  void insert_sam(std::size_t number) {
    const simulator::Kind& kind = simulator::find_kind("cpu");
    auto& sam = sams.emplace_back(kind.make_chip(simulator::Image(kind)));
    reader.sams.at(number).insert(*sam);
  }

  // The reply to the request that this byte completes; empty if it completes none.
  std::span<const std::uint8_t> take(std::uint8_t byte) {
    using Result = simulator::RequestParser::Result;
    const Result result = parser.push(byte);
    if (result == Result::incomplete) return {};
    reply = {};
    auto status = simulator::Status::wrong_check_byte;
    if (result == Result::complete) status = execute(reader, parser.request(), reply);
    const auto frame = reply.finish(static_cast<std::uint8_t>(status));
    require_reply(frame);
    return frame;
  }

  simulator::Reader reader;
  simulator::RequestParser parser;
  simulator::Reply reply;
  std::unique_ptr<simulator::Chip> card;
  std::vector<std::unique_ptr<simulator::Chip>> sams;

 private:
  static void require_reply(std::span<const std::uint8_t> frame) {
    unsigned check = 0;
    for (const std::uint8_t byte : frame)
      check ^= byte;
    require(frame.size() >= 5 && frame[0] == 0x55 && frame[3] + std::size_t{5} == frame.size() &&
                check == 0,
            "a reply is a whole frame");
    require(!simulator::status_name(frame[1]).empty(), "a reply has a status that is known");
    require(frame[1] == 0 || frame[3] == 0, "a refusal brings no data");
  }
};

}  // namespace quorra::fuzzing
