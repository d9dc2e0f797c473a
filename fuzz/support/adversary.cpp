// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "fuzz/support/adversary.hpp"

#include <algorithm>
#include <cerrno>

namespace quorra::fuzzing {
namespace {

constexpr unsigned char reply_start = 0x55;
constexpr std::size_t header_size = 4;
constexpr std::size_t body_head_size = 5;

}  // namespace

Adversary::Adversary(Input& input) : input_(input) {
  // Mostly no write fails.
  const unsigned when = input_.byte();
  writes_before_failure_ = when < 0xC0 ? ~0U : (when - 0xC0) * 3;
  failure_ = when < 0xC0 ? 0 : input_.byte();
}

ssize_t Adversary::write(Bytes bytes) {
  if (writes_before_failure_ == 0) {
    // An interruption happens once; what else fails goes on to fail.
    if (failure_ % 4 == 0) writes_before_failure_ = ~0U;
    errno = failure_ % 4 == 0 ? EINTR : EIO;
    if (failure_ % 4 == 1) return 0;
    if (failure_ % 4 == 2 && bytes.size() > 1) return static_cast<ssize_t>(bytes.size() / 2);
    return -1;
  }
  --writes_before_failure_;
  silent_ = false;
  late_ = 0;
  if (request_is_over_) {
    request_is_over_ = false;
    request_size_ = 0;
    // A reader that goes on with an old reply is one that answers late.
    outgoing_taken_ = outgoing_size_;
  }
  const Bytes kept = bytes.first(std::min(bytes.size(), request_.size() - request_size_));
  std::ranges::copy(kept, request_.begin() + static_cast<std::ptrdiff_t>(request_size_));
  request_size_ += kept.size();
  return static_cast<ssize_t>(bytes.size());
}

ssize_t Adversary::read(unsigned char& byte) {
  if (!request_is_over_) {
    request_is_over_ = true;
    const Bytes data = last_written();
    if (!data.empty()) {
      std::ranges::copy(data, written_.begin());
      written_size_ = data.size();
    }
  }
  if (outgoing_taken_ == outgoing_size_ && !silent_ && late_ == 0 && !input_.empty()) answer();
  if (late_ > 0) {
    --late_;
    return 0;
  }
  if (outgoing_taken_ == outgoing_size_) {
    errno = error_;
    return silent_ && error_ != 0 ? -1 : 0;
  }
  byte = outgoing_[outgoing_taken_++];
  return 1;
}

// A request that names a zero and a count carries nothing.
Bytes Adversary::last_written() const {
  const Bytes request = Bytes(request_).first(request_size_);
  if (request.size() <= header_size + body_head_size + 1) return {};
  const Bytes data = request.subspan(header_size + body_head_size,
                                     request.size() - header_size - body_head_size - 1);
  return data.size() == 2 && data[0] == 0 ? Bytes{}
                                          : data.first(std::min(data.size(), written_.size()));
}

void Adversary::answer() {
  outgoing_size_ = outgoing_taken_ = 0;
  switch (static_cast<Answer>(input_.byte() % static_cast<int>(Answer::count))) {
    case Answer::pattern:
      return reply_with_pattern(0);
    case Answer::bytes: {
      const std::size_t length = input_.byte();
      return reply(0, input_.bytes(length));
    }
    case Answer::written:
      return reply(0, Bytes(written_).first(std::min<std::size_t>(written_size_, 255)));
    case Answer::status:
      return reply_with_pattern(input_.byte());
    case Answer::block:
      return reply_with_block();
    case Answer::flaw:
      return reply_with_flaw();
    case Answer::raw: {
      const Bytes raw = input_.bytes(input_.byte() % 32);
      std::ranges::copy(raw, outgoing_.begin());
      outgoing_size_ = raw.size();
      return;
    }
    case Answer::silence:
    case Answer::count: {
      constexpr std::array errors{0, EIO, EINTR, EAGAIN};
      silent_ = true;
      error_ = errors[input_.byte() % errors.size()];
      return;
    }
    case Answer::late:
      late_ = 1 + input_.byte() % 16;
      return;
  }
}

void Adversary::reply(unsigned char status, Bytes data) {
  outgoing_ = {reply_start, status, 0, static_cast<unsigned char>(data.size())};
  std::ranges::copy(data, outgoing_.begin() + header_size);
  outgoing_size_ = header_size + data.size() + 1;
  unsigned char check = 0;
  for (std::size_t i = 0; i + 1 < outgoing_size_; ++i)
    check ^= outgoing_[i];
  outgoing_[outgoing_size_ - 1] = check;
}

void Adversary::reply_with_pattern(unsigned char status) {
  std::array<unsigned char, 255> data{};
  const std::size_t length = input_.byte();
  unsigned char value = input_.byte();
  for (unsigned char& byte : data)
    byte = value++;
  reply(status, Bytes(data).first(length));
}

// The block announces its length, which need not be that of what the reply brings.
void Adversary::reply_with_block() {
  const unsigned char kind = input_.byte();
  const unsigned char length = input_.byte();
  std::array<unsigned char, 255> data{input_.byte(), static_cast<unsigned char>(kind & 0x40),
                                      length};
  unsigned char value = input_.byte();
  for (std::size_t i = 3; i < data.size(); ++i)
    data[i] = value++;
  std::size_t brought = std::min<std::size_t>(length + std::size_t{4}, data.size());
  if (kind % 8 == 7) brought = input_.byte();
  constexpr std::array<unsigned char, 4> sw1{0x61, 0x6C, 0x90, 0x61};
  if (length >= 2 && length + std::size_t{3} <= data.size()) {
    data[length + std::size_t{1}] = sw1[kind % sw1.size()];
    data[length + std::size_t{2}] = input_.byte();
  }
  reply(0, Bytes(data).first(brought));
}

void Adversary::reply_with_flaw() {
  const unsigned char flaw = input_.byte();
  reply_with_pattern(flaw % 2 == 0 ? 0 : input_.byte());
  const unsigned char value = input_.byte();
  switch (flaw / 2 % 5) {
    case 0:
      outgoing_[0] = value;
      return;
    case 1:
      outgoing_[outgoing_size_ - 1] ^= value;
      return;
    case 2:
      outgoing_size_ -= std::min<std::size_t>(value, outgoing_size_);
      return;
    case 3:
      outgoing_[3] = value;
      return;
    default:
      // The third byte, which has no meaning but in the answer to reset, and the check byte with
      // it.
      outgoing_[2] = value;
      outgoing_[outgoing_size_ - 1] ^= value;
      return;
  }
}

}  // namespace quorra::fuzzing
