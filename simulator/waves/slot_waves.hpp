// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "simulator/cards/slot.hpp"
#include "simulator/error.hpp"
#include "simulator/waves/wave_recorder.hpp"

namespace quorra::simulator {

// The waves of a slot while they are wanted. Otherwise they cost nothing.
class SlotWaves {
 public:
  explicit SlotWaves(Slot& slot) : slot_(slot) {}
  SlotWaves(const SlotWaves&) = delete;
  SlotWaves& operator=(const SlotWaves&) = delete;
  ~SlotWaves() { forget(); }

  // Records into that file, and no longer into another. `kind` is that of the card in the slot;
  // empty if there is none. Throws Error if that cannot be done, or as stop() does.
  void record(const std::filesystem::path& file, std::string_view kind);
  // Ends that, if it has begun. Throws Error if the file does not hold all that happened.
  void stop();

  // Empty if nothing is recorded.
  std::filesystem::path file() const;

  // The request with this frame is carried out from now on, or it is no longer so. A file that
  // cannot be written is complained of, and ends there; stop() tells it, too.
  void begin_request(std::span<const std::uint8_t> frame);
  void end_request();

 private:
  // Absent if that succeeds.
  std::optional<Error> write();
  void forget();

  Slot& slot_;
  std::optional<WaveRecorder> recorder_;
  std::optional<Error> failure_;
};

}  // namespace quorra::simulator
