// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A virtual reader, and a tap on its line.
#pragma once

#include <memory>
#include <string>

#include "tests/integration/command_line.hpp"

namespace quorra::testing {

class WireBench : public CommandLine {
 protected:
  // A reader with this card image in it.
  void start_reader(const std::string& image, const Arguments& options = {});
  // A tap on the line of the reader, which is ready.
  void start_tap(const Arguments& options = {});
  // Ends the tap by Ctrl-C: what it has printed behind the configuration file.
  std::string stop_tap();
  // A command of the control socket that the reader carries out.
  void control(const std::string& json);

  // Runs the command line at the tap, and expects success.
  std::string run_at_tap(const Arguments& arguments);

  std::string configuration() const { return folder / "reader.conf"; }
  std::string tapped_configuration() const { return folder / "tapped.conf"; }
  std::string recording() const { return folder / "line.pcapng"; }
  // The device of the reader, and the pseudo-terminal of the tap.
  std::string device() const;
  std::string tapped_device() const;

  std::unique_ptr<Process> reader;
  std::unique_ptr<Process> tap;
};

}  // namespace quorra::testing
