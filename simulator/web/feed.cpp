// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/feed.hpp"

#include <utility>

namespace quorra::simulator {

Feed::~Feed() { reader_.watch(nullptr); }

std::optional<Feed::Event> Feed::Listener::next(std::chrono::milliseconds patience) {
  std::unique_lock lock(feed_.mutex_);
  const auto end = [this] { return feed_.first_ + feed_.events_.size(); };
  feed_.has_grown_.wait_for(lock, patience, [&] { return feed_.has_ended_ || next_ < end(); });
  if (feed_.has_ended_ || next_ == end()) return {};
  if (next_ < feed_.first_) {
    next_ = end();
    return Gap{};
  }
  const Event& event = feed_.events_.at(static_cast<std::size_t>(next_ - feed_.first_));
  ++next_;
  return event;
}

void Feed::end() {
  {
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
  }
  has_grown_.notify_all();
}

bool Feed::has_ended() const {
  const std::lock_guard lock(mutex_);
  return has_ended_;
}

// The bytes of the frame go with the exchange, so they are copied.
void Feed::frame_passed(const TracedFrame& frame) {
  PassedFrame passed{.frame = frame, .bytes = {frame.bytes.begin(), frame.bytes.end()}};
  passed.frame.bytes = {};
  add(std::move(passed));
}

void Feed::card_was_used(const Activity& activity) { add(activity); }

void Feed::bench_was_changed() { add(Change{}); }

void Feed::add(Event event) {
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    if (events_.size() > most_events) {
      events_.pop_front();
      ++first_;
    }
  }
  has_grown_.notify_all();
}

std::unique_ptr<Feed::Listener> Feed::listen() {
  const std::lock_guard listening(listening_);
  if (listeners_ == most_listeners || has_ended()) return nullptr;
  if (listeners_++ == 0) reader_.watch(this);
  const std::lock_guard lock(mutex_);
  return std::make_unique<Listener>(*this, first_ + events_.size());
}

// What nobody will fetch is forgotten.
void Feed::end_listening() {
  const std::lock_guard listening(listening_);
  if (--listeners_ != 0) return;
  reader_.watch(nullptr);
  const std::lock_guard lock(mutex_);
  first_ += events_.size();
  events_.clear();
}

}  // namespace quorra::simulator
