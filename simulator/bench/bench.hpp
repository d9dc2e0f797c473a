// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/bench/activity.hpp"
#include "simulator/bench/configuration_file.hpp"
#include "simulator/bench/options.hpp"
#include "simulator/bench/reader_file.hpp"
#include "simulator/bench/snapshot.hpp"
#include "simulator/bench/state.hpp"
#include "simulator/cards/card_file.hpp"
#include "simulator/cards/cpu/live_card.hpp"
#include "simulator/firmware/frame.hpp"
#include "simulator/firmware/reader.hpp"
#include "simulator/line/faults.hpp"
#include "simulator/line/pacing.hpp"
#include "simulator/line/pseudo_terminal.hpp"
#include "simulator/waves/slot_waves.hpp"

namespace quorra::simulator {

enum class Direction : std::uint8_t { in, out };

// A frame as it goes over the line.
struct TracedFrame {
  Direction direction = Direction::in;
  std::span<const std::uint8_t> bytes;
  // Since the reader was there: when a request has arrived, or a reply begins.
  Duration time{0};
  std::uint64_t exchange = 0;  // its number, from 1
  std::string faults;          // that hit it, or empty
  std::string card;            // the kind of card in the slot; empty if there is none
};

// Sees what goes on at a bench. It is told by the thread that serves the bench, or changes it, and
// must not keep it waiting.
class BenchWatcher {
 public:
  BenchWatcher() = default;
  BenchWatcher(const BenchWatcher&) = delete;
  BenchWatcher& operator=(const BenchWatcher&) = delete;
  virtual ~BenchWatcher() = default;
  virtual void frame_passed(const TracedFrame& frame) = 0;
  // An exchange has done that to the card in the slot.
  virtual void card_was_used(const Activity& activity) = 0;
  // Something was changed by other means than an exchange.
  virtual void bench_was_changed() = 0;
};

// The reader, the card in its slot and the line to the host. It has no thread and never waits, but
// for the emulator of a live card:
// whoever runs it polls descriptor(), and calls serve() when there is something to do.
class Bench {
 public:
  using Listener = std::function<void(const TracedFrame& frame)>;

  // The configuration file is complete when the constructor returns. No emulator is waited for once
  // the descriptor `stop` is readable; negative: there is none. Throws Error.
  Bench(const Options& options, const std::filesystem::path& configuration, int stop = -1);

  const std::filesystem::path& configuration() const { return configuration_.path(); }

  // Puts the card of that image file into the slot, or the live card of that address. Throws Error
  // if it cannot be loaded or the slot is taken.
  void insert(const std::filesystem::path& file);
  // Takes the card out. Throws Error if the slot is empty, or if the image cannot be saved: then
  // the card stays in the slot, without power.
  void remove();
  // Writes the image files of all cards, and that of the reader, that have changed since they were
  // last written. Throws Error if that cannot be done.
  void save();
  // Throws Error if a number is out of range.
  void arm(const FaultOrder& order);
  void clear_faults();
  // From now on all that happens at the contacts of the card goes into that file of waves, and into
  // no other. Throws Error if that cannot be done, or as stop_waves() does.
  void record_waves(const std::filesystem::path& file);
  // Ends that, if it has begun. Throws Error if the file does not hold all that happened.
  void stop_waves() { waves_.stop(); }
  State state() const;
  // Keeps the bench as it is under that name, in the place of an earlier one. Throws Error if it
  // cannot be kept.
  void take_snapshot(const std::string& name);
  // Makes the bench what it was then: the card, also one that has left, with all that it forgets
  // without power, the reader's memory and the rest of its state, the SAMs, the faults. Throws
  // Error, and nothing has changed, if there is no such snapshot or its card cannot be had.
  void restore_snapshot(const std::string& name);
  // From now on `listener` gets every frame as it goes over the line; null for none.
  void trace(Listener listener) { listener_ = std::move(listener); }
  // From now on `watcher` is told of all; null for nobody. It must stay alive until then.
  void watch(BenchWatcher* watcher) { watcher_ = watcher; }

  int descriptor() const { return terminal_.descriptor(); }
  bool wants_to_read() const;
  bool wants_to_write() const { return line_is_full_; }
  // When serve() has something to do although the descriptor is not ready; absent if never.
  std::optional<Time> next_due() const;
  // Does all that can be done at `now`. Throws Error if the line fails. Where that is not the time
  // by which hosts stall, `wall` is.
  void serve(Time now, bool can_read, bool can_write, std::optional<Time> wall = std::nullopt);

 private:
  void take(std::uint8_t byte, Time arrival);
  void answer(bool check_byte_is_right, Time arrival);
  std::uint8_t carry_out(bool check_byte_is_right, Reply& reply);
  Status execute_with_faults(Reply& reply);
  // Of all cards that have an image.
  std::vector<Chip*> chips();
  void load_reader(const Options& options);
  void insert_sam(std::size_t number, const std::filesystem::path& file);
  bool save_cards();
  void restore_reader(const Reader& earlier);
  void send_reply(Time arrival);
  void tell(Direction direction, std::span<const std::uint8_t> bytes, Time time) const;
  void tell_of_change() const;
  void send_due_bytes(Time now);
  void hang_up();
  bool host_has_another_speed() const;
  void change_speed(unsigned speed);
  void set_byte_time(Duration byte_time);
  std::string names_of_snapshots() const;

  Reader reader_;
  SlotWaves waves_{reader_.slot};
  std::optional<CardFile> card_;
  // In the place of card_.
  std::unique_ptr<LiveCard> live_card_;
  std::array<std::optional<CardFile>, sam_count> sams_;

  std::optional<ReaderFile> reader_file_;

  PseudoTerminal terminal_;
  ConfigurationFile configuration_;
  int stop_;
  Duration byte_time_;
  // The speed that hosts must have; 0: any.
  unsigned line_speed_;
  PacedQueue incoming_;
  PacedQueue outgoing_;
  bool line_is_full_ = false;
  std::array<std::uint8_t, 16384> read_buffer_{};

  RequestParser parser_;
  std::optional<Time> wall_;
  Time last_heard_;
  Time start_;
  std::uint64_t exchanges_ = 0;

  std::map<std::string, Snapshot, std::less<>> snapshots_;
  Faults faults_;
  Exchange exchange_;
  Listener listener_;
  BenchWatcher* watcher_ = nullptr;
};

}  // namespace quorra::simulator
