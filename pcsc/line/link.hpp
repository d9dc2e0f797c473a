// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The line to one reader, which may come and go.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "pcsc/device_name.hpp"
#include "pcsc/line/serial_line.hpp"
#include "toolkit/session/errors.hpp"
#include "toolkit/session/session.hpp"

namespace quorra::pcsc {

// The reader does not answer, or its line is gone.
class ReaderGone : public toolkit::Failure {
 public:
  ReaderGone(const std::string& text, int result) : Failure(text), result_(result) {}

  // Of the call in which that was found out.
  int result() const { return result_; }

 private:
  int result_;
};

class Link : public toolkit::Session {
 public:
  explicit Link(DeviceName name);

  // Opens the line if it is closed and it is time for another attempt: after each one that fails,
  // the pause grows. Whether a reader is there; the log says it when that changes.
  bool reach();

  // How often a reader was found.
  unsigned openings() const { return openings_; }
  // The first result below 0 since the beginning of what is being done; 0 if there is none.
  int trouble() const { return trouble_; }
  void begin() { trouble_ = 0; }
  // What the reader calls itself.
  const std::string& version() const { return version_; }

  int handle() const override;

  // Line and reader are in step after every call.
  void drain(const toolkit::Operation& /*operation*/) const override {}

 protected:
  // Drops what came before. Throws ReaderGone.
  void before_call(const toolkit::Operation& operation) const override;
  // Brings line and reader into step again when a reply was lost or spoilt. Throws ReaderGone.
  void after_call(const toolkit::Operation& operation, int result) const override;

 private:
  using Clock = std::chrono::steady_clock;

  void open();
  bool is_in_step() const;
  void tell(const std::string& text);

  DeviceName name_;
  mutable std::optional<SerialLine> line_;
  std::string version_;
  unsigned openings_ = 0;
  mutable int trouble_ = 0;
  Clock::duration pause_{};
  Clock::time_point next_attempt_;
  std::string told_;
};

}  // namespace quorra::pcsc
