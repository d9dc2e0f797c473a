// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/card_cpu.hpp"

#include <optional>

namespace quorra::simulator {
namespace {

bool is_for_sam(const Request& request) { return request.card_type() == sam_type; }

ProcessorSlot& slot_of(Reader& reader, const Request& request) {
  return is_for_sam(request) ? reader.sams.at(reader.selected_sam) : reader.slot;
}

// Whether there is a card that can be reset.
Status find_card(Reader& reader, const Request& request) {
  if (is_for_sam(request) && !reader.sams_have_power) return Status::sam_without_power;
  const Slot& slot = slot_of(reader, request);
  if (!slot.occupied()) return Status::no_card;
  return slot.processor() == nullptr ? Status::no_answer : Status::success;
}

// Takes the card's power away, gives it back and resets the card.
std::optional<ProcessorCard::Bytes> activate(Reader& reader, const Request& request) {
  ProcessorSlot& slot = slot_of(reader, request);
  slot.power_off();
  slot.set_vcc(true);
  auto answer = slot.processor()->reset();
  if (!answer || answer->empty()) {
    slot.power_off();
    return std::nullopt;
  }
  slot.link.reset(*answer);
  if (!is_for_sam(request)) reader.activated_for = cpu_type;
  return answer;
}

bool is_active(const Reader& reader, const Slot& slot, const Request& request) {
  return slot.powered() && (is_for_sam(request) || reader.activated_for == cpu_type);
}

Status send_answer(const std::optional<ProcessorCard::Bytes>& answer, Reply& reply) {
  if (!answer) return Status::no_answer;
  if (answer->size() > largest_body) return Status::answer_too_long;
  reply.append(*answer);
  return Status::success;
}

}  // namespace

Status reset_processor(Reader& reader, const Request& request, Reply& reply) {
  if (const Status status = find_card(reader, request); status != Status::success) return status;
  return send_answer(activate(reader, request), reply);
}

Status exchange_with_processor(Reader& reader, const Request& request, Reply& reply) {
  if (const Status status = find_card(reader, request); status != Status::success) return status;
  ProcessorSlot& slot = slot_of(reader, request);
  if (!is_active(reader, slot, request) && !activate(reader, request)) return Status::no_answer;

  const auto bytes = request.data();
  const auto answer = slot.link.takes(bytes) ? slot.link.exchange(*slot.processor(), bytes)
                                             : slot.processor()->transmit(bytes);
  if (!is_for_sam(request)) reader.programming(0, 1);
  return slot.occupied() ? send_answer(answer, reply) : Status::no_card;
}

// Bytes take no time between the reader and the card, so any speed will do.
Status set_processor_speed(Reader& reader, const Request& request, Reply& /*reply*/) {
  (is_for_sam(request) ? reader.sam_speed : reader.card_speed) = request.data().front();
  return Status::success;
}

Status select_sam(Reader& reader, const Request& request, Reply& /*reply*/) {
  const std::size_t number = request.data().front();
  if (number >= reader.sams.size()) return Status::out_of_range;
  reader.selected_sam = number;
  return Status::success;
}

Status power_sams_on(Reader& reader, const Request& /*request*/, Reply& /*reply*/) {
  reader.sams_have_power = true;
  return Status::success;
}

Status power_sams_off(Reader& reader, const Request& /*request*/, Reply& /*reply*/) {
  for (Slot& sam : reader.sams)
    sam.power_off();
  reader.sams_have_power = false;
  return Status::success;
}

}  // namespace quorra::simulator
