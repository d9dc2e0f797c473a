// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// One reader with its slots.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pcsc/device_name.hpp"
#include "pcsc/line/link.hpp"
#include "pcsc/processor/sams.hpp"
#include "pcsc/slots/slot.hpp"

namespace quorra::pcsc {

class Reader {
 public:
  // The reader need not be there.
  explicit Reader(DeviceName name);
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader();

  // Whoever uses the reader holds it.
  std::mutex& mutex() { return mutex_; }

  Link& link() { return link_; }
  // Slot 0 is that of the card, and the others are those of SAMs.
  std::size_t number_of_slots() const { return slots_.size(); }
  Slot& slot(std::size_t number) { return *slots_.at(number); }

 private:
  void add_sams();

  std::mutex mutex_;
  DeviceName name_;
  Link link_;
  Sams sams_;
  std::vector<std::unique_ptr<Slot>> slots_;
};

}  // namespace quorra::pcsc
