// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "simulator/cards/chip.hpp"

namespace quorra::simulator::test {

// Drives a chip at its contacts; what a bus looks like is left to the derived class.
class ContactDriver {
 public:
  explicit ContactDriver(Chip& chip) : chip_(chip) {}

  // Gives the chip power and lets its lines go.
  void power_up() {
    set(&Contacts::vcc, true);
    set(&Contacts::io, true);
    set(&Contacts::c8, true);
  }
  void power_down() {
    const Contacts before = contacts_;
    contacts_ = Contacts{};
    chip_.contacts_changed(before, contacts_);
  }
  void rst(bool level) { set(&Contacts::rst, level); }
  void clk(bool level) { set(&Contacts::clk, level); }
  void io(bool level) { set(&Contacts::io, level); }
  void c4(bool level) { set(&Contacts::c4, level); }
  void c8(bool level) { set(&Contacts::c8, level); }
  bool io_level() const { return contacts_.io && !chip_.pulls_io_low(); }
  bool c8_level() const { return contacts_.c8 && !chip_.pulls_c8_low(); }

  void pulse() {
    clk(true);
    clk(false);
  }

 private:
  void set(bool Contacts::*contact, bool level) {
    if (contacts_.*contact == level) return;
    const Contacts before = contacts_;
    contacts_.*contact = level;
    chip_.contacts_changed(before, contacts_);
  }

  Chip& chip_;
  Contacts contacts_;
};

}  // namespace quorra::simulator::test
