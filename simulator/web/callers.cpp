// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/web/callers.hpp"

#include <arpa/inet.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>

namespace quorra::simulator {
namespace {

constexpr std::array<std::string_view, 3> loopback_names{"127.0.0.1", "[::1]", "localhost"};
constexpr std::string_view scheme = "http://";
// Browsers leave it out where it is a header's.
constexpr unsigned usual_port = 80;

bool is_this_machine(const std::string& address) {
  constexpr std::uint8_t loopback_network = 127;
  in_addr number{};
  if (::inet_pton(AF_INET, address.c_str(), &number) == 1)
    return ntohl(number.s_addr) >> 24U == loopback_network;
  in6_addr long_number{};
  return ::inet_pton(AF_INET6, address.c_str(), &long_number) == 1 &&
         IN6_IS_ADDR_LOOPBACK(&long_number) != 0;
}

// Names of hosts are the same in capitals.
std::string in_small_letters(std::string_view text) {
  std::string small(text);
  for (char& letter : small)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return small;
}

}  // namespace

Callers::Callers(unsigned port) {
  for (const std::string_view name : loopback_names) {
    names_.push_back(fmt::format("{}:{}", name, port));
    if (port == usual_port) names_.emplace_back(name);
  }
}

bool Callers::admit(const Caller& caller) const {
  const auto is_own_site = [](const std::string& site) {
    return site == "same-origin" || site == "none";
  };
  return is_this_machine(caller.address) && caller.hosts.size() == 1 &&
         is_own_name(caller.hosts.front()) &&
         std::ranges::all_of(caller.origins,
                             [this](const auto& origin) { return is_own_origin(origin); }) &&
         std::ranges::all_of(caller.fetch_sites, is_own_site);
}

bool Callers::is_own_name(std::string_view host) const {
  return std::ranges::find(names_, in_small_letters(host)) != names_.end();
}

bool Callers::is_own_origin(std::string_view origin) const {
  return origin.starts_with(scheme) && is_own_name(origin.substr(scheme.size()));
}

}  // namespace quorra::simulator
