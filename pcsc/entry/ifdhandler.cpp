// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What pcscd calls.

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>

#include "pcsc/entry/capabilities.hpp"
#include "pcsc/entry/control.hpp"
#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/entry/results.hpp"
#include "pcsc/log.hpp"
#include "pcsc/readers.hpp"

namespace quorra::pcsc {
namespace {

constexpr DWORD longest_answer_to_reset = MAX_ATR_SIZE;

// What pcscd is told of the exception that is being handled, in words and by number.
RESPONSECODE tell_of_exception(const Link* link) noexcept {
  try {
    throw;
  } catch (const std::exception& error) {
    log(Severity::error, error.what());
    if (link != nullptr) return response_code(*link, error);
  } catch (...) {  // UNREACHED_FROM: nothing here throws anything else
    log(Severity::error, "something else than an exception of the driver");
  }  // UNREACHED_TO
  return IFD_COMMUNICATION_ERROR;
}

// What `work` returns. No exception reaches pcscd.
template <typename Work>
RESPONSECODE guarded(Work work) noexcept {
  try {
    return work();
  } catch (...) {
    return tell_of_exception(nullptr);
  }
}

// Calls `work` with the reader and the slot, which nobody else uses meanwhile.
template <typename Work>
RESPONSECODE with_slot(DWORD lun, Work work) noexcept {
  return guarded([&]() -> RESPONSECODE {
    const std::shared_ptr<Reader> reader = readers().find(lun);
    if (!reader) return IFD_COMMUNICATION_ERROR;
    const std::lock_guard lock(reader->mutex());
    reader->link().begin();
    try {
      return work(*reader, reader->slot(slot_of(lun)));
    } catch (...) {
      return tell_of_exception(&reader->link());
    }
  });
}

// Fills the caller's buffer, if it is large enough.
RESPONSECODE give(const Bytes& bytes, UCHAR* buffer, DWORD* length) {
  const DWORD room = *length;
  *length = 0;
  if (bytes.size() > room) return IFD_ERROR_INSUFFICIENT_BUFFER;
  std::ranges::copy(bytes, buffer);
  *length = bytes.size();
  return IFD_SUCCESS;
}

Bytes bytes_of(const UCHAR* bytes, DWORD count) {
  if (bytes == nullptr) return {};
  return {bytes, bytes + count};
}

}  // namespace
}  // namespace quorra::pcsc

using namespace quorra::pcsc;

extern "C" {

// The names in the interface have another form, and it knows no pointers to constants.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,readability-non-const-parameter)

RESPONSECODE IFDHCreateChannelByName(DWORD lun, LPSTR device_name) {
  return guarded([&] {
    readers().open(lun, device_name == nullptr ? "" : device_name);
    return RESPONSECODE{IFD_SUCCESS};
  });
}

// A reader has a name, not a number.
RESPONSECODE IFDHCreateChannel(DWORD /*lun*/, DWORD /*channel*/) {
  log(Severity::error, "DEVICENAME is missing: the reader is found by its name alone");
  return IFD_COMMUNICATION_ERROR;
}

RESPONSECODE IFDHCloseChannel(DWORD lun) {
  return guarded([lun] { return readers().close(lun) ? IFD_SUCCESS : IFD_COMMUNICATION_ERROR; });
}

RESPONSECODE IFDHGetCapabilities(DWORD lun, DWORD tag, PDWORD length, PUCHAR buffer) {
  if (length == nullptr || buffer == nullptr) return IFD_COMMUNICATION_ERROR;
  return with_slot(lun, [&](Reader& reader, Slot& /*slot*/) {
    const std::optional<Bytes> value = capability(reader, slot_of(lun), tag);
    return value ? give(*value, buffer, length) : RESPONSECODE{IFD_ERROR_TAG};
  });
}

RESPONSECODE IFDHSetCapabilities(DWORD /*lun*/, DWORD /*tag*/, DWORD /*length*/,
                                 PUCHAR /*buffer*/) {
  return IFD_NOT_SUPPORTED;
}

RESPONSECODE IFDHSetProtocolParameters(DWORD lun, DWORD protocol, UCHAR /*flags*/, UCHAR /*pts1*/,
                                       UCHAR /*pts2*/, UCHAR /*pts3*/) {
  return with_slot(lun, [protocol](Reader& /*reader*/, const Slot& slot) {
    const int number = protocol == SCARD_PROTOCOL_T1 ? 1 : 0;
    const bool is_known = number == 1 || protocol == SCARD_PROTOCOL_T0;
    return is_known && slot.accepts(number) ? IFD_SUCCESS : IFD_PROTOCOL_NOT_SUPPORTED;
  });
}

RESPONSECODE IFDHPowerICC(DWORD lun, DWORD action, PUCHAR atr, PDWORD atr_length) {
  if (atr == nullptr || atr_length == nullptr) return IFD_COMMUNICATION_ERROR;
  *atr_length = 0;
  return with_slot(lun, [&](Reader& /*reader*/, Slot& slot) -> RESPONSECODE {
    switch (action) {
      case IFD_POWER_DOWN:
        slot.power_down();
        return IFD_SUCCESS;
      case IFD_POWER_UP:
      case IFD_RESET: {
        DWORD room = longest_answer_to_reset;
        const RESPONSECODE given = give(slot.power_up(), atr, &room);
        *atr_length = room;
        return given;
      }
      default:
        return IFD_NOT_SUPPORTED;
    }
  });
}

RESPONSECODE IFDHTransmitToICC(DWORD lun, SCARD_IO_HEADER sent, PUCHAR command,
                               DWORD command_length, PUCHAR buffer, PDWORD length,
                               PSCARD_IO_HEADER received) {
  if (command == nullptr || buffer == nullptr || length == nullptr) {
    return IFD_COMMUNICATION_ERROR;
  }
  DWORD room = *length;
  *length = 0;
  return with_slot(lun, [&](Reader& reader, Slot& slot) -> RESPONSECODE {
    try {
      const Bytes answer = slot.transmit(bytes_of(command, command_length));
      const RESPONSECODE given = give(answer, buffer, &room);
      *length = room;
      if (received != nullptr) received->Protocol = sent.Protocol;
      return given;
    } catch (const quorra::toolkit::Failure& failure) {
      // The reader refuses commands when the card was pulled, and is asked why.
      const RESPONSECODE code = response_code(reader.link(), failure);
      if (code != IFD_COMMUNICATION_ERROR || !slot.has_lost_card()) throw;
      return IFD_ICC_NOT_PRESENT;
    }
  });
}

RESPONSECODE IFDHControl(DWORD lun, DWORD code, PUCHAR command, DWORD command_length, PUCHAR buffer,
                         DWORD room, LPDWORD length) {
  if (length == nullptr) return IFD_COMMUNICATION_ERROR;
  *length = 0;
  return with_slot(lun, [&](Reader& reader, Slot& /*slot*/) -> RESPONSECODE {
    const std::optional<Bytes> answer =
        control(reader.link(), code, bytes_of(command, command_length));
    if (!answer) return IFD_ERROR_NOT_SUPPORTED;
    if (answer->empty()) return IFD_SUCCESS;
    *length = buffer == nullptr ? 0 : room;
    return give(*answer, buffer, length);
  });
}

RESPONSECODE IFDHICCPresence(DWORD lun) {
  return with_slot(lun, [](Reader& /*reader*/, Slot& slot) {
    return slot.is_occupied() ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT;
  });
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name,readability-non-const-parameter)

}  // extern "C"
