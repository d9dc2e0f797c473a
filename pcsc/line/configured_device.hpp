// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The device at which a reader is, and the library's variables, which all readers share.
#pragma once

#include <shared_mutex>
#include <string>

namespace quorra::pcsc {

// Whoever exchanges frames holds this shared. Reading a configuration file changes the mode in
// which the library sends, and holds it alone.
std::shared_mutex& library_mode();

// The path itself if it is that of a device, or else the device that the configuration file names.
// Throws toolkit::UsageError or toolkit::Failure.
std::string find_device(const std::string& path);

}  // namespace quorra::pcsc
