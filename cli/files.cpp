#include "cli/files.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "cli/descriptor.hpp"
#include "cli/errors.hpp"

namespace quorra::cli {
namespace {

std::string error_words() { return std::generic_category().message(errno); }

[[noreturn]] void output_failed() {
  throw Failure(fmt::format("writing to standard output: {}", error_words()));
}

}  // namespace

Bytes read_file(const std::string& path, std::size_t limit) {
  const bool from_input = path == standard_stream;
  const auto failed = [&] {
    return UsageError(
        fmt::format("reading {}: {}", from_input ? "standard input" : path, error_words()));
  };
  const Descriptor file(from_input ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.number() < 0) throw failed();
  Bytes bytes(limit);
  std::size_t size = 0;
  while (size < limit) {
    const ssize_t got = read(file.number(), bytes.data() + size, limit - size);
    if (got < 0) throw failed();
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return bytes;
}

void write_file(const std::string& path, const Bytes& bytes) {
  if (path == standard_stream) {
    print({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return;
  }
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (file.number() < 0) throw UsageError(fmt::format("opening {}: {}", path, error_words()));
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t put = write(file.number(), bytes.data() + size, bytes.size() - size);
    if (put < 0) throw Failure(fmt::format("writing {}: {}", path, error_words()));
    size += static_cast<std::size_t>(put);
  }
  if (file.close() != 0) throw Failure(fmt::format("writing {}: {}", path, error_words()));
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) output_failed();
}

void close_standard_output() {
  if (std::fclose(stdout) != 0) output_failed();
}

}  // namespace quorra::cli
