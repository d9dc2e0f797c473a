// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/slot_waves.hpp"

#include <fmt/core.h>

#include <utility>

namespace quorra::simulator {

void SlotWaves::record(const std::filesystem::path& file, std::string_view kind) {
  stop();
  recorder_.emplace(file, kind);
  slot_.watch(*recorder_);
  if (const auto failure = write()) throw Error(*failure);
}

void SlotWaves::stop() {
  auto failure = std::exchange(failure_, std::nullopt);
  if (recorder_) failure = write();
  forget();
  if (failure) throw Error(*failure);
}

void SlotWaves::forget() {
  if (recorder_) slot_.unwatch(*recorder_);
  recorder_.reset();
}

std::filesystem::path SlotWaves::file() const {
  return recorder_ ? recorder_->path() : std::filesystem::path();
}

void SlotWaves::begin_request(std::span<const std::uint8_t> frame) {
  if (recorder_) recorder_->begin_request(frame);
}

void SlotWaves::end_request() {
  if (!recorder_) return;
  recorder_->end_request();
  failure_ = write();
  if (failure_) complain(failure_->what());
}

std::optional<Error> SlotWaves::write() {
  try {
    recorder_->write();
    return std::nullopt;
  } catch (const Error& error) {
    forget();
    return Error(fmt::format("{}; the waves end there", error.what()));
  }
}

}  // namespace quorra::simulator
