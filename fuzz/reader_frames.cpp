// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The virtual reader: any bytes from a host, with every kind of card in the slot, cards that come
// and go, and faults.

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "fuzz/support/input.hpp"
#include "fuzz/support/simulator_line.hpp"
#include "simulator/error.hpp"
#include "simulator/line/faults.hpp"

using namespace quorra::fuzzing;
using namespace quorra::simulator;

namespace {

enum class Step : unsigned char {
  frame,
  frame_with_number,
  raw,
  insert,
  remove,
  slip,
  faults,
  count
};

// A frame for one command of one card type: the input gives the rest of the body.
void send_frame(SimulatorLine& line, Input& input, bool has_count) {
  std::array<std::uint8_t, largest_frame> frame{request_start, input.byte(), 0};
  std::size_t size = header_size;
  frame[size++] = input.byte();
  const std::uint8_t place = input.byte();
  frame[size++] = place & 0x80 ? input.byte() : std::uint8_t{0};
  frame[size++] = place & 0x7F;
  frame[size++] = input.byte();
  frame[size++] = input.byte();
  if (has_count) {
    frame[size++] = 0;
    frame[size++] = input.byte();
  } else {
    const Bytes data = input.bytes(std::min<std::size_t>(input.byte(), largest_body - 5));
    std::ranges::copy(data, frame.begin() + static_cast<std::ptrdiff_t>(size));
    size += data.size();
  }
  frame[3] = static_cast<std::uint8_t>(size - header_size);
  std::uint8_t check = 0;
  for (std::size_t i = 0; i < size; ++i) {
    check ^= frame[i];
    line.take(frame[i]);
  }
  line.take(check);
}

void use_faults(SimulatorLine& line, Input& input) {
  Faults faults;
  const auto rules = fault_rules();
  const FaultRule& rule = rules[input.byte() % rules.size()];
  Fault fault;
  fault.kind = rule.kind;
  if (input.byte() % 2 == 0) fault.parameter = static_cast<unsigned>(input.number());
  if (input.byte() % 2 == 0) fault.on = input.byte();
  fault.times = static_cast<unsigned>(input.number());
  fault.every = input.byte() % 4;
  try {
    faults.arm(fault);
  } catch (const Error&) {
    return;
  }
  for (int i = 0; i < 3; ++i) {
    Exchange exchange;
    faults.begin(fault.on.value_or(input.byte()));
    faults.apply(FaultStage::request, exchange);
    Reply reply;
    const auto frame = reply.finish(exchange.status.value_or(0));
    exchange.reply.assign(frame.begin(), frame.end());
    faults.apply(FaultStage::reply, exchange);
    line.reader.card_will_slip = exchange.card_slips;
  }
  require(faults.list().size() <= 1, "what was armed is listed once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr int most_steps = 24;
  Input input({data, size});
  SimulatorLine line;
  line.insert_sam(0);
  line.insert_sam(7);
  const auto all = kinds();
  for (int step = 0; step < most_steps && !input.empty(); ++step) {
    switch (static_cast<Step>(input.byte() % static_cast<int>(Step::count))) {
      case Step::frame:
        send_frame(line, input, false);
        break;
      case Step::frame_with_number:
        send_frame(line, input, true);
        break;
      case Step::raw:
      case Step::count:
        for (const unsigned char byte : input.bytes(input.byte()))
          line.take(byte);
        break;
      case Step::insert:
        line.insert(all[input.byte() % all.size()]);
        break;
      case Step::remove:
        line.remove();
        break;
      case Step::slip:
        line.reader.card_will_slip = true;
        break;
      case Step::faults:
        use_faults(line, input);
        break;
    }
  }
  // What a card holds after all of this can be kept and loaded. The largest ones take too long.
  constexpr std::size_t largest = 2100;
  if (line.card == nullptr || line.card->changes() == 0) return 0;
  const Image& image = std::as_const(*line.card).image();
  if (image.kind().fields.back().extent > largest) return 0;
  const std::string text = to_text(image);
  require(to_text(parse_image(text, "card")) == text, "a card can be kept and loaded");
  return 0;
}
