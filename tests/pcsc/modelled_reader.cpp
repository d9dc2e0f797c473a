// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/pcsc/modelled_reader.hpp"

#include <algorithm>

namespace quorra::testing {
namespace {

constexpr unsigned char sam_type = 0x21;
constexpr std::size_t head_size = 9;

}  // namespace

ModelledReader::ModelledReader() {
  line_.ignore_rest();
  line_.answer_with([this](const Bytes& request) { return answer(request); });
}

Bytes ModelledReader::answer(const Bytes& request) {
  requests_.push_back(request);
  if (request[1] == last) is_on = false;
  if (!is_on || request[1] == ignored) return {};
  if (const auto found = instead.find(request[1]); found != instead.end()) return found->second;
  Bytes reply = carry_out(request);
  if (request[1] != 0x21 || spoil.empty()) return reply;
  const auto change = spoil.front();
  spoil.pop_front();
  return change(reply);
}

Bytes ModelledReader::carry_out(const Bytes& request) {
  constexpr unsigned char no_card = 0x21;
  constexpr unsigned char no_answer = 0x22;
  const bool is_for_sam = request[4] == sam_type;
  const Bytes data(request.begin() + head_size, request.end() - 1);
  switch (request[1]) {
    case 0xB0:
      return reply(0, text(version));
    case 0xB9:
      return reply(0, {static_cast<unsigned char>((has_card ? 1 : 0) | (has_power ? 2 : 0))});
    case 0xB2:
    case 0xB3:
      if (!is_for_sam) has_power = has_card && request[1] == 0xB2;
      return reply(0, {});
    case 0xB7:
      return reply(0, counting(data[1], request[8]));
    case 0xB8:
      has_card = has_power = false;
      return reply(0, {});
    case 0x23:
      selected_ = data.front();
      return reply(0, {});
    case 0x20:
      if (is_for_sam) {
        return sams.contains(selected_) ? reply(0, sams[selected_]) : reply(no_card, {});
      }
      if (!has_card) return reply(no_card, {});
      has_power = !answer_to_reset.empty();
      return has_power ? reply(0, answer_to_reset) : reply(no_answer, {});
    case 0x21:
      if (is_for_sam) return reply(0, Bytes{static_cast<unsigned char>(selected_)} + hex("90 00"));
      return has_card ? reply(0, card(data)) : reply(no_card, {});
    default:
      return reply(0, {});
  }
}

std::vector<std::string> ModelledReader::requests() {
  std::vector<std::string> texts;
  std::ranges::transform(requests_, std::back_inserter(texts), to_hex);
  requests_.clear();
  return texts;
}

std::size_t ModelledReader::count(unsigned char command) const {
  return static_cast<std::size_t>(
      std::ranges::count_if(requests_, [=](const Bytes& one) { return one[1] == command; }));
}

}  // namespace quorra::testing
