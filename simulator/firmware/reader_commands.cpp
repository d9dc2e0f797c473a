// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/reader_commands.hpp"

#include <cstdint>

#include "simulator/firmware/synchronous_reset.hpp"

namespace quorra::simulator {

// Hosts ask for 10 or 18 characters; a shorter text is answered as it is.
Status read_version(Reader& reader, const Request& request, Reply& reply) {
  const std::size_t count = request.count();
  if (count != 10 && count != largest_version_text) return Status::out_of_range;
  for (const char character : reader.version_text.substr(0, count))
    reply.append(static_cast<std::uint8_t>(character));
  return Status::success;
}

// Power on begins from no power, so a chip forgets the codes that were presented to it.
Status power_on(Reader& reader, const Request& /*request*/, Reply& /*reply*/) {
  if (!reader.slot.occupied()) return Status::no_card;
  reader.slot.power_off();
  power_and_reset(reader.slot);
  reader.activated_for = reader_type;
  return Status::success;
}

Status power_off(Reader& reader, const Request& /*request*/, Reply& /*reply*/) {
  reader.slot.power_off();
  return Status::success;
}

// The sound itself takes no time here.
Status sound_buzzer(Reader& /*reader*/, const Request& /*request*/, Reply& /*reply*/) {
  return Status::success;
}

Status eject(Reader& reader, const Request& /*request*/, Reply& /*reply*/) {
  if (!reader.slot.occupied()) return Status::no_card;
  reader.slot.remove();
  return Status::success;
}

Status read_status(Reader& reader, const Request& /*request*/, Reply& reply) {
  unsigned flags = 0;
  if (reader.slot.occupied()) flags |= card_present_flag;
  if (reader.slot.powered()) flags |= card_powered_flag;
  reply.append(static_cast<std::uint8_t>(flags));
  return Status::success;
}

}  // namespace quorra::simulator
