// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The readers that pcscd has opened, by the numbers that it gave them.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>

#include "pcsc/entry/ifdhandler.hpp"
#include "pcsc/reader.hpp"

namespace quorra::pcsc {

// A Lun: the reader in its upper 16 bits, the slot in the lower ones.
constexpr DWORD reader_of(DWORD lun) { return lun >> 16; }
constexpr std::size_t slot_of(DWORD lun) { return lun & 0xFFFF; }

class Readers {
 public:
  // pcscd opens every slot: the reader with the first one. Throws BadDeviceName.
  void open(DWORD lun, std::string_view device_name);
  // The reader is closed with its last slot. Whether the slot was open.
  bool close(DWORD lun);

  // The reader of an open slot; a null pointer if it is none.
  std::shared_ptr<Reader> find(DWORD lun);

 private:
  struct Entry {
    std::shared_ptr<Reader> reader;
    std::set<std::size_t> open_slots;
  };

  std::mutex opening_;  // one reader is opened or closed at a time
  std::mutex map_;
  std::map<DWORD, Entry> readers_;
};

// Those of this process.
Readers& readers();

}  // namespace quorra::pcsc
