// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/entry/results.hpp"

#include <algorithm>
#include <iterator>

#include "pcsc/slots/slot.hpp"

namespace quorra::pcsc {
namespace {

struct Row {
  int result;
  RESPONSECODE code;
};

// Line and reader are in step again after all of these, or the reader is gone.
constexpr Row rows[] = {
    {-128, IFD_COMMUNICATION_ERROR},  // wrong start byte
    {-129, IFD_ICC_NOT_PRESENT},      // not sent: no reader
    {-132, IFD_RESPONSE_TIMEOUT},
    {-133, IFD_COMMUNICATION_ERROR},  // wrong check byte
};

}  // namespace

RESPONSECODE response_code(int result) {
  const auto* const found = std::ranges::find(rows, result, &Row::result);
  return found == std::end(rows) ? IFD_COMMUNICATION_ERROR : found->code;
}

RESPONSECODE response_code(const Link& link, const std::exception& error) {
  if (dynamic_cast<const NoCard*>(&error) != nullptr) return IFD_ICC_NOT_PRESENT;
  if (dynamic_cast<const MuteCard*>(&error) != nullptr) return IFD_ERROR_POWER_ACTION;
  if (const auto* gone = dynamic_cast<const ReaderGone*>(&error)) {
    return response_code(gone->result());
  }
  if (dynamic_cast<const toolkit::Failure*>(&error) == nullptr) return IFD_COMMUNICATION_ERROR;
  return response_code(link.trouble());
}

}  // namespace quorra::pcsc
