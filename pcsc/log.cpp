// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/log.hpp"

// pcscd has this function for its drivers; whoever else loads the driver need not.
extern "C" [[gnu::weak]] void log_msg(int priority, const char* format, ...);

namespace quorra::pcsc {
namespace {

constexpr int informing = 1;
constexpr int failing = 2;

}  // namespace

void log(Severity severity, const std::string& text) noexcept {
  if (log_msg == nullptr) return;
  log_msg(severity == Severity::error ? failing : informing, "quorra: %s", text.c_str());
}

}  // namespace quorra::pcsc
