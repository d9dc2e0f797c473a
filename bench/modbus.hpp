// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// libmodbus, which reads 20 bytes by Modbus RTU: much the same work as an exchange.
#pragma once

#include <modbus/modbus-rtu.h>

#include <memory>

#include "bench/line.hpp"

namespace quorra::benchmarks {

extern const Bytes registers_request;
extern const Bytes registers_reply;

// A master at the end of a line for programs.
class Modbus {
 public:
  explicit Modbus(const Line& line);

  // Ends the program if the reply is another one.
  void exchange() const;

 private:
  std::unique_ptr<modbus_t, decltype(&modbus_free)> context_;
};

}  // namespace quorra::benchmarks
