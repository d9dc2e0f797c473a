// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/readers.hpp"

#include <utility>

namespace quorra::pcsc {

void Readers::open(DWORD lun, std::string_view device_name) {
  const std::lock_guard opening(opening_);
  std::unique_lock lock(map_);
  Entry entry = readers_[reader_of(lun)];
  lock.unlock();
  // This takes its time when the reader does not answer, and the others go on.
  if (!entry.reader) {
    try {
      entry.reader = std::make_shared<Reader>(parse_device_name(device_name));
    } catch (...) {
      lock.lock();
      readers_.erase(reader_of(lun));
      throw;
    }
  }
  entry.open_slots.insert(slot_of(lun));
  lock.lock();
  readers_[reader_of(lun)] = std::move(entry);
}

bool Readers::close(DWORD lun) {
  const std::lock_guard opening(opening_);
  std::shared_ptr<Reader> last_use;
  const std::lock_guard lock(map_);
  const auto found = readers_.find(reader_of(lun));
  if (found == readers_.end() || found->second.open_slots.erase(slot_of(lun)) == 0) return false;
  if (found->second.open_slots.empty()) {
    last_use = std::move(found->second.reader);
    readers_.erase(found);
  }
  return true;
}

std::shared_ptr<Reader> Readers::find(DWORD lun) {
  const std::lock_guard lock(map_);
  const auto found = readers_.find(reader_of(lun));
  if (found == readers_.end() || !found->second.open_slots.contains(slot_of(lun))) return nullptr;
  if (slot_of(lun) >= found->second.reader->number_of_slots()) return nullptr;
  return found->second.reader;
}

Readers& readers() {
  static Readers all;
  return all;
}

}  // namespace quorra::pcsc
