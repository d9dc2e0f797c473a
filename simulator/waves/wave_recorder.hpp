// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "simulator/cards/slot.hpp"
#include "simulator/waves/output_file.hpp"
#include "toolkit/wire/decoding.hpp"

namespace quorra::simulator {

// Writes what happens at the contacts of a slot into a file of waves, a value change dump. Its time
// is not that of the clock on the wall: each change takes a period, and all pauses are equally
// long.
class WaveRecorder final : public ContactsWatcher {
 public:
  // `kind` is that of the card in the slot; empty if there is none. Throws Error.
  WaveRecorder(const std::filesystem::path& file, std::string_view kind);

  const std::filesystem::path& path() const { return file_.path(); }

  // A request with this frame is carried out from now on, or it is no longer so.
  void begin_request(std::span<const std::uint8_t> frame);
  void end_request();

  void contacts_changed(const Contacts& now, const CardSide& card) override;

  // The file holds all that has happened, and a while in which nothing does. Throws Error.
  void write();

 private:
  // Who does what at the contacts.
  struct Sides {
    Contacts reader;
    CardSide card;
  };

  void pass(std::uint64_t ticks);
  void note_request(std::string_view words);
  void note_changes(const Sides& now);

  OutputFile file_;
  std::string unwritten_;
  std::uint64_t time_ = 0;
  bool has_begun_ = false;
  Sides sides_;
  toolkit::wire::Decoder decoder_;
};

}  // namespace quorra::simulator
