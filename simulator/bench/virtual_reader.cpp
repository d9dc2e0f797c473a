// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/virtual_reader.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <optional>
#include <vector>

#include "simulator/bench/bench.hpp"
#include "simulator/control/control.hpp"
#include "simulator/files.hpp"

namespace quorra::simulator {
namespace {

timespec until(Time due) {
  constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;
  const Duration left = std::max(Duration::zero(), Duration(due - Clock::now()));
  return {
      .tv_sec = static_cast<time_t>(left.count() / nanoseconds_per_second),
      .tv_nsec = static_cast<decltype(timespec::tv_nsec)>(left.count() % nanoseconds_per_second)};
}

// Bytes are to leave on time, not when it suits the kernel's timers.
void ask_for_exact_timers() { ::prctl(PR_SET_TIMERSLACK, 1UL); }

FileDescriptor open_counter() {
  FileDescriptor counter(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!counter.is_open()) throw Error("eventfd: " + system_error_text());
  return counter;
}

}  // namespace

struct VirtualReader::Parts {
  explicit Parts(const Options& options)
      : bench(options,
              options.configuration.empty() ? folder.emplace().path() / "reader.conf"
                                            : options.configuration,
              wake_up.get()) {
    if (options.has_control_socket)
      control.emplace(options.socket.empty() ? own_folder() / "control" : options.socket, bench);
  }

  const std::filesystem::path& own_folder() {
    if (!folder) folder.emplace();
    return folder->path();
  }

  // Waits for something to do, without the lock, and does it.
  void wait_and_serve(std::unique_lock<std::mutex>& lock);

  std::optional<TemporaryFolder> folder;
  // Readable from stop() on.
  FileDescriptor wake_up = open_counter();
  Bench bench;
  std::optional<Control> control;
  std::vector<pollfd> polled;
};

void VirtualReader::Parts::wait_and_serve(std::unique_lock<std::mutex>& lock) {
  short line_events = 0;
  if (bench.wants_to_read()) line_events |= POLLIN;
  if (bench.wants_to_write()) line_events |= POLLOUT;
  polled.clear();
  polled.push_back({.fd = bench.descriptor(), .events = line_events, .revents = 0});
  polled.push_back({.fd = wake_up.get(), .events = POLLIN, .revents = 0});
  if (control) control->add_to(polled);

  auto due = bench.next_due();
  if (control && control->next_due())
    due = std::min(due.value_or(Time::max()), *control->next_due());
  const timespec timeout = due ? until(*due) : timespec{};
  lock.unlock();
  const int ready = ::ppoll(polled.data(), polled.size(), due ? &timeout : nullptr, nullptr);
  lock.lock();
  if (ready < 0 && errno != EINTR) throw Error("ppoll: " + system_error_text());
  if (ready < 0) return;

  const short line = polled[0].revents;
  const Time now = Clock::now();
  bench.serve(now, (line & POLLIN) != 0, (line & POLLOUT) != 0);
  if (control) control->serve(now, std::span(polled).subspan(2));
}

VirtualReader::VirtualReader(const Options& options) : parts_(std::make_unique<Parts>(options)) {}

VirtualReader::~VirtualReader() = default;

const std::filesystem::path& VirtualReader::configuration() const {
  return parts_->bench.configuration();
}

std::filesystem::path VirtualReader::socket() const {
  return parts_->control ? parts_->control->path() : std::filesystem::path();
}

void VirtualReader::run() {
  ask_for_exact_timers();
  std::unique_lock lock(mutex_);
  const auto& control = parts_->control;
  while (!stopping_ && !(control && control->stop_requested()))
    parts_->wait_and_serve(lock);
}

void VirtualReader::stop() noexcept {
  const int interrupted_error = errno;
  stopping_ = true;
  const std::uint64_t one = 1;
  // The counter cannot overflow, and a wake-up that is pending already is enough.
  [[maybe_unused]] const ssize_t written = ::write(parts_->wake_up.get(), &one, sizeof(one));
  errno = interrupted_error;
}

void VirtualReader::insert(const std::filesystem::path& file) {
  const std::lock_guard lock(mutex_);
  parts_->bench.insert(file);
}

void VirtualReader::remove() {
  const std::lock_guard lock(mutex_);
  parts_->bench.remove();
}

void VirtualReader::arm(const FaultOrder& order) {
  const std::lock_guard lock(mutex_);
  parts_->bench.arm(order);
}

void VirtualReader::clear_faults() {
  const std::lock_guard lock(mutex_);
  parts_->bench.clear_faults();
}

void VirtualReader::save() {
  const std::lock_guard lock(mutex_);
  parts_->bench.save();
}

void VirtualReader::stop_waves() {
  const std::lock_guard lock(mutex_);
  parts_->bench.stop_waves();
}

State VirtualReader::state() const {
  const std::lock_guard lock(mutex_);
  return parts_->bench.state();
}

RunningReader::RunningReader(const Options& options)
    : reader_(options),
      thread_([this] {
        try {
          reader_.run();
        } catch (const std::exception& error) {
          complain(error.what());
        }
      }) {}

RunningReader::~RunningReader() {
  reader_.stop();
  thread_.join();
}

}  // namespace quorra::simulator
