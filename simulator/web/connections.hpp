// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>

namespace quorra::simulator {

// A thread for each connection that there is, up to a limit. Who comes when all are taken waits in
// the queue of the system, outside of this program.
class Connections {
 public:
  static constexpr std::size_t most = 32;

  Connections() = default;
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;
  ~Connections() { wait_until_over(); }

  // Serves a connection on a thread of its own, as soon as there may be one more; on this thread
  // if no other can be had.
  void serve(std::function<void()> connection);

  // From now on nobody is waited for.
  void close();
  // Whether all have ended within that time.
  bool are_over_within(std::chrono::milliseconds patience);
  void wait_until_over();

 private:
  void end_one();

  std::mutex mutex_;
  std::condition_variable has_changed_;
  std::size_t count_ = 0;
  bool is_closed_ = false;
};

}  // namespace quorra::simulator
