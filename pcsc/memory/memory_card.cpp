// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/memory/memory_card.hpp"

#include <quorra.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "pcsc/memory/answer_to_reset.hpp"
#include "pcsc/memory/data_objects.hpp"
#include "pcsc/memory/dialect.hpp"
#include "pcsc/memory/traits.hpp"

namespace quorra::pcsc {
namespace {

constexpr toolkit::Operation powering{"giving the card its power"};
constexpr toolkit::Operation switching_off{"switching the card's power off"};

constexpr std::size_t header = 4;
constexpr unsigned char class_of_readers = 0xFF;

void expect_no_address(const Command& command) {
  if (command.address() != 0) throw Refusal{StatusWord::wrong_parameters};
}

}  // namespace

struct MemoryCard::Row {
  unsigned char ins;
  Answer (MemoryCard::*carry_out)(const Command& command);
};

const MemoryCard::Row MemoryCard::rows[] = {
    {0x0E, &MemoryCard::erase},           {0x0F, &MemoryCard::erase_at_offset},
    {0x20, &MemoryCard::present_code},    {0x24, &MemoryCard::change_code},
    {0xA4, &MemoryCard::select_type},     {0xB0, &MemoryCard::read},
    {0xB1, &MemoryCard::read_at_offset},  {0xCA, &MemoryCard::get_data},
    {0xD0, &MemoryCard::write},           {0xD6, &MemoryCard::write},
    {0xD7, &MemoryCard::write_at_offset},
};

MemoryCard::MemoryCard(toolkit::Session& session, const toolkit::Card& kind)
    : session_(session),
      kind_(kind),
      codes_(session, kind),
      cells_(session, kind, codes_) {
  try {
    answer_to_reset_ = answer_to_reset_of(kind, cells_);
  } catch (const Refusal&) {
    throw toolkit::Failure(std::string(powering.doing) + ": the reader cannot read it");
  }
}

Bytes MemoryCard::transmit(const Bytes& command) {
  try {
    return to_bytes(carry_out(command));
  } catch (const Refusal& refusal) {
    return to_bytes({.data = {}, .word = refusal.word});
  }
}

Answer MemoryCard::carry_out(const Bytes& bytes) {
  if (bytes.size() < header) throw Refusal{StatusWord::wrong_length};
  if (bytes[0] != class_of_readers) throw Refusal{StatusWord::unknown_class};
  const Command command = parse_command(bytes);
  if (const auto answer = answer_in_dialect(dialect_, command, kind_, cells_, codes_)) {
    return *answer;
  }
  const auto* const found = std::ranges::find(rows, command.ins, &Row::ins);
  if (found == std::end(rows)) throw Refusal{StatusWord::unknown_instruction};
  return (this->*found->carry_out)(command);
}

Answer MemoryCard::read(const Command& command) {
  command.expect_only_length();
  const int address = command.address();
  return {.data = cells_.read({address, count_to_read(*command.expected, left_from(address))})};
}

// The data comes as an object. Its tag and length count, too.
Answer MemoryCard::read_at_offset(const Command& command) {
  expect_no_address(command);
  if (!command.expected) throw Refusal{StatusWord::wrong_length};
  ObjectReader objects(command.data);
  const int address = objects.take_offset();
  if (!objects.is_empty()) throw Refusal{StatusWord::wrong_data};
  const int left = std::min(left_from(address), largest_data(256));
  const int count = largest_data(count_to_read(*command.expected, object_size(left)));
  if (count < 1) throw Refusal{StatusWord::wrong_length};
  return {.data = data_object(cells_.read({address, count}))};
}

Answer MemoryCard::write(const Command& command) {
  command.expect_only_data();
  cells_.write(command.address(), command.data);
  return {};
}

Answer MemoryCard::write_at_offset(const Command& command) {
  command.expect_only_data();
  expect_no_address(command);
  ObjectReader objects(command.data);
  const int address = objects.take_offset();
  const Bytes data = objects.take(data_tag);
  if (!objects.is_empty()) throw Refusal{StatusWord::wrong_data};
  cells_.write(address, data);
  return {};
}

// The data is the address behind the last byte to be erased.
Answer MemoryCard::erase(const Command& command) {
  constexpr std::size_t size_of_end = 2;
  if (command.expected) throw Refusal{StatusWord::wrong_length};
  int end = cells_.size();
  if (!command.data.empty()) {
    if (command.data.size() != size_of_end) throw Refusal{StatusWord::wrong_length};
    end = command.data[0] << 8 | command.data[1];
    if (end <= command.address()) throw Refusal{StatusWord::wrong_data};
  }
  cells_.erase({command.address(), end - command.address()});
  return {};
}

Answer MemoryCard::erase_at_offset(const Command& command) {
  command.expect_only_data();
  expect_no_address(command);
  ObjectReader objects(command.data);
  const int address = objects.take_offset();
  const int end = objects.is_empty() ? cells_.size() : objects.take_offset();
  if (!objects.is_empty() || (end <= address && end < cells_.size())) {
    throw Refusal{StatusWord::wrong_data};
  }
  cells_.erase({address, end - address});
  return {};
}

Answer MemoryCard::present_code(const Command& command) {
  if (command.p1 != 0) throw Refusal{StatusWord::wrong_parameters};
  if (command.expected) throw Refusal{StatusWord::wrong_length};
  if (command.data.empty()) {
    const int left = codes_.attempts_left(command.p2);
    throw Refusal{left == 0 ? StatusWord::no_attempt_left : StatusWord::attempts_left + left};
  }
  codes_.present(command.p2, command.data);
  return {};
}

// P1 is 1 if only the new code is given; otherwise the present one stands before it.
Answer MemoryCard::change_code(const Command& command) {
  constexpr unsigned char only_new = 1;
  if (command.p1 > only_new) throw Refusal{StatusWord::wrong_parameters};
  const auto size = static_cast<std::size_t>(codes_.size(command.p2));
  command.expect_only_data();
  if (command.data.size() != (command.p1 == only_new ? size : 2 * size)) {
    throw Refusal{StatusWord::wrong_length};
  }
  const auto first_new = command.data.end() - static_cast<std::ptrdiff_t>(size);
  if (command.p1 != only_new) codes_.present(command.p2, {command.data.begin(), first_new});
  codes_.change(command.p2, {first_new, command.data.end()});
  return {};
}

Answer MemoryCard::get_data(const Command& command) {
  constexpr unsigned char serial_number = 0x00;
  constexpr unsigned char name = 0x01;
  if (command.p1 > name || command.p2 != 0) throw Refusal{StatusWord::wrong_parameters};
  command.expect_only_length();
  Bytes data =
      command.p1 == serial_number ? identification() : Bytes(kind_.name.begin(), kind_.name.end());
  const auto most = static_cast<int>(data.size());
  data.resize(static_cast<std::size_t>(count_to_read(*command.expected, most)));
  return {.data = data};
}

// It takes the card's power away, and with it what a code has opened.
Answer MemoryCard::select_type(const Command& command) {
  command.expect_only_data();
  expect_no_address(command);
  if (command.data.size() != 1) throw Refusal{StatusWord::wrong_length};
  const unsigned char type = traits_of(kind_.name).type;
  if (type == 0 || command.data.front() != type) throw Refusal{StatusWord::not_supported};
  codes_.forget();
  const int result = session_.attempt(switching_off, turn_off);
  if (!is_accepted(session_, switching_off, result)) throw Refusal{StatusWord::refused};
  answer_to_reset_of(kind_, cells_);
  dialect_ = type;
  return {};
}

int MemoryCard::left_from(int address) const {
  if (address >= cells_.size()) throw Refusal{StatusWord::wrong_address};
  return cells_.size() - address;
}

// Security memories begin with bytes in which maker and issuer tell cards apart.
Bytes MemoryCard::identification() const {
  const auto areas = kind_.memory.areas;
  if (areas.empty() || areas.front().role != toolkit::AreaRole::identification) {
    throw Refusal{StatusWord::not_supported};
  }
  return cells_.read({0, areas[1].first});
}

}  // namespace quorra::pcsc
