// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <sys/un.h>

#include <chrono>
#include <filesystem>

#include "simulator/files.hpp"

namespace quorra::simulator {

// Throws Error if the path is too long for a socket.
sockaddr_un socket_address(const std::filesystem::path& path);

// Like bind(): 0, or -1 with errno set.
int bind_to(const FileDescriptor& socket, const sockaddr_un& address);

// How long others have to take a connection, to take bytes, and to answer.
inline constexpr std::chrono::seconds patience{10};

// A connection to the Unix stream socket at that path, not open (and errno set) if there is none;
// EAGAIN if its queue stays full. What is sent over it is not waited for longer than that either.
// Throws Error if the path is too long for a socket.
FileDescriptor connect_to(const std::filesystem::path& path);

}  // namespace quorra::simulator
