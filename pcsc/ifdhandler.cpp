// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What pcscd calls.

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>

#include "pcsc/capabilities.hpp"
#include "pcsc/control.hpp"
#include "pcsc/ifdhandler.hpp"
#include "pcsc/log.hpp"
#include "pcsc/readers.hpp"
#include "pcsc/results.hpp"

namespace quorra::pcsc {
namespace {

constexpr DWORD longest_answer_to_reset = MAX_ATR_SIZE;

// What `work` returns. No exception reaches pcscd.
template <typename Work>
RESPONSECODE guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::exception& error) {
    log(Severity::error, error.what());
  } catch (...) {
    log(Severity::error, "something else than an exception of the driver");
  }
  return IFD_COMMUNICATION_ERROR;
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
    } catch (const std::exception& error) {
      log(Severity::error, error.what());
      return response_code(reader->link(), error);
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

RESPONSECODE IFDHCreateChannelByName(DWORD Lun, LPSTR DeviceName) {
  return guarded([&] {
    readers().open(Lun, DeviceName == nullptr ? "" : DeviceName);
    return RESPONSECODE{IFD_SUCCESS};
  });
}

// A reader has a name, not a number.
RESPONSECODE IFDHCreateChannel(DWORD /*Lun*/, DWORD /*Channel*/) {
  log(Severity::error, "DEVICENAME is missing: the reader is found by its name alone");
  return IFD_COMMUNICATION_ERROR;
}

RESPONSECODE IFDHCloseChannel(DWORD Lun) {
  return guarded([Lun] { return readers().close(Lun) ? IFD_SUCCESS : IFD_COMMUNICATION_ERROR; });
}

RESPONSECODE IFDHGetCapabilities(DWORD Lun, DWORD Tag, PDWORD Length, PUCHAR Value) {
  if (Length == nullptr || Value == nullptr) return IFD_COMMUNICATION_ERROR;
  return with_slot(Lun, [&](Reader& reader, Slot& /*slot*/) {
    const std::optional<Bytes> value = capability(&reader, slot_of(Lun), Tag);
    return value ? give(*value, Value, Length) : RESPONSECODE{IFD_ERROR_TAG};
  });
}

RESPONSECODE IFDHSetCapabilities(DWORD /*Lun*/, DWORD /*Tag*/, DWORD /*Length*/, PUCHAR /*Value*/) {
  return IFD_NOT_SUPPORTED;
}

RESPONSECODE IFDHSetProtocolParameters(DWORD Lun, DWORD Protocol, UCHAR /*Flags*/, UCHAR /*PTS1*/,
                                       UCHAR /*PTS2*/, UCHAR /*PTS3*/) {
  return with_slot(Lun, [Protocol](Reader& /*reader*/, Slot& slot) {
    const int number = Protocol == SCARD_PROTOCOL_T1 ? 1 : 0;
    const bool is_known = number == 1 || Protocol == SCARD_PROTOCOL_T0;
    return is_known && slot.accepts(number) ? IFD_SUCCESS : IFD_PROTOCOL_NOT_SUPPORTED;
  });
}

RESPONSECODE IFDHPowerICC(DWORD Lun, DWORD Action, PUCHAR Atr, PDWORD AtrLength) {
  if (Atr == nullptr || AtrLength == nullptr) return IFD_COMMUNICATION_ERROR;
  *AtrLength = 0;
  return with_slot(Lun, [&](Reader& /*reader*/, Slot& slot) -> RESPONSECODE {
    switch (Action) {
      case IFD_POWER_DOWN:
        slot.power_down();
        return IFD_SUCCESS;
      case IFD_POWER_UP:
      case IFD_RESET: {
        DWORD room = longest_answer_to_reset;
        const RESPONSECODE given = give(slot.power_up(), Atr, &room);
        *AtrLength = room;
        return given;
      }
      default:
        return IFD_NOT_SUPPORTED;
    }
  });
}

RESPONSECODE IFDHTransmitToICC(DWORD Lun, SCARD_IO_HEADER SendPci, PUCHAR TxBuffer, DWORD TxLength,
                               PUCHAR RxBuffer, PDWORD RxLength, PSCARD_IO_HEADER RecvPci) {
  if (TxBuffer == nullptr || RxBuffer == nullptr || RxLength == nullptr) {
    return IFD_COMMUNICATION_ERROR;
  }
  DWORD room = *RxLength;
  *RxLength = 0;
  return with_slot(Lun, [&](Reader& reader, Slot& slot) -> RESPONSECODE {
    try {
      const Bytes answer = slot.transmit(bytes_of(TxBuffer, TxLength));
      const RESPONSECODE given = give(answer, RxBuffer, &room);
      *RxLength = room;
      if (RecvPci != nullptr) RecvPci->Protocol = SendPci.Protocol;
      return given;
    } catch (const quorra::toolkit::Failure& failure) {
      // The reader refuses commands when the card was pulled, and is asked why.
      const RESPONSECODE code = response_code(reader.link(), failure);
      if (code != IFD_COMMUNICATION_ERROR || !slot.has_lost_card()) throw;
      return IFD_ICC_NOT_PRESENT;
    }
  });
}

RESPONSECODE IFDHControl(DWORD Lun, DWORD dwControlCode, PUCHAR TxBuffer, DWORD TxLength,
                         PUCHAR RxBuffer, DWORD RxLength, LPDWORD pdwBytesReturned) {
  if (pdwBytesReturned == nullptr) return IFD_COMMUNICATION_ERROR;
  *pdwBytesReturned = 0;
  return with_slot(Lun, [&](Reader& reader, Slot& /*slot*/) -> RESPONSECODE {
    const std::optional<Bytes> answer =
        control(reader.link(), dwControlCode, bytes_of(TxBuffer, TxLength));
    if (!answer) return IFD_ERROR_NOT_SUPPORTED;
    if (answer->empty()) return IFD_SUCCESS;
    DWORD room = RxBuffer == nullptr ? 0 : RxLength;
    const RESPONSECODE given = give(*answer, RxBuffer, &room);
    *pdwBytesReturned = room;
    return given;
  });
}

RESPONSECODE IFDHICCPresence(DWORD Lun) {
  return with_slot(Lun, [](Reader& /*reader*/, Slot& slot) {
    return slot.is_occupied() ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT;
  });
}

}  // extern "C"
