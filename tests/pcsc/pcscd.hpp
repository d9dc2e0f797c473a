// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// pcscd with the driver, on a socket of its own, and virtual readers.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/process.hpp"

namespace quorra::testing {

// What has to be installed for tests with pcscd and is not; empty if all is there.
std::string missing_for_pcscd();

// A virtual reader whose configuration file stays where it is when the reader is stopped and
// started again.
class VirtualReader {
 public:
  // `options` of quorra-sim besides the files.
  VirtualReader(const TemporaryDirectory& folder, const std::string& name,
                const std::vector<std::string>& options);

  const std::string& configuration() const { return configuration_; }

  // Sends a command to the control socket; it succeeds.
  std::string control(const std::string& command) const;
  void insert(const std::string& image) const;
  void remove() const { control(R"({"command":"remove"})"); }

  void stop();
  void start();
  // It stays there, and says nothing.
  void freeze() const;
  void go_on() const;

 private:
  std::vector<std::string> command_;
  std::string configuration_;
  std::string socket_;
  std::unique_ptr<Process> process_;
};

// Makes the image of a card.
std::string make_card(const TemporaryDirectory& folder, const std::string& name,
                      const std::vector<std::string>& options);

class Pcscd {
 public:
  // Readers by their names, with what DEVICENAME says.
  Pcscd(const TemporaryDirectory& folder, const std::map<std::string, std::string>& readers);

  // Runs a PC/SC program to its end, or starts it.
  Outcome run(const std::vector<std::string>& command) const;
  std::unique_ptr<Process> start(const std::vector<std::string>& command) const;

  // The same for the client of these tests; what it prints.
  std::string client(const std::vector<std::string>& arguments) const;
  std::unique_ptr<Process> start_client(const std::vector<std::string>& arguments) const;

  // Waits until a reader has a card, or has none.
  void wait_for(const std::string& reader, bool card) const;

 private:
  std::string socket_;
  std::unique_ptr<Process> process_;
};

}  // namespace quorra::testing
