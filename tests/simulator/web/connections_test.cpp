// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/connections.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <latch>
#include <mutex>
#include <thread>

namespace quorra::simulator {
namespace {

constexpr std::chrono::minutes for_ever{10};

TEST(Connections, are_served_at_the_same_time_up_to_the_limit) {
  Connections connections;
  std::latch all_are_there(Connections::most);
  std::latch may_go(1);
  std::mutex mutex;
  std::size_t now = 0;
  std::size_t most_at_once = 0;
  std::size_t served = 0;
  const auto serve = [&] {
    {
      const std::lock_guard lock(mutex);
      most_at_once = std::max(most_at_once, ++now);
      if (++served <= Connections::most) all_are_there.count_down();
    }
    may_go.wait();
    const std::lock_guard lock(mutex);
    --now;
  };
  std::thread comers([&] {
    for (std::size_t i = 0; i < 3 * Connections::most; ++i)
      connections.serve(serve);
  });
  all_are_there.wait();
  EXPECT_FALSE(connections.are_over_within(std::chrono::milliseconds(1)));
  may_go.count_down();
  comers.join();
  EXPECT_TRUE(connections.are_over_within(for_ever));
  EXPECT_EQ(served, 3 * Connections::most);
  EXPECT_EQ(most_at_once, Connections::most);
}

TEST(Connections, wait_for_nobody_once_they_are_closed) {
  Connections connections;
  std::latch may_go(1);
  for (std::size_t i = 0; i < Connections::most; ++i)
    connections.serve([&may_go] { may_go.wait(); });
  std::thread comer([&] { connections.serve([] {}); });
  connections.close();
  comer.join();
  may_go.count_down();
  connections.wait_until_over();
}

}  // namespace
}  // namespace quorra::simulator
