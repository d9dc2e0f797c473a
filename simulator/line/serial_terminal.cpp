// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/line/serial_terminal.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <span>
#include <utility>

#include "simulator/error.hpp"
#include "simulator/stop_signals.hpp"

namespace quorra::simulator {
namespace {

constexpr int exit_without_program = 127;
constexpr int exit_by_signal = 128;

// After a hang-up.
constexpr int patience_ms = 5000;

// Where bytes do not get away, no more are taken in beyond this.
constexpr std::size_t most_unsent_bytes = 65536;

// The system keeps less than this between a program and the terminal that it writes to.
constexpr std::size_t most_in_terminal = std::size_t{1024} * 1024;

[[noreturn]] void fail(std::string_view what) {
  throw Error(fmt::format("{}: {}", what, system_error_text()));
}

// What there is to read; absent when the other end is gone.
std::optional<std::string> read_some(int descriptor) {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
  if (count > 0) return std::string(buffer.data(), static_cast<std::size_t>(count));
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return std::string();
  return std::nullopt;
}

// Whether there is something to look at. An interruption is no end, nor a failure.
bool wait_for(std::span<pollfd> polled, int limit_ms) {
  const int ready = ::poll(polled.data(), polled.size(), limit_ms);
  if (ready < 0 && errno != EINTR) fail("poll");
  return ready > 0;
}

// Nothing is echoed and output stays as it is: standard input and output have a terminal of their
// own for that, if they need one.
void set_up(int terminal) {
  termios settings{};
  if (::tcgetattr(terminal, &settings) != 0) fail("terminal");
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  if (::tcsetattr(terminal, TCSANOW, &settings) != 0) fail("terminal");
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) ::ioctl(terminal, TIOCSWINSZ, &size);
}

// The terminal that is standard output, if it is one that can be opened. A write to this does not
// wait: a terminal may be stopped, or full, in the middle of a piece. Others who have standard
// output, too, are not concerned.
FileDescriptor open_own_terminal() {
  std::array<char, PATH_MAX> name{};
  if (::ttyname_r(STDOUT_FILENO, name.data(), name.size()) != 0) return {};
  return FileDescriptor(::open(name.data(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

// The program's side of fork().
[[noreturn]] void become(char* const* arguments, int terminal) {
  sigset_t none{};
  sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
  static_cast<void>(std::signal(SIGXFSZ, SIG_DFL));
  if (::login_tty(terminal) == 0) {
    ::execvp(arguments[0], arguments);
    constexpr std::string_view complaint = "quorra-sim: the program cannot be run\n";
    if (::write(STDERR_FILENO, complaint.data(), complaint.size()) < 0)
      ::_exit(exit_without_program);
  }
  ::_exit(exit_without_program);
}

}  // namespace

// What is for an end that is gone is lost, or the room for it would fill up.
void SerialTerminal::Outlet::send() {
  if (!descriptor.is_open()) unsent.clear();
  while (!unsent.empty()) {
    const ssize_t sent = ::write(descriptor.get(), unsent.data(), unsent.size());
    if (sent <= 0) return;
    unsent.erase(0, static_cast<std::size_t>(sent));
  }
}

void SerialTerminal::Outlet::close() {
  descriptor = FileDescriptor();
  unsent.clear();
}

SerialTerminal::SerialTerminal(std::vector<std::string> command, const std::string& device)
    : own_terminal_(open_own_terminal()),
      screen_(own_terminal_.is_open() ? own_terminal_.get() : STDOUT_FILENO) {
  device_.descriptor =
      FileDescriptor(::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!device_.descriptor.is_open()) fail(device);
  // Programs of this project take a line for themselves in this way.
  if (::flock(device_.descriptor.get(), LOCK_EX | LOCK_NB) != 0) fail(device);
  sigset_t awaited = set_of_stop_signals();
  sigaddset(&awaited, SIGCHLD);
  signals_ = FileDescriptor(::signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!signals_.is_open()) fail("signalfd");
  start(command);
}

SerialTerminal::~SerialTerminal() {
  if (status_ || program_ < 0) return;
  ::kill(program_, SIGHUP);
  keyboard_.close();
  const FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, program_, 0)));
  pollfd polled{.fd = end.get(), .events = POLLIN, .revents = 0};
  if (::poll(&polled, 1, patience_ms) != 1) ::kill(program_, SIGKILL);
  ::waitpid(program_, nullptr, 0);
}

void SerialTerminal::start(std::vector<std::string>& command) {
  int reader_side = -1;
  int program_side = -1;
  if (::openpty(&reader_side, &program_side, nullptr, nullptr, nullptr) != 0)
    fail("pseudo-terminal");
  keyboard_.descriptor = FileDescriptor(reader_side);
  const FileDescriptor terminal(program_side);
  set_up(program_side);
  if (::fcntl(reader_side, F_SETFL, O_NONBLOCK) != 0 ||
      ::fcntl(reader_side, F_SETFD, FD_CLOEXEC) != 0)
    fail("pseudo-terminal");

  // Nothing may be allocated between fork() and the program.
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command)
    arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  program_ = ::fork();
  if (program_ < 0) fail("fork");
  if (program_ == 0) become(arguments.data(), program_side);
}

int SerialTerminal::run() {
  while (!status_)
    serve();
  // What the program wrote last; others may go on writing.
  for (std::size_t taken = 0; taken < most_in_terminal;) {
    const std::size_t count = take_from_program();
    if (count == 0) break;
    taken += count;
  }
  show(port_.finish().screen);
  return *status_;
}

void SerialTerminal::serve() {
  enum : std::size_t { program, device, user, signals };
  // A descriptor can be written if it has unsent bytes, and read if those have somewhere to go.
  const auto events = [](const Outlet& outlet, const Outlet& target) {
    const int in = target.unsent.size() < most_unsent_bytes ? POLLIN : 0;
    return static_cast<short>(in | (outlet.unsent.empty() ? 0 : POLLOUT));
  };
  const bool hears_user = !user_has_ended_ && keyboard_.unsent.size() < most_unsent_bytes;
  std::array<pollfd, 4> polled{{
      {.fd = keyboard_.descriptor.get(), .events = events(keyboard_, device_), .revents = 0},
      {.fd = device_.descriptor.get(), .events = events(device_, keyboard_), .revents = 0},
      {.fd = hears_user ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0},
      {.fd = signals_.get(), .events = POLLIN, .revents = 0},
  }};
  if (!wait_for(polled, -1)) return;
  if ((polled[program].revents & (POLLIN | POLLHUP)) != 0) take_from_program();
  if ((polled[device].revents & (POLLIN | POLLHUP)) != 0) take_from_device();
  if (polled[user].revents != 0) take_from_user();
  if (polled[signals].revents != 0) take_signal();
  device_.send();
  keyboard_.send();
}

// A pipe that has room takes so many bytes at once.
void SerialTerminal::show(std::string_view text) {
  bool mistaken = false;
  while (!text.empty() && wait_for_room(mistaken)) {
    const std::string_view piece = text.substr(0, PIPE_BUF);
    const ssize_t written = ::write(screen_, piece.data(), piece.size());
    mistaken = written < 0 && errno == EAGAIN;
    if (mistaken || (written < 0 && errno == EINTR)) continue;
    if (written < 0) fail("standard output");
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Whether there will be room on the screen, or there is to be another attempt where poll() was
// mistaken: a terminal with room for one byte takes no line end. Signals are taken meanwhile. Of a
// program that was stopped, only as much is shown as there is room for.
bool SerialTerminal::wait_for_room(bool mistaken) {
  constexpr int retry_pause_ms = 10;
  for (;;) {
    const bool is_over = was_stopped_ && status_;
    std::array<pollfd, 2> polled{{
        {.fd = mistaken ? -1 : screen_, .events = POLLOUT, .revents = 0},
        {.fd = signals_.get(), .events = POLLIN, .revents = 0},
    }};
    const int limit = mistaken ? retry_pause_ms : -1;
    const bool ready = wait_for(polled, is_over ? 0 : limit);
    if (polled[0].revents != 0) return true;
    if (is_over) return false;
    if (ready) take_signal();
    if (mistaken) return true;
  }
}

// How many bytes there were. A program that has closed its terminal has nothing more to say.
std::size_t SerialTerminal::take_from_program() {
  const auto bytes = read_some(keyboard_.descriptor.get());
  if (!bytes) keyboard_.close();
  if (!bytes || bytes->empty()) return 0;
  const AuxiliaryPort::Output output = port_.take(*bytes);
  if (!output.port.empty()) {
    give_device_the_speed_of_the_terminal();
    device_.unsent += output.port;
  }
  show(output.screen);
  return bytes->size();
}

// A device that has gone away stays away.
void SerialTerminal::take_from_device() {
  const auto bytes = read_some(device_.descriptor.get());
  if (bytes) {
    keyboard_.unsent += *bytes;
  } else {
    device_.close();
  }
}

void SerialTerminal::take_from_user() {
  const auto bytes = read_some(STDIN_FILENO);
  if (bytes) {
    keyboard_.unsent += *bytes;
  } else {
    user_has_ended_ = true;
  }
}

void SerialTerminal::take_signal() {
  signalfd_siginfo information{};
  if (::read(signals_.get(), &information, sizeof information) != sizeof information) return;
  if (information.ssi_signo != SIGCHLD) {
    was_stopped_ = true;
    if (!status_) pass_on(static_cast<int>(information.ssi_signo));
    return;
  }
  int status = 0;
  if (::waitpid(program_, &status, WNOHANG) != program_) return;
  status_ = WIFSIGNALED(status) ? exit_by_signal + WTERMSIG(status) : WEXITSTATUS(status);
}

// Ctrl-C is for whoever is in the foreground, which may be a program that the first one has
// started.
void SerialTerminal::pass_on(int signal) const {
  const pid_t foreground = ::tcgetpgrp(keyboard_.descriptor.get());
  ::kill(signal == SIGINT && foreground > 0 ? -foreground : program_, signal);
}

void SerialTerminal::give_device_the_speed_of_the_terminal() const {
  termios terminal{};
  termios device{};
  if (::tcgetattr(keyboard_.descriptor.get(), &terminal) != 0 ||
      ::tcgetattr(device_.descriptor.get(), &device) != 0)
    return;
  const speed_t speed = ::cfgetospeed(&terminal);
  if (::cfgetospeed(&device) == speed) return;
  ::cfsetspeed(&device, speed);
  ::tcsetattr(device_.descriptor.get(), TCSANOW, &device);
}

}  // namespace quorra::simulator
