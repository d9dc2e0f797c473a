// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <sys/un.h>

#include <filesystem>

#include "simulator/files.hpp"

namespace quorra::simulator {

// Throws Error if the path is too long for a socket.
sockaddr_un socket_address(const std::filesystem::path& path);

// Like bind(): 0, or -1 with errno set.
int bind_to(const FileDescriptor& socket, const sockaddr_un& address);

// A connection to the Unix stream socket at that path, not open (and errno set) if there is none.
// Throws Error if the path is too long for a socket.
FileDescriptor connect_to(const std::filesystem::path& path);

}  // namespace quorra::simulator
