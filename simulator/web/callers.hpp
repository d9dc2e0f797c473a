// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorra::simulator {

// What a request says of where it comes from. A header that came twice is there twice.
struct Caller {
  // The other end of the connection, as a number.
  std::string address;
  std::vector<std::string> hosts;
  std::vector<std::string> origins;
  std::vector<std::string> fetch_sites;
};

// Tells the page's own requests, and those of programs on this machine, from what a page of
// somebody else makes a browser send. Such a page may have given its own name the address of this
// machine: then only Host tells.
class Callers {
 public:
  // The port at which the server listens.
  explicit Callers(unsigned port);

  bool admit(const Caller& caller) const;

 private:
  bool is_own_name(std::string_view host) const;
  bool is_own_origin(std::string_view origin) const;

  std::vector<std::string> names_;
};

}  // namespace quorra::simulator
