// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "simulator/cards/chip.hpp"
#include "simulator/cards/cpu/apdu.hpp"
#include "simulator/cards/cpu/processor_card.hpp"

namespace quorra::simulator {

inline constexpr std::size_t longest_answer_to_reset = 33;

// "counter" is the number of attempts at the code that are left; "key" is the internal key. The
// others are the contents of the card's files.
inline constexpr std::array fields_cpu{
    Field{"atr", FieldForm::text_of_bytes, longest_answer_to_reset},
    Field{"code", FieldForm::bytes, 4},
    Field{"counter", FieldForm::number, 3},
    Field{"key", FieldForm::bytes, 8},
    Field{"memory", FieldForm::memory, 512},
    Field{"private", FieldForm::memory, 128},
    Field{"records", FieldForm::memory, 128},
};

void blank_cpu(Image& image);
std::unique_ptr<Chip> make_cpu_card(Image image);

// What a processor card says behind its data.
enum class StatusWord : std::uint16_t;

// One file of the card.
struct ElementaryFile;

// A processor card with a small file system, a code and an internal key. As a chip it leaves its
// contacts alone: levels mean nothing to it.
class CpuCard final : public Chip, public ProcessorCard {
 public:
  explicit CpuCard(Image content) : Chip(std::move(content)) {}

  std::unique_ptr<Chip> copy() const override { return std::make_unique<CpuCard>(*this); }
  void contacts_changed(const Contacts& /*before*/, const Contacts& /*now*/) override {}
  ProcessorCard* processor() override { return this; }

  void set_power(bool on) override;
  std::optional<Bytes> reset() override;
  std::optional<Bytes> transmit(std::span<const std::uint8_t> command) override;

 private:
  struct Instruction;
  static const std::array<Instruction, 8> instructions;

  void forget();
  Bytes deliver(std::size_t expected);
  StatusWord check_current_file(bool of_records) const;

  // Each leaves what it has to send in unsent_.
  StatusWord select(const Apdu& apdu);
  StatusWord read_binary(const Apdu& apdu);
  StatusWord update_binary(const Apdu& apdu);
  StatusWord read_record(const Apdu& apdu);
  StatusWord verify(const Apdu& apdu);
  StatusWord get_challenge(const Apdu& apdu);
  StatusWord get_response(const Apdu& apdu);
  StatusWord internal_authenticate(const Apdu& apdu);

  // Null while the master file is selected.
  const ElementaryFile* current_file_ = nullptr;
  bool code_was_verified_ = false;
  // What GET RESPONSE can still fetch.
  Bytes unsent_;
};

}  // namespace quorra::simulator
