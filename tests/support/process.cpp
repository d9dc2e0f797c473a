// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace quorra::testing {
namespace {

// After so long without a sign of life a test has failed.
constexpr int patience_milliseconds = 120'000;

void check(bool good, const char* what) {
  if (!good) throw std::system_error(errno, std::generic_category(), what);
}

// Waits until one of the descriptors is ready.
void wait_for(std::vector<pollfd>& waited) {
  const int ready = poll(waited.data(), waited.size(), patience_milliseconds);
  check(ready >= 0, "poll");
  if (ready == 0) throw std::runtime_error("the program is silent");
}

// The environment of this process with the changes made.
std::vector<std::string> environment_with(
    const std::map<std::string, std::optional<std::string>>& changes) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!changes.contains(text.substr(0, text.find('=')))) variables.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) variables.push_back(name + '=' + *value);
  }
  return variables;
}

// The pointers that exec wants; they point into `texts`.
std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers(texts.size() + 1, nullptr);
  std::transform(texts.begin(), texts.end(), pointers.begin(),
                 [](std::string& text) { return text.data(); });
  return pointers;
}

// For posix_spawn: the program ignores and blocks no signal, whatever this process inherited.
class Attributes {
 public:
  explicit Attributes(bool has_own_group) {
    sigset_t all{};
    sigset_t none{};
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (has_own_group) flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

// A descriptor of a nameless file with this content, to be read from its start.
int file_with(std::string_view content) {
  const int descriptor = memfd_create("input", MFD_CLOEXEC);
  check(descriptor >= 0, "memfd_create");
  check(write(descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
        "write");
  check(lseek(descriptor, 0, SEEK_SET) == 0, "lseek");
  return descriptor;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "quorra-test-XXXXXX").string();
  check(mkdtemp(name.data()) != nullptr, "mkdtemp");
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("no file " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

Terminal::Terminal() {
  std::array<char, 64> name{};
  check(openpty(&user_, &line_, name.data(), nullptr, nullptr) == 0, "openpty");
  device_ = name.data();
  for (const int descriptor : {user_, line_}) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
  termios settings{};
  tcgetattr(line_, &settings);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  tcsetattr(line_, TCSANOW, &settings);
}

Terminal::~Terminal() {
  close(user_);
  close(line_);
}

void Terminal::type(std::string_view text) const {
  check(write(user_, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
}

std::string Terminal::read(std::size_t count) const {
  std::string received;
  while (received.size() < count) {
    std::vector<pollfd> waited = {{user_, POLLIN, 0}};
    wait_for(waited);
    std::string piece(count - received.size(), '\0');
    const ssize_t size = ::read(user_, piece.data(), piece.size());
    check(size > 0, "read");
    received += piece.substr(0, static_cast<std::size_t>(size));
  }
  return received;
}

std::string Terminal::read_until(std::string_view text) const {
  std::string received;
  while (!received.ends_with(text)) {
    received += read(1);
  }
  return received;
}

std::string Terminal::read_all() const {
  std::string received;
  for (pollfd waited = {user_, POLLIN, 0}; poll(&waited, 1, 0) > 0;) {
    received += read(1);
  }
  return received;
}

Process::Process(const std::vector<std::string>& command, const Surroundings& surroundings) {
  std::map<int, int> streams = surroundings.streams;
  std::vector<int> opened;
  if (!streams.contains(STDIN_FILENO)) {
    opened.push_back(file_with(surroundings.input));
    streams[STDIN_FILENO] = opened.back();
  }
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    if (streams.contains(stream)) continue;
    std::array<int, 2> ends{};
    check(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe2");
    pipes_[stream] = ends[0];
    opened.push_back(ends[1]);
    streams[stream] = ends[1];
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const auto& [stream, descriptor] : streams) {
    posix_spawn_file_actions_adddup2(&actions, descriptor, stream);
  }
  std::vector<std::string> arguments = command;
  std::vector<std::string> environment = environment_with(surroundings.environment);
  const Attributes attributes(surroundings.has_own_group);
  const int error = posix_spawn(&pid_, command.front().c_str(), &actions, attributes.get(),
                                pointers_to(arguments).data(), pointers_to(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  for (const int descriptor : opened) {
    close(descriptor);
  }
  if (error != 0) {
    pid_ = -1;
    throw std::system_error(error, std::generic_category(), command.front());
  }
}

Process::~Process() {
  for (const auto& [stream, end] : pipes_) {
    close(end);
  }
  if (pid_ < 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void Process::signal(int number) const { kill(pid_, number); }

void Process::freeze() const {
  signal(SIGSTOP);
  siginfo_t seen{};
  while (waitid(P_PID, static_cast<id_t>(pid_), &seen, WSTOPPED | WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
}

bool Process::receive() {
  std::vector<pollfd> waited;
  for (const auto& [stream, end] : pipes_) {
    waited.push_back({end, POLLIN, 0});
  }
  if (waited.empty()) return false;
  wait_for(waited);
  for (const pollfd& one : waited) {
    if (one.revents == 0) continue;
    const auto pipe = std::find_if(pipes_.begin(), pipes_.end(),
                                   [&one](const auto& entry) { return entry.second == one.fd; });
    std::array<char, 4096> buffer{};
    const ssize_t size = read(one.fd, buffer.data(), buffer.size());
    if (size > 0) {
      received_[pipe->first].append(buffer.data(), static_cast<std::size_t>(size));
    } else {
      close(one.fd);
      pipes_.erase(pipe);
    }
  }
  return true;
}

std::string Process::read_line() {
  std::string& output = received_[STDOUT_FILENO];
  while (output.find('\n') == std::string::npos) {
    if (!receive()) throw std::runtime_error("the program ended");
  }
  const std::size_t end = output.find('\n');
  std::string line = output.substr(0, end);
  output.erase(0, end + 1);
  return line;
}

Outcome Process::wait() {
  while (receive()) {
  }
  int status = 0;
  check(waitpid(pid_, &status, 0) == pid_, "waitpid");
  pid_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
          received_[STDOUT_FILENO], received_[STDERR_FILENO]};
}

Outcome run(const std::vector<std::string>& command, const Surroundings& surroundings) {
  return Process(command, surroundings).wait();
}

}  // namespace quorra::testing
