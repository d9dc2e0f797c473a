// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/line/link.hpp"

#include <quorra.h>

#include <algorithm>
#include <array>
#include <shared_mutex>
#include <utility>

#include "pcsc/line/configured_device.hpp"
#include "pcsc/log.hpp"

namespace quorra::pcsc {
namespace {

constexpr std::chrono::milliseconds first_pause{500};
constexpr std::chrono::milliseconds longest_pause{8000};

constexpr int not_sent = -129;
constexpr int timeout = -132;

// A late reply may be taken for the next one so often.
constexpr int attempts = 3;

// Whether line and reader may be out of step after such a result.
bool is_trouble(int result) { return result == not_sent || toolkit::is_unanswered(result); }

struct Version {
  int result;
  std::string text;
};

Version read_version(int handle) {
  std::array<unsigned char, 10> text{};
  const std::shared_lock lock(library_mode());
  const int result = srd_ver(handle, static_cast<int>(text.size()), text.data());
  return {result, {text.begin(), std::ranges::find(text, '\0')}};
}

}  // namespace

Link::Link(DeviceName name) : name_(std::move(name)) {}

int Link::handle() const { return line_ ? line_->descriptor() : -1; }

void Link::open() {
  line_.emplace(find_device(name_.path), name_.speed);
  Version version{};
  for (int attempt = 0; attempt < attempts; ++attempt) {
    line_->drop_until_silent();
    version = read_version(handle());
    if (version.result == 0 && !version.text.empty()) {
      version_ = version.text;
      return;
    }
    if (version.result == not_sent || version.result == timeout) break;
  }
  throw toolkit::NoReader(name_.path + ": no reader answers: " +
                          explain(toolkit::OperationKind::ordinary, version.result));
}

bool Link::reach() {
  if (line_) return true;
  if (Clock::now() < next_attempt_) return false;
  try {
    open();
  } catch (const std::exception& error) {
    line_.reset();
    tell(error.what());
    pause_ = std::clamp<Clock::duration>(pause_ * 2, first_pause, longest_pause);
    next_attempt_ = Clock::now() + pause_;
    return false;
  }
  ++openings_;
  pause_ = {};
  told_.clear();
  log(Severity::information, name_.path + ": reader " + version_);
  return true;
}

void Link::tell(const std::string& text) {
  if (text == told_) return;
  told_ = text;
  log(Severity::error, text);
}

bool Link::is_in_step() const {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    line_->drop_until_silent();
    const Version version = read_version(handle());
    if (version.result == 0 && version.text == version_) return true;
    if (version.result == not_sent || version.result == timeout) return false;
  }
  return false;
}

void Link::before_call(const toolkit::Operation& operation) const {
  if (!line_) throw ReaderGone(std::string(operation.doing) + ": there is no reader", not_sent);
  library_mode().lock_shared();
  line_->drop_input();
}

void Link::after_call(const toolkit::Operation& operation, int result) const {
  library_mode().unlock_shared();
  if (result < 0 && trouble_ == 0) trouble_ = result;
  if (!is_trouble(result)) return;
  const std::string what = describe(operation, result);
  if (!is_in_step()) {
    line_.reset();
    throw ReaderGone(name_.path + ": the reader is gone: " + what, result);
  }
  log(Severity::error, what);
}

}  // namespace quorra::pcsc
