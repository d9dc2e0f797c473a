// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/connections.hpp"

#include <system_error>
#include <thread>
#include <utility>

namespace quorra::simulator {

void Connections::serve(std::function<void()> connection) {
  {
    std::unique_lock lock(mutex_);
    has_changed_.wait(lock, [this] { return is_closed_ || count_ < most; });
    ++count_;
  }
  try {
    std::thread([this, connection] {
      connection();
      end_one();
    }).detach();
  } catch (const std::system_error&) {
    connection();
    end_one();
  }
}

void Connections::close() {
  {
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
  }
  has_changed_.notify_all();
}

bool Connections::are_over_within(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  return has_changed_.wait_for(lock, patience, [this] { return count_ == 0; });
}

void Connections::wait_until_over() {
  std::unique_lock lock(mutex_);
  has_changed_.wait(lock, [this] { return count_ == 0; });
}

// Told while the lock is held: whoever waits may take this object away as soon as it is not.
void Connections::end_one() {
  const std::lock_guard lock(mutex_);
  --count_;
  has_changed_.notify_all();
}

}  // namespace quorra::simulator
