// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/feed.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace quorra::simulator {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds at_once{0};
// Nothing that is waited for takes as long.
constexpr std::chrono::minutes for_ever{10};

class FeedTest : public ::testing::Test {
 protected:
  // Something happens at the bench.
  void change() { reader.clear_faults(); }
  template <typename Kind>
  static bool next_is(Feed::Listener& listener) {
    const auto event = listener.next(at_once);
    return event && std::holds_alternative<Kind>(*event);
  }

  VirtualReader reader;
  Feed feed{reader};
};

TEST_F(FeedTest, tells_what_happens_from_the_beginning_of_listening_on) {
  change();
  const auto listener = feed.listen();
  EXPECT_FALSE(listener->next(at_once));
  change();
  EXPECT_TRUE(next_is<Feed::Change>(*listener));
  EXPECT_FALSE(listener->next(at_once));
}

TEST_F(FeedTest, tells_each_listener_for_itself) {
  const auto first = feed.listen();
  change();
  const auto second = feed.listen();
  change();
  EXPECT_TRUE(next_is<Feed::Change>(*first));
  EXPECT_TRUE(next_is<Feed::Change>(*first));
  EXPECT_FALSE(first->next(at_once));
  EXPECT_TRUE(next_is<Feed::Change>(*second));
  EXPECT_FALSE(second->next(at_once));
}

TEST_F(FeedTest, keeps_as_many_events_as_it_says) {
  const auto listener = feed.listen();
  for (std::size_t i = 0; i < Feed::most_events; ++i)
    change();
  for (std::size_t i = 0; i < Feed::most_events; ++i)
    EXPECT_TRUE(next_is<Feed::Change>(*listener));
  EXPECT_FALSE(listener->next(at_once));
}

TEST_F(FeedTest, says_that_a_slow_listener_missed_something_and_goes_on) {
  const auto listener = feed.listen();
  for (std::size_t i = 0; i < Feed::most_events + 1; ++i)
    change();
  EXPECT_TRUE(next_is<Feed::Gap>(*listener));
  EXPECT_FALSE(listener->next(at_once));
  change();
  EXPECT_TRUE(next_is<Feed::Change>(*listener));
}

TEST_F(FeedTest, has_a_limited_number_of_listeners) {
  std::vector<std::unique_ptr<Feed::Listener>> listeners;
  for (std::size_t i = 0; i < Feed::most_listeners; ++i)
    listeners.push_back(feed.listen());
  for (const auto& listener : listeners)
    EXPECT_TRUE(listener);
  EXPECT_FALSE(feed.listen());
  listeners.pop_back();
  EXPECT_TRUE(feed.listen());
}

TEST_F(FeedTest, hears_nothing_while_nobody_listens) {
  feed.listen().reset();
  for (std::size_t i = 0; i < Feed::most_events + 1; ++i)
    change();
  const auto listener = feed.listen();
  EXPECT_FALSE(listener->next(at_once));
}

TEST_F(FeedTest, wakes_who_waits) {
  const auto listener = feed.listen();
  std::thread other([this] { change(); });
  EXPECT_TRUE(listener->next(for_ever));
  other.join();
}

TEST_F(FeedTest, ends_for_all) {
  const auto listener = feed.listen();
  EXPECT_FALSE(feed.has_ended());
  std::thread other([this] { feed.end(); });
  EXPECT_FALSE(listener->next(for_ever));
  other.join();
  EXPECT_TRUE(feed.has_ended());
  change();
  EXPECT_FALSE(listener->next(for_ever));
  EXPECT_FALSE(feed.listen());
}

}  // namespace
}  // namespace quorra::simulator
