// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/control.hpp"

#include <fmt/core.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

#include "simulator/control/unix_socket.hpp"
#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr int backlog = 16;
constexpr std::size_t most_clients = 64;
// A client for whom there is no descriptor goes on waiting, and the socket goes on being ready. Not
// to spin, it is not looked at for a while.
constexpr std::chrono::milliseconds rest{100};
constexpr std::size_t longest_line = 65536;
// A client that does not read its answers is not listened to beyond this, and one that does not
// read its trace is given up.
constexpr std::size_t most_unsent_answers = 65536;
constexpr std::size_t most_unsent_trace = 1024UL * 1024;

// Removes a socket that nobody listens at. Throws Error if somebody does, or if it is no socket.
void clear_the_way(const std::filesystem::path& path) {
  struct stat information {};
  if (::lstat(path.c_str(), &information) != 0) return;
  if (!S_ISSOCK(information.st_mode))
    throw Error(fmt::format("{}: there is a file of that name that is no socket", path.string()));
  // One whose queue is full is somebody's, too.
  if (connect_to(path).is_open() || errno == EAGAIN)
    throw Error(fmt::format("{}: the socket is in use", path.string()));
  if (errno != ECONNREFUSED || ::unlink(path.c_str()) != 0)
    throw Error(fmt::format("{}: {}", path.string(), system_error_text()));
}

FileDescriptor listen_at(const std::filesystem::path& path) {
  const sockaddr_un address = socket_address(path);
  clear_the_way(path);
  FileDescriptor listening(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const auto fail = [&path](const std::string& why) {
    throw Error(fmt::format("{}: {}", path.string(), why));
  };
  if (!listening.is_open() || bind_to(listening, address) != 0) fail(system_error_text());
  if (::listen(listening.get(), backlog) != 0) {
    const std::string why = system_error_text();
    ::unlink(path.c_str());
    fail(why);
  }
  return listening;
}

// Sends what fits; false if the client is gone.
bool send_some(int connection, std::string& unsent) {
  while (!unsent.empty()) {
    const ssize_t sent =
        ::send(connection, unsent.data(), unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return errno == EAGAIN;
    unsent.erase(0, static_cast<std::size_t>(sent));
  }
  return true;
}

}  // namespace

Control::Control(std::filesystem::path path, Bench& bench)
    : path_(std::move(path)),
      bench_(bench),
      listening_(listen_at(path_)),
      stamp_(stamp_of(path_)) {}

Control::~Control() {
  bench_.trace(nullptr);
  if (is_same_file(stamp_, stamp_of(path_))) ::unlink(path_.c_str());
}

void Control::add_to(std::vector<pollfd>& polled) const {
  const bool full = clients_.size() >= most_clients || rests_until_;
  polled.push_back({.fd = full ? -1 : listening_.get(), .events = POLLIN, .revents = 0});
  for (const Client& client : clients_) {
    short events = 0;
    if (!client.has_ended && client.unsent.size() < most_unsent_answers) events |= POLLIN;
    if (!client.unsent.empty()) events |= POLLOUT;
    polled.push_back({.fd = client.connection.get(), .events = events, .revents = 0});
  }
}

void Control::serve(Time now, std::span<const pollfd> polled) {
  if (rests_until_ && *rests_until_ <= now) rests_until_.reset();
  auto ready = polled.begin();
  const bool has_new_client = (ready++)->revents != 0;
  for (Client& client : clients_) {
    const short revents = (ready++)->revents;
    if ((revents & POLLIN) != 0) receive(client);
    if ((revents & (POLLHUP | POLLERR)) != 0 && (revents & POLLIN) == 0) client.is_lost = true;
    if (!client.is_lost && !send_some(client.connection.get(), client.unsent))
      client.is_lost = true;
  }
  std::erase_if(clients_, [](const Client& client) {
    return client.is_lost || (client.has_ended && client.unsent.empty() && !client.context.traces);
  });
  if (has_new_client) accept_client(now);
  choose_listener();
}

void Control::accept_client(Time now) {
  FileDescriptor connection(
      ::accept4(listening_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (connection.is_open()) {
    clients_.emplace_back(std::move(connection), bench_);
  } else {
    rests_until_ = now + rest;
  }
}

void Control::receive(Client& client) {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::recv(client.connection.get(), buffer.data(), buffer.size(), 0);
  if (count < 0) {
    client.is_lost = errno != EAGAIN && errno != EINTR;
    return;
  }
  client.received.append(buffer.data(), static_cast<std::size_t>(count));
  if (count == 0) {
    client.has_ended = true;
    if (!client.received.empty()) client.received += '\n';
  }
  carry_out_lines(client);
}

void Control::carry_out_lines(Client& client) {
  std::string& received = client.received;
  std::size_t begin = 0;
  for (std::size_t end = received.find('\n'); end != std::string::npos;
       begin = end + 1, end = received.find('\n', begin)) {
    if (std::exchange(client.skips_rest_of_line, false)) continue;
    client.unsent +=
        carry_out(client.context, std::string_view(received).substr(begin, end - begin));
    client.unsent += '\n';
    stop_requested_ = stop_requested_ || client.context.stop;
  }
  received.erase(0, begin);
  if (received.size() <= longest_line) return;
  if (!client.skips_rest_of_line) client.unsent += error_answer("the line is too long") + '\n';
  client.skips_rest_of_line = true;
  received.clear();
}

// The bench needs to tell of frames only while somebody wants to know.
void Control::choose_listener() {
  const bool anybody =
      std::ranges::any_of(clients_, [](const Client& client) { return client.context.traces; });
  if (!anybody) return bench_.trace(nullptr);
  bench_.trace([this](const TracedFrame& frame) { send_trace(frame); });
}

void Control::send_trace(const TracedFrame& frame) {
  const std::string line = trace_line(frame) + '\n';
  for (Client& client : clients_) {
    if (!client.context.traces || client.is_lost) continue;
    client.unsent += line;
    if (client.unsent.size() > most_unsent_trace) client.is_lost = true;
    if (!client.is_lost && !send_some(client.connection.get(), client.unsent))
      client.is_lost = true;
  }
}

}  // namespace quorra::simulator
