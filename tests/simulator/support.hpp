// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/bench/bench.hpp"
#include "simulator/bench/options.hpp"
#include "simulator/cards/chip.hpp"
#include "simulator/files.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/process.hpp"

namespace quorra::simulator::test {

using quorra::testing::Bytes;
using quorra::testing::content_of;
using quorra::testing::hex;
using quorra::testing::write_file;

// The STATUS bytes as they are documented, apart from the reader's own list.
namespace status {
inline constexpr std::uint8_t wrong_check_byte = 0x11;
inline constexpr std::uint8_t unknown_command = 0x12;
inline constexpr std::uint8_t unknown_card_type = 0x13;
inline constexpr std::uint8_t wrong_body_length = 0x14;
inline constexpr std::uint8_t out_of_range = 0x15;
inline constexpr std::uint8_t no_card = 0x21;
inline constexpr std::uint8_t no_answer = 0x22;
inline constexpr std::uint8_t not_written = 0x23;
inline constexpr std::uint8_t wrong_code = 0x24;
inline constexpr std::uint8_t card_blocked = 0x25;
inline constexpr std::uint8_t image_not_saved = 0x31;
inline constexpr std::uint8_t code_required = 0x41;
inline constexpr std::uint8_t sam_without_power = 0x42;
inline constexpr std::uint8_t answer_too_long = 0x43;
}  // namespace status

// The pieces one after the other.
Bytes joined(const std::vector<Bytes>& pieces);

// The request frame with that command byte and body, flag 0.
Bytes request(std::uint8_t command, std::string_view body);
// The reply frame with that STATUS and data.
Bytes reply(std::uint8_t status, std::string_view data = "");

// A host at the other end of the line: it opens the device that a configuration file names.
class RawClient {
 public:
  explicit RawClient(const std::filesystem::path& configuration);

  // Gives the host's side of the line that speed, B1200 or the like.
  void set_speed(unsigned setting) const;

  void send(std::span<const std::uint8_t> bytes) const;
  // Waits until that many bytes have come.
  Bytes receive(std::size_t count) const;
  // Receives a frame: header, data, check byte.
  Bytes receive_reply() const;
  Bytes exchange(std::span<const std::uint8_t> bytes) const;
  // Whether bytes are waiting at this moment.
  bool has_bytes() const;
  // Waits until the other end has hung up, or until `seconds` have passed.
  bool sees_hang_up() const;

 private:
  FileDescriptor device_;
};

// A new card of that kind in a file.
std::filesystem::path new_card(const TemporaryFolder& folder, std::string_view kind,
                               std::string_view name = "card");

// Options for a reader with a new card of that kind in its slot.
Options with_new_card(const TemporaryFolder& folder, std::string_view kind);

// Runs `work`, which never ends, in a process of its own. When it says that it has begun, it goes
// on for so many microseconds; then the process is killed.
void run_and_kill(const std::function<void(const std::function<void()>& has_begun)>& work,
                  unsigned microseconds);

// Notes what it is told, and pulls IO low while CLK is high, and C8 while RST is high.
class ListeningChip final : public Chip {
 public:
  ListeningChip();

  void contacts_changed(const Contacts& before, const Contacts& now) override;
  // How often it lost its power.
  std::size_t power_losses() const;

  std::vector<std::pair<Contacts, Contacts>> changes;
};

// A bench that the test itself serves, with a time that only the test moves, and a host.
class ServedBench {
 public:
  explicit ServedBench(const Options& options = {});

  Bench& bench() { return bench_; }
  const RawClient& host() const { return host_; }
  Time now() const { return now_; }
  void pass(Duration duration) { now_ += duration; }
  // The time by which hosts stall, where that is another one.
  void set_wall(Time wall) { wall_ = wall; }

  // Sends bytes and lets the bench do what it can at this time.
  void send(std::span<const std::uint8_t> bytes);
  Bytes exchange(std::span<const std::uint8_t> bytes);

 private:
  TemporaryFolder folder_;
  Bench bench_;
  RawClient host_;
  Time now_;
  std::optional<Time> wall_;
};

// A bench with a card of that kind, whose memory counts up from 0.
class BenchWithCard {
 public:
  explicit BenchWithCard(std::string_view kind);

  Bytes exchange(std::uint8_t command, std::string_view body) {
    return reader_.exchange(request(command, body));
  }
  Bytes exchange(std::string_view frame) { return reader_.exchange(hex(frame)); }
  // The card leaves the slot while the data of the next exchange is being programmed.
  void pull_card();
  // The memory in the image file.
  Bytes stored() const;

 private:
  TemporaryFolder folder_;
  std::filesystem::path file_;
  ServedBench reader_;
};

}  // namespace quorra::simulator::test
