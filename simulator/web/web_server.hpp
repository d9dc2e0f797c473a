// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "simulator/bench/virtual_reader.hpp"

namespace quorra::simulator {

// Shows a reader on a page, to browsers on this machine alone. It has threads of its own; the
// reader's does nothing for it while nobody looks, and never waits for it.
class WebServer {
 public:
  // Port 0 is one that is free. The reader must outlive this object. Throws Error.
  WebServer(VirtualReader& reader, std::uint16_t port);
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;
  // Ends all connections.
  ~WebServer();

  // Where the page is.
  std::string address() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace quorra::simulator
