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

timespec to_timespec(Duration left) {
  constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;
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
      : clock(options.has_virtual_time),
        bench(options,
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
  BenchClock clock;
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

  const auto due = bench.next_due();
  std::optional<Duration> patience;
  if (due) patience = clock.until(*due);
  // Clients that wait to be taken in do so by the wall.
  if (control && control->next_due())
    patience = std::min(patience.value_or(Duration::max()),
                        std::max(Duration::zero(), Duration(*control->next_due() - Clock::now())));
  const timespec timeout = to_timespec(patience.value_or(Duration::zero()));
  lock.unlock();
  const int ready = ::ppoll(polled.data(), polled.size(), patience ? &timeout : nullptr, nullptr);
  lock.lock();
  if (ready < 0 && errno != EINTR) throw Error("ppoll: " + system_error_text());
  if (ready < 0) return;

  const short line = polled[0].revents;
  if (due && ready == 0) clock.wait_is_over(*due);
  const Time wall = Clock::now();
  bench.serve(clock.now(), (line & POLLIN) != 0, (line & POLLOUT) != 0,
              clock.is_virtual() ? std::optional(wall) : std::nullopt);
  if (control) control->serve(wall, std::span(polled).subspan(2));
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

void VirtualReader::take_snapshot(const std::string& name) {
  const std::lock_guard lock(mutex_);
  parts_->bench.take_snapshot(name);
}

void VirtualReader::restore_snapshot(const std::string& name) {
  const std::lock_guard lock(mutex_);
  parts_->bench.restore_snapshot(name);
}

std::string VirtualReader::control(std::string_view line) {
  const std::lock_guard lock(mutex_);
  ControlContext context{.bench = parts_->bench};
  std::string answer = carry_out(context, line);
  if (context.stop) stop();
  if (context.traces) return error_answer("there is no trace here: a control socket has one");
  return answer;
}

void VirtualReader::watch(BenchWatcher* watcher) {
  const std::lock_guard lock(mutex_);
  parts_->bench.watch(watcher);
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
