// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/callers.hpp"

#include <gtest/gtest.h>

namespace quorra::simulator {
namespace {

// A program on this machine that asks for the right name.
const Caller program{
    .address = "127.0.0.1", .hosts = {"127.0.0.1:8080"}, .origins = {}, .fetch_sites = {}};

bool admits_host(const Callers& callers, const std::string& host) {
  Caller caller = program;
  caller.hosts = {host};
  return callers.admit(caller);
}

bool admits_origin(const Callers& callers, const std::string& origin) {
  Caller caller = program;
  caller.origins = {origin};
  return callers.admit(caller);
}

TEST(Callers, are_admitted_from_the_loopback_alone) {
  const Callers callers(8080);
  const auto admits = [&callers](const char* address) {
    Caller caller = program;
    caller.address = address;
    return callers.admit(caller);
  };
  for (const char* const own : {"127.0.0.1", "127.255.255.255", "::1"})
    EXPECT_TRUE(admits(own)) << own;
  for (const char* const other :
       {"126.255.255.255", "128.0.0.0", "10.0.0.1", "0.0.0.0", "::", "::2", "fe80::1",
        "::ffff:10.0.0.1", "", "localhost", "127.0.0.1 "})
    EXPECT_FALSE(admits(other)) << other;
}

TEST(Callers, ask_for_a_name_of_the_loopback_with_the_port) {
  const Callers callers(8080);
  for (const char* const own : {"127.0.0.1:8080", "[::1]:8080", "localhost:8080", "LOCALHOST:8080"})
    EXPECT_TRUE(admits_host(callers, own)) << own;
  for (const char* const other :
       {"127.0.0.1", "localhost", "[::1]", "::1:8080", "127.0.0.1:80", "127.0.0.1:8081",
        "127.0.0.1:80800", "127.0.0.1:08080", "127.0.0.2:8080", "0.0.0.0:8080", "localhost.:8080",
        "localhost:8080.", "localhost.example:8080", "example:8080", " localhost:8080", ""})
    EXPECT_FALSE(admits_host(callers, other)) << other;
}

TEST(Callers, ask_for_exactly_one_name) {
  const Callers callers(8080);
  Caller caller = program;
  caller.hosts = {};
  EXPECT_FALSE(callers.admit(caller));
  caller.hosts = {"127.0.0.1:8080", "127.0.0.1:8080"};
  EXPECT_FALSE(callers.admit(caller));
}

TEST(Callers, may_leave_the_usual_port_out) {
  const Callers usual(80);
  EXPECT_TRUE(admits_host(usual, "localhost"));
  EXPECT_TRUE(admits_host(usual, "localhost:80"));
  Caller caller = program;
  caller.hosts = {"localhost"};
  caller.origins = {"http://localhost"};
  EXPECT_TRUE(usual.admit(caller));
  EXPECT_FALSE(admits_host(usual, "example"));
}

TEST(Callers, are_of_this_origin_or_of_none) {
  const Callers callers(8080);
  for (const char* const own :
       {"http://127.0.0.1:8080", "http://[::1]:8080", "http://localhost:8080"})
    EXPECT_TRUE(admits_origin(callers, own)) << own;
  for (const char* const other :
       {"null", "", "http://", "https://127.0.0.1:8080", "http://127.0.0.1",
        "http://127.0.0.1:8081", "http://127.0.0.1:8080/", "http://example:8080", "127.0.0.1:8080",
        "file://"})
    EXPECT_FALSE(admits_origin(callers, other)) << other;
  Caller caller = program;
  caller.origins = {"http://localhost:8080", "http://example"};
  EXPECT_FALSE(callers.admit(caller));
}

TEST(Callers, are_not_sent_by_the_page_of_another_site) {
  const Callers callers(8080);
  const auto admits = [&callers](const std::vector<std::string>& sites) {
    Caller caller = program;
    caller.fetch_sites = sites;
    return callers.admit(caller);
  };
  EXPECT_TRUE(admits({"none"}));
  EXPECT_TRUE(admits({"same-origin"}));
  EXPECT_FALSE(admits({"same-site"}));
  EXPECT_FALSE(admits({"cross-site"}));
  EXPECT_FALSE(admits({""}));
  EXPECT_FALSE(admits({"none", "cross-site"}));
}

}  // namespace
}  // namespace quorra::simulator
