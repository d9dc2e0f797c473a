// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <poll.h>

#include <cstddef>
#include <filesystem>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/bench/bench.hpp"
#include "simulator/control/control_commands.hpp"
#include "simulator/files.hpp"

namespace quorra::simulator {

// The control socket of a bench: a Unix stream socket with one JSON object a line in each
// direction. It never waits for a client. The destructor removes the socket, if it is still its
// own.
class Control {
 public:
  // Throws Error if the socket is in use, or its path is taken by something else.
  Control(std::filesystem::path path, Bench& bench);
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;
  ~Control();

  const std::filesystem::path& path() const { return path_; }
  bool stop_requested() const { return stop_requested_; }

  // Appends what has to be polled.
  void add_to(std::vector<pollfd>& polled) const;
  // When serve() has something to do although no descriptor is ready; absent if never.
  std::optional<Time> next_due() const { return rests_until_; }
  // Serves the descriptors that add_to() appended, in the same order.
  void serve(Time now, std::span<const pollfd> polled);

 private:
  struct Client {
    Client(FileDescriptor accepted, Bench& bench)
        : connection(std::move(accepted)),
          context{.bench = bench} {}

    FileDescriptor connection;
    ControlContext context;
    std::string received;
    std::string unsent;
    bool skips_rest_of_line = false;
    bool has_ended = false;
    bool is_lost = false;
  };

  void accept_client(Time now);
  void receive(Client& client);
  void carry_out_lines(Client& client);
  void send_trace(const TracedFrame& frame);
  void choose_listener();

  std::filesystem::path path_;
  Bench& bench_;
  FileDescriptor listening_;
  // Of the socket.
  std::optional<FileStamp> stamp_;
  std::list<Client> clients_;
  // When the next client is looked for, after one could not be taken in.
  std::optional<Time> rests_until_;
  bool stop_requested_ = false;
};

}  // namespace quorra::simulator
