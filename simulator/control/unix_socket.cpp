// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/unix_socket.hpp"

#include <fmt/core.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

// The socket calls take every kind of address under the type of none.
const sockaddr* any_address(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

sockaddr_un socket_address(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string& text = path.native();
  if (text.empty() || text.size() >= sizeof(address.sun_path))
    throw Error(fmt::format("{}: the path of a socket must have 1 to {} characters", text,
                            sizeof(address.sun_path) - 1));
  std::ranges::copy(text, std::begin(address.sun_path));
  return address;
}

int bind_to(const FileDescriptor& socket, const sockaddr_un& address) {
  return ::bind(socket.get(), any_address(address), sizeof(address));
}

FileDescriptor connect_to(const std::filesystem::path& path) {
  const sockaddr_un address = socket_address(path);
  FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval timeout{.tv_sec = patience.count(), .tv_usec = 0};
  if (!connection.is_open() ||
      (::setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout) == 0 &&
       ::connect(connection.get(), any_address(address), sizeof(address)) == 0))
    return connection;
  const int error = errno;
  { const FileDescriptor closed = std::move(connection); }
  errno = error;
  return {};
}

}  // namespace quorra::simulator
