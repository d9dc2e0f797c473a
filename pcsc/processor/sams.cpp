// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/processor/sams.hpp"

#include <quorra.h>

#include <array>

namespace quorra::pcsc {
namespace {

constexpr toolkit::Operation switching_on{"switching the SAMs' power on"};
constexpr toolkit::Operation switching_off{"switching the SAMs' power off"};
constexpr toolkit::Operation selecting{"selecting the SAM"};
constexpr toolkit::Operation resetting{"resetting the SAM"};

constexpr std::size_t largest_answer = 255;

}  // namespace

void Sams::forget() {
  in_use_.clear();
  selected_.reset();
}

void Sams::notice_loss() {
  if (link_.openings() == opening_) return;
  opening_ = link_.openings();
  forget();
}

void Sams::select(int number) {
  notice_loss();
  if (selected_ == number) return;
  selected_.reset();
  link_.run(selecting, sam_select, static_cast<unsigned char>(number));
  selected_ = number;
}

Bytes Sams::reset(int number) {
  notice_loss();
  if (in_use_.empty()) link_.run(switching_on, sam_power_on);
  in_use_.insert(number);
  select(number);
  std::array<unsigned char, largest_answer> answer{};
  int length = 0;
  link_.run(resetting, sam_reset, &length, answer.data());
  return {answer.begin(), answer.begin() + length};
}

void Sams::release(int number) {
  notice_loss();
  if (in_use_.erase(number) > 0 && in_use_.empty()) link_.run(switching_off, sam_power_down);
}

}  // namespace quorra::pcsc
