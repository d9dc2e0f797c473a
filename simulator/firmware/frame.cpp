// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/firmware/frame.hpp"

#include <algorithm>

#include "simulator/exclusive_or.hpp"

namespace quorra::simulator {

RequestParser::Result RequestParser::push(std::uint8_t byte) {
  if (is_whole()) reset();
  if (size_ == 0 && byte != request_start) return Result::incomplete;
  bytes_.at(size_) = byte;
  ++size_;
  if (!is_whole()) return Result::incomplete;
  return check_byte_is_right() ? Result::complete : Result::wrong_check_byte;
}

bool RequestParser::check_byte_is_right() const {
  constexpr std::size_t before_bytes_for_card = header_size + 5;
  const auto whole = frame();
  if (exclusive_or(whole) == 0) return true;
  return request().command == exchange_command && whole.size() > before_bytes_for_card &&
         exclusive_or(whole.first(before_bytes_for_card)) == whole.back();
}

std::span<std::uint8_t> Reply::extend(std::size_t count) {
  const auto added =
      std::span(bytes_).subspan(header_size).first(largest_body).subspan(data_size_, count);
  data_size_ += count;
  return added;
}

void Reply::append(std::span<const std::uint8_t> bytes) {
  std::ranges::copy(bytes, extend(bytes.size()).begin());
}

std::span<const std::uint8_t> Reply::finish(std::uint8_t status) {
  if (status != static_cast<std::uint8_t>(Status::success)) data_size_ = 0;
  bytes_[0] = reply_start;
  bytes_[1] = status;
  bytes_[2] = 0;
  bytes_[3] = static_cast<std::uint8_t>(data_size_);
  const auto checked = std::span(bytes_).first(header_size + data_size_);
  bytes_.at(checked.size()) = exclusive_or(checked);
  return std::span(bytes_).first(checked.size() + 1);
}

}  // namespace quorra::simulator
