// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/pcsc/memory_bench.hpp"

#include <algorithm>

#include "simulator/cards/kinds.hpp"
#include "toolkit/kinds/card.hpp"

namespace quorra::testing {

const std::vector<KindOfCard> plain_kinds = {
    {"4432", 256},   {"4418", 1024},  {"24c01a", 128}, {"24c02", 256},      {"24c04", 512},
    {"24c08", 1024}, {"24c16", 2048}, {"24c32", 4096}, {"24c64", 8192},     {"93c46a", 128},
    {"93c46", 128},  {"93c57", 256},  {"93c66", 512},  {"45d041", 540'672},
};

const std::vector<KindOfCard> all_kinds = [] {
  std::vector<KindOfCard> kinds = plain_kinds;
  const std::vector<KindOfCard> others = {{"4442", 256},  {"4428", 1024}, {"4404", 52},
                                          {"4406", 13},   {"101", 172},   {"102", 178},
                                          {"1604", 2007}, {"1604b", 2042}};
  kinds.insert(kinds.end(), others.begin(), others.end());
  return kinds;
}();

simulator::Image new_card(std::string_view kind) {
  return simulator::Image(simulator::find_kind(kind));
}

void put(simulator::Image& card, std::size_t address, const Bytes& bytes) {
  std::ranges::copy(bytes, card.field("memory").subspan(address).begin());
}

simulator::Image card_with(std::string_view kind, std::size_t address, const Bytes& bytes) {
  simulator::Image card = new_card(kind);
  put(card, address, bytes);
  return card;
}

MemoryBench::MemoryBench(const simulator::Image& card)
    : reader_(options_for(card)),
      session_(reader_->configuration()),
      card_(std::make_unique<pcsc::MemoryCard>(session_, *toolkit::find_card(card.kind().name))) {}

Bytes MemoryBench::memory() {
  const simulator::State state = reader_->state();
  const auto memory = state.card->field("memory");
  return {memory.begin(), memory.end()};
}

void MemoryBench::spoil_reply(std::uint8_t command) {
  simulator::Fault fault;
  fault.kind = simulator::FaultKind::wrong_check;
  fault.on = command;
  reader_->arm(fault);
}

simulator::Options MemoryBench::options_for(const simulator::Image& card) const {
  simulator::Options options;
  options.card = folder_ / "card";
  save_image(card, options.card);
  return options;
}

Bytes with_data(unsigned char ins, int address, const Bytes& data) {
  return Bytes{0xFF, ins, static_cast<unsigned char>(address >> 8),
               static_cast<unsigned char>(address), static_cast<unsigned char>(data.size())} +
         data;
}

Bytes with_length(unsigned char ins, int address, int length) {
  return {0xFF, ins, static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address),
          static_cast<unsigned char>(length)};
}

Bytes success(const Bytes& data) { return data + Bytes{0x90, 0x00}; }

}  // namespace quorra::testing
