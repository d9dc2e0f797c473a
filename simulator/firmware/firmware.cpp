// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/firmware.hpp"

#include <algorithm>
#include <array>

#include "simulator/firmware/card_24c.hpp"
#include "simulator/firmware/card_4428.hpp"
#include "simulator/firmware/card_4442.hpp"
#include "simulator/firmware/card_45d041.hpp"
#include "simulator/firmware/card_93c.hpp"
#include "simulator/firmware/card_cpu.hpp"
#include "simulator/firmware/card_secure.hpp"
#include "simulator/firmware/power_up.hpp"
#include "simulator/firmware/reader_commands.hpp"

namespace quorra::simulator {
namespace {

constexpr std::array targets{
    Target{reader_type, nullptr, reader_commands},
    Target{cpu_type, nullptr, commands_cpu},
    Target{sam_type, nullptr, commands_sam},
    Target{0x60, power_up, commands_24c},
    Target{0x61, power_up, commands_24c},
    Target{0x62, power_up, commands_24c},
    Target{0x64, power_up, commands_24c},
    Target{0x65, power_up, commands_24c},
    Target{0x66, power_up, commands_24c},
    Target{0x68, power_up, commands_93c},
    Target{0x69, power_up, commands_93c},
    Target{0x6A, power_up, commands_93c},
    Target{0x6B, power_up, commands_93c},
    Target{0x79, activate_4442, commands_4442},
    Target{0x77, activate_4428, commands_4428},
    Target{0x76, activate_4428, commands_4418},
    Target{0x6E, activate_45d041, commands_45d041},
    Target{0x7A, activate_secure, commands_4404},
    Target{0x7B, activate_secure, commands_4406},
    Target{0x71, activate_secure, commands_of_zoned_cards},
    Target{0x72, activate_secure, commands_of_zoned_cards},
    Target{0x73, activate_secure, commands_of_zoned_cards},
};

const Command* find_command(const Target& target, std::uint8_t code) {
  const auto found = std::ranges::find(target.commands, code, &Command::code);
  return found == target.commands.end() ? nullptr : &*found;
}

bool is_known(std::uint8_t code) {
  return std::ranges::any_of(
      targets, [code](const Target& target) { return find_command(target, code) != nullptr; });
}

Status activate(Reader& reader, const Target& target) {
  if (!reader.slot.occupied()) return Status::no_card;
  if (reader.slot.processor() != nullptr) return Status::no_answer;
  if (reader.slot.powered() && reader.activated_for == target.type) return Status::success;
  reader.slot.power_off();
  target.activate(reader.slot);
  reader.activated_for = target.type;
  return Status::success;
}

}  // namespace

Status execute(Reader& reader, const Request& request, Reply& reply) {
  if (!is_known(request.command)) return Status::unknown_command;
  if (request.body.empty()) return Status::wrong_body_length;

  const auto* const target = std::ranges::find(targets, request.card_type(), &Target::type);
  if (target == targets.end()) return Status::unknown_card_type;
  const Command* const command = find_command(*target, request.command);
  if (command == nullptr) return Status::unknown_card_type;

  const std::size_t length = request.body.size();
  if (length < command->length.least || length > command->length.most)
    return Status::wrong_body_length;

  if (target->activate == nullptr) return command->handle(reader, request, reply);
  if (const Status status = activate(reader, *target); status != Status::success) return status;
  const Status status = command->handle(reader, request, reply);
  return reader.slot.occupied() ? status : Status::no_card;
}

}  // namespace quorra::simulator
