// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "simulator/bench/bench.hpp"
#include "simulator/bench/virtual_reader.hpp"

namespace quorra::simulator {

// What goes on at a reader, for any number of listeners who may be slow. The reader puts it here
// only while somebody listens, and never waits: what a listener has not fetched in time is dropped.
class Feed final : BenchWatcher {
 public:
  struct PassedFrame {
    TracedFrame frame;
    std::vector<std::uint8_t> bytes;
  };
  struct Change {};
  // Something was dropped.
  struct Gap {};
  using Event = std::variant<PassedFrame, Activity, Change, Gap>;

  static constexpr std::size_t most_listeners = 8;
  static constexpr std::size_t most_events = 1024;

  // The reader must outlive this object.
  explicit Feed(VirtualReader& reader) : reader_(reader) {}
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;
  ~Feed() override;

  // Hears of all that happens from its construction on.
  class Listener {
   public:
    Listener(Feed& feed, std::uint64_t next) : feed_(feed), next_(next) {}
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { feed_.end_listening(); }

    // The next event, waited for as long as that; absent if there was none, or the feed has ended.
    std::optional<Event> next(std::chrono::milliseconds patience);

   private:
    Feed& feed_;
    std::uint64_t next_;
  };

  // Null if there are too many, or the feed has ended.
  std::unique_ptr<Listener> listen();
  // From now on there are no more events, and nobody waits.
  void end();
  bool has_ended() const;

 private:
  void frame_passed(const TracedFrame& frame) override;
  void card_was_used(const Activity& activity) override;
  void bench_was_changed() override;
  void add(Event event);
  void end_listening();

  VirtualReader& reader_;
  // Held while the reader is told who watches it; the reader never asks for it.
  std::mutex listening_;
  std::size_t listeners_ = 0;

  mutable std::mutex mutex_;
  std::condition_variable has_grown_;
  std::deque<Event> events_;
  // The number of the first of them.
  std::uint64_t first_ = 0;
  bool has_ended_ = false;
};

}  // namespace quorra::simulator
