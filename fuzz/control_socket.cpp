// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The control socket: any bytes from a client, in any pieces, while a host works with the reader.
// Of the files that a client may name, only those in a folder of this process can be opened.

#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/support/check.hpp"
#include "fuzz/support/input.hpp"
#include "simulator/bench/bench.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/control/control.hpp"
#include "simulator/control/unix_socket.hpp"
#include "simulator/error.hpp"

using namespace quorra::fuzzing;
using namespace quorra::simulator;

namespace {

bool only_own_files = false;

// The reader with its socket and its cards; nearly all of it is made once.
class Subject {
 public:
  Subject() {
    // Its paths in commands are short.
    std::filesystem::current_path(folder_.path());
    for (const Kind& kind : kinds())
      if (kind.name != "45d041") save_image(Image(kind), std::string(kind.name));
    start();
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject() { only_own_files = false; }

  void begin() {
    // Nothing else makes a bench forget its snapshots.
    if (!bench_->state().snapshots.empty()) start();
    bench_->clear_faults();
    try {
      bench_->stop_waves();
      bench_->remove();
    } catch (const Error&) {
      // The slot is empty, or waves could not be written.
    }
    client_ = connect_to("control");
    ::fcntl(client_.get(), F_SETFL, O_NONBLOCK);
    serve();
    answers_.clear();
  }
  void end() {
    ::shutdown(client_.get(), SHUT_WR);
    serve();
    { const FileDescriptor closed = std::move(client_); }
    serve();
  }

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(client_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
      serve();
      if (sent <= 0 && errno != EAGAIN) return;
    }
  }

  void exchange(Bytes bytes) {
    if (::write(host_.get(), bytes.data(), bytes.size()) < 0) {
      // The line was hung up, and there is another one.
      open_line();
      return;
    }
    bench_->serve(std::chrono::steady_clock::now(), true, true);
    char reply[4096];
    while (::read(host_.get(), reply, sizeof reply) > 0) {
    }
  }

  const std::string& answers() const { return answers_; }

 private:
  void start() {
    only_own_files = false;
    control_.reset();
    bench_.reset();
    bench_ = std::make_unique<Bench>(Options{}, "reader.conf");
    control_ = std::make_unique<Control>("control", *bench_);
    open_line();
    only_own_files = true;
  }
  void open_line() {
    host_ = FileDescriptor(::open(bench_->state().device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  }

  void serve() {
    std::vector<pollfd> polled;
    for (;;) {
      polled.clear();
      control_->add_to(polled);
      const int ready = ::poll(polled.data(), polled.size(), 0);
      if (ready > 0) control_->serve(std::chrono::steady_clock::now(), polled);
      char buffer[4096];
      ssize_t count = 0;
      while (client_.is_open() && (count = ::recv(client_.get(), buffer, sizeof buffer, 0)) > 0)
        answers_.append(buffer, static_cast<std::size_t>(count));
      if (ready <= 0) return;
      const bool only_a_hang_up = std::ranges::all_of(
          polled, [](const pollfd& one) { return (one.revents & ~POLLHUP) == 0; });
      if (only_a_hang_up && client_.is_open()) return;
    }
  }

  TemporaryFolder folder_;
  std::unique_ptr<Bench> bench_;
  std::unique_ptr<Control> control_;
  FileDescriptor host_;
  FileDescriptor client_;
  std::string answers_;
};

void require_answers(std::string_view answers) {
  while (!answers.empty()) {
    const std::size_t end = answers.find('\n');
    require(end != std::string_view::npos, "an answer is a line");
    const auto answer = nlohmann::json::parse(answers.substr(0, end), nullptr, false);
    require(answer.is_object() && (answer.contains("ok") || answer.contains("trace")),
            "an answer is an object");
    require(!answer.contains("ok") || answer["ok"] == true || answer["error"].is_string(),
            "a refusal says why");
    answers.remove_prefix(end + 1);
  }
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const auto mode = va_arg(more, unsigned);
  va_end(more);
  const std::string_view name = path;
  const bool is_a_line = name == "/dev/ptmx" || name.starts_with("/dev/pts/");
  if (only_own_files && !is_a_line && name.find('/') != std::string_view::npos) {
    errno = EACCES;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// No name is looked up.
int getaddrinfo(const char* /*node*/, const char* /*service*/, const addrinfo* /*hints*/,
                addrinfo** /*found*/) {
  return EAI_NONAME;
}
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static Subject subject;
  constexpr Bytes::value_type status_request[] = {0xAA, 0xB9, 0, 5, 0x80, 0, 0, 0, 0, 0x96};
  constexpr Bytes::value_type read_request[] = {0xAA, 0x61, 0, 7, 0x79, 0, 0, 0, 0, 0, 4, 0xB1};
  Input input({data, size});
  subject.begin();
  // Pieces of what the client sends, between zeros; the byte behind each says what comes in
  // between.
  while (!input.empty()) {
    std::string piece;
    unsigned char byte = 0;
    while (!input.empty() && (byte = input.byte()) != 0)
      piece += static_cast<char>(byte);
    const unsigned char next = input.byte();
    // A line that is longer than any that is allowed.
    constexpr std::size_t too_long = 70000;
    if (next == 0xFF) piece.resize(too_long, ' ');
    subject.send(piece);
    if (next % 4 == 1) subject.exchange(status_request);
    if (next % 4 == 2) subject.exchange(read_request);
  }
  subject.end();
  require_answers(subject.answers());
  return 0;
}
