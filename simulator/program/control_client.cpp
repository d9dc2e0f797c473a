// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/control_client.hpp"

#include <fmt/core.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>

#include "simulator/control/unix_socket.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/program/output.hpp"

namespace quorra::simulator {
namespace {

constexpr int exit_refused = 1;

// Whether the connection goes on after the answer.
bool is_request_for_trace(const std::string& line) {
  const auto request = nlohmann::json::parse(line, nullptr, false);
  return request.is_object() && request.value("command", nlohmann::json()) == "trace" &&
         request.value("on", nlohmann::json()) == true;
}

// For the answers of a reader; zero: for ever.
void set_patience(const FileDescriptor& connection, std::chrono::seconds limit) {
  const timeval timeout{.tv_sec = limit.count(), .tv_usec = 0};
  if (::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0)
    throw Error(fmt::format("setsockopt: {}", system_error_text()));
}

[[noreturn]] void fail(const std::string& socket) {
  if (errno == EAGAIN)
    throw Error(fmt::format("{}: no answer within {} seconds", socket, patience.count()));
  throw Error(fmt::format("{}: {}", socket, system_error_text()));
}

// Prints what comes until the reader ends.
void print_trace(const FileDescriptor& connection) {
  set_patience(connection, {});
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) return;
    print({buffer.data(), static_cast<std::size_t>(count)});
  }
}

}  // namespace

int control(const std::string& socket, const std::string& line) {
  const FileDescriptor connection = connect_to(socket);
  if (!connection.is_open()) fail(socket);
  std::string unsent = line + '\n';
  while (!unsent.empty()) {
    const ssize_t sent = ::send(connection.get(), unsent.data(), unsent.size(), MSG_NOSIGNAL);
    if (sent < 0) fail(socket);
    unsent.erase(0, static_cast<std::size_t>(sent));
  }
  set_patience(connection, patience);
  std::string answer;
  while (!answer.ends_with('\n')) {
    char character = 0;
    const ssize_t count = ::recv(connection.get(), &character, 1, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) fail(socket);
    if (count <= 0) throw Error(fmt::format("{}: no answer", socket));
    answer += character;
  }
  print(answer);
  const auto object = nlohmann::json::parse(answer, nullptr, false);
  if (!object.is_object() || !object.value("ok", false)) return exit_refused;
  if (is_request_for_trace(line)) print_trace(connection);
  return 0;
}

}  // namespace quorra::simulator
