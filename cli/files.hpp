// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Files and standard output. In place of a file name, "-" means standard input or output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "cli/parse.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::cli {

inline constexpr std::string_view standard_stream = "-";

// The contents of a file, but at most `limit` bytes of them. Throws UsageError; Interrupted only
// while signals are held back.
Bytes read_file(const std::string& path, std::size_t limit);

// Whether that is standard output, also by another name such as /dev/stdout.
bool is_standard_output(const std::string& path);

// Throws UsageError if a virtual reader has the file: it would put its card back in the place of
// what is written.
void expect_unused(const std::string& path);

// Writes a file. An older one is replaced when the new one is complete, and stays as it was until
// then; what is no regular file, such as a device or a FIFO, is written to. Throws UsageError if it
// cannot be opened or is in use, Failure if it cannot be written, Interrupted.
void write_file(const std::string& path, const Bytes& bytes);

// Nobody reads standard output any more: what a program such as head does that has read enough.
class OutputClosed : public Failure {
 public:
  using Failure::Failure;
};

// Writes to standard output. Throws Failure, or OutputClosed.
void print(std::string_view text);

// Writes out what is still buffered. Throws like print if that, or an earlier write, failed.
void flush_standard_output();

// The same at the end.
void close_standard_output();

}  // namespace quorra::cli
