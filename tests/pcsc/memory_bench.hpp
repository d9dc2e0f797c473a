// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A memory card in the virtual reader, and the commands that go to it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "pcsc/memory/memory_card.hpp"
#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {

// Every kind of memory card and how many bytes it has.
struct KindOfCard {
  std::string name;
  int size;
};

// Cards that anybody may write to, each byte as often as he likes.
extern const std::vector<KindOfCard> plain_kinds;
extern const std::vector<KindOfCard> all_kinds;

simulator::Image new_card(std::string_view kind);

// A new card that holds these bytes at the address.
simulator::Image card_with(std::string_view kind, std::size_t address, const Bytes& bytes);
void put(simulator::Image& card, std::size_t address, const Bytes& bytes);

class MemoryBench {
 public:
  explicit MemoryBench(const simulator::Image& card);
  explicit MemoryBench(std::string_view kind) : MemoryBench(new_card(kind)) {}

  // The answer in hexadecimal: "A2 13 90 00".
  std::string send(std::string_view command) { return to_hex(send(hex(command))); }
  Bytes send(const Bytes& command) { return card_->transmit(command); }

  pcsc::MemoryCard& card() { return *card_; }
  OpenSession& session() { return session_; }
  simulator::VirtualReader& reader() { return *reader_; }
  // The memory of the card as it is now.
  Bytes memory();
  // How many requests have reached the reader.
  std::uint64_t exchanges() { return reader_->state().exchanges; }
  // Lets the check byte of the reply to the next command of this number be wrong.
  void spoil_reply(std::uint8_t command);

 private:
  simulator::Options options_for(const simulator::Image& card) const;

  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  OpenSession session_;
  std::unique_ptr<pcsc::MemoryCard> card_;
};

// A command with data, or with a number of expected bytes.
Bytes with_data(unsigned char ins, int address, const Bytes& data);
Bytes with_length(unsigned char ins, int address, int length);

Bytes success(const Bytes& data = {});

}  // namespace quorra::testing
