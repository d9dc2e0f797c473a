// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "simulator/bench/options.hpp"
#include "simulator/bench/state.hpp"
#include "simulator/error.hpp"
#include "simulator/line/faults.hpp"
#include "simulator/status.hpp"

namespace quorra::simulator {

class BenchWatcher;

// A virtual reader on a pseudo-terminal. Hosts find it through its configuration file.
//
// All functions may be called from any thread, also while run() is running on another.
class VirtualReader {
 public:
  // Opens the line and the control socket, if there is to be one, and writes the configuration
  // file; hosts are served once run() runs. Throws Error.
  explicit VirtualReader(const Options& options = {});
  VirtualReader(const VirtualReader&) = delete;
  VirtualReader& operator=(const VirtualReader&) = delete;
  // Hangs the line up and removes the configuration file and the socket.
  ~VirtualReader();

  // The configuration file, complete.
  const std::filesystem::path& configuration() const;
  // Empty if there is no control socket.
  std::filesystem::path socket() const;

  // Serves hosts and control connections until stop(). Throws Error if the line fails.
  void run();
  // Ends run(), now or as soon as it is called. May be called from a signal handler.
  void stop() noexcept;

  // Puts the card of that image file into the slot, or the live card of that address. Throws Error
  // if it cannot be loaded or the slot is taken.
  void insert(const std::filesystem::path& file);
  // Takes the card out. Throws Error if the slot is empty, or if the image cannot be saved: then
  // the card stays in the slot, without power.
  void remove();
  // Throws Error if a number is out of range.
  void arm(const FaultOrder& order);
  void clear_faults();
  // Writes the image files of all cards that have changed since they were last written. Throws
  // Error if that cannot be done.
  void save();
  // Ends the recording of waves, if there is one. Throws Error if the file does not hold all that
  // happened.
  void stop_waves();
  State state() const;
  // Keeps all that a bench is, but for what is on its way over the line, under that name. Throws
  // Error.
  void take_snapshot(const std::string& name);
  // Makes the bench what it was then. Throws Error, and nothing has changed, if that cannot be
  // done.
  void restore_snapshot(const std::string& name);
  // Carries out a control command, a JSON object, as the control socket does, and returns the
  // answer, without a line end. There is no trace for it.
  std::string control(std::string_view line);
  // From now on `watcher` is told of all that goes on; null for nobody. It must stay alive until
  // then, and must not call this reader.
  void watch(BenchWatcher* watcher);

 private:
  struct Parts;

  mutable std::mutex mutex_;
  std::unique_ptr<Parts> parts_;
  std::atomic<bool> stopping_ = false;
  static_assert(std::atomic<bool>::is_always_lock_free);
};

// A virtual reader that runs on a thread of its own as long as this object lives.
class RunningReader {
 public:
  // Throws Error.
  explicit RunningReader(const Options& options = {});
  RunningReader(const RunningReader&) = delete;
  RunningReader& operator=(const RunningReader&) = delete;
  ~RunningReader();

  VirtualReader& operator*() { return reader_; }
  VirtualReader* operator->() { return &reader_; }

 private:
  VirtualReader reader_;
  std::thread thread_;
};

}  // namespace quorra::simulator
